#include "StorageTestSupport.h"
#include "StorageTreeText.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <sqlite3.h>
#include <sys/stat.h>

#include <memory>

using namespace StorageTestSupport;
using Streams = QList<QPair<QString, QByteArray>>;
using RootView = std::unique_ptr<FileStorageView>;

class tst_FileView : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void scratchFile();
    void roundTrip_data();
    void roundTrip();
    void namesComeBackExactly();
    void fileHeaderIdentifiesStorageFiles();

    void storageViewsBelongToTheirParent();
    void clearDetachesEarlierViews();
    void removeStreamKeepsSubStorageOfSameName();
    void rootViewsShareTheTree();
    void viewsLeftOverAfterCloseAreEmpty();
    void unbackedViewDoesNothing();

    void unchangedSessionLeavesFileUntouched_data();
    void unchangedSessionLeavesFileUntouched();
    void destroyingOpenFileDiscardsChanges();
    void commitWritesOnlyChangedRows();

    void openFails_data();
    void openFails();
    void createFails_data();
    void createFails();
    void createReplaces_data();
    void createReplaces();

    void sessionsHoldTheirFile_data();
    void sessionsHoldTheirFile();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    // Writes streams into a new file at path and checks that the engine reported success.
    void makeFile(const QString &file, const Streams &streams);
    QStringList treeOf(const QString &file);

    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_FileView::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void tst_FileView::makeFile(const QString &file, const Streams &streams)
{
    FileView view;
    view.create(file);
    QVERIFY2(view.isOpen(), qPrintable(view.errorString()));
    {
        RootView root(view.createRootView());
        StorageTreeText::write(root.get(), streams);
    }
    view.close();
    QVERIFY2(!view.hasError(), qPrintable(view.errorString()));
    QCOMPARE(integrityCheck(file), QStringLiteral("ok"));
}

QStringList tst_FileView::treeOf(const QString &file)
{
    FileView view;
    view.open(file);
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

void tst_FileView::scratchFile()
{
    FileView view;
    view.create(QString());
    QVERIFY(view.isOpen());
    QVERIFY(!view.isReadOnly());
    QCOMPARE(view.fileName(), QString());
    RootView root(view.createRootView());
    StorageTreeText::write(root.get(), { { "Info.ini", "abc" }, { "Blocks/B1/Info.ini", "" } });
    QCOMPARE(StorageTreeText::lines(root.get()),
             QStringList({ "storage Blocks", "storage Blocks/B1", "stream Blocks/B1/Info.ini 0 ", "stream Info.ini 3 616263" }));
    root.reset();
    view.close();
    QVERIFY(!view.isOpen());
    QVERIFY(!view.hasError());
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList());
}

void tst_FileView::roundTrip_data()
{
    QTest::addColumn<Streams>("streams");
    const QString surrogate = QString(QChar(0xd800)) + QStringLiteral("x");
    const QString withNul = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QTest::newRow("empty-tree") << Streams();
    QTest::newRow("one-stream") << Streams { { "Info.ini", ";type=\"blocklibrary\" version=\"0\"\r\n" } };
    QTest::newRow("empty-stream") << Streams { { "Empty", QByteArray() } };
    QTest::newRow("empty-storage-only") << Streams { { "Blocks/Content.txt", "x" } };
    QTest::newRow("umlaut-names") << Streams { { QStringLiteral("Grüße/Maß"), "\xe4\xf6\xfc" } };
    QTest::newRow("empty-names") << Streams { { "/", "root stream with empty name in storage ''" } };
    QTest::newRow("unpaired-surrogate") << Streams { { surrogate + "/" + surrogate, "s" } };
    QTest::newRow("nul-in-name") << Streams { { withNul + "/" + withNul, "n" } };
    QTest::newRow("case-differs") << Streams { { "a", "1" }, { "A", "2" }, { "b/a", "3" }, { "B/a", "4" } };
    QTest::newRow("stream-and-storage-share-name") << Streams { { "V0", "stream" }, { "V0/V0", "inner" } };
    QTest::newRow("binary-stream") << Streams { { "Bin", QByteArray("\0\1\2\xff", 4) } };
    QTest::newRow("large-stream") << Streams { { "Big", QByteArray(3 * 1024 * 1024 + 7, 'q') } };
    Streams deep;
    QString deepPath;
    for (int level = 0; level < 512; ++level)
        deepPath += QStringLiteral("L%1/").arg(level);
    QTest::newRow("deepest-nesting") << Streams { { deepPath + "leaf", "deep" } };
}

void tst_FileView::roundTrip()
{
    QFETCH(Streams, streams);
    FileView scratch;
    scratch.create(QString());
    RootView expected(scratch.createRootView());
    StorageTreeText::write(expected.get(), streams);

    const QString file = path("library.bli");
    makeFile(file, streams);
    QCOMPARE(treeOf(file), StorageTreeText::lines(expected.get()));
}

void tst_FileView::namesComeBackExactly()
{
    const QStringList names = { QString(), QStringLiteral("Info.ini"), QStringLiteral("info.ini"),
                                QString(QChar(0xdc00)), QStringLiteral("\u00e4"), QStringLiteral("z") };
    const QString file = path("names.bli");
    {
        FileView view;
        view.create(file);
        RootView root(view.createRootView());
        for (const QString &name : names) {
            root->writeStream(name, name.toUtf8());
            root->storage(name);
        }
        root.reset();
        view.close();
        QVERIFY(!view.hasError());
    }
    // Text where text can hold the name; the unpaired surrogate as its UTF-16LE code units.
    QCOMPARE(execSql(file, "CREATE TABLE kinds AS SELECT typeof(name) || ' ' || hex(name) AS kind FROM stream "
                           "WHERE name IN ('', 'z', X'00DC')"),
             QString());
    sqlite3 *db = nullptr;
    QCOMPARE(sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_stmt *statement = nullptr;
    QStringList kinds;
    sqlite3_prepare_v2(db, "SELECT kind FROM kinds ORDER BY kind", -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW)
        kinds << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)));
    sqlite3_finalize(statement);
    sqlite3_close(db);
    QCOMPARE(kinds, QStringList({ "blob 00DC", "text ", "text 7A" }));
    QCOMPARE(execSql(file, "DROP TABLE kinds"), QString());

    FileView view;
    view.open(file);
    RootView root(view.createRootView());
    QStringList sorted = names;
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(root->streamNames(), sorted);
    QCOMPARE(root->storageNames(), sorted);
    for (const QString &name : names)
        QCOMPARE(root->readStream(name), name.toUtf8());
}

void tst_FileView::fileHeaderIdentifiesStorageFiles()
{
    const QString file = path("header.bli");
    makeFile(file, { { "Info.ini", "x" } });
    const QByteArray bytes = fileContents(file);
    QVERIFY(bytes.startsWith("SQLite format 3\0"));
    QCOMPARE(bytes.mid(68, 4).toHex(), QByteArray("4b76424c")); // application id "KvBL"
    QCOMPARE(bytes.mid(60, 4).toHex(), QByteArray("00000001")); // format version
    QCOMPARE(bytes.mid(56, 4).toHex(), QByteArray("00000001")); // text encoding UTF-8
    QCOMPARE(bytes.mid(16, 2).toHex(), QByteArray("0001"));     // page size 65536
    QCOMPARE(bytes.mid(18, 2).toHex(), QByteArray("0101"));     // rollback journal, not WAL
    QVERIFY(!QFile::exists(file + "-journal"));
}

void tst_FileView::storageViewsBelongToTheirParent()
{
    FileView view;
    view.create(QString());
    RootView root(view.createRootView());
    FileStorageView *blocks = root->storage(QStringLiteral("Blocks"));
    QCOMPARE(root->storage(QStringLiteral("Blocks")), blocks);
    QCOMPARE(blocks->parent(), root.get());
    FileStorageView *version = blocks->storage(QStringLiteral("B1"))->storage(QStringLiteral("V0"));
    QCOMPARE(version->name(), QStringLiteral("V0"));
    QCOMPARE(version->path(), QStringLiteral("Blocks/B1/V0"));
    QCOMPARE(root->name(), QString());
    QCOMPARE(root->path(), QString());
    QCOMPARE(root->storageNames(), QStringList { "Blocks" });
    QVERIFY(!version->isReadOnly());
}

void tst_FileView::clearDetachesEarlierViews()
{
    FileView view;
    view.create(QString());
    RootView root(view.createRootView());
    StorageTreeText::write(root.get(), { { "x", "1" }, { "A/B/y", "2" } });
    FileStorageView *a = root->storage(QStringLiteral("A"));
    FileStorageView *b = a->storage(QStringLiteral("B"));
    root->clear();
    QCOMPARE(StorageTreeText::lines(root.get()), QStringList());
    QCOMPARE(b->streamNames(), QStringList());
    QCOMPARE(b->readStream(QStringLiteral("y")), QByteArray());
    QVERIFY(a->isReadOnly());
    QVERIFY(b->isReadOnly());
    b->writeStream(QStringLiteral("z"), "lost");
    a->storage(QStringLiteral("C"))->writeStream(QStringLiteral("w"), "lost");
    QCOMPARE(StorageTreeText::lines(root.get()), QStringList());

    FileStorageView *newA = root->storage(QStringLiteral("A"));
    QVERIFY(newA != a);
    QVERIFY(!newA->isReadOnly());
    QCOMPARE(newA->storageNames(), QStringList());
    newA->writeStream(QStringLiteral("z"), "kept");
    QCOMPARE(StorageTreeText::lines(root.get()), QStringList({ "storage A", "stream A/z 4 6b657074" }));
}

void tst_FileView::removeStreamKeepsSubStorageOfSameName()
{
    FileView view;
    view.create(QString());
    RootView root(view.createRootView());
    StorageTreeText::write(root.get(), { { "V0", "s" }, { "V0/x", "t" }, { "other", "u" } });
    root->removeStream(QStringLiteral("V0"));
    root->removeStream(QStringLiteral("missing"));
    QCOMPARE(StorageTreeText::lines(root.get()),
             QStringList({ "storage V0", "stream V0/x 1 74", "stream other 1 75" }));
}

void tst_FileView::rootViewsShareTheTree()
{
    FileView view;
    view.create(QString());
    RootView first(view.createRootView());
    RootView second(view.createRootView());
    QVERIFY(first.get() != second.get());
    first->storage(QStringLiteral("A"))->writeStream(QStringLiteral("x"), "1");
    QCOMPARE(second->storage(QStringLiteral("A"))->readStream(QStringLiteral("x")), QByteArray("1"));
}

void tst_FileView::viewsLeftOverAfterCloseAreEmpty()
{
    const QString file = path("leftover.bli");
    makeFile(file, { { "A/x", "1" } });
    FileView view;
    view.open(file);
    RootView root(view.createRootView());
    FileStorageView *a = root->storage(QStringLiteral("A"));
    view.close();
    QVERIFY(!view.hasError());
    QCOMPARE(a->readStream(QStringLiteral("x")), QByteArray());
    QCOMPARE(root->storageNames(), QStringList());
    QVERIFY(root->isReadOnly());
    a->writeStream(QStringLiteral("y"), "2");
    root.reset();
    QCOMPARE(treeOf(file), QStringList({ "storage A", "stream A/x 1 31" }));
}

void tst_FileView::unbackedViewDoesNothing()
{
    FileStorageView view;
    view.writeStream(QStringLiteral("x"), "1");
    QCOMPARE(view.streamNames(), QStringList());
    QCOMPARE(view.storage(QStringLiteral("A")), nullptr);
    QVERIFY(view.isReadOnly());
    QVERIFY(!view.fromByteArray(view.toByteArray()));
}

void tst_FileView::unchangedSessionLeavesFileUntouched_data()
{
    QTest::addColumn<int>("action");
    QTest::newRow("read-everything") << 0;
    QTest::newRow("rewrite-same-bytes") << 1;
    QTest::newRow("clear-and-rewrite-same-tree") << 2;
    QTest::newRow("remove-missing-stream") << 3;
}

void tst_FileView::unchangedSessionLeavesFileUntouched()
{
    QFETCH(int, action);
    const QString file = path("same.bli");
    FileView writer;
    writer.create(file);
    {
        RootView root(writer.createRootView());
        writeLibraryTree(root.get(), 7, 20);
    }
    writer.close();
    const QByteArray before = fileContents(file);

    FileView view;
    view.open(file);
    QVERIFY(view.isOpen());
    RootView root(view.createRootView());
    const QStringList lines = StorageTreeText::lines(root.get());
    switch (action) {
    case 1:
        root->writeStream(QStringLiteral("Info.ini"), QByteArray(root->readStream(QStringLiteral("Info.ini")).constData()));
        break;
    case 2:
        root->clear();
        writeLibraryTree(root.get(), 7, 20);
        break;
    case 3:
        root->removeStream(QStringLiteral("missing"));
        break;
    }
    QCOMPARE(StorageTreeText::lines(root.get()), lines);
    root.reset();
    view.close();
    QVERIFY(!view.hasError());
    QVERIFY(fileContents(file) == before);
}

void tst_FileView::destroyingOpenFileDiscardsChanges()
{
    const QString file = path("discard.bli");
    makeFile(file, { { "A/x", "1" } });
    const QByteArray before = fileContents(file);
    {
        auto view = std::make_unique<FileView>();
        view->open(file);
        RootView root(view->createRootView());
        root->storage(QStringLiteral("A"))->writeStream(QStringLiteral("x"), "changed");
        root->storage(QStringLiteral("B"));
        root.reset();
    }
    QVERIFY(fileContents(file) == before);
    QCOMPARE(treeOf(file), QStringList({ "storage A", "stream A/x 1 31" }));
}

void tst_FileView::commitWritesOnlyChangedRows()
{
    const QString file = path("rows.bli");
    makeFile(file, { { "A/x", "1" }, { "A/y", "2" }, { "B/z", "3" }, { "C/D/w", "4" } });
    const auto rows = [&]() {
        QStringList out;
        sqlite3 *db = nullptr;
        sqlite3_open_v2(QFile::encodeName(file).constData(), &db, SQLITE_OPEN_READONLY, nullptr);
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(db,
                           "SELECT 'stream', id, storage, name, size FROM stream UNION ALL "
                           "SELECT 'storage', id, parent, name, NULL FROM storage UNION ALL "
                           "SELECT 'data', id, hex(data), NULL, NULL FROM stream_data ORDER BY 1, 2",
                           -1, &statement, nullptr);
        while (sqlite3_step(statement) == SQLITE_ROW) {
            QStringList columns;
            for (int i = 0; i < 5; ++i)
                columns << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, i)));
            out << columns.join(QLatin1Char(' ')).trimmed();
        }
        sqlite3_finalize(statement);
        sqlite3_close(db);
        return out;
    };
    QCOMPARE(rows(), QStringList({ "data 1 31", "data 2 32", "data 3 33", "data 4 34", "storage 1", "storage 2 1 A",
                                   "storage 3 1 B", "storage 4 1 C", "storage 5 4 D", "stream 1 2 x 1",
                                   "stream 2 2 y 1", "stream 3 3 z 1", "stream 4 5 w 1" }));

    FileView view;
    view.open(file);
    {
        RootView root(view.createRootView());
        root->clear();
        StorageTreeText::write(root.get(), { { "A/x", "1" }, { "A/y", "changed" }, { "B/new", "5" }, { "E/v", "6" } });
    }
    view.close();
    QVERIFY2(!view.hasError(), qPrintable(view.errorString()));
    QCOMPARE(integrityCheck(file), QStringLiteral("ok"));
    // Unchanged rows keep their ids; C and its sub-storage D are gone with their streams.
    // Deleted ids are free again, so E takes the id C had.
    QCOMPARE(rows(), QStringList({ "data 1 31", "data 2 6368616E676564", "data 5 35", "data 6 36", "storage 1",
                                   "storage 2 1 A", "storage 3 1 B", "storage 4 1 E", "stream 1 2 x 1",
                                   "stream 2 2 y 7", "stream 5 3 new 1", "stream 6 4 v 1" }));
}

void tst_FileView::openFails_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("contents"); // null: do not create the file
    QTest::addColumn<QString>("error");
    QTest::newRow("missing-file") << "missing.bli" << QByteArray() << "Die Datei „%1“ existiert nicht.";
    QTest::newRow("empty-path") << "" << QByteArray() << "Die Datei „“ existiert nicht.";
    QTest::newRow("zero-length") << "empty.bli" << QByteArray("") << "Die Datei „%1“ ist keine Speicherdatei.";
    QTest::newRow("text-file") << "text.bli" << QByteArray(200, 'x') << "Die Datei „%1“ ist keine Speicherdatei.";
    QTest::newRow("directory") << "dir.bli" << QByteArray("<dir>") << "„%1“ ist ein Verzeichnis.";
}

void tst_FileView::openFails()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, contents);
    QFETCH(QString, error);
    const QString file = name.isEmpty() ? QString() : path(name);
    if (contents == "<dir>") {
        QVERIFY(QDir().mkdir(file));
    } else if (!contents.isNull()) {
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(contents);
    }
    FileView view;
    view.open(file);
    QVERIFY(!view.isOpen());
    QVERIFY(view.hasError());
    QCOMPARE(view.errorString(), error.contains("%1") ? error.arg(QDir::toNativeSeparators(file)) : error);
    QCOMPARE(view.fileName(), file);
    if (!contents.isNull() && contents != "<dir>")
        QCOMPARE(fileContents(file), contents);
    // A later successful open clears the error.
    const QString good = path("good.bli");
    makeFile(good, { { "x", "1" } });
    view.open(good);
    QVERIFY(view.isOpen());
    QVERIFY(!view.hasError());
    QCOMPARE(view.errorString(), QString());
}

void tst_FileView::createFails_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("error");
    QTest::newRow("missing-directory") << "nowhere/new.bli" << "Das Verzeichnis für „%1“ existiert nicht.";
    QTest::newRow("directory") << "dir.bli" << "„%1“ ist ein Verzeichnis.";
}

void tst_FileView::createFails()
{
    QFETCH(QString, name);
    QFETCH(QString, error);
    QVERIFY(QDir(m_dir->path()).mkdir("dir.bli"));
    FileView view;
    view.create(path(name));
    QVERIFY(!view.isOpen());
    QVERIFY(view.hasError());
    QCOMPARE(view.errorString(), error.arg(QDir::toNativeSeparators(path(name))));
}

void tst_FileView::createReplaces_data()
{
    QTest::addColumn<QString>("existing"); // what is at the path before
    QTest::addColumn<bool>("inPlace");     // whether the file keeps its inode
    QTest::newRow("nothing") << "" << false;
    QTest::newRow("storage-file") << "storage" << true;
    QTest::newRow("text-file") << "text" << false;
    QTest::newRow("foreign-sqlite-file") << "sqlite" << false;
    QTest::newRow("symlink-to-storage-file") << "symlink" << true;
    QTest::newRow("storage-file-with-damaged-index") << "damaged" << false;
}

void tst_FileView::createReplaces()
{
    QFETCH(QString, existing);
    QFETCH(bool, inPlace);
    const QString file = path("replace.bli");
    QString real = file;
    if (existing == "storage" || existing == "damaged") {
        makeFile(file, { { "Old/x", "1" }, { "y", "2" } });
        if (existing == "damaged")
            QVERIFY(breakIndex(file, "sqlite_autoindex_storage_1"));
    } else if (existing == "symlink") {
        real = path("target.bli");
        makeFile(real, { { "Old/x", "1" } });
        QVERIFY(QFile::link(real, file));
    } else if (existing == "text") {
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("plain text");
        QVERIFY(out.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    } else if (existing == "sqlite") {
        QCOMPARE(execSql(file, "CREATE TABLE t (a); INSERT INTO t VALUES (1)"), QString());
    }
    struct stat before = {};
    ::stat(QFile::encodeName(real).constData(), &before);

    FileView view;
    view.create(file);
    QVERIFY2(view.isOpen(), qPrintable(view.errorString()));
    {
        RootView root(view.createRootView());
        StorageTreeText::write(root.get(), { { "New/z", "3" } });
    }
    view.close();
    QVERIFY2(!view.hasError(), qPrintable(view.errorString()));

    QCOMPARE(treeOf(file), QStringList({ "storage New", "stream New/z 1 33" }));
    QCOMPARE(integrityCheck(real), QStringLiteral("ok"));
    struct stat after = {};
    QCOMPARE(::stat(QFile::encodeName(real).constData(), &after), 0);
    if (!existing.isEmpty())
        QCOMPARE(after.st_ino == before.st_ino, inPlace);
    if (existing == "text")
        QCOMPARE(after.st_mode & 0777, mode_t(0640));
    if (existing == "symlink")
        QVERIFY(QFileInfo(file).isSymLink());
    // No temporary file or journal stays behind.
    QStringList expectedEntries = { "replace.bli" };
    if (existing == "symlink")
        expectedEntries << "target.bli";
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name), expectedEntries);
}

void tst_FileView::sessionsHoldTheirFile_data()
{
    QTest::addColumn<bool>("secondCreates");    // the other session replaces the file instead of opening it
    QTest::addColumn<bool>("secondClosesFirst"); // without changes, before the first one commits
    QTest::newRow("commit-while-other-session-open") << false << false;
    QTest::newRow("commit-while-create-session-open") << true << false;
    QTest::newRow("commit-after-other-session-closed") << false << true;
}

void tst_FileView::sessionsHoldTheirFile()
{
    QFETCH(bool, secondCreates);
    QFETCH(bool, secondClosesFirst);
    const QString file = path("shared.bli");
    makeFile(file, { { "x", "0" } });
    const QByteArray original = fileContents(file);

    FileView first;
    FileView second;
    first.open(file);
    if (secondCreates)
        second.create(file);
    else
        second.open(file);
    QVERIFY(first.isOpen());
    QVERIFY(second.isOpen());
    if (secondClosesFirst) {
        second.close();
        QVERIFY(!second.hasError());
    }
    {
        RootView root(first.createRootView());
        root->writeStream(QStringLiteral("x"), "first");
    }
    first.close();
    if (secondClosesFirst) {
        QVERIFY2(!first.hasError(), qPrintable(first.errorString()));
        QCOMPARE(treeOf(file), QStringList({ "stream x 5 6669727374" }));
        return;
    }
    // The other session still reads the file as it was: nobody may commit under it.
    QVERIFY(first.hasError());
    QCOMPARE(first.errorString(), QStringLiteral("Die Datei „%1“ ist von einem anderen Programm gesperrt. "
                                                 "Die Änderungen wurden nicht gespeichert.")
                                          .arg(file));
    QVERIFY(fileContents(file) == original);
    {
        RootView root(second.createRootView());
        root->writeStream(QStringLiteral("x"), "second");
    }
    second.close();
    QVERIFY2(!second.hasError(), qPrintable(second.errorString()));
    QCOMPARE(treeOf(file), QStringList({ "stream x 6 7365636f6e64" }));
}

QTEST_GUILESS_MAIN(tst_FileView)
#include "tst_fileview.moc"
