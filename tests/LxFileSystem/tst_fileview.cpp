#include "StorageTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <sys/stat.h>

using namespace StorageTestSupport;

class tst_FileView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void roundTrip_data();
    void roundTrip();
    void fileFormat();
    void views();
    void unchangedSessionLeavesFileUntouched_data();
    void unchangedSessionLeavesFileUntouched();
    void commitWritesOnlyChangedRows();
    void openOrCreateFails_data();
    void openOrCreateFails();
    void createReplaces_data();
    void createReplaces();
    void sessionsHoldTheirFile_data();
    void sessionsHoldTheirFile();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    QStringList files() const { return QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_FileView::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void tst_FileView::roundTrip_data()
{
    QTest::addColumn<Streams>("streams");
    const QString surrogate = QString(QChar(0xd800)) + QStringLiteral("x");
    const QString withNul = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QTest::newRow("empty-tree") << Streams();
    QTest::newRow("empty-stream") << Streams { { "Empty", QByteArray() } };
    QTest::newRow("umlaut-names") << Streams { { QStringLiteral("Grüße/Maß"), "\xe4\xf6\xfc" } };
    QTest::newRow("empty-names") << Streams { { "/", "root stream with empty name in storage ''" } };
    QTest::newRow("unpaired-surrogate") << Streams { { surrogate + "/" + surrogate, "s" } };
    QTest::newRow("nul-in-name") << Streams { { withNul + "/" + withNul, "n" } };
    QTest::newRow("case-differs") << Streams { { "a", "1" }, { "A", "2" }, { "b/a", "3" }, { "B/a", "4" } };
    QTest::newRow("stream-and-storage-share-name") << Streams { { "V0", "stream" }, { "V0/V0", "inner" } };
    QTest::newRow("binary-stream") << Streams { { "Bin", QByteArray("\0\1\2\xff", 4) } };
    QTest::newRow("large-stream") << Streams { { "Big", QByteArray(3 * 1024 * 1024 + 7, 'q') } };
    QTest::newRow("deepest-nesting") << Streams { { QStringLiteral("L/").repeated(512) + "leaf", "deep" } };
}

// The same tree in an in-memory scratch file (which leaves nothing on disk), through its byte
// form into another one, and through a file.
void tst_FileView::roundTrip()
{
    QFETCH(Streams, streams);
    Scratch scratch;
    QVERIFY(scratch.file.isOpen() && !scratch.file.isReadOnly());
    StorageTreeText::write(scratch.root.get(), streams);
    const QStringList expected = StorageTreeText::lines(scratch.root.get());
    const QByteArray bytes = scratch.root->toByteArray();
    Scratch decoded;
    QVERIFY(decoded.root->fromByteArray(bytes));
    QCOMPARE(StorageTreeText::lines(decoded.root.get()), expected);
    QCOMPARE(decoded.root->toByteArray(), bytes);
    scratch.root.reset();
    scratch.file.close();
    QVERIFY(!scratch.file.isOpen() && !scratch.file.hasError());
    QCOMPARE(files(), QStringList());

    QCOMPARE(createFile(path("library.bli"), streams), QString());
    QCOMPARE(integrityCheck(path("library.bli")), QStringLiteral("ok"));
    QCOMPARE(treeOf(path("library.bli")), expected);
    QCOMPARE(files(), QStringList { "library.bli" });
}

void tst_FileView::fileFormat()
{
    const QStringList names = { QString(), QStringLiteral("Info.ini"), QStringLiteral("info.ini"),
                                QString(QChar(0xdc00)), QStringLiteral("\u00e4"), QStringLiteral("z") };
    const QString file = path("names.bli");
    Streams streams;
    for (const QString &name : names)
        streams << qMakePair(name, name.toUtf8()) << qMakePair(name + QStringLiteral("/"), QByteArray());
    QCOMPARE(createFile(file, streams), QString());
    const QByteArray bytes = fileContents(file);
    QVERIFY(bytes.startsWith("SQLite format 3\0"));
    QCOMPARE(bytes.mid(68, 4).toHex(), QByteArray("4b76424c")); // application id "KvBL"
    QCOMPARE(bytes.mid(60, 4).toHex(), QByteArray("00000001")); // format version
    QCOMPARE(bytes.mid(56, 4).toHex(), QByteArray("00000001")); // text encoding UTF-8
    QCOMPARE(bytes.mid(16, 4).toHex(), QByteArray("00010101")); // page size 65536, rollback journal
    // Names as text where text can hold them; the unpaired surrogate as UTF-16LE code units.
    QCOMPARE(query(file, "SELECT typeof(name), hex(name) FROM stream WHERE name IN ('', 'z', X'00DC') "
                         "AND storage = (SELECT id FROM storage WHERE parent IS NULL) ORDER BY 1, 2"),
             QStringList({ "blob 00DC", "text", "text 7A" }));
    // Names come back exactly, in code unit order.
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

void tst_FileView::views()
{
    Scratch s;
    FileStorageView *version = s.root->storage(QStringLiteral("Blocks"))->storage(QStringLiteral("B1"))->storage(QStringLiteral("V0"));
    QCOMPARE(s.root->storage(QStringLiteral("Blocks"))->storage(QStringLiteral("B1")), version->parent());
    QCOMPARE(version->path(), QStringLiteral("Blocks/B1/V0"));
    QCOMPARE(version->name(), QStringLiteral("V0"));
    // A second root view works on the same tree; removing a stream leaves the sub-storage of
    // the same name, and a missing name is no error.
    RootView second(s.file.createRootView());
    StorageTreeText::write(s.root.get(), { { "V0", "s" }, { "V0/x", "t" } });
    s.root->removeStream(QStringLiteral("V0"));
    s.root->removeStream(QStringLiteral("missing"));
    QCOMPARE(StorageTreeText::lines(second->storage(QStringLiteral("V0"))), QStringList({ "stream x 1 74" }));

    // clear() detaches the views of what it removed; their writes go nowhere.
    s.root->clear();
    QVERIFY(version->isReadOnly() && version->streamNames().isEmpty());
    version->writeStream(QStringLiteral("z"), "lost");
    version->storage(QStringLiteral("C"));
    QCOMPARE(StorageTreeText::lines(s.root.get()), QStringList());
    FileStorageView *newBlocks = s.root->storage(QStringLiteral("Blocks"));
    QVERIFY(!newBlocks->isReadOnly() && newBlocks->storageNames().isEmpty());

    // So does closing the file; a view without a file stores nothing.
    const QString file = path("leftover.bli");
    QCOMPARE(createFile(file, { { "A/x", "1" } }), QString());
    FileView view;
    view.open(file);
    RootView root(view.createRootView());
    FileStorageView *a = root->storage(QStringLiteral("A"));
    view.close();
    QVERIFY(!view.hasError() && a->isReadOnly() && root->storageNames().isEmpty());
    a->writeStream(QStringLiteral("y"), "2");
    QCOMPARE(treeOf(file), QStringList({ "storage A", "stream A/x 1 31" }));
    FileStorageView unbacked;
    unbacked.writeStream(QStringLiteral("x"), "1");
    QVERIFY(unbacked.streamNames().isEmpty() && !unbacked.storage(QStringLiteral("A")) && unbacked.isReadOnly());
    QVERIFY(!unbacked.fromByteArray(unbacked.toByteArray()));
}

void tst_FileView::unchangedSessionLeavesFileUntouched_data()
{
    QTest::addColumn<int>("action");
    QTest::newRow("read-everything") << 0;
    QTest::newRow("rewrite-same-bytes") << 1;
    QTest::newRow("clear-and-rewrite-same-tree") << 2;
    QTest::newRow("remove-missing-stream") << 3;
    QTest::newRow("change-then-destroy-without-close") << 4;
}

void tst_FileView::unchangedSessionLeavesFileUntouched()
{
    QFETCH(int, action);
    const QString file = path("same.bli");
    QCOMPARE(createFile(file, 7, 20), QString());
    const QByteArray before = fileContents(file);
    {
        FileView view;
        view.open(file);
        RootView root(view.createRootView());
        const QStringList lines = StorageTreeText::lines(root.get());
        if (action == 1) {
            root->writeStream(QStringLiteral("Info.ini"), QByteArray(root->readStream(QStringLiteral("Info.ini")).constData()));
        } else if (action == 2) {
            root->clear();
            writeLibraryTree(root.get(), 7, 20);
        } else if (action == 3) {
            root->removeStream(QStringLiteral("missing"));
        } else if (action == 4) {
            root->storage(QStringLiteral("Blocks"))->writeStream(QStringLiteral("Info.ini"), "changed");
        }
        if (action != 4) { // destroying the open file discards the changes
            QCOMPARE(StorageTreeText::lines(root.get()), lines);
            root.reset();
            view.close();
            QVERIFY(!view.hasError());
        }
    }
    QVERIFY(fileContents(file) == before);
    QCOMPARE(files(), QStringList { "same.bli" });
}

void tst_FileView::commitWritesOnlyChangedRows()
{
    const QString file = path("rows.bli");
    QCOMPARE(createFile(file, { { "A/x", "1" }, { "A/y", "2" }, { "B/z", "3" }, { "C/D/w", "4" } }), QString());
    const char *rows = "SELECT 'stream', id, storage, name, size FROM stream UNION ALL "
                       "SELECT 'storage', id, parent, name, NULL FROM storage UNION ALL "
                       "SELECT 'data', id, hex(data), NULL, NULL FROM stream_data ORDER BY 1, 2";
    QCOMPARE(query(file, rows), QStringList({ "data 1 31", "data 2 32", "data 3 33", "data 4 34", "storage 1",
                                              "storage 2 1 A", "storage 3 1 B", "storage 4 1 C", "storage 5 4 D",
                                              "stream 1 2 x 1", "stream 2 2 y 1", "stream 3 3 z 1", "stream 4 5 w 1" }));
    FileView view;
    view.open(file);
    RootView root(view.createRootView());
    root->clear();
    StorageTreeText::write(root.get(), { { "A/x", "1" }, { "A/y", "changed" }, { "B/new", "5" }, { "E/v", "6" } });
    root.reset();
    view.close();
    QVERIFY2(!view.hasError(), qPrintable(view.errorString()));
    QCOMPARE(integrityCheck(file), QStringLiteral("ok"));
    // Unchanged rows keep their ids; C and its sub-storage D are gone with their streams.
    // Deleted ids are free again, so E takes the id C had.
    QCOMPARE(query(file, rows), QStringList({ "data 1 31", "data 2 6368616E676564", "data 5 35", "data 6 36", "storage 1",
                                              "storage 2 1 A", "storage 3 1 B", "storage 4 1 E", "stream 1 2 x 1",
                                              "stream 2 2 y 7", "stream 5 3 new 1", "stream 6 4 v 1" }));
}

void tst_FileView::openOrCreateFails_data()
{
    QTest::addColumn<bool>("create");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("error");
    // Files that are there but no storage files are refused in tst_storagedamage.
    QTest::newRow("open-missing-file") << false << "missing.bli" << "Die Datei „%1“ existiert nicht.";
    QTest::newRow("open-empty-path") << false << "" << "Die Datei „%1“ existiert nicht.";
    QTest::newRow("open-directory") << false << "dir.bli" << "„%1“ ist ein Verzeichnis.";
    QTest::newRow("create-in-missing-directory") << true << "nowhere/new.bli" << "Das Verzeichnis für „%1“ existiert nicht.";
    QTest::newRow("create-over-directory") << true << "dir.bli" << "„%1“ ist ein Verzeichnis.";
}

void tst_FileView::openOrCreateFails()
{
    QFETCH(bool, create);
    QFETCH(QString, name);
    QFETCH(QString, error);
    QVERIFY(QDir(m_dir->path()).mkdir("dir.bli"));
    const QString file = name.isEmpty() ? QString() : path(name);
    FileView view;
    if (create)
        view.create(file);
    else
        view.open(file);
    QVERIFY(!view.isOpen() && view.hasError());
    QCOMPARE(view.errorString(), error.arg(file));
    QCOMPARE(view.fileName(), file);
    // A later successful open clears the error.
    QCOMPARE(createFile(path("good.bli"), { { "x", "1" } }), QString());
    view.open(path("good.bli"));
    QVERIFY(view.isOpen() && !view.hasError() && view.errorString().isEmpty());
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
    const QString real = existing == "symlink" ? path("target.bli") : file;
    if (existing == "storage" || existing == "damaged" || existing == "symlink")
        QCOMPARE(createFile(real, { { "Old/x", "1" }, { "y", "2" } }), QString());
    if (existing == "damaged")
        QVERIFY(breakIndex(file, "sqlite_autoindex_storage_1"));
    if (existing == "symlink")
        QVERIFY(QFile::link(real, file));
    if (existing == "text") {
        QVERIFY(writeFile(file, "plain text"));
        QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    }
    if (existing == "sqlite")
        QCOMPARE(execSql(file, "CREATE TABLE t (a); INSERT INTO t VALUES (1)"), QString());
    struct stat before = {};
    ::stat(QFile::encodeName(real).constData(), &before);

    QCOMPARE(createFile(file, { { "New/z", "3" } }), QString());
    QCOMPARE(treeOf(file), QStringList({ "storage New", "stream New/z 1 33" }));
    QCOMPARE(integrityCheck(real), QStringLiteral("ok"));
    struct stat after = {};
    QCOMPARE(::stat(QFile::encodeName(real).constData(), &after), 0);
    QCOMPARE(after.st_ino == before.st_ino, inPlace);
    if (existing == "text") // the permissions of a replaced file stay
        QCOMPARE(after.st_mode & 0777, mode_t(0640));
    QCOMPARE(QFileInfo(file).isSymLink(), existing == "symlink");
    // No temporary file or journal stays behind.
    QCOMPARE(files(), existing == "symlink" ? QStringList({ "replace.bli", "target.bli" }) : QStringList { "replace.bli" });
}

void tst_FileView::sessionsHoldTheirFile_data()
{
    QTest::addColumn<bool>("secondCreates");     // the other session replaces the file instead of opening it
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
    QCOMPARE(createFile(file, { { "x", "0" } }), QString());
    const QByteArray original = fileContents(file);
    FileView first;
    FileView second;
    first.open(file);
    if (secondCreates)
        second.create(file);
    else
        second.open(file);
    QVERIFY(first.isOpen() && second.isOpen());
    if (secondClosesFirst)
        second.close();
    RootView(first.createRootView())->writeStream(QStringLiteral("x"), "first");
    first.close();
    if (secondClosesFirst) {
        QVERIFY2(!first.hasError() && !second.hasError(), qPrintable(first.errorString()));
        QCOMPARE(treeOf(file), QStringList({ "stream x 5 6669727374" }));
        return;
    }
    // The other session still reads the file as it was: nobody may commit under it.
    QCOMPARE(first.errorString(), QStringLiteral("Die Datei „%1“ ist von einem anderen Programm gesperrt. "
                                                 "Die Änderungen wurden nicht gespeichert.").arg(file));
    QVERIFY(fileContents(file) == original);
    RootView(second.createRootView())->writeStream(QStringLiteral("x"), "second");
    second.close();
    QVERIFY2(!second.hasError(), qPrintable(second.errorString()));
    QCOMPARE(treeOf(file), QStringList({ "stream x 6 7365636f6e64" }));
}

QTEST_GUILESS_MAIN(tst_FileView)
#include "tst_fileview.moc"
