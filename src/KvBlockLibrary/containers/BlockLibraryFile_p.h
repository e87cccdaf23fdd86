#pragma once

#include "BlockLibraryContainer_p.h"

class BlockLibraryFilePrivate : public BlockLibraryContainerPrivate
{
public:
    QString filePath;
    QString errorString;
};
