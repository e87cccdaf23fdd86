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

// What the file held when the session began, so that a commit writes only the rows whose
// contents differ from the tree being saved. The stream lists are shared with the tree
// until a write changes them.
struct StorageSnapshot
{
    struct Storage
    {
        qint64 id;
        qint64 parent; // 0 for the root
        QString name;
        StreamList streams;
    };

    qint64 revision = 0;
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
    };

    StorageFileStatus() = default;
    StorageFileStatus(Code code, const QString &detail = QString()) : code(code), detail(detail) { }
    bool isOk() const { return code == Ok; }

    Code code = Ok;
    QString detail; // technical cause, for messages
    qint64 version = 0; // the file's format version, for UnsupportedVersion
};

// One storage file on disk: its schema, checks, reading and writing.
//
// A file is an SQLite database in rollback-journal mode with a fixed schema (see SCHEMA.md),
// identified by its application id and format version. Sessions hold no lock between open
// and commit; a commit takes the write lock, checks that nobody else committed since the
// session began (revision and file identity) and writes only the rows that changed.
class StorageDatabase
{
public:
    static constexpr qint32 kApplicationId = 0x4B76424C; // "KvBL"
    static constexpr qint64 kFormatVersion = 1;

    // Opens an existing file and checks that it is a storage file of a known version.
    StorageFileStatus open(const QString &path);
    bool isReadOnly() const { return m_db.isReadOnly(); }
    // Reads the whole tree into root, which must be empty, and its rows into snapshot.
    StorageFileStatus load(StorageNode &root, StorageSnapshot *snapshot);
    StorageFileStatus readRevision(qint64 *revision);
    // Saves root as one transaction: the rows that differ from snapshot, or, without a
    // snapshot, the whole tree in place of everything the file held. Fails with Changed
    // when another session committed since revision was read or the path now leads to
    // another file, and with Damaged, before writing anything, when the file fails SQLite's
    // quick check.
    StorageFileStatus commit(const StorageNode &root, const StorageSnapshot *snapshot, qint64 revision,
                             const FileIdentity &identity);
    void close();

    // Writes root into a new file that appears at path complete or not at all. With
    // replace, an existing file at path is replaced; otherwise a file that appeared there
    // in the meantime is left alone and Changed is reported.
    static StorageFileStatus writeNewFile(const QString &path, const StorageNode &root, bool replace);

private:
    StorageFileStatus quickCheck();
    StorageFileStatus fromSqlite(StorageFileStatus::Code fallback) const;

    LxSqlite::Database m_db;
    QString m_path;
};

// Whether root differs from what snapshot holds.
bool treeDiffers(const StorageNode &root, const StorageSnapshot &snapshot);
