#pragma once

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockSkin.h>

#include "FuzzCheck.h"
#include "ScratchStorage.h"

#include <QtGui/QGuiApplication>

// For LLVMFuzzerInitialize: skins draw their default image with text, and fonts need a GUI
// application, though no display.
inline void startGuiApplication(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(*argc, *argv);
}

inline void useLibrary(BlockLibrary *library);

// Touches everything a loaded version offers, as an editor showing it would: comparison
// value, tool tip, pins, code, wizard, skin with its drawn image, and its local blocks.
inline void useDefinition(BlockDefinition *definition)
{
    definition->compareCrc32Value();
    definition->toolTipText();
    definition->pins();
    definition->codeText();
    definition->wizardDefinition();
    definition->smallListImage();
    BlockSkin *skin = definition->defaultSkin();
    FUZZ_CHECK(skin);
    skin->pins();
    skin->size();
    skin->defaultImage();
    if (BlockLibrary *local = definition->localBlockLibrary())
        useLibrary(local);
}

// Every block of a library, every version and the block's contents text. Whatever loading
// accepted must survive being used.
inline void useLibrary(BlockLibrary *library)
{
    library->groupPaths();
    library->allBlocksInstanceCount();
    for (const QString &identifier : library->blockIdentifiers()) {
        Block *block = library->block(identifier);
        FUZZ_CHECK(block);
        for (unsigned int version : block->versions()) {
            BlockDefinition *definition = block->blockDefinition(version);
            FUZZ_CHECK(definition);
            useDefinition(definition);
        }
        block->saveContents();
    }
}
