#include "StorageDatabase_p.h"

#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QRandomGenerator>

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Long enough to ride out another program's commit, short enough to answer the user soon.
constexpr int kBusyTimeoutMs = 3000;
// The largest page SQLite offers. Code texts and images of 2 to 20 KB then fit into one
// page instead of a chain of overflow pages, which makes reading a library about a third
// faster. The cost is a larger minimum file (six pages) and whole 64 KB pages journaled
// for small edits, both small next to a library's size and a save's sync.
constexpr int kPageSize = 65536;

// The schema. Text as stored in sqlite_schema, which is also how open() recognises it.
// Stream bytes have a table of their own so that reading the tree's structure does not
// read them. Names are text (UTF-8, the file's encoding, which keeps streams of text
// readable in the sqlite3 shell), or blobs for the names text cannot hold (bindName()).
constexpr char kStorageTable[] =
        "CREATE TABLE storage (\n"
        "    id     INTEGER PRIMARY KEY,\n"
        "    parent INTEGER REFERENCES storage (id),\n"
        "    name   ANY NOT NULL,\n"
        "    UNIQUE (parent, name)\n"
        ") STRICT";
constexpr char kStreamTable[] =
        "CREATE TABLE stream (\n"
        "    id      INTEGER PRIMARY KEY,\n"
        "    storage INTEGER NOT NULL REFERENCES storage (id),\n"
        "    name    ANY NOT NULL,\n"
        "    size    INTEGER NOT NULL,\n"
        "    UNIQUE (storage, name)\n"
        ") STRICT";
constexpr char kDataTable[] =
        "CREATE TABLE stream_data (\n"
        "    id   INTEGER PRIMARY KEY REFERENCES stream (id),\n"
        "    data BLOB NOT NULL\n"
        ") STRICT";

struct SchemaEntry
{
    const char *type;
    const char *name;
    const char *table;
    const char *sql; // null for the indexes behind UNIQUE
};

// In the order of the query in StorageDatabase::open().
constexpr SchemaEntry kSchema[] = {
    { "index", "sqlite_autoindex_storage_1", "storage", nullptr },
    { "index", "sqlite_autoindex_stream_1", "stream", nullptr },
    { "table", "storage", "storage", kStorageTable },
    { "table", "stream", "stream", kStreamTable },
    { "table", "stream_data", "stream_data", kDataTable },
};

// Whether the connection reads a file that may come from anywhere, or writes a new one.
enum class Origin { Existing, New };

bool configure(LxSqlite::Database &db, Origin origin)
{
    sqlite3 *handle = db.handle();
    // An existing file may come from anywhere: no schema tricks, no triggers, no views.
    // Defensive mode would also refuse the missing journal of a new file, which needs none.
    const std::pair<int, int> options[] = {
        { SQLITE_DBCONFIG_DEFENSIVE, origin == Origin::Existing ? 1 : 0 },
        { SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0 },
        { SQLITE_DBCONFIG_ENABLE_TRIGGER, 0 },
        { SQLITE_DBCONFIG_ENABLE_VIEW, 0 },
    };
    for (const auto &option : options) {
        const int rc = sqlite3_db_config(handle, option.first, option.second, nullptr);
        if (rc != SQLITE_OK)
            return db.fail(rc);
    }
    const int rc = sqlite3_busy_timeout(handle, kBusyTimeoutMs);
    if (rc != SQLITE_OK)
        return db.fail(rc);
    // Deleted blocks must not linger in the file's free pages.
    return db.exec("PRAGMA cell_size_check = ON; PRAGMA secure_delete = ON");
}

QString describe(const LxSqlite::Error &error)
{
    if (error.systemErrno == 0)
        return error.message;
    return QStringLiteral("%1 (%2)").arg(error.message, QString::fromLocal8Bit(std::strerror(error.systemErrno)));
}

StorageFileStatus statusFromErrno(int error, StorageFileStatus::Code fallback)
{
    const QString detail = QString::fromLocal8Bit(std::strerror(error));
    switch (error) {
    case ENOSPC:
    case EFBIG:
    case EDQUOT:
        return { StorageFileStatus::DiskFull, detail };
    case EACCES:
    case EPERM:
    case EROFS:
        return { StorageFileStatus::NoPermission, detail };
    default:
        return { fallback, detail };
    }
}

// The snapshot's storages grouped by parent, each group in name order, so that a commit can
// walk the tree and the file side by side.
class SnapshotIndex
{
public:
    using Range = std::pair<const size_t *, const size_t *>;

    explicit SnapshotIndex(const StorageSnapshot &snapshot) : m_snapshot(snapshot)
    {
        for (size_t i = 0; i < snapshot.storages.size(); ++i) {
            if (i != snapshot.root)
                m_byParent.push_back(i);
        }
        std::sort(m_byParent.begin(), m_byParent.end(), [&](size_t a, size_t b) {
            const auto &x = snapshot.storages[a];
            const auto &y = snapshot.storages[b];
            return x.parent != y.parent ? x.parent < y.parent : x.name < y.name;
        });
    }

    Range childrenOf(qint64 parent) const
    {
        const auto range = std::equal_range(m_byParent.begin(), m_byParent.end(), parent, ByParent { m_snapshot });
        return { m_byParent.data() + (range.first - m_byParent.begin()),
                 m_byParent.data() + (range.second - m_byParent.begin()) };
    }

private:
    struct ByParent
    {
        const StorageSnapshot &snapshot;
        bool operator()(size_t row, qint64 parent) const { return snapshot.storages[row].parent < parent; }
        bool operator()(qint64 parent, size_t row) const { return parent < snapshot.storages[row].parent; }
    };

    const StorageSnapshot &m_snapshot;
    std::vector<size_t> m_byParent;
};

// Receives the changes that turn the file's rows into the tree. Returning false stops the walk.
class ChangeSink
{
public:
    virtual ~ChangeSink() = default;
    virtual bool insertStorage(qint64 parent, const QString &name, qint64 *id) = 0;
    virtual bool insertStream(qint64 storage, const QString &name, const QByteArray &data) = 0;
    virtual bool updateStream(qint64 id, const QByteArray &data, bool sizeChanged) = 0;
    virtual bool deleteStream(qint64 id) = 0;
    // Deletes the storage row and its streams; its sub-storages have been deleted before.
    virtual bool deleteStorage(qint64 id) = 0;
};

// Walks the tree and the file's rows side by side and reports every difference.
class ChangeWalker
{
public:
    ChangeWalker(const StorageSnapshot *snapshot, StreamSource *source, ChangeSink &sink)
        : m_snapshot(snapshot), m_source(source), m_sink(sink)
    {
        if (snapshot)
            m_index.emplace(*snapshot);
    }

    bool walkRoot(const StorageNode &root)
    {
        const StorageSnapshot::Storage &stored = m_snapshot->storages[m_snapshot->root];
        return walk(root, stored.id, &stored);
    }

    // Walks node, stored as row id; stored is what the file held for it, or null for a new storage.
    bool walk(const StorageNode &node, qint64 id, const StorageSnapshot::Storage *stored)
    {
        if (!walkStreams(node.streams, id, stored ? stored->streams : StreamList()))
            return false;

        SnapshotIndex::Range storages = stored ? m_index->childrenOf(id) : SnapshotIndex::Range();
        auto child = node.children.begin();
        while (child != node.children.end() || storages.first != storages.second) {
            const StorageSnapshot::Storage *storedChild =
                    storages.first != storages.second ? &m_snapshot->storages[*storages.first] : nullptr;
            if (child == node.children.end() || (storedChild && storedChild->name < child->first)) {
                if (!removeStorage(storedChild->id))
                    return false;
                ++storages.first;
            } else if (!storedChild || child->first < storedChild->name) {
                qint64 childId = 0;
                if (!m_sink.insertStorage(id, child->first, &childId) || !walk(*child->second, childId, nullptr))
                    return false;
                ++child;
            } else {
                if (!walk(*child->second, storedChild->id, storedChild))
                    return false;
                ++child;
                ++storages.first;
            }
        }
        return true;
    }

private:
    // The bytes of a stream of the tree; a stream still in the file is read from it.
    bool bytesOf(const StorageStream &stream, QByteArray *bytes)
    {
        if (!stream.inFile()) {
            *bytes = stream.data;
            return true;
        }
        *bytes = m_source ? m_source->fetch(stream.id, stream.size) : QByteArray();
        return !bytes->isNull() || stream.size == 0;
    }

    bool walkStreams(const StreamList &live, qint64 id, const StreamList &stored)
    {
        // Untouched since loading: still the very list the snapshot holds.
        if (live.constData() == stored.constData() && live.size() == stored.size())
            return true;
        auto current = live.cbegin();
        auto old = stored.cbegin();
        QByteArray bytes;
        while (current != live.cend() || old != stored.cend()) {
            if (current == live.cend() || (old != stored.cend() && old->name < current->name)) {
                if (!m_sink.deleteStream(old->id))
                    return false;
                ++old;
            } else if (old == stored.cend() || current->name < old->name) {
                if (!bytesOf(*current, &bytes) || !m_sink.insertStream(id, current->name, bytes))
                    return false;
                ++current;
            } else {
                if (current->id != old->id && !sameAsStored(*current, *old, &bytes))
                    return false;
                ++current;
                ++old;
            }
        }
        return true;
    }

    // Writes current over old unless the bytes are the same. Rewriting a tree with what it
    // held is common (a save rewrites everything), and reading is far cheaper than writing.
    bool sameAsStored(const StorageStream &current, const StorageStream &old, QByteArray *bytes)
    {
        if (!bytesOf(current, bytes))
            return false;
        if (bytes->size() == old.size) {
            const QByteArray stored = m_source ? m_source->fetch(old.id, old.size) : QByteArray();
            if (stored.isNull() && old.size != 0)
                return false;
            if (stored == *bytes)
                return true;
        }
        return m_sink.updateStream(old.id, *bytes, bytes->size() != old.size);
    }

    bool removeStorage(qint64 id)
    {
        for (auto range = m_index->childrenOf(id); range.first != range.second; ++range.first) {
            if (!removeStorage(m_snapshot->storages[*range.first].id))
                return false;
        }
        return m_sink.deleteStorage(id);
    }

    const StorageSnapshot *m_snapshot;
    StreamSource *m_source;
    std::optional<SnapshotIndex> m_index;
    ChangeSink &m_sink;
};

// Writes the changes with prepared statements inside the caller's transaction. Before the
// first write it runs the caller's checks, so that a save that changes nothing writes nothing.
class RowWriter final : public ChangeSink
{
public:
    RowWriter(LxSqlite::Database &db, std::function<StorageFileStatus()> checks)
        : m_db(db), m_checks(std::move(checks))
    {
    }

    // Runs the checks and prepares the statements, once.
    bool start()
    {
        if (m_started)
            return m_status.isOk();
        m_started = true;
        if (m_checks)
            m_status = m_checks();
        if (!m_status.isOk())
            return false;
        return m_db.prepare(m_insertStorage, "INSERT INTO storage (parent, name) VALUES (?1, ?2)")
                && m_db.prepare(m_insertStream, "INSERT INTO stream (storage, name, size) VALUES (?1, ?2, ?3)")
                && m_db.prepare(m_insertData, "INSERT INTO stream_data (id, data) VALUES (?1, ?2)")
                && m_db.prepare(m_updateSize, "UPDATE stream SET size = ?2 WHERE id = ?1")
                && m_db.prepare(m_updateData, "UPDATE stream_data SET data = ?2 WHERE id = ?1")
                && m_db.prepare(m_deleteStream, "DELETE FROM stream WHERE id = ?1")
                && m_db.prepare(m_deleteData, "DELETE FROM stream_data WHERE id = ?1")
                && m_db.prepare(m_deleteDataOf,
                                "DELETE FROM stream_data WHERE id IN (SELECT id FROM stream WHERE storage = ?1)")
                && m_db.prepare(m_deleteStreamsOf, "DELETE FROM stream WHERE storage = ?1")
                && m_db.prepare(m_deleteStorage, "DELETE FROM storage WHERE id = ?1");
    }

    bool started() const { return m_started; }
    // Why the checks refused writing, or why the file did not hold what it held when read.
    const StorageFileStatus &status() const { return m_status; }

    bool insertRoot(qint64 *id)
    {
        if (!start() || !m_insertStorage.bindNull(1) || !m_insertStorage.bindName(2, QString())
                || !m_insertStorage.execute())
            return false;
        *id = m_db.lastInsertRowId();
        return true;
    }

    bool insertStorage(qint64 parent, const QString &name, qint64 *id) override
    {
        if (!start() || !m_insertStorage.bind(1, parent) || !m_insertStorage.bindName(2, name)
                || !m_insertStorage.execute())
            return false;
        *id = m_db.lastInsertRowId();
        return true;
    }

    bool insertStream(qint64 storage, const QString &name, const QByteArray &data) override
    {
        if (!start() || !m_insertStream.bind(1, storage) || !m_insertStream.bindName(2, name)
                || !m_insertStream.bind(3, qint64(data.size())) || !m_insertStream.execute())
            return false;
        return m_insertData.bind(1, m_db.lastInsertRowId()) && m_insertData.bind(2, data) && m_insertData.execute();
    }

    bool updateStream(qint64 id, const QByteArray &data, bool sizeChanged) override
    {
        if (!start())
            return false;
        if (sizeChanged
                && !(m_updateSize.bind(1, id) && m_updateSize.bind(2, qint64(data.size())) && m_updateSize.execute()
                     && expectOneChange()))
            return false;
        return m_updateData.bind(1, id) && m_updateData.bind(2, data) && m_updateData.execute() && expectOneChange();
    }

    bool deleteStream(qint64 id) override
    {
        return start() && m_deleteData.bind(1, id) && m_deleteData.execute() && m_deleteStream.bind(1, id)
                && m_deleteStream.execute() && expectOneChange();
    }

    bool deleteStorage(qint64 id) override
    {
        return start() && m_deleteDataOf.bind(1, id) && m_deleteDataOf.execute() && m_deleteStreamsOf.bind(1, id)
                && m_deleteStreamsOf.execute() && m_deleteStorage.bind(1, id) && m_deleteStorage.execute()
                && expectOneChange();
    }

private:
    bool expectOneChange()
    {
        if (m_db.changes() == 1)
            return true;
        m_status = StorageFileStatus(StorageFileStatus::Damaged, QStringLiteral("row missing"));
        return false;
    }

    LxSqlite::Database &m_db;
    std::function<StorageFileStatus()> m_checks;
    bool m_started = false;
    StorageFileStatus m_status;
    LxSqlite::Statement m_insertStorage;
    LxSqlite::Statement m_insertStream;
    LxSqlite::Statement m_insertData;
    LxSqlite::Statement m_updateSize;
    LxSqlite::Statement m_updateData;
    LxSqlite::Statement m_deleteStream;
    LxSqlite::Statement m_deleteData;
    LxSqlite::Statement m_deleteDataOf;
    LxSqlite::Statement m_deleteStreamsOf;
    LxSqlite::Statement m_deleteStorage;
};

// Stream names repeat in every storage ("Info.ini" in every block); decoding each once
// saves an allocation per stream and the memory of a copy per storage.
class NameTable
{
public:
    QString intern(QByteArrayView utf8)
    {
        size_t slot = qHash(utf8) & (kSlots - 1);
        for (size_t probe = 0; probe < kSlots; ++probe, slot = (slot + 1) & (kSlots - 1)) {
            Entry &entry = m_slots[slot];
            if (entry.utf8.isNull()) {
                if (m_used == kMaxNames)
                    break;
                ++m_used;
                entry.utf8 = utf8.toByteArray();
                entry.name = QString::fromUtf8(utf8);
                return entry.name;
            }
            if (entry.utf8 == utf8)
                return entry.name;
        }
        return QString::fromUtf8(utf8);
    }

private:
    struct Entry
    {
        QByteArray utf8;
        QString name;
    };
    // Enough for the stream names of any library; names beyond are simply not shared.
    static constexpr size_t kSlots = 1024;
    static constexpr size_t kMaxNames = kSlots / 2;
    std::vector<Entry> m_slots = std::vector<Entry>(kSlots);
    size_t m_used = 0;
};

// Removes a file on destruction unless released: a half-written new file never stays.
class TemporaryFileGuard
{
public:
    explicit TemporaryFileGuard(const QByteArray &path) : m_path(path) { }
    ~TemporaryFileGuard()
    {
        if (!m_path.isEmpty())
            ::unlink(m_path.constData());
    }
    void release() { m_path.clear(); }

private:
    QByteArray m_path;
};

void syncDirectory(const QByteArray &directory)
{
    // Makes the rename durable. The new file is already in place whatever happens here, so
    // a failure cannot be reported as a failed save.
    const int fd = ::open(directory.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

} // namespace

FileIdentity FileIdentity::of(const QString &path)
{
    FileIdentity identity;
    struct stat status;
    if (::stat(QFile::encodeName(path).constData(), &status) == 0) {
        identity.exists = true;
        identity.device = quint64(status.st_dev);
        identity.inode = quint64(status.st_ino);
    }
    return identity;
}

bool writePermitted(const QString &path, int *error)
{
    const QByteArray encoded = QFile::encodeName(path);
    int refusal = 0;
    struct stat status;
    if (::access(encoded.constData(), W_OK) != 0)
        refusal = errno;
    else if (::stat(encoded.constData(), &status) == 0 && (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        refusal = EACCES;
    if (error)
        *error = refusal;
    return refusal == 0;
}

StorageFileStatus StorageDatabase::fromSqlite(StorageFileStatus::Code fallback) const
{
    const LxSqlite::Error &error = m_db.lastError();
    const QString detail = describe(error);
    switch (error.code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return { StorageFileStatus::Locked, detail };
    case SQLITE_FULL:
        return { StorageFileStatus::DiskFull, detail };
    case SQLITE_CORRUPT:
        return { StorageFileStatus::Damaged, detail };
    case SQLITE_NOTADB:
        return { StorageFileStatus::NotStorageFile, detail };
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return { StorageFileStatus::NoPermission, detail };
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
        if (error.systemErrno != 0) {
            StorageFileStatus status = statusFromErrno(error.systemErrno, fallback);
            status.detail = detail;
            return status;
        }
        break;
    default:
        break;
    }
    return { fallback, detail };
}

StorageDatabase::~StorageDatabase()
{
    close();
}

StorageFileStatus StorageDatabase::open(const QString &path)
{
    close();
    m_path = path;
    m_fetchFailure = StorageFileStatus();
    const int mode = writePermitted(path) ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    if (!m_db.open(path, mode | SQLITE_OPEN_NOMUTEX) || !configure(m_db, Origin::Existing))
        return fromSqlite(StorageFileStatus::ReadFailed);
    if (!m_db.exec("BEGIN DEFERRED"))
        return fromSqlite(StorageFileStatus::ReadFailed);
    m_inSession = true;

    qint64 applicationId = 0;
    if (!m_db.queryInt64("PRAGMA application_id", &applicationId))
        return fromSqlite(StorageFileStatus::ReadFailed);
    if (applicationId != kApplicationId)
        return { StorageFileStatus::NotStorageFile, QStringLiteral("application id %1").arg(applicationId) };
    qint64 version = 0;
    if (!m_db.queryInt64("PRAGMA user_version", &version))
        return fromSqlite(StorageFileStatus::ReadFailed);
    if (version != kFormatVersion) {
        StorageFileStatus status(StorageFileStatus::UnsupportedVersion);
        status.version = version;
        return status;
    }

    // Statistics tables appear when someone runs ANALYZE in the sqlite3 shell; they are harmless.
    LxSqlite::Statement schema;
    if (!m_db.prepare(schema, "SELECT type, name, tbl_name, sql FROM sqlite_schema"
                              " WHERE NOT (type = 'table' AND name GLOB 'sqlite_stat[1-4]')"
                              " ORDER BY type, name"))
        return fromSqlite(StorageFileStatus::ReadFailed);
    for (const SchemaEntry &expected : kSchema) {
        const LxSqlite::Statement::Step step = schema.step();
        if (step == LxSqlite::Statement::Step::Failed)
            return fromSqlite(StorageFileStatus::ReadFailed);
        const bool matches = step == LxSqlite::Statement::Step::Row
                && schema.columnText(0) == QLatin1String(expected.type)
                && schema.columnText(1) == QLatin1String(expected.name)
                && schema.columnText(2) == QLatin1String(expected.table)
                && (expected.sql ? schema.columnText(3) == QLatin1String(expected.sql)
                                 : schema.columnType(3) == SQLITE_NULL);
        if (!matches)
            return { StorageFileStatus::NotStorageFile, QStringLiteral("unexpected schema") };
    }
    const LxSqlite::Statement::Step last = schema.step();
    if (last == LxSqlite::Statement::Step::Failed)
        return fromSqlite(StorageFileStatus::ReadFailed);
    if (last != LxSqlite::Statement::Step::Done)
        return { StorageFileStatus::NotStorageFile, QStringLiteral("unexpected schema") };
    return {};
}

StorageFileStatus StorageDatabase::load(StorageNode &root, StorageSnapshot *snapshot)
{
    Q_ASSERT(root.isEmpty() && m_inSession);
    using Step = LxSqlite::Statement::Step;

    // Storage rows first: streams can only be placed once every storage exists. nodes[i]
    // belongs to snapshot->storages[i]; the root's entry holds no reference of its own.
    std::vector<StorageNodePtr> nodes;
    QHash<qint64, StorageNode *> byId;
    bool haveRoot = false;
    LxSqlite::Statement storages;
    if (!m_db.prepare(storages, "SELECT id, parent, name FROM storage"))
        return fromSqlite(StorageFileStatus::ReadFailed);
    Step step;
    while ((step = storages.step()) == Step::Row) {
        const int parentType = storages.columnType(1);
        QString name;
        if (storages.columnType(0) != SQLITE_INTEGER || !storages.columnName(2, &name)
                || (parentType != SQLITE_INTEGER && parentType != SQLITE_NULL))
            return { StorageFileStatus::Damaged, QStringLiteral("storage row of wrong types") };
        const qint64 id = storages.columnInt64(0);
        if (byId.contains(id))
            return { StorageFileStatus::Damaged, QStringLiteral("storage %1 twice").arg(id) };
        if (parentType == SQLITE_NULL) {
            if (haveRoot)
                return { StorageFileStatus::Damaged, QStringLiteral("two root storages") };
            haveRoot = true;
            snapshot->root = nodes.size();
            nodes.push_back(nullptr);
            byId.insert(id, &root);
        } else {
            nodes.push_back(std::make_shared<StorageNode>(name, nullptr, 0));
            byId.insert(id, nodes.back().get());
        }
        snapshot->storages.push_back({ id, parentType == SQLITE_NULL ? 0 : storages.columnInt64(1), name, {} });
    }
    if (step == Step::Failed)
        return fromSqlite(StorageFileStatus::ReadFailed);
    if (!haveRoot)
        return { StorageFileStatus::Damaged, QStringLiteral("no root storage") };

    // Children hold their nodes; on failure the links go first so that no cycle of a damaged
    // file keeps nodes alive and no long chain is torn down recursively.
    struct Unlink
    {
        std::vector<StorageNodePtr> &nodes;
        StorageNode &root;
        bool armed = true;
        ~Unlink()
        {
            if (!armed)
                return;
            for (StorageNodePtr &node : nodes) {
                if (node)
                    node->children.clear();
            }
            root.children.clear();
            root.streams.clear();
        }
    } unlink { nodes, root };

    for (size_t i = 0; i < nodes.size(); ++i) {
        if (i == snapshot->root)
            continue;
        StorageNode *parent = byId.value(snapshot->storages[i].parent);
        if (!parent)
            return { StorageFileStatus::Damaged, QStringLiteral("storage without parent") };
        // Files list the storages of one parent in name order: the end is the place to insert.
        auto &children = parent->children;
        const size_t before = children.size();
        children.emplace_hint(children.end(), nodes[i]->name, nodes[i]);
        if (children.size() == before)
            return { StorageFileStatus::Damaged, QStringLiteral("two storages of one name") };
        nodes[i]->parent = parent;
    }
    // Depths, and whether every storage hangs below the root (no cycles, no islands).
    std::vector<StorageNode *> pending { &root };
    size_t reached = 1;
    while (!pending.empty()) {
        StorageNode *node = pending.back();
        pending.pop_back();
        for (auto &child : node->children) {
            child.second->depth = node->depth + 1;
            if (child.second->depth > LxFileSystemLimits::kMaxDepth)
                return { StorageFileStatus::Damaged, QStringLiteral("storages nested too deeply") };
            pending.push_back(child.second.get());
            ++reached;
        }
    }
    if (reached != nodes.size())
        return { StorageFileStatus::Damaged, QStringLiteral("storages outside the tree") };

    LxSqlite::Statement streams;
    if (!m_db.prepare(streams, "SELECT id, storage, name, size FROM stream"))
        return fromSqlite(StorageFileStatus::ReadFailed);
    // The tables are STRICT, so their values have the declared types; what a damaged record
    // might hold instead reads as a harmless conversion.
    NameTable names;
    qint64 currentId = 0;
    StorageNode *current = nullptr;
    qsizetype lastCount = 0;
    while ((step = streams.step()) == Step::Row) {
        const qint64 id = streams.columnInt64(0);
        const qint64 size = streams.columnInt64(3);
        // Row 0 would read as a stream written in this session.
        if (id == 0 || size < 0 || size > LxFileSystemLimits::kMaxStreamSize)
            return { StorageFileStatus::Damaged, QStringLiteral("stream row of wrong values") };
        const qint64 storageId = streams.columnInt64(1);
        if (!current || storageId != currentId) {
            if (current)
                lastCount = current->streams.size();
            current = byId.value(storageId);
            currentId = storageId;
            if (!current)
                return { StorageFileStatus::Damaged, QStringLiteral("stream without storage") };
            // Storages of a library hold much the same streams: size for as many as the last.
            if (current->streams.isEmpty())
                current->streams.reserve(lastCount);
        }
        const QByteArrayView utf8 = streams.columnUtf8View(2);
        QString name;
        if (!utf8.isNull())
            name = names.intern(utf8);
        else if (!streams.columnName(2, &name))
            return { StorageFileStatus::Damaged, QStringLiteral("stream row of wrong types") };
        current->streams.append(StorageStream { std::move(name), QByteArray(), id, size });
    }
    if (step == Step::Failed)
        return fromSqlite(StorageFileStatus::ReadFailed);

    const auto byName = [](const StorageStream &a, const StorageStream &b) { return a.name < b.name; };
    const auto sameName = [](const StorageStream &a, const StorageStream &b) { return a.name == b.name; };
    for (size_t i = 0; i < nodes.size(); ++i) {
        StreamList &list = i == snapshot->root ? root.streams : nodes[i]->streams;
        // Rows of one storage come in name order unless later sessions added to it.
        if (!std::is_sorted(list.cbegin(), list.cend(), byName))
            std::sort(list.begin(), list.end(), byName);
        if (std::adjacent_find(list.cbegin(), list.cend(), sameName) != list.cend())
            return { StorageFileStatus::Damaged, QStringLiteral("two streams of one name") };
        snapshot->storages[i].streams = list;
    }
    unlink.armed = false;
    return {};
}

void StorageDatabase::failFetch(const StorageFileStatus &status)
{
    if (m_fetchFailure.isOk())
        m_fetchFailure = status;
}

QByteArray StorageDatabase::fetch(qint64 id, qint64 size)
{
    using Step = LxSqlite::Statement::Step;
    if (!m_inSession)
        return QByteArray();
    if (!m_fetchReady || m_readyId != id) {
        m_fetchReady = false;
        m_fetch.abandon();
        if ((!m_fetch.isPrepared() && !m_db.prepare(m_fetch, "SELECT id, data FROM stream_data WHERE id >= ?1"))
                || !m_fetch.bind(1, id)) {
            failFetch(fromSqlite(StorageFileStatus::ReadFailed));
            return QByteArray();
        }
        const Step step = m_fetch.step();
        if (step == Step::Failed) {
            failFetch(fromSqlite(StorageFileStatus::ReadFailed));
            return QByteArray();
        }
        m_fetchReady = step == Step::Row;
        m_readyId = m_fetchReady ? m_fetch.columnInt64(0) : 0;
    }
    if (!m_fetchReady || m_readyId != id) {
        failFetch({ StorageFileStatus::Damaged, QStringLiteral("stream data missing") });
        return QByteArray();
    }
    QByteArray bytes = m_fetch.columnBlob(1);
    if (bytes.size() != size) {
        failFetch({ StorageFileStatus::Damaged, QStringLiteral("stream data of wrong size") });
        return QByteArray();
    }
    if (bytes.isNull())
        bytes = QByteArray("", 0); // read, and empty: not the null of a failure
    // Have the following row ready: the next request is most likely for it.
    const Step next = m_fetch.step();
    m_fetchReady = next == Step::Row;
    m_readyId = m_fetchReady ? m_fetch.columnInt64(0) : 0;
    return bytes;
}

StorageFileStatus StorageDatabase::quickCheck()
{
    LxSqlite::Statement check;
    if (!m_db.prepare(check, "PRAGMA quick_check(1)"))
        return fromSqlite(StorageFileStatus::ReadFailed);
    const LxSqlite::Statement::Step step = check.step();
    if (step == LxSqlite::Statement::Step::Failed)
        return fromSqlite(StorageFileStatus::ReadFailed);
    const QString answer = step == LxSqlite::Statement::Step::Row ? check.columnText(0) : QString();
    if (answer != QLatin1String("ok"))
        return { StorageFileStatus::Damaged, answer };
    return {};
}

StorageFileStatus StorageDatabase::checkBeforeWriting(const FileIdentity &identity)
{
    int error = 0;
    if (!writePermitted(m_path, &error)) {
        if (error == ENOENT)
            return { StorageFileStatus::Changed, QStringLiteral("file removed") };
        StorageFileStatus status = statusFromErrno(error, StorageFileStatus::WriteFailed);
        if (status.code == StorageFileStatus::NoPermission)
            status.code = StorageFileStatus::ReadOnly;
        return status;
    }
    // The session's lock keeps other sessions of this file out, not a new file moved over it.
    if (FileIdentity::of(m_path) != identity)
        return { StorageFileStatus::Changed, QStringLiteral("file replaced") };
    // Loading reads the tables, not the indexes or the free list. Writing into a file
    // damaged there could spread the damage, so the whole file is checked first.
    return quickCheck();
}

StorageFileStatus StorageDatabase::commit(const StorageNode &root, const StorageSnapshot *snapshot,
                                          const FileIdentity &identity)
{
    if (!m_inSession)
        return { StorageFileStatus::WriteFailed, QStringLiteral("no session") };
    RowWriter writer(m_db, [&] { return checkBeforeWriting(identity); });
    bool written;
    if (snapshot) {
        written = ChangeWalker(snapshot, this, writer).walkRoot(root);
    } else {
        qint64 rootId = 0;
        written = writer.start() && m_db.exec("DELETE FROM stream_data; DELETE FROM stream; DELETE FROM storage")
                && writer.insertRoot(&rootId) && ChangeWalker(nullptr, this, writer).walk(root, rootId, nullptr);
    }
    StorageFileStatus status;
    if (!written) {
        status = !writer.status().isOk()   ? writer.status()
                : !m_fetchFailure.isOk() ? m_fetchFailure
                                         : fromSqlite(StorageFileStatus::WriteFailed);
    } else if (writer.started()) {
        m_fetch.abandon(); // a pending read would hold up the commit
        if (!m_db.exec("COMMIT"))
            status = fromSqlite(StorageFileStatus::WriteFailed);
        else
            m_inSession = false;
    }
    close();
    return status;
}

void StorageDatabase::close()
{
    m_fetchReady = false;
    m_fetch.finalize();
    if (m_inSession && m_db.inTransaction()) {
        // Ends the session's read transaction, or rolls back a failed commit. Closing the
        // connection below rolls back whatever ROLLBACK could not.
        const LxSqlite::Error cause = m_db.lastError();
        const bool rolledBack = m_db.exec("ROLLBACK");
        Q_UNUSED(rolledBack);
        m_db.setLastError(cause);
    }
    m_inSession = false;
    // Nothing is pending once a session ends, so closing cannot lose data.
    if (!m_db.close())
        qWarning("LxFileSystem: closing %s: %s", qPrintable(m_path), qPrintable(m_db.lastError().message));
}

StorageFileStatus StorageDatabase::writeNewFile(const QString &path, const StorageNode &root, bool replace)
{
    const QFileInfo info(path);
    const QByteArray target = QFile::encodeName(info.absoluteFilePath());
    const QByteArray directory = QFile::encodeName(info.absolutePath());
    // Next to the target, so that the final rename stays within one file system.
    QByteArray temporary;
    for (int attempt = 0; temporary.isEmpty(); ++attempt) {
        const QByteArray candidate = directory + "/." + QFile::encodeName(info.fileName()) + '.'
                + QByteArray::number(QRandomGenerator::global()->generate(), 16) + ".tmp";
        const int fd = ::open(candidate.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            ::close(fd);
            temporary = candidate;
        } else if (errno != EEXIST || attempt == 100) {
            return statusFromErrno(errno, StorageFileStatus::WriteFailed);
        }
    }
    TemporaryFileGuard guard(temporary);

    StorageDatabase file;
    file.m_path = QFile::decodeName(temporary);
    LxSqlite::Database &db = file.m_db;
    if (!db.open(file.m_path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX) || !configure(db, Origin::New))
        return file.fromSqlite(StorageFileStatus::WriteFailed);
    // No journal: until the rename the file is nobody's, and a failed write discards it.
    const QByteArray setup = QByteArrayLiteral("PRAGMA page_size = ") + QByteArray::number(kPageSize)
            + "; PRAGMA encoding = 'UTF-8'; PRAGMA journal_mode = OFF";
    const QByteArray header = QByteArrayLiteral("PRAGMA application_id = ") + QByteArray::number(kApplicationId)
            + "; PRAGMA user_version = " + QByteArray::number(kFormatVersion);
    if (!db.exec(setup.constData()))
        return file.fromSqlite(StorageFileStatus::WriteFailed);
    {
        LxSqlite::Transaction transaction(db);
        RowWriter writer(db, {});
        qint64 rootId = 0;
        const bool written = transaction.begin() && db.exec(header.constData())
                && db.exec(kStorageTable) && db.exec(kStreamTable) && db.exec(kDataTable) && writer.insertRoot(&rootId)
                && ChangeWalker(nullptr, nullptr, writer).walk(root, rootId, nullptr) && transaction.commit();
        if (!written)
            return file.fromSqlite(StorageFileStatus::WriteFailed);
    }
    if (!db.close())
        return file.fromSqlite(StorageFileStatus::WriteFailed);

    struct stat existing;
    if (replace && ::stat(target.constData(), &existing) == 0)
        ::chmod(temporary.constData(), existing.st_mode & 07777); // keep the replaced file's permissions
    // A journal left behind by a crashed session of a vanished file would be taken as this
    // new file's and "roll it back" into garbage.
    const QByteArray staleJournal = target + "-journal";
    if (::unlink(staleJournal.constData()) != 0 && errno != ENOENT)
        return statusFromErrno(errno, StorageFileStatus::WriteFailed);
    int renamed = -1;
    if (!replace) {
#ifdef RENAME_NOREPLACE
        renamed = ::renameat2(AT_FDCWD, temporary.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE);
        if (renamed != 0 && errno == EEXIST)
            return { StorageFileStatus::Changed, QStringLiteral("file created meanwhile") };
        if (renamed != 0 && errno != EINVAL && errno != ENOSYS)
            return statusFromErrno(errno, StorageFileStatus::WriteFailed);
#endif
    }
    if (renamed != 0 && ::rename(temporary.constData(), target.constData()) != 0)
        return statusFromErrno(errno, StorageFileStatus::WriteFailed);
    guard.release();
    syncDirectory(directory);
    return {};
}
