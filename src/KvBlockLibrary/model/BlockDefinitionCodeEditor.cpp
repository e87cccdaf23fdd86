// The code editor's side of a definition: the code object and the window attached to it.
#include "BlockDefinition.h"
#include "BlockDefinition_p.h"

#include "CodeEditorAccess.h"

#include <QtCore/QMetaObject>

void BlockDefinitionPrivate::onBlockCodeChanged()
{
    emit changed();
}

void BlockDefinitionPrivate::invokeCode(const char *method) const
{
    if (code)
        QMetaObject::invokeMethod(code.data(), method, Qt::DirectConnection);
}

BlockCode *BlockDefinition::code() const
{
    return d->code.data();
}

void BlockDefinition::setCode(BlockCode *code)
{
    if (d->code || !code)
        return;
    d->code = code;
    connect(code, &BlockCode::changed, d, &BlockDefinitionPrivate::onBlockCodeChanged);
}

LibraryBlockDefinitionSubWindow *BlockDefinition::editSubWindow() const
{
    return d->editSubWindow.data();
}

void BlockDefinition::setEditSubWindow(LibraryBlockDefinitionSubWindow *window)
{
    d->editSubWindow = window;
}

void CodeEditorAccess::setCode(BlockDefinition *definition, BlockCode *code)
{
    definition->setCode(code);
}

void CodeEditorAccess::setEditSubWindow(BlockDefinition *definition, LibraryBlockDefinitionSubWindow *window)
{
    definition->setEditSubWindow(window);
}
