#include "Sqlite_p.h"

#include <QtCore/QtEndian>

#include <sqlite3.h>

namespace LxSqlite {

Database::~Database()
{
    if (m_db)
        sqlite3_close_v2(m_db); // teardown: the result cannot be acted on any more
}

bool Database::open(const QString &path, int flags)
{
    if (m_db && !close())
        return false;
    m_error = Error();
    const QByteArray encodedPath = path.toUtf8();
    const int rc = sqlite3_open_v2(encodedPath.constData(), &m_db, flags | SQLITE_OPEN_EXRESCODE, nullptr);
    if (rc != SQLITE_OK) {
        if (!m_db)
            return fail(rc, QString::fromUtf8(sqlite3_errstr(rc)));
        fail(rc);
        sqlite3_close_v2(m_db);
        m_db = nullptr;
        return false;
    }
    return true;
}

bool Database::close()
{
    if (!m_db)
        return true;
    const int rc = sqlite3_close_v2(m_db);
    if (rc != SQLITE_OK)
        return fail(rc);
    m_db = nullptr;
    return true;
}

bool Database::isReadOnly() const
{
    return m_db && sqlite3_db_readonly(m_db, "main") == 1;
}

bool Database::exec(const char *sql)
{
    const int rc = sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr);
    return rc == SQLITE_OK || fail(rc);
}

bool Database::prepare(Statement &statement, const char *sql)
{
    statement.finalize();
    statement.m_db = this;
    const int rc = sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement.m_statement, nullptr);
    return rc == SQLITE_OK || fail(rc);
}

bool Database::queryInt64(const char *sql, qint64 *value)
{
    Statement statement;
    if (!prepare(statement, sql))
        return false;
    const Statement::Step result = statement.step();
    if (result == Statement::Step::Failed)
        return false;
    if (result == Statement::Step::Done)
        return fail(SQLITE_CORRUPT, QStringLiteral("no result for %1").arg(QLatin1String(sql)));
    if (statement.columnType(0) != SQLITE_INTEGER)
        return fail(SQLITE_CORRUPT, QStringLiteral("no integer result for %1").arg(QLatin1String(sql)));
    *value = statement.columnInt64(0);
    return true;
}

qint64 Database::lastInsertRowId() const
{
    return sqlite3_last_insert_rowid(m_db);
}

int Database::changes() const
{
    return sqlite3_changes(m_db);
}

bool Database::inTransaction() const
{
    return m_db && sqlite3_get_autocommit(m_db) == 0;
}

bool Database::fail(int rc)
{
    m_error.code = rc;
    m_error.systemErrno = m_db ? sqlite3_system_errno(m_db) : 0;
    // sqlite3_system_errno() reads errno after SQLite moved on, which can hide the cause;
    // the database file keeps the errno of its own last failed call.
    const int primary = rc & 0xff;
    if (m_db && m_error.systemErrno == 0 && (primary == SQLITE_IOERR || primary == SQLITE_FULL)) {
        int fileErrno = 0;
        if (sqlite3_file_control(m_db, "main", SQLITE_FCNTL_LAST_ERRNO, &fileErrno) == SQLITE_OK)
            m_error.systemErrno = fileErrno;
    }
    const char *message = m_db ? sqlite3_errmsg(m_db) : nullptr;
    // SQLite quotes parts of a damaged schema in its messages; they become part of one-line
    // error texts, so line breaks and runs of blanks are folded.
    m_error.message = QString::fromUtf8(message ? message : sqlite3_errstr(rc)).simplified();
    return false;
}

bool Database::fail(int rc, const QString &message)
{
    m_error.code = rc;
    m_error.systemErrno = 0;
    m_error.message = message;
    return false;
}

Statement::~Statement()
{
    finalize();
}

void Statement::finalize()
{
    // sqlite3_finalize repeats the last step's result, which was already handled there.
    if (m_statement)
        sqlite3_finalize(m_statement);
    m_statement = nullptr;
}

bool Statement::bind(int index, qint64 value)
{
    const int rc = sqlite3_bind_int64(m_statement, index, value);
    return rc == SQLITE_OK || m_db->fail(rc);
}

bool Statement::bindNull(int index)
{
    const int rc = sqlite3_bind_null(m_statement, index);
    return rc == SQLITE_OK || m_db->fail(rc);
}

bool Statement::bindName(int index, const QString &name)
{
    int rc;
    if (name.isValidUtf16()) {
        // SQLite stores it as UTF-8, the file's encoding.
        static const char16_t empty[] = u"";
        const void *units = name.isEmpty() ? empty : static_cast<const void *>(name.utf16());
        rc = sqlite3_bind_text64(m_statement, index, static_cast<const char *>(units),
                                 sqlite3_uint64(name.size()) * sizeof(QChar), SQLITE_STATIC, SQLITE_UTF16);
    } else {
        QByteArray units(name.size() * 2, Qt::Uninitialized);
        for (qsizetype i = 0; i < name.size(); ++i)
            qToLittleEndian<quint16>(name.at(i).unicode(), units.data() + 2 * i);
        rc = sqlite3_bind_blob64(m_statement, index, units.constData(), sqlite3_uint64(units.size()), SQLITE_TRANSIENT);
    }
    return rc == SQLITE_OK || m_db->fail(rc);
}

bool Statement::bind(int index, const QByteArray &blob)
{
    // A null pointer would bind SQL NULL; an empty stream is an empty blob.
    const int rc = blob.isEmpty()
            ? sqlite3_bind_zeroblob(m_statement, index, 0)
            : sqlite3_bind_blob64(m_statement, index, blob.constData(), sqlite3_uint64(blob.size()), SQLITE_STATIC);
    return rc == SQLITE_OK || m_db->fail(rc);
}

Statement::Step Statement::step()
{
    const int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_ROW)
        return Step::Row;
    if (rc == SQLITE_DONE)
        return Step::Done;
    m_db->fail(rc);
    return Step::Failed;
}

bool Statement::execute()
{
    const Step result = step();
    if (result == Step::Failed) {
        sqlite3_reset(m_statement); // repeats the failure just recorded
        return false;
    }
    if (result == Step::Row) {
        sqlite3_reset(m_statement);
        return m_db->fail(SQLITE_MISUSE, QStringLiteral("statement returned rows"));
    }
    return reset();
}

bool Statement::reset()
{
    const int rc = sqlite3_reset(m_statement);
    return rc == SQLITE_OK || m_db->fail(rc);
}

void Statement::abandon()
{
    if (m_statement)
        sqlite3_reset(m_statement);
}

int Statement::columnType(int column) const
{
    return sqlite3_column_type(m_statement, column);
}

qint64 Statement::columnInt64(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

QString Statement::columnText(int column) const
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    const int bytes = sqlite3_column_bytes(m_statement, column);
    return text && bytes > 0 ? QString::fromUtf8(text, bytes) : QString();
}

bool Statement::columnName(int column, QString *name) const
{
    switch (sqlite3_column_type(m_statement, column)) {
    case SQLITE_TEXT:
        *name = columnText(column);
        return true;
    case SQLITE_BLOB: {
        const auto *units = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
        const int bytes = sqlite3_column_bytes(m_statement, column);
        if (bytes % 2 != 0)
            return false;
        QString decoded(bytes / 2, Qt::Uninitialized);
        for (qsizetype i = 0; i < decoded.size(); ++i)
            decoded[i] = QChar(qFromLittleEndian<quint16>(units + 2 * i));
        *name = std::move(decoded);
        return true;
    }
    default:
        return false;
    }
}

QByteArrayView Statement::columnUtf8View(int column) const
{
    if (sqlite3_column_type(m_statement, column) != SQLITE_TEXT)
        return QByteArrayView();
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    const int bytes = sqlite3_column_bytes(m_statement, column);
    return QByteArrayView(text ? text : "", bytes);
}

QByteArray Statement::columnBlob(int column) const
{
    const void *data = sqlite3_column_blob(m_statement, column);
    const int bytes = sqlite3_column_bytes(m_statement, column);
    if (!data || bytes <= 0)
        return QByteArray();
    return QByteArray(static_cast<const char *>(data), bytes);
}

Transaction::~Transaction()
{
    rollback();
}

bool Transaction::begin()
{
    m_active = m_db.exec("BEGIN IMMEDIATE");
    return m_active;
}

bool Transaction::commit()
{
    if (!m_db.exec("COMMIT"))
        return false;
    m_active = false;
    return true;
}

void Transaction::rollback()
{
    if (!m_active)
        return;
    m_active = false;
    // Some failures (a full disk, an I/O error) already rolled the transaction back.
    if (m_db.inTransaction()) {
        const Error cause = m_db.lastError();
        if (!m_db.exec("ROLLBACK"))
            m_db.setLastError(cause); // keep the error that made us roll back
    }
}

} // namespace LxSqlite
