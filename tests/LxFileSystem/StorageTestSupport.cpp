#include "StorageTestSupport.h"

#include "StorageTreeText.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>

#include <sqlite3.h>

#include <memory>

namespace StorageTestSupport {

namespace {

QByteArray content(QRandomGenerator &random, int minimum, int maximum)
{
    QByteArray data(minimum + int(random.bounded(maximum - minimum + 1)), Qt::Uninitialized);
    for (char &c : data)
        c = char('a' + random.bounded(26));
    return data;
}

} // namespace

void writeLibraryTree(FileStorageView *root, quint32 seed, int blocks)
{
    QRandomGenerator random(seed);
    root->writeStream(QStringLiteral("Info.ini"), content(random, 50, 300));
    FileStorageView *library = root->storage(QStringLiteral("Blocks"));
    for (int block = 0; block < blocks; ++block) {
        // Every seventh block's name depends on the seed, so trees differ in structure too.
        const QString name = block % 7 == 3 ? QStringLiteral("Block%1-%2").arg(block).arg(seed)
                                            : QStringLiteral("Block%1").arg(block);
        FileStorageView *storage = library->storage(name);
        storage->writeStream(QStringLiteral("Info.ini"), content(random, 50, 300));
        FileStorageView *version = storage->storage(QStringLiteral("V0"));
        for (int i = 0; i < 8; ++i)
            version->writeStream(QStringLiteral("Pin%1").arg(i), content(random, 50, 300));
        version->writeStream(QStringLiteral("Images"), content(random, 1000, 4000));
        version->writeStream(QStringLiteral("Skin"), content(random, 1000, 4000));
        version->writeStream(QStringLiteral("Code"), content(random, 2000, 20000));
    }
}

QStringList libraryTreeLines(quint32 seed, int blocks)
{
    FileView scratch;
    scratch.create(QString());
    std::unique_ptr<FileStorageView> root(scratch.createRootView());
    writeLibraryTree(root.get(), seed, blocks);
    return StorageTreeText::lines(root.get());
}

QString integrityCheck(const QString &path)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        const QString error = QString::fromUtf8(sqlite3_errmsg(db));
        sqlite3_close(db);
        return error;
    }
    QStringList answers;
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr) == SQLITE_OK) {
        while (sqlite3_step(statement) == SQLITE_ROW)
            answers << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)));
    } else {
        answers << QString::fromUtf8(sqlite3_errmsg(db));
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return answers.join(QLatin1Char('\n'));
}

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

QString execSql(const QString &path, const QString &sql)
{
    sqlite3 *db = nullptr;
    QString error;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                        nullptr) != SQLITE_OK) {
        error = QString::fromUtf8(sqlite3_errmsg(db));
    } else {
        char *message = nullptr;
        if (sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &message) != SQLITE_OK)
            error = QString::fromUtf8(message ? message : "error");
        sqlite3_free(message);
    }
    sqlite3_close(db);
    return error;
}

bool breakIndex(const QString &path, const char *index)
{
    sqlite3 *db = nullptr;
    qint64 page = 0;
    qint64 pageSize = 0;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt *statement = nullptr;
        const QByteArray sql = QByteArray("SELECT rootpage, (SELECT page_size FROM pragma_page_size) FROM sqlite_schema WHERE name = '") + index + "'";
        if (sqlite3_prepare_v2(db, sql.constData(), -1, &statement, nullptr) == SQLITE_OK
                && sqlite3_step(statement) == SQLITE_ROW) {
            page = sqlite3_column_int64(statement, 0);
            pageSize = sqlite3_column_int64(statement, 1);
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    QFile file(path);
    if (page < 2 || pageSize < 512 || !file.open(QIODevice::ReadWrite) || !file.seek((page - 1) * pageSize))
        return false;
    return file.write(QByteArray(int(pageSize), '\0')) == pageSize;
}

} // namespace StorageTestSupport
