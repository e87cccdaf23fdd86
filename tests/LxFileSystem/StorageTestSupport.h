#pragma once

// Helpers shared by the storage file tests and their helper program.

#include "StorageTreeText.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QFile>
#include <QtCore/QRandomGenerator>

#include <sqlite3.h>

#include <memory>

namespace StorageTestSupport {

using Streams = QList<QPair<QString, QByteArray>>;
using RootView = std::unique_ptr<FileStorageView>;

// An in-memory storage file and its root view (destroyed first, as it must be).
struct Scratch
{
    Scratch() { file.create(QString()); root.reset(file.createRootView()); }
    FileView file;
    RootView root;
};

// A deterministic tree shaped like a block library: "Blocks" with `blocks` storages of an
// info stream and a version storage of streams from 50 bytes to 20 KB. Each seed gives other
// contents and a few other names.
inline void writeLibraryTree(FileStorageView *root, quint32 seed, int blocks)
{
    QRandomGenerator random(seed);
    const auto content = [&](int minimum, int maximum) {
        QByteArray data(minimum + int(random.bounded(maximum - minimum + 1)), Qt::Uninitialized);
        for (char &c : data)
            c = char('a' + random.bounded(26));
        return data;
    };
    root->writeStream(QStringLiteral("Info.ini"), content(50, 300));
    for (int block = 0; block < blocks; ++block) {
        FileStorageView *storage = root->storage(QStringLiteral("Blocks"))->storage(
                block % 7 == 3 ? QStringLiteral("Block%1-%2").arg(block).arg(seed) : QStringLiteral("Block%1").arg(block));
        storage->writeStream(QStringLiteral("Info.ini"), content(50, 300));
        FileStorageView *version = storage->storage(QStringLiteral("V0"));
        for (int i = 0; i < 8; ++i)
            version->writeStream(QStringLiteral("Pin%1").arg(i), content(50, 300));
        version->writeStream(QStringLiteral("Images"), content(1000, 4000));
        version->writeStream(QStringLiteral("Skin"), content(1000, 4000));
        version->writeStream(QStringLiteral("Code"), content(2000, 20000));
    }
}

// Creates the file with those streams or that library tree; the error of create() or close().
template<typename Fill>
QString createFileWith(const QString &path, Fill fill)
{
    FileView view;
    view.create(path);
    if (!view.isOpen())
        return view.errorString();
    fill(RootView(view.createRootView()).get());
    view.close();
    return view.errorString();
}
inline QString createFile(const QString &path, const Streams &streams)
{
    return createFileWith(path, [&](FileStorageView *root) { StorageTreeText::write(root, streams); });
}
inline QString createFile(const QString &path, quint32 seed, int blocks)
{
    return createFileWith(path, [&](FileStorageView *root) { writeLibraryTree(root, seed, blocks); });
}

// The tree lines of the file (having written a stream, if asked to), or one line saying why it
// cannot be opened or closed.
inline QStringList treeOf(const QString &path, bool write = false)
{
    FileView view;
    view.open(path);
    if (!view.isOpen())
        return { QStringLiteral("cannot open: ") + view.errorString() };
    QStringList lines;
    {
        RootView root(view.createRootView());
        lines = StorageTreeText::lines(root.get());
        if (write)
            root->writeStream(QStringLiteral("Info.ini"), "changed");
    }
    view.close();
    if (view.hasError())
        return { QStringLiteral("cannot close: ") + view.errorString() };
    return lines;
}

inline QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

// Runs an SQL script on the file with SQLite directly; returns SQLite's error or "".
inline QString execSql(const QString &path, const QString &sql)
{
    sqlite3 *db = nullptr;
    sqlite3_open(QFile::encodeName(path).constData(), &db);
    char *message = nullptr;
    const int result = sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &message);
    const QString error = result == SQLITE_OK ? QString() : QString::fromUtf8(message ? message : sqlite3_errmsg(db));
    sqlite3_free(message);
    sqlite3_close(db);
    return error;
}

// The rows of a read-only query, each row's columns joined by spaces (NULL as "").
inline QStringList query(const QString &path, const QByteArray &sql)
{
    sqlite3 *db = nullptr;
    sqlite3_stmt *statement = nullptr;
    QStringList rows;
    sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    if (sqlite3_prepare_v2(db, sql.constData(), -1, &statement, nullptr) != SQLITE_OK)
        rows << QStringLiteral("error: ") + QString::fromUtf8(sqlite3_errmsg(db));
    while (statement && sqlite3_step(statement) == SQLITE_ROW) {
        QStringList columns;
        for (int i = 0; i < sqlite3_column_count(statement); ++i)
            columns << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, i)));
        rows << columns.join(QLatin1Char(' ')).trimmed();
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
}

inline QString integrityCheck(const QString &path)
{
    return query(path, "PRAGMA integrity_check").join(QLatin1Char('\n'));
}

// Zeros the root page of the named index: the tables stay readable, SQLite's checks fail.
inline bool breakIndex(const QString &path, const char *index)
{
    const QStringList found = query(path, QByteArray("SELECT rootpage, (SELECT page_size FROM pragma_page_size) "
                                                     "FROM sqlite_schema WHERE name = '") + index + "'")
                                      .value(0).split(QLatin1Char(' '));
    const qint64 page = found.value(0).toLongLong();
    const qint64 pageSize = found.value(1).toLongLong();
    QFile file(path);
    return page >= 2 && pageSize >= 512 && file.open(QIODevice::ReadWrite) && file.seek((page - 1) * pageSize)
            && file.write(QByteArray(int(pageSize), '\0')) == pageSize;
}

} // namespace StorageTestSupport
