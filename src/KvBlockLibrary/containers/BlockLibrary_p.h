#pragma once

#include "BlockLibrary.h"

#include <QtCore/QHash>

class BlockLibraryPrivate : public QObject
{
    Q_OBJECT

public:
    BlockLibraryPrivate(BlockLibrary *library, BlockLibraryContainer *container);

    // Takes the block out of the map and cuts its ties to the library.
    void detach(const QString &identifier, Block *block);
    template<typename SaveBlock>
    void saveBlocks(FileStorageView *root, SaveBlock saveBlock);

    BlockLibrary *const q;
    BlockLibraryContainer *const container;
    QHash<QString, Block *> blocks;

signals:
    // Forwarded to the library's signals of the same names.
    void contentsChanged();
    void groupsChanged();
};
