#include "StorageTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <sys/stat.h>

#if defined(__SANITIZE_ADDRESS__)
#  define KV_UNDER_ASAN 1
#elif defined(__has_feature)
#  if __has_feature(address_sanitizer)
#    define KV_UNDER_ASAN 1
#  endif
#endif

using namespace StorageTestSupport;

namespace {

// The byte form of a storage tree: self-describing CBOR tag, array of three, marker, version 1,
// then the root storage.
const QByteArray kHead = QByteArray::fromHex("d9d9f7836d") + "LxStorageTree";
QByteArray document(const QByteArray &storageHex)
{
    return kHead + QByteArray::fromHex("01" + storageHex);
}
// n nested storages named "A", innermost empty.
QByteArray nested(int n)
{
    return document(QByteArray("82a0a16141").repeated(n) + "82a0a0");
}

} // namespace

class tst_FileView : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY((m_dir = std::make_unique<QTemporaryDir>())->isValid()); }
    void roundTrip_data();
    void roundTrip();
    void fileFormat();
    void views();
    void unchangedSessionLeavesFileUntouched_data();
    void unchangedSessionLeavesFileUntouched();
    void refusedOrReported_data();
    void refusedOrReported();
    void openOrCreateFails_data();
    void openOrCreateFails();
    void createReplaces_data();
    void createReplaces();
    void fromByteArrayReplacesOnlyTheSubtree();
    void hostileBytes_data();
    void hostileBytes();

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
    QCOMPARE(StorageTreeText::lines(second.get()), QStringList({ "storage Blocks", "storage Blocks/B1", "storage Blocks/B1/V0",
                                                                 "storage V0", "stream V0/x 1 74" }));
    // clear() and closing the file detach the views of what they removed: their writes go nowhere.
    s.root->clear();
    version->writeStream(QStringLiteral("z"), "lost");
    version->storage(QStringLiteral("C"));
    QVERIFY(version->isReadOnly() && StorageTreeText::lines(s.root.get()).isEmpty());
    QVERIFY(s.root->storage(QStringLiteral("Blocks")) != blocks && !s.root->storage(QStringLiteral("Blocks"))->isReadOnly());
    s.file.close();
    QVERIFY(s.root->isReadOnly() && s.root->storageNames().isEmpty());
    FileStorageView unbacked; // and a view without a file stores nothing
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

// Files that are not, or no longer, sound storage files: each one is refused, or its damage
// reported when it is met, with a message; and nothing is ever written to such a file.
void tst_FileView::refusedOrReported_data()
{
    QTest::addColumn<QByteArray>("bytes"); // the file, or null for a sound one with the sql applied
    QTest::addColumn<QString>("sql");      // "" breaks the index of the stream names instead
    QTest::addColumn<bool>("write");       // whether the session changes something
    QTest::addColumn<QString>("error");    // the first tree line; "*" stands for SQLite's words
    const QString notStorage = QStringLiteral("cannot open: Die Datei „%1“ ist keine Speicherdatei.");
    const auto row = [](const char *name, const QString &sql, const QString &error, bool write = false) {
        const QString damaged = QStringLiteral("Die Datei „%1“ ist beschädigt (%2).");
        QTest::newRow(name) << QByteArray() << sql << write
                            << (error.contains("%1") ? error : "cannot open: " + damaged.arg("%1", error));
    };
    QTest::newRow("zero-length") << QByteArray("", 0) << QString() << false << notStorage;
    QTest::newRow("text") << QByteArray(";type=\"blocklibrary\" version=\"0\"\r\n") << QString() << false << notStorage;
    row("foreign-sqlite-database", "DROP TABLE stream; PRAGMA application_id = 0", notStorage);
    row("format-version-2", "PRAGMA user_version = 2", "cannot open: Die Datei „%1“ hat die unbekannte Formatversion 2.");
    row("extra-table", "CREATE TABLE notes (text)", notStorage);
    row("extra-trigger", "CREATE TRIGGER t AFTER INSERT ON stream BEGIN DELETE FROM stream; END", notStorage);
    row("missing-table", "DROP TABLE stream_data", notStorage);
    row("altered-column", "ALTER TABLE stream ADD COLUMN extra INTEGER", notStorage);
    row("storage-without-parent", "UPDATE storage SET parent = 9999 WHERE id = 3", "storage without parent");
    row("storages-in-a-cycle", "UPDATE storage SET parent = 3 WHERE id = 2", "storages outside the tree");
    row("two-roots", "UPDATE storage SET parent = NULL WHERE id = 3", "two root storages");
    row("no-root", "UPDATE storage SET parent = 2 WHERE id = 1", "no root storage");
    row("stream-without-storage", "UPDATE stream SET storage = 9999 WHERE id = 5", "stream without storage");
    row("stream-of-negative-size", "UPDATE stream SET size = -1 WHERE id = 5", "stream row of wrong values");
    row("stream-above-largest-size", "UPDATE stream SET size = 1000000001 WHERE id = 5", "stream row of wrong values");
    row("stream-row-zero", "UPDATE stream SET id = 0 WHERE id = 5", "stream row of wrong values");
    row("nested-too-deeply",
        "WITH RECURSIVE chain(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM chain WHERE n < 513) INSERT INTO storage "
        "(id, parent, name) SELECT 100000 + n, CASE n WHEN 1 THEN 1 ELSE 99999 + n END, 'L' FROM chain",
        "storages nested too deeply");
    // Stream bytes are read on demand: such damage shows when they are.
    const QString reported = QStringLiteral("cannot close: Die Datei „%1“ ist beschädigt (%2).");
    const QString notSaved = QStringLiteral(" Die Änderungen wurden nicht gespeichert.");
    const QString missing = reported.arg("%1", "stream data missing");
    const QString wrongSize = reported.arg("%1", "stream data of wrong size");
    row("data-row-missing", "DELETE FROM stream_data WHERE id = 5", missing);
    row("data-row-missing-in-a-save", "DELETE FROM stream_data WHERE id = 5", missing + notSaved, true);
    row("largest-size-not-the-data", "UPDATE stream SET size = 1000000000 WHERE id = 5", wrongSize);
    row("data-of-other-size-in-a-save", "UPDATE stream SET size = size + 1 WHERE id = 5", wrongSize + notSaved, true);
    // SQLite finds a damaged index only while writing.
    row("damaged-index-in-a-save", "", reported.arg("%1", "*") + notSaved, true);
}

void tst_FileView::refusedOrReported()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, sql);
    QFETCH(bool, write);
    QFETCH(QString, error);
    const QString file = path("library.bli");
    if (bytes.isNull()) {
        QCOMPARE(createFile(file, 3, 20), QString());
        if (sql.isEmpty())
            QVERIFY(breakIndex(file, "sqlite_autoindex_stream_1"));
        else
            QCOMPARE(execSql(file, sql), QString());
    } else {
        QVERIFY(writeFile(file, bytes));
    }
    const QByteArray before = fileContents(file);
    const QString first = treeOf(file, write).value(0);
    const QStringList parts = error.arg(file).split(QLatin1Char('*'));
    QVERIFY2(parts.size() == 1 ? first == parts.first() : first.startsWith(parts.first()) && first.endsWith(parts.last()),
             qPrintable(first));
    QVERIFY(fileContents(file) == before);
}

void tst_FileView::openOrCreateFails_data()
{
    QTest::addColumn<bool>("create");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("error");
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

void tst_FileView::fromByteArrayReplacesOnlyTheSubtree()
{
    Scratch s;
    StorageTreeText::write(s.root.get(), { { "Keep/k", "1" }, { "Target/old", "2" }, { "Target/Sub/x", "3" } });
    FileStorageView *target = s.root->storage(QStringLiteral("Target"));
    FileStorageView *oldSub = target->storage(QStringLiteral("Sub"));
    // Streams new: 4 and (an unpaired surrogate, as UTF-16LE bytes): z, storage Sub with y: 5.
    const QByteArray bytes = document("82a2636e65774134" "4200d8417a" "a163537562" "82a161794135a0");
    QVERIFY(target->fromByteArray(bytes));
    QCOMPARE(target->toByteArray().toHex(), bytes.toHex());
    QCOMPARE(StorageTreeText::lines(s.root.get()),
             QStringList({ "storage Keep", "storage Target", "storage Target/Sub", "stream Keep/k 1 31",
                           "stream Target/Sub/y 1 35", "stream Target/\\ud800 1 7a", "stream Target/new 1 34" }));
    // The view of the replaced sub-storage is detached; asking again gives the new one.
    QVERIFY(oldSub->isReadOnly() && target->storage(QStringLiteral("Sub"))->path() == QStringLiteral("Target/Sub"));

    // The nesting limit counts from the root of the file, not from the receiving storage.
    Scratch deep;
    QVERIFY(deep.root->fromByteArray(nested(512)));
    QCOMPARE(StorageTreeText::lines(deep.root.get()).size(), 512);
    FileStorageView *level1 = deep.root->storage(QStringLiteral("A"));
    QVERIFY(!level1->fromByteArray(nested(512)));
    QVERIFY(level1->fromByteArray(nested(511)));
    QCOMPARE(StorageTreeText::lines(deep.root.get()).size(), 512);
}

void tst_FileView::hostileBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("declaresHugeSize"); // also decoded under a memory cap
    QTest::addColumn<qint64>("zeros"); // the input goes on with this many zero bytes and "a0"
    const QByteArray valid = document("82a161784131" "a1614182a16040a0");
    const auto row = [](const char *name, const QByteArray &bytes, bool huge = false, qint64 zeros = 0) {
        QTest::newRow(name) << bytes << huge << zeros;
    };
    row("empty", QByteArray());
    row("other-tag", QByteArray::fromHex("d818") + valid.mid(3));
    row("wrong-marker", QByteArray::fromHex("d9d9f7836d") + "LxStorageTrex" + QByteArray::fromHex("0182a0a0"));
    row("marker-as-bytes", QByteArray::fromHex("d9d9f7834d") + "LxStorageTree" + QByteArray::fromHex("0182a0a0"));
    row("marker-of-2-pow-63-bytes", QByteArray::fromHex("d9d9f7837b7fffffffffffffff") + "LxStorageTree", true);
    row("version-2", kHead + QByteArray::fromHex("0282a0a0"));
    row("top-array-of-two", QByteArray::fromHex("d9d9f7826d") + "LxStorageTree" + QByteArray::fromHex("01"));
    row("indefinite-top-array", QByteArray::fromHex("d9d9f79f6d") + "LxStorageTree" + QByteArray::fromHex("0182a0a0ff"));
    row("storage-is-map", document("a0"));
    row("streams-not-map", document("8280a0"));
    row("indefinite-streams-map", document("82bfffa0"));
    row("map-count-2-pow-63", document("82bb7fffffffffffffff6178"), true);
    row("stream-value-text", document("82a161786131a0"));
    row("stream-value-indefinite-bytes", document("82a161785f4131ff" "a0"));
    row("stream-length-900-megabytes", document("82a161785a35a4e900") + "abc", true);
    row("stream-length-2-pow-64-minus-1", document("82a161785bffffffffffffffff") + "abc");
    // One byte above the largest stream, all of it there: refused before it is read.
    row("stream-of-1000000001-bytes", document("82a161785a3b9aca01"), true, 1000000001);
    row("stream-name-integer", document("82a1014131a0"));
    row("stream-name-invalid-utf8", document("82a162c3284131a0"));
    row("name-bytes-odd-length", document("82a14300d8004131a0"));
    row("name-bytes-well-formed-text", document("82a1427800" "4131a0"));
    row("duplicate-stream-name", document("82a26178413161784132a0"));
    row("streams-out-of-order", document("82a26179413161784132a0"));
    row("duplicate-storage-name", document("82a0a2614182a0a0614182a0a0"));
    row("storages-out-of-order", document("82a0a2614282a0a0614182a0a0"));
    row("truncated-by-one-byte", valid.chopped(1));
    row("trailing-byte", valid + QByteArray(1, '\0'));
    row("nesting-one-beyond-limit", nested(513));
    row("nesting-far-beyond-limit", nested(100000));
}

void tst_FileView::hostileBytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, declaresHugeSize);
    QFETCH(qint64, zeros);
    Scratch s;
    StorageTreeText::write(s.root.get(), { { "keep", "1" }, { "Sub/x", "2" } });
    FileStorageView *sub = s.root->storage(QStringLiteral("Sub"));
    const QByteArray encoded = s.root->toByteArray();
    if (zeros == 0) { // the tree and its views stay as they were
        QVERIFY(!s.root->fromByteArray(bytes) && !sub->fromByteArray(bytes));
        QVERIFY(s.root->toByteArray() == encoded && s.root->storage(QStringLiteral("Sub")) == sub);
    }
    if (!declaresHugeSize)
        return;
#ifdef KV_UNDER_ASAN
    QSKIP("the address sanitizer reserves more address space than the memory cap allows");
#endif
    // The helper caps its address space at 64 MB above what it uses, then decodes: an
    // allocation of a declared size kills it instead of being turned down.
    QTemporaryDir dir;
    QFile input(dir.filePath(QStringLiteral("input")));
    QVERIFY(input.open(QIODevice::WriteOnly) && input.write(bytes) == bytes.size());
    if (zeros > 0) // a sparse file: the zeros take no space
        QVERIFY(input.seek(bytes.size() + zeros) && input.write("\xa0", 1) == 1);
    input.close();
    QProcess helper;
    helper.start(QCoreApplication::applicationDirPath() + QStringLiteral("/lxfs_helper"),
                 { QStringLiteral("frombytes"), input.fileName(), QStringLiteral("64") });
    QVERIFY(helper.waitForFinished(30000) && helper.exitStatus() == QProcess::NormalExit);
    QCOMPARE(helper.readAllStandardOutput(), QByteArray("rejected\n"));
}

QTEST_GUILESS_MAIN(tst_FileView)
#include "tst_fileview.moc"
