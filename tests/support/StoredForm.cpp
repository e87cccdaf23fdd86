#include "StoredForm.h"

#include "ScratchStorage.h"
#include "StorageTreeText.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>

namespace StoredForm {

template<typename T>
static QStringList saved(T *object)
{
    ScratchStorage scratch;
    if (!scratch.isValid() || !object)
        return {QStringLiteral("<nothing saved>")};
    object->save(scratch.root());
    return StorageTreeText::lines(scratch.root());
}

QStringList of(Block *block) { return saved(block); }
QStringList of(BlockDefinition *definition) { return saved(definition); }
QStringList of(BlockLibrary *library) { return saved(library); }

} // namespace StoredForm
