#pragma once

#include "Sqlite_p.h"
#include "StorageTree_p.h"

#include <QtCore/QString>

#include <vector>

// Where a path led when a session began: a file replaced by another one (renamed over it,
// deleted and recreated) has a different identity even if its contents look alike.
struct FileIdentity
{
    static FileIdentity of(const QString &path);
    bool operator==(const FileIdentity &other) const
    {
        return exists == other.exists && device == other.device && inode == other.inode;
    }
    bool operator!=(const FileIdentity &other) const { return !(*this == other); }

    bool exists = false;
    quint64 device = 0;
    quint64 inode = 0;
};

// Whether the file at path may be written: the process must be allowed to, and the file's
// permission bits must grant writing to someone. The second test makes a file without write
// permission read-only also for a process that may write anything (root). On false, *error
// (when given) holds the errno of the refusal, EACCES for the permission bits.
bool writePermitted(const QString &path, int *error = nullptr);

// The storages a file held when the session began, with their stream lists (shared with the
// tree until a write changes them), so that a commit writes only the rows that differ.
struct StorageSnapshot
{
    struct Storage
    {
        qint64 id;
        qint64 parent; // 0 for the root
        QString name;
        StreamList streams;
    };

    size_t root = 0; // index of the root in storages
    std::vector<Storage> storages;
};

// The outcome of an operation on a storage file: a cause the caller turns into a message.
struct StorageFileStatus
{
    enum Code {
        Ok,
        NotFound,
        NotStorageFile,
        UnsupportedVersion,
        Damaged,
        Locked,
        Changed,
        ReadOnly,
        NoPermission,
        DiskFull,
        ReadFailed,
        WriteFailed,
        TooDeep,
    };

    StorageFileStatus() = default;
    StorageFileStatus(Code code, const QString &detail = QString()) : code(code), detail(detail) { }
    bool isOk() const { return code == Ok; }

    Code code = Ok;
    QString detail;     // technical cause, for messages
    qint64 version = 0; // the file's format version, for UnsupportedVersion
};

// One storage file on disk: its schema, checks, reading and writing.
//
// A file is an SQLite database in rollback-journal mode with a fixed schema (described in the README),
// identified by its application id and format version. A session keeps one read
// transaction from open() to close(): what it reads is what the file held when it opened,
// and no other session can commit in between. Stream bytes are read on demand, in file
// order where the caller follows it, and never held here.
class StorageDatabase final : public StreamSource
{
public:
    static constexpr qint32 kApplicationId = 0x4B76424C; // "KvBL"
    static constexpr qint64 kFormatVersion = 1;

    ~StorageDatabase() override;

    // Opens an existing file, begins the session's read transaction and checks that the
    // file is a storage file of a known version.
    StorageFileStatus open(const QString &path);
    bool isReadOnly() const { return m_db.isReadOnly(); }
    // Reads the tree's structure into root, which must be empty, and into snapshot.
    StorageFileStatus load(StorageNode &root, StorageSnapshot *snapshot);
    QByteArray fetch(qint64 id, qint64 size) override;
    // Why a fetch() failed; Ok while none did.
    const StorageFileStatus &fetchFailure() const { return m_fetchFailure; }
    // Saves root as one transaction and ends the session: the rows that differ from
    // snapshot, or, without a snapshot, the whole tree in place of everything the file held.
    // Nothing is written when nothing differs. Fails with Changed when the path now leads to
    // another file, with Locked when another session holds the file, and with Damaged,
    // before writing anything, when the file fails SQLite's quick check.
    StorageFileStatus commit(const StorageNode &root, const StorageSnapshot *snapshot, const FileIdentity &identity);
    // Ends the session (without saving) and closes the file.
    void close();

    // Writes root into a new file that appears at path complete or not at all. With
    // replace, an existing file at path is replaced; otherwise a file that appeared there
    // in the meantime is left alone and Changed is reported.
    static StorageFileStatus writeNewFile(const QString &path, const StorageNode &root, bool replace);

private:
    friend class RowWriter;
    StorageFileStatus checkBeforeWriting(const FileIdentity &identity);
    StorageFileStatus quickCheck();
    StorageFileStatus fromSqlite(StorageFileStatus::Code fallback) const;
    void failFetch(const StorageFileStatus &status);

    LxSqlite::Database m_db;
    QString m_path;
    // The session's read transaction, open from open() until commit() or close().
    bool m_inSession = false;
    // Fetches walk the data table in row order; the row after the last one fetched is kept
    // ready, since callers mostly read streams in the order they were written.
    LxSqlite::Statement m_fetch;
    bool m_fetchReady = false;
    qint64 m_readyId = 0;
    StorageFileStatus m_fetchFailure;
};
