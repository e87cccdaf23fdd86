#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

class BlockCode;
class BlockDefinition;
class LibraryBlockDefinitionSubWindow;

/*
 * The door through which the suite's code editor attaches itself to a block definition:
 * its code object and the window that shows the definition. Nothing else may set them.
 */
class KVBLOCKLIBRARY_EXPORT CodeEditorAccess
{
public:
    CodeEditorAccess() = delete;

    // Ignored while a live code object is attached already. Not owned.
    static void setCode(BlockDefinition *definition, BlockCode *code);
    // Not owned; reads null again once the window is destroyed.
    static void setEditSubWindow(BlockDefinition *definition, LibraryBlockDefinitionSubWindow *window);
};
