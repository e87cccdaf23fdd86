#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtCore/QString>

#include <map>
#include <memory>

// The in-memory tree behind FileStorageView. Opening a storage file reads its structure
// (storages and stream names); stream bytes stay in the file until someone reads them, and
// writes stay here until close() saves them.

namespace LxFileSystemLimits {
// Deepest storage below the root that the engine creates, loads or decodes. Block libraries
// nest a few levels per local-block layer; the bound keeps every recursive walk's stack small.
constexpr int kMaxDepth = 512;
// Largest stream that fits into one row of the storage file (SQLite's length limit).
constexpr qsizetype kMaxStreamSize = 1000000000;
}

class FileStorageView;
struct StorageNode;
using StorageNodePtr = std::shared_ptr<StorageNode>;

struct StorageStream
{
    QString name;
    QByteArray data; // the bytes, for streams written in this session
    qint64 id = 0;   // for streams still in the file: their row, and data is unused
    qint64 size = 0; // for streams still in the file: their size

    bool inFile() const { return id != 0; }
    qint64 byteCount() const { return inFile() ? size : data.size(); }
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

    QString name;
    StorageNode *parent; // null for the root and for detached nodes
    int depth;           // 0 for the root
    bool detached = false;
    // Counts the operations that remove children, which invalidates iterators into them.
    quint64 generation = 0;
    // The first view of this storage and the view that handed it out: with one root view,
    // the usual case, storage() finds its child views here without any lookup.
    QPointer<FileStorageView> firstView;
    const void *firstViewOwner = nullptr;
    // Both sorted by QString's code-unit order, which makes names, encodings and commits
    // deterministic.
    StreamList streams;
    std::map<QString, StorageNodePtr> children;
};

// Where the bytes of streams that are still in the file come from.
class StreamSource
{
public:
    virtual ~StreamSource() = default;
    // The bytes of the stream stored as row id, which holds size bytes. On failure a null
    // QByteArray; the source remembers why.
    virtual QByteArray fetch(qint64 id, qint64 size) = 0;
};

// Whether two names are equal, quickly when both share one string (names handed out by
// streamNames() and storageNames() do).
inline bool sameName(const QString &a, const QString &b)
{
    return a.size() == b.size() && (a.constData() == b.constData() || a == b);
}

// State shared by a FileView and every view of its tree.
struct StorageSession
{
    QByteArray bytesOf(const StorageStream &stream) const
    {
        if (!stream.inFile())
            return stream.data;
        return source && active ? source->fetch(stream.id, stream.size) : QByteArray();
    }

    StreamSource *source = nullptr; // the open file; null for scratch and new files
    bool readOnly = false;
    bool active = true;         // false once the file is closed or discarded
    bool modified = false;      // some write may have changed the tree since it was loaded
    bool refusedWrites = false; // a write that would have changed the tree hit a read-only file
    bool tooDeep = false;       // a storage below the deepest level was asked for and not made
};
