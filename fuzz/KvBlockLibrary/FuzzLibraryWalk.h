#pragma once

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockSkin.h>

#include <QtCore/QByteArray>

#include <cstdlib>

// A broken promise of the library: libFuzzer records the input that led here.
#define FUZZ_CHECK(condition)                                                                        \
    do {                                                                                             \
        if (!(condition))                                                                            \
            std::abort();                                                                            \
    } while (false)

// Touches everything a loaded library offers to the suite, as an editor opening it would:
// every block's versions, their comparison values, pins, skins and tool tips, and the
// block's contents text. Whatever loading accepted must survive being used.
inline void useLibrary(BlockLibrary *library)
{
    library->groupPaths();
    library->allBlocksInstanceCount();
    for (const QString &identifier : library->blockIdentifiers()) {
        Block *block = library->block(identifier);
        if (!block)
            std::abort();
        for (unsigned int version : block->versions()) {
            BlockDefinition *definition = block->blockDefinition(version);
            if (!definition)
                std::abort();
            definition->compareCrc32Value();
            definition->toolTipText();
            definition->pins();
            definition->codeText();
            definition->wizardDefinition();
            BlockSkin *skin = definition->defaultSkin();
            FUZZ_CHECK(skin);
            skin->pins();
            skin->size();
            skin->defaultImage();
            if (BlockLibrary *local = definition->localBlockLibrary())
                useLibrary(local);
        }
        block->saveContents();
    }
}
