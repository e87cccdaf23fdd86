#pragma once

#include "BlockLibrary.h"

#include <QtCore/QHash>

#include <set>

// A block identifier with its hash, computed once. The map compares stored hashes before
// characters and rehashes from the stored hash, so that probing and growing a map of many
// blocks does not visit the identifiers' characters scattered over the heap.
struct IdentifierKey
{
    explicit IdentifierKey(const QString &identifier)
        : identifier(identifier)
        , hash(qHash(identifier))
    {
    }

    friend bool operator==(const IdentifierKey &a, const IdentifierKey &b)
    {
        return a.hash == b.hash && a.identifier == b.identifier;
    }
    friend size_t qHash(const IdentifierKey &key, size_t seed = 0) { return key.hash ^ seed; }

    QString identifier;
    size_t hash;
};

class BlockLibraryPrivate : public QObject
{
    Q_OBJECT

public:
    BlockLibraryPrivate(BlockLibrary *library, BlockLibraryContainer *container);

    // A block of the map with the group path it is filed under, its place in ordered and its
    // place in its group's list.
    struct Entry
    {
        Block *block = nullptr;
        QString groupPath;
        qsizetype position = 0;
        qsizetype groupPosition = 0;
    };

    // Takes the block of identifier out of the map, the order and its group; null when there
    // is none. The block keeps its parent, owner library and connections.
    Block *take(const QString &identifier);
    void addToGroup(Entry &entry, const QString &identifier);
    void removeFromGroup(const Entry &entry);
    template<typename SaveBlock>
    void saveBlocks(FileStorageView *root, SaveBlock saveBlock);

    BlockLibrary *const q;
    BlockLibraryContainer *const container;

    // The blocks by identifier.
    QHash<IdentifierKey, Entry> blocks;
    // The blocks of the map in the order they came (a removed block's place goes to the last
    // one). Walks over all blocks follow this order: mostly the order in which the blocks were
    // made, and so far kinder to memory than the order of the map.
    QList<Block *> ordered;

    // The identifiers of each group path, so that listing a group or the group paths does not
    // visit every block. A removed identifier's place goes to the last one. The sorted lists
    // are made on first demand after a change.
    struct Group
    {
        QList<QString> identifiers;
        QList<QString> sorted;
        bool sortedValid = false;
    };
    QHash<QString, Group> groups;
    // The keys of groups in order, kept as groups come and go (far more rarely than blocks).
    std::set<QString> orderedGroupPaths;
    QList<QString> groupPathList;
    bool groupPathListValid = false;

signals:
    // Forwarded to the library's signals of the same names.
    void contentsChanged();
    void groupsChanged();
};
