#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <map>
#include <memory>

// The in-memory tree behind FileStorageView. A storage file is read completely on open and
// written at close; in between every view works on these nodes only.

namespace LxFileSystemLimits {
// Deepest storage below the root that the engine creates, loads or decodes. Block libraries
// nest a few levels per local-block layer; the bound keeps every recursive walk's stack small.
constexpr int kMaxDepth = 512;
// Largest stream that fits into one row of the storage file (SQLite's length limit).
constexpr qsizetype kMaxStreamSize = 1000000000;
}

struct StorageNode;
using StorageNodePtr = std::shared_ptr<StorageNode>;

struct StorageNode
{
    StorageNode(const QString &name, StorageNode *parent, int depth)
        : name(name), parent(parent), depth(depth)
    {
    }
    ~StorageNode();
    StorageNode(const StorageNode &) = delete;
    StorageNode &operator=(const StorageNode &) = delete;

    bool isEmpty() const { return streams.empty() && children.empty(); }
    // Removes every stream and sub-storage. Removed sub-storages that views still hold become
    // detached and stay empty: later writes to them are dropped.
    void clear();
    // Moves the contents of other (a freshly built, unattached tree) into this node.
    void takeContents(StorageNode &other);
    QString path() const;

    QString name;
    StorageNode *parent; // null for the root and for detached nodes
    int depth;           // 0 for the root
    bool detached = false;
    // Sorted by QString's code-unit order, which makes names, encodings and commits
    // deterministic.
    std::map<QString, QByteArray> streams;
    std::map<QString, StorageNodePtr> children;
};

// State shared by a FileView and every view of its tree.
struct StorageSession
{
    bool readOnly = false;
    bool active = true;         // false once the file is closed or discarded
    bool modified = false;      // some write may have changed the tree since it was loaded
    bool refusedWrites = false; // a write that would have changed the tree hit a read-only file
};
