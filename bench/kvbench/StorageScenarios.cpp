// Scenarios of the storage file engine: writing and reading a library-shaped tree, compared
// with SQLite used directly on the same rows and with a plain directory of files.
#include "LibraryTree.h"
#include "Scenario.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>

#include <sqlite3.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using KvBench::LibraryTree;

struct Totals
{
    qint64 streams = 0;
    qint64 bytes = 0;
    bool operator==(const Totals &other) const { return streams == other.streams && bytes == other.bytes; }
};

// --- through the engine -------------------------------------------------------------------

bool engineWrite(const LibraryTree &tree, const QString &path)
{
    FileView file;
    file.create(path);
    if (!file.isOpen())
        return false;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        tree.write(root.get());
    }
    file.close();
    return !file.hasError();
}

void walk(FileStorageView *view, Totals *totals)
{
    for (const QString &name : view->streamNames()) {
        totals->bytes += view->readStream(name).size();
        ++totals->streams;
    }
    for (const QString &name : view->storageNames())
        walk(view->storage(name), totals);
}

Totals engineRead(const QString &path)
{
    Totals totals;
    FileView file;
    file.open(path);
    if (!file.isOpen())
        return Totals { -1, -1 };
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        walk(root.get(), &totals);
    }
    file.close();
    return totals;
}

// --- SQLite directly, with the engine's schema ------------------------------------------

// The engine's schema, taken from a file the engine wrote, so that SQLite used directly
// stores exactly the same rows in the same tables (text encoding UTF-8 for both). The page
// size is the one setting compared both ways: SQLite's default, as anyone using SQLite
// directly gets it, and the engine's own choice.
struct Schema
{
    QList<QByteArray> statements;
    qint64 enginePageSize = 0;
};

bool readSchema(const QString &path, Schema *schema)
{
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK;
    sqlite3_stmt *statement = nullptr;
    ok = ok && sqlite3_prepare_v2(db, "SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY rowid", -1,
                                  &statement, nullptr) == SQLITE_OK;
    while (ok && sqlite3_step(statement) == SQLITE_ROW)
        schema->statements << QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)));
    sqlite3_finalize(statement);
    ok = ok && sqlite3_prepare_v2(db, "PRAGMA page_size", -1, &statement, nullptr) == SQLITE_OK
            && sqlite3_step(statement) == SQLITE_ROW;
    if (ok)
        schema->enginePageSize = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return ok && schema->statements.size() == 3;
}

qint64 defaultPageSize()
{
    sqlite3 *db = nullptr;
    qint64 size = 0;
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_open(":memory:", &db) == SQLITE_OK
            && sqlite3_prepare_v2(db, "PRAGMA page_size", -1, &statement, nullptr) == SQLITE_OK
            && sqlite3_step(statement) == SQLITE_ROW)
        size = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return size;
}

// pageSize 0 keeps SQLite's default.
bool sqliteWrite(const LibraryTree &tree, const Schema &schema, qint64 pageSize, const QString &path)
{
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                              nullptr) == SQLITE_OK;
    const QByteArray setup = "PRAGMA page_size = " + QByteArray::number(pageSize);
    ok = ok && (pageSize == 0 || sqlite3_exec(db, setup.constData(), nullptr, nullptr, nullptr) == SQLITE_OK)
            && sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
    for (const QByteArray &statement : schema.statements)
        ok = ok && sqlite3_exec(db, statement.constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_stmt *storage = nullptr;
    sqlite3_stmt *stream = nullptr;
    sqlite3_stmt *streamData = nullptr;
    ok = ok && sqlite3_prepare_v2(db, "INSERT INTO storage (parent, name) VALUES (?1, ?2)", -1, &storage, nullptr) == SQLITE_OK
            && sqlite3_prepare_v2(db, "INSERT INTO stream (storage, name, size) VALUES (?1, ?2, ?3)", -1, &stream, nullptr) == SQLITE_OK
            && sqlite3_prepare_v2(db, "INSERT INTO stream_data (id, data) VALUES (?1, ?2)", -1, &streamData, nullptr) == SQLITE_OK;
    const auto insertStorage = [&](qint64 parent, const QString &name) -> qint64 {
        const bool inserted = (parent ? sqlite3_bind_int64(storage, 1, parent) : sqlite3_bind_null(storage, 1)) == SQLITE_OK
                && sqlite3_bind_text16(storage, 2, name.utf16(), int(name.size() * 2), SQLITE_STATIC) == SQLITE_OK
                && sqlite3_step(storage) == SQLITE_DONE && sqlite3_reset(storage) == SQLITE_OK;
        return inserted ? sqlite3_last_insert_rowid(db) : 0;
    };
    const qint64 root = ok ? insertStorage(0, QString()) : 0;
    const qint64 blocks = root ? insertStorage(root, QStringLiteral("Blocks")) : 0;
    ok = ok && blocks;
    for (const LibraryTree::Block &block : tree.blocks) {
        const qint64 id = ok ? insertStorage(blocks, block.name) : 0;
        ok = ok && id;
        for (const LibraryTree::Stream &data : block.streams) {
            ok = ok && sqlite3_bind_int64(stream, 1, id) == SQLITE_OK
                    && sqlite3_bind_text16(stream, 2, data.name.utf16(), int(data.name.size() * 2), SQLITE_STATIC) == SQLITE_OK
                    && sqlite3_bind_int64(stream, 3, data.data.size()) == SQLITE_OK
                    && sqlite3_step(stream) == SQLITE_DONE && sqlite3_reset(stream) == SQLITE_OK
                    && sqlite3_bind_int64(streamData, 1, sqlite3_last_insert_rowid(db)) == SQLITE_OK
                    && sqlite3_bind_blob(streamData, 2, data.data.constData(), int(data.data.size()), SQLITE_STATIC) == SQLITE_OK
                    && sqlite3_step(streamData) == SQLITE_DONE && sqlite3_reset(streamData) == SQLITE_OK;
        }
    }
    sqlite3_finalize(storage);
    sqlite3_finalize(stream);
    sqlite3_finalize(streamData);
    ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    return sqlite3_close(db) == SQLITE_OK && ok;
}

Totals sqliteScan(const QString &path)
{
    Totals totals;
    qint64 names = 0;
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK
            && sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_stmt *statement = nullptr;
    ok = ok && sqlite3_prepare_v2(db, "SELECT id, parent, name FROM storage", -1, &statement, nullptr) == SQLITE_OK;
    while (ok && sqlite3_step(statement) == SQLITE_ROW) {
        sqlite3_column_text(statement, 2);
        names += sqlite3_column_int64(statement, 0) + sqlite3_column_int64(statement, 1)
                + sqlite3_column_bytes(statement, 2);
    }
    sqlite3_finalize(statement);
    ok = ok && sqlite3_prepare_v2(db, "SELECT id, storage, name, size FROM stream", -1, &statement, nullptr) == SQLITE_OK;
    while (ok && sqlite3_step(statement) == SQLITE_ROW) {
        sqlite3_column_text(statement, 2);
        names += sqlite3_column_int64(statement, 0) + sqlite3_column_int64(statement, 1)
                + sqlite3_column_bytes(statement, 2) + sqlite3_column_int64(statement, 3);
    }
    sqlite3_finalize(statement);
    ok = ok && sqlite3_prepare_v2(db, "SELECT id, data FROM stream_data", -1, &statement, nullptr) == SQLITE_OK;
    while (ok && sqlite3_step(statement) == SQLITE_ROW) {
        names += sqlite3_column_int64(statement, 0);
        const void *data = sqlite3_column_blob(statement, 1);
        totals.bytes += data ? sqlite3_column_bytes(statement, 1) : 0;
        ++totals.streams;
    }
    sqlite3_finalize(statement);
    ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    if (!ok || names == 0)
        return Totals { -1, -1 };
    return totals;
}

// --- a directory of files -----------------------------------------------------------------

void readDirectory(const QByteArray &path, std::vector<char> &buffer, Totals *totals)
{
    DIR *directory = ::opendir(path.constData());
    if (!directory)
        return;
    while (const dirent *entry = ::readdir(directory)) {
        const QByteArray name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        const QByteArray child = path + '/' + name;
        if (entry->d_type == DT_DIR) {
            readDirectory(child, buffer, totals);
            continue;
        }
        const int fd = ::open(child.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        ssize_t got;
        while ((got = ::read(fd, buffer.data(), buffer.size())) > 0)
            totals->bytes += got;
        ::close(fd);
        ++totals->streams;
    }
    ::closedir(directory);
}

Totals directoryRead(const QString &path)
{
    Totals totals;
    std::vector<char> buffer(64 * 1024);
    readDirectory(QFile::encodeName(path), buffer, &totals);
    return totals;
}

QString milliseconds(double ms)
{
    return QStringLiteral("%1 ms").arg(ms, 0, 'f', 1);
}

QString describeTree(const LibraryTree &tree)
{
    return QStringLiteral("%1 storages, %2 streams, %3 MB")
            .arg(tree.storageCount())
            .arg(tree.streamCount())
            .arg(double(tree.byteCount()) / (1024 * 1024), 0, 'f', 1);
}

constexpr int kLibraryBlocks = 10000;

} // namespace

KV_BENCH_SCENARIO(storageWrite, "storage-write",
                  "create, write and close a 10,000-storage library vs. SQLite inserting the same rows")
{
    const LibraryTree tree = LibraryTree::generate(kLibraryBlocks);
    context.report(describeTree(tree));
    const QString enginePath = context.workDirectory() + QStringLiteral("/engine.bli");
    const QString sqlitePath = context.workDirectory() + QStringLiteral("/sqlite.db");
    Schema schema;
    if (!engineWrite(tree, enginePath) || !readSchema(enginePath, &schema))
        return false;

    bool ok = true;
    const auto removeSqlite = [&] { QFile::remove(sqlitePath); };
    const int runs = std::max(5, context.repetitions());
    const double engine = KvBench::fastestRun(
            runs, [&] { ok = engineWrite(tree, enginePath) && ok; }, [&] { QFile::remove(enginePath); });
    const double sqlite = KvBench::fastestRun(
            runs, [&] { ok = sqliteWrite(tree, schema, 0, sqlitePath) && ok; }, removeSqlite);
    const double sqliteSamePages = KvBench::fastestRun(
            runs, [&] { ok = sqliteWrite(tree, schema, schema.enginePageSize, sqlitePath) && ok; }, removeSqlite);
    if (!ok)
        return false;
    context.report(QStringLiteral("engine %1 (file %2 MB); SQLite directly %3 with its default page size of %4, "
                                  "%5 with the engine's %6")
                           .arg(milliseconds(engine))
                           .arg(double(QFile(enginePath).size()) / (1024 * 1024), 0, 'f', 1)
                           .arg(milliseconds(sqlite))
                           .arg(defaultPageSize())
                           .arg(milliseconds(sqliteSamePages))
                           .arg(schema.enginePageSize));
    context.reportRatio(QStringLiteral("write engine/SQLite"), engine / sqlite, 1.5);
    context.report(QStringLiteral("write engine/SQLite with the engine's page size = %1 (for information)")
                           .arg(engine / sqliteSamePages, 0, 'f', 2));
    return true;
}

KV_BENCH_SCENARIO(storageRead, "storage-read",
                  "open, walk and read a 10,000-storage library vs. an SQLite scan and a directory of files")
{
    const LibraryTree tree = LibraryTree::generate(kLibraryBlocks);
    context.report(describeTree(tree));
    const QString enginePath = context.workDirectory() + QStringLiteral("/engine.bli");
    const QString sqlitePath = context.workDirectory() + QStringLiteral("/sqlite.db");
    const QString sqliteSamePagesPath = context.workDirectory() + QStringLiteral("/sqlite-same-pages.db");
    const QString directory = context.workDirectory() + QStringLiteral("/files");
    Schema schema;
    if (!engineWrite(tree, enginePath) || !readSchema(enginePath, &schema)
            || !sqliteWrite(tree, schema, 0, sqlitePath)
            || !sqliteWrite(tree, schema, schema.enginePageSize, sqliteSamePagesPath) || !tree.writeDirectories(directory))
        return false;

    const Totals expected { tree.streamCount(), tree.byteCount() };
    bool ok = true;
    // A read takes a tenth of a second: more runs give each contender a fair fastest one.
    const int runs = std::max(10, context.repetitions());
    const double engine = KvBench::fastestRun(runs, [&] { ok = engineRead(enginePath) == expected && ok; });
    const double sqlite = KvBench::fastestRun(runs, [&] { ok = sqliteScan(sqlitePath) == expected && ok; });
    const double sqliteSamePages =
            KvBench::fastestRun(runs, [&] { ok = sqliteScan(sqliteSamePagesPath) == expected && ok; });
    const double files = KvBench::fastestRun(runs, [&] { ok = directoryRead(directory) == expected && ok; });
    if (!ok)
        return false;
    context.report(QStringLiteral("engine %1; SQLite scan %2 with its default page size, %3 with the engine's; "
                                  "directory of files %4")
                           .arg(milliseconds(engine), milliseconds(sqlite), milliseconds(sqliteSamePages),
                                milliseconds(files)));
    context.reportRatio(QStringLiteral("read engine/SQLite"), engine / sqlite, 1.5);
    context.reportRatio(QStringLiteral("read engine/files"), engine / files, 0.3);
    context.report(QStringLiteral("read engine/SQLite with the engine's page size = %1 (for information)")
                           .arg(engine / sqliteSamePages, 0, 'f', 2));
    return true;
}

KV_BENCH_SCENARIO(storageScaling, "storage-scaling",
                  "time per storage for writing and reading libraries of 1,000 to 100,000 storages")
{
    // Every measurement covers the same volume: a batch of 100 libraries of 1,000 storages,
    // 10 of 10,000, or one of 100,000, each library in a file of its own. Sizes take turns,
    // round after round, so that a busy moment of the machine does not fall on one size
    // only, and each size keeps its fastest round.
    const int sizes[] = { 1000, 10000, 100000 };
    constexpr int kVolume = 100000;
    std::vector<LibraryTree> trees;
    for (const int blocks : sizes)
        trees.push_back(LibraryTree::generate(blocks));
    std::vector<double> writes(trees.size(), 0), reads(trees.size(), 0), sqliteWrites(trees.size(), 0);
    // Raw SQLite writing the same rows at the engine's page size, for comparison: how much of
    // the growth with the file's size is SQLite's and the file system's own.
    Schema schema;
    const QString schemaPath = context.workDirectory() + QStringLiteral("/schema.bli");
    bool ok = engineWrite(trees.front(), schemaPath) && readSchema(schemaPath, &schema);
    QFile::remove(schemaPath);
    const int rounds = std::max(3, context.repetitions());
    for (int round = 0; round <= rounds; ++round) { // round 0 warms up
        for (size_t i = 0; i < trees.size(); ++i) {
            const LibraryTree &tree = trees[i];
            const int batch = kVolume / int(tree.blocks.size());
            QStringList paths;
            for (int file = 0; file < batch; ++file)
                paths << context.workDirectory() + QStringLiteral("/scaling-%1.bli").arg(file);
            QElapsedTimer timer;
            timer.start();
            for (const QString &path : paths)
                ok = engineWrite(tree, path) && ok;
            const double write = double(timer.nsecsElapsed()) / 1e6;
            const Totals expected { tree.streamCount(), tree.byteCount() };
            timer.start();
            for (const QString &path : paths)
                ok = engineRead(path) == expected && ok;
            const double read = double(timer.nsecsElapsed()) / 1e6;
            for (const QString &path : paths)
                QFile::remove(path);
            timer.start();
            for (const QString &path : paths)
                ok = sqliteWrite(tree, schema, schema.enginePageSize, path) && ok;
            const double sqliteWrite = double(timer.nsecsElapsed()) / 1e6;
            for (const QString &path : paths)
                QFile::remove(path);
            if (round == 1 || (round > 1 && sqliteWrite < sqliteWrites[i]))
                sqliteWrites[i] = sqliteWrite;
            if (round == 1 || (round > 1 && write < writes[i]))
                writes[i] = write;
            if (round == 1 || (round > 1 && read < reads[i]))
                reads[i] = read;
        }
    }
    if (!ok)
        return false;
    std::vector<double> writePer, readPer, sqliteWritePer;
    for (size_t i = 0; i < trees.size(); ++i) {
        const double storages = double(trees[i].storageCount()) * (kVolume / int(trees[i].blocks.size()));
        writePer.push_back(writes[i] * 1000 / storages);
        readPer.push_back(reads[i] * 1000 / storages);
        sqliteWritePer.push_back(sqliteWrites[i] * 1000 / storages);
        context.report(QStringLiteral("%1 storages: write %2 us/storage, read %3 us/storage; SQLite writes %4 us/storage")
                               .arg(trees[i].storageCount())
                               .arg(writePer.back(), 0, 'f', 2)
                               .arg(readPer.back(), 0, 'f', 2)
                               .arg(sqliteWritePer.back(), 0, 'f', 2));
    }
    const auto spread = [](const std::vector<double> &values) {
        return *std::max_element(values.begin(), values.end()) / *std::min_element(values.begin(), values.end());
    };
    context.reportRatio(QStringLiteral("write time per storage, slowest/fastest size"), spread(writePer), 1.15);
    context.reportRatio(QStringLiteral("read time per storage, slowest/fastest size"), spread(readPer), 1.15);
    context.report(QStringLiteral("SQLite write time per storage, slowest/fastest size = %1 (for information)")
                           .arg(spread(sqliteWritePer), 0, 'f', 2));
    return true;
}
