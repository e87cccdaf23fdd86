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
    void init() { m_dir = std::make_unique<QTemporaryDir>(); QVERIFY(m_dir->isValid()); }
    void roundTrip_data();
    void roundTrip();
    void fileFormat();
    void views();
    void unchangedSessionLeavesFileUntouched_data();
    void unchangedSessionLeavesFileUntouched();
    void openOrCreateFails_data();
    void openOrCreateFails();
    void createReplaces_data();
    void createReplaces();
    void sessionsHoldTheirFile_data();
    void sessionsHoldTheirFile();

private:
    QString path(const char *name) const { return m_dir->filePath(QLatin1String(name)); }
    QStringList files() const { return QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_FileView::roundTrip_data()
{
    QTest::addColumn<Streams>("streams");
    const QString surrogate = QString(QChar(0xd800)) + QStringLiteral("x");
    const QString withNul = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QTest::newRow("empty-tree") << Streams();
    QTest::newRow("empty-stream-and-names") << Streams { { "Empty", QByteArray() }, { "/", "root stream with empty name in ''" } };
    QTest::newRow("umlaut-names") << Streams { { QStringLiteral("Grüße/Maß"), "\xe4\xf6\xfc" } };
    QTest::newRow("unpaired-surrogate") << Streams { { surrogate + "/" + surrogate, "s" } };
    QTest::newRow("nul-in-name") << Streams { { withNul + "/" + withNul, "n" } };
    QTest::newRow("case-differs") << Streams { { "a", "1" }, { "A", "2" }, { "b/a", "3" }, { "B/a", "4" } };
    QTest::newRow("stream-and-storage-share-name") << Streams { { "V0", "stream" }, { "V0/V0", "inner" } };
    QTest::newRow("binary-and-large-streams") << Streams { { "Bin", QByteArray("\0\1\xff", 3) }, { "Big", QByteArray(3 << 20, 'q') } };
    QTest::newRow("deepest-nesting") << Streams { { QStringLiteral("L/").repeated(512) + "leaf", "deep" } };
}

// The same tree in an in-memory scratch file (which leaves nothing on disk), through its byte
// form into another one, and through a file.
void tst_FileView::roundTrip()
{
    QFETCH(Streams, streams);
    Scratch scratch;
    StorageTreeText::write(scratch.root.get(), streams);
    const QStringList expected = StorageTreeText::lines(scratch.root.get());
    const QByteArray bytes = scratch.root->toByteArray();
    Scratch decoded;
    QVERIFY(decoded.root->fromByteArray(bytes));
    QCOMPARE(decoded.root->toByteArray(), bytes);
    scratch.root.reset();
    scratch.file.close();
    QVERIFY(!scratch.file.hasError());
    QCOMPARE(files(), QStringList());

    QCOMPARE(createFile(path("library.bli"), streams), QString());
    QCOMPARE(integrityCheck(path("library.bli")), QStringLiteral("ok"));
    QCOMPARE(treeOf(path("library.bli")), expected);
    QCOMPARE(files(), QStringList { "library.bli" });
}

void tst_FileView::fileFormat()
{
    const QString file = path("format.bli");
    QCOMPARE(createFile(file, { { "", "" }, { "z", "" }, { QString(QChar(0xdc00)), "" } }), QString());
    const QByteArray bytes = fileContents(file);
    QVERIFY(bytes.startsWith("SQLite format 3\0"));
    QCOMPARE(bytes.mid(68, 4).toHex(), QByteArray("4b76424c")); // application id "KvBL"
    QCOMPARE(bytes.mid(60, 4).toHex(), QByteArray("00000001")); // format version
    QCOMPARE(bytes.mid(56, 4).toHex(), QByteArray("00000001")); // text encoding UTF-8
    QCOMPARE(bytes.mid(16, 4).toHex(), QByteArray("00010101")); // page size 65536, rollback journal
    // Names as text where text can hold them; an unpaired surrogate as UTF-16LE code units.
    QCOMPARE(query(file, "SELECT typeof(name), hex(name) FROM stream ORDER BY 1, 2"), QStringList({ "blob 00DC", "text", "text 7A" }));
}

void tst_FileView::views()
{
    Scratch s;
    FileStorageView *blocks = s.root->storage(QStringLiteral("Blocks"));
    FileStorageView *version = blocks->storage(QStringLiteral("B1"))->storage(QStringLiteral("V0"));
    QVERIFY(s.root->storage(QStringLiteral("Blocks")) == blocks && version->parent()->parent() == blocks);
    QCOMPARE(version->path() + QLatin1Char(' ') + version->name(), QStringLiteral("Blocks/B1/V0 V0"));
    // A second root view sees the same tree. Removing a stream leaves the sub-storage of the
    // same name; a missing name is no error.
    RootView second(s.file.createRootView());
    StorageTreeText::write(s.root.get(), { { "V0", "s" }, { "V0/x", "t" } });
    s.root->removeStream(QStringLiteral("V0"));
    s.root->removeStream(QStringLiteral("missing"));
    QCOMPARE(StorageTreeText::lines(second->storage(QStringLiteral("V0"))), QStringList({ "stream x 1 74" }));
    // clear() detaches the views of what it removed: their writes go nowhere.
    s.root->clear();
    QVERIFY(version->isReadOnly() && version->streamNames().isEmpty());
    version->writeStream(QStringLiteral("z"), "lost");
    version->storage(QStringLiteral("C"));
    QCOMPARE(StorageTreeText::lines(s.root.get()), QStringList());
    QVERIFY(s.root->storage(QStringLiteral("Blocks")) != blocks && !s.root->storage(QStringLiteral("Blocks"))->isReadOnly());
    // So does closing the file; and a view without a file stores nothing.
    s.file.close();
    QVERIFY(s.root->isReadOnly() && s.root->storageNames().isEmpty());
    FileStorageView unbacked;
    unbacked.writeStream(QStringLiteral("x"), "1");
    QVERIFY(unbacked.streamNames().isEmpty() && !unbacked.storage(QStringLiteral("A")) && !unbacked.fromByteArray(unbacked.toByteArray()));
}

void tst_FileView::unchangedSessionLeavesFileUntouched_data()
{
    QTest::addColumn<int>("action");
    QTest::newRow("rewrite-same-bytes") << 0;
    QTest::newRow("clear-and-rewrite-same-tree") << 1;
    QTest::newRow("remove-missing-stream") << 2;
    QTest::newRow("change-then-destroy-without-close") << 3;
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
        if (action == 0) {
            root->writeStream(QStringLiteral("Info.ini"), QByteArray(root->readStream(QStringLiteral("Info.ini")).constData()));
        } else if (action == 1) {
            root->clear();
            writeLibraryTree(root.get(), 7, 20);
        } else if (action == 2) {
            root->removeStream(QStringLiteral("missing"));
        } else { // destroying the open file discards the changes
            root->storage(QStringLiteral("Blocks"))->writeStream(QStringLiteral("Info.ini"), "changed");
        }
        if (action < 3) {
            root.reset();
            view.close();
            QVERIFY(!view.hasError());
        }
    }
    QVERIFY(fileContents(file) == before);
    QCOMPARE(files(), QStringList { "same.bli" });
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
    const QString file = name.isEmpty() ? QString() : m_dir->filePath(name);
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
    if (existing == "text") // its permissions stay
        QVERIFY(writeFile(file, "plain text") && QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup));
    if (existing == "sqlite")
        QCOMPARE(execSql(file, "CREATE TABLE t (a); INSERT INTO t VALUES (1)"), QString());
    struct stat before = {}, after = {};
    ::stat(QFile::encodeName(real).constData(), &before);

    QCOMPARE(createFile(file, { { "New/z", "3" } }), QString());
    QCOMPARE(treeOf(file), QStringList({ "storage New", "stream New/z 1 33" }));
    QCOMPARE(integrityCheck(real), QStringLiteral("ok"));
    QCOMPARE(::stat(QFile::encodeName(real).constData(), &after), 0);
    QCOMPARE(after.st_ino == before.st_ino, inPlace);
    if (existing == "text")
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
    FileView first, second;
    first.open(file);
    if (secondCreates)
        second.create(file);
    else
        second.open(file);
    if (secondClosesFirst)
        second.close();
    RootView(first.createRootView())->writeStream(QStringLiteral("x"), "first");
    first.close();
    if (!secondClosesFirst) {
        // The other session still reads the file as it was: nobody may commit under it.
        QCOMPARE(first.errorString(), QStringLiteral("Die Datei „%1“ ist von einem anderen Programm gesperrt. "
                                                     "Die Änderungen wurden nicht gespeichert.").arg(file));
        QVERIFY(fileContents(file) == original);
        RootView(second.createRootView())->writeStream(QStringLiteral("x"), "second");
        second.close();
    }
    QVERIFY2(!second.hasError() && first.hasError() != secondClosesFirst, qPrintable(second.errorString()));
    QCOMPARE(treeOf(file), QStringList { secondClosesFirst ? "stream x 5 6669727374" : "stream x 6 7365636f6e64" });
}

QTEST_GUILESS_MAIN(tst_FileView)
#include "tst_fileview.moc"
