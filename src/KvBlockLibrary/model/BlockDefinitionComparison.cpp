// The comparison value of a version: a CRC-32 over the canonical text of its stored form.
#include "BlockDefinition.h"
#include "BlockDefinition_p.h"

#include "BlockLibrary.h"
#include "CrcFileStorageView.h"

#include <LxFileSystem/FileStorageView.h>

void BlockDefinition::saveForCompareCrc(FileStorageView *storage) const
{
    d->invokeCode("updateDefinitionCodeTextForCompareCrc");
    storage->writeStream(VersionStorage::CodeStream, d->codeTextForCompareCrc);
}

QByteArray BlockDefinition::compareCrc32Value()
{
    // The version is written as it is stored, with the code text the editor prepares for the
    // comparison, into a storage that sorts what it receives and leaves images out.
    CrcFileStorageView root(nullptr);
    d->invokeCode("updateDefinitionCodeTextForCompareCrc");
    d->writeVersion(&root, d->codeTextForCompareCrc);
    d->localBlockLibrary->saveForCompareCrc(&root);
    return "00" + QByteArray::number(root.checksum(), 16).rightJustified(8, '0');
}
