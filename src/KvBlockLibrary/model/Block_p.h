#pragma once

#include "Block.h"

#include <QtCore/QHash>

class BlockPrivate : public QObject
{
    Q_OBJECT

public:
    explicit BlockPrivate(Block *block);

    // Makes the definition reachable under its number and forwards its changes.
    void insertDefinition(BlockDefinition *definition);
    void removeDefinition(BlockDefinition *definition);

    BlockLibrary *ownerLibrary = nullptr;
    QString identifier;
    QHash<unsigned int, BlockDefinition *> versions;
    QString shortName;
    Text name;
    QString groupPath;
    QList<unsigned int> invisibleForFamilies;
    bool fallback = false;
    Block *const q;

signals:
    // Both forwarded to the block's signals of the same names.
    void groupChanged();
    void changed();
};
