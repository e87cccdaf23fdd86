#pragma once

#include "BlockLibraryContainer.h"

class BlockLibraryContainerPrivate
{
public:
    virtual ~BlockLibraryContainerPrivate() = default;

    // Containers below this type are fixed; from it on editable.
    static constexpr unsigned int FirstEditableType = 255;

    bool readDescription(FileStorageView *root);
    void readGroupSegments(FileStorageView *root);
    void reset();

    BlockLibraryContainer *q = nullptr;
    bool modified = false;
    BlockLibrary *library = nullptr;
    Text name;
    bool readOnly = false;
    QString identifier;
    unsigned int type = FirstEditableType;
    QHash<unsigned int, Text> groupNames;
};
