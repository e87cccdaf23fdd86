#include "StorageTestSupport.h"

#include "StorageTreeText.h"

#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>

#include <sqlite3.h>

namespace StorageTestSupport {

namespace {

QByteArray content(QRandomGenerator &random, int minimum, int maximum)
{
    QByteArray data(minimum + int(random.bounded(maximum - minimum + 1)), Qt::Uninitialized);
    for (char &c : data)
        c = char('a' + random.bounded(26));
    return data;
}

template<typename Fill>
QString create(const QString &path, Fill fill)
{
    FileView view;
    view.create(path);
    if (!view.isOpen())
        return view.errorString();
    {
        RootView root(view.createRootView());
        fill(root.get());
    }
    view.close();
    return view.errorString();
}

} // namespace

Scratch::Scratch()
{
    file.create(QString());
    root.reset(file.createRootView());
}

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
    Scratch scratch;
    writeLibraryTree(scratch.root.get(), seed, blocks);
    return StorageTreeText::lines(scratch.root.get());
}

QString createFile(const QString &path, const Streams &streams)
{
    return create(path, [&](FileStorageView *root) { StorageTreeText::write(root, streams); });
}

QString createFile(const QString &path, quint32 seed, int blocks)
{
    return create(path, [&](FileStorageView *root) { writeLibraryTree(root, seed, blocks); });
}

QStringList treeOf(const QString &path)
{
    FileView view;
    view.open(path);
    if (!view.isOpen())
        return { QStringLiteral("cannot open: ") + view.errorString() };
    RootView root(view.createRootView());
    const QStringList lines = StorageTreeText::lines(root.get());
    root.reset();
    view.close();
    if (view.hasError())
        return { QStringLiteral("cannot close: ") + view.errorString() };
    return lines;
}

QString integrityCheck(const QString &path)
{
    return query(path, "PRAGMA integrity_check").join(QLatin1Char('\n'));
}

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
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

QStringList query(const QString &path, const QByteArray &sql)
{
    sqlite3 *db = nullptr;
    sqlite3_stmt *statement = nullptr;
    QStringList rows;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK
            || sqlite3_prepare_v2(db, sql.constData(), -1, &statement, nullptr) != SQLITE_OK) {
        rows << QStringLiteral("error: ") + QString::fromUtf8(sqlite3_errmsg(db));
    } else {
        while (sqlite3_step(statement) == SQLITE_ROW) {
            QStringList columns;
            for (int i = 0; i < sqlite3_column_count(statement); ++i)
                columns << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, i)));
            rows << columns.join(QLatin1Char(' ')).trimmed();
        }
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
}

bool breakIndex(const QString &path, const char *index)
{
    const QStringList found = query(path, QByteArray("SELECT rootpage, (SELECT page_size FROM pragma_page_size) "
                                                     "FROM sqlite_schema WHERE name = '") + index + "'")
                                      .value(0)
                                      .split(QLatin1Char(' '));
    const qint64 page = found.value(0).toLongLong();
    const qint64 pageSize = found.value(1).toLongLong();
    QFile file(path);
    if (page < 2 || pageSize < 512 || !file.open(QIODevice::ReadWrite) || !file.seek((page - 1) * pageSize))
        return false;
    return file.write(QByteArray(int(pageSize), '\0')) == pageSize;
}

} // namespace StorageTestSupport
