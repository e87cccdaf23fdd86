#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
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

struct StorageStream
{
    QString name;
    QByteArray data;
    qint64 id = 0; // the row the stream was read from; 0 for streams written since
};
Q_DECLARE_TYPEINFO(StorageStream, Q_RELOCATABLE_TYPE);

// A storage's streams in name order. A storage holds a handful of streams, for which a
// sorted array beats any tree; being implicitly shared, the list read from a file doubles
// as the record of what the file holds until the first write detaches it.
using StreamList = QList<StorageStream>;

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
    // The position of the stream name, or of where it would be inserted.
    qsizetype findStream(const QString &name) const;
    const StorageStream *stream(const QString &name) const;

    QString name;
    StorageNode *parent; // null for the root and for detached nodes
    int depth;           // 0 for the root
    bool detached = false;
    // Both sorted by QString's code-unit order, which makes names, encodings and commits
    // deterministic.
    StreamList streams;
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
