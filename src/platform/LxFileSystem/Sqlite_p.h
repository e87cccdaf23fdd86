#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtCore/QString>

struct sqlite3;
struct sqlite3_stmt;

// A small RAII layer over the SQLite C API. Every call's result code is checked; a failure
// is recorded in the database's lastError() and reported as false, never thrown.
namespace LxSqlite {

struct Error
{
    int code = 0;        // extended result code of the failed call
    int systemErrno = 0; // the operating system's errno behind an I/O failure, or 0
    QString message;     // SQLite's text for the failure
};

class Statement;

class Database
{
public:
    Database() = default;
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // flags are SQLITE_OPEN_* values. Opening for writing falls back to reading when the
    // file cannot be opened for writing; isReadOnly() tells which happened.
    [[nodiscard]] bool open(const QString &path, int flags);
    [[nodiscard]] bool close();
    bool isOpen() const { return m_db != nullptr; }
    bool isReadOnly() const;

    // Runs SQL without parameters; rows it returns are ignored.
    [[nodiscard]] bool exec(const char *sql);
    // Prepares sql into statement (replacing what it held).
    [[nodiscard]] bool prepare(Statement &statement, const char *sql);
    // Runs a query returning one integer, such as a PRAGMA.
    [[nodiscard]] bool queryInt64(const char *sql, qint64 *value);

    qint64 lastInsertRowId() const;
    int changes() const;
    bool inTransaction() const;

    const Error &lastError() const { return m_error; }
    // Records the failure rc of a call on this connection; always returns false.
    bool fail(int rc);
    // Records a failure detected by the caller (for example a constraint the engine checks).
    bool fail(int rc, const QString &message);
    void setLastError(const Error &error) { m_error = error; }
    sqlite3 *handle() const { return m_db; }

private:
    sqlite3 *m_db = nullptr;
    Error m_error;
};

// A prepared statement. Bound text and blobs are not copied: they must stay alive and
// unchanged until the statement is stepped to its end or reset.
class Statement
{
public:
    enum class Step { Row, Done, Failed };

    Statement() = default;
    ~Statement();
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    bool isPrepared() const { return m_statement != nullptr; }
    void finalize();

    [[nodiscard]] bool bind(int index, qint64 value);
    [[nodiscard]] bool bindNull(int index);
    // Binds a name: as text, or, when it is not well-formed UTF-16 (an unpaired surrogate),
    // as a blob of its UTF-16LE code units, since text would lose the surrogate.
    [[nodiscard]] bool bindName(int index, const QString &name);
    [[nodiscard]] bool bind(int index, const QByteArray &blob);

    Step step();
    // Steps a statement that returns no rows, then resets it for the next use.
    [[nodiscard]] bool execute();
    [[nodiscard]] bool reset();
    // Resets a statement whose pending row is no longer wanted; an error of that row is
    // nobody's concern.
    void abandon();

    int columnType(int column) const;
    qint64 columnInt64(int column) const;
    QString columnText(int column) const;
    // A name bound with bindName(); false for a value that is neither text nor an even
    // number of bytes.
    [[nodiscard]] bool columnName(int column, QString *name) const;
    // The UTF-8 bytes of a text value without a copy, valid until the statement moves on;
    // null for other values.
    QByteArrayView columnUtf8View(int column) const;
    QByteArray columnBlob(int column) const;

private:
    friend class Database;

    Database *m_db = nullptr;
    sqlite3_stmt *m_statement = nullptr;
};

// A write transaction: begin() takes the write lock at once; destruction rolls back unless
// commit() succeeded.
class Transaction
{
public:
    explicit Transaction(Database &db) : m_db(db) { }
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    [[nodiscard]] bool begin();
    [[nodiscard]] bool commit();
    void rollback();

private:
    Database &m_db;
    bool m_active = false;
};

} // namespace LxSqlite
