#include "StorageTestSupport.h"
#include "StorageTreeText.h"

#include <QtTest/QtTest>

#if defined(__SANITIZE_ADDRESS__)
#  define KV_UNDER_ASAN 1
#elif defined(__has_feature)
#  if __has_feature(address_sanitizer)
#    define KV_UNDER_ASAN 1
#  endif
#endif

using namespace StorageTestSupport;

namespace {

// The start of every encoding: self-describing CBOR tag, array of three, marker, version 1.
const QByteArray kHead = QByteArray::fromHex("d9d9f7836d") + "LxStorageTree";
const QByteArray kHeader = kHead + QByteArray::fromHex("01");

QByteArray document(const QByteArray &storageHex)
{
    return kHeader + QByteArray::fromHex(storageHex);
}

// n nested storages named "A", innermost empty.
QByteArray nested(int n)
{
    return kHeader + QByteArray::fromHex("82a0a16141").repeated(n) + QByteArray::fromHex("82a0a0");
}

} // namespace

class tst_StorageBytes : public QObject
{
    Q_OBJECT

private slots:
    void encodingIsExact_data();
    void encodingIsExact();
    void fromByteArrayReplacesOnlyTheSubtree();
    void hostileBytes_data();
    void hostileBytes();
};

void tst_StorageBytes::encodingIsExact_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QByteArray>("storageHex");
    QTest::newRow("empty-storage") << Streams() << QByteArray("82a0a0");
    QTest::newRow("stream-and-empty-storage") << Streams { { "x", "1" }, { "A/", "" } } << QByteArray("82a161784131" "a1614182a16040a0");
    QTest::newRow("names-in-code-unit-order") << Streams { { "b", "" }, { "B", "" }, { QStringLiteral("\u00e4"), "" } }
                                              << QByteArray("82a3614240616240" "62c3a440" "a0");
    QTest::newRow("unpaired-surrogate-name-as-utf16le-bytes")
            << Streams { { QString(QChar(0xd800)), "z" } } << QByteArray("82a14200d8417aa0");
}

void tst_StorageBytes::encodingIsExact()
{
    QFETCH(Streams, streams);
    QFETCH(QByteArray, storageHex);
    Scratch scratch;
    StorageTreeText::write(scratch.root.get(), streams);
    QCOMPARE(scratch.root->toByteArray().toHex(), document(storageHex).toHex());
}

void tst_StorageBytes::fromByteArrayReplacesOnlyTheSubtree()
{
    Scratch s;
    StorageTreeText::write(s.root.get(), { { "Keep/k", "1" }, { "Target/old", "2" }, { "Target/Sub/x", "3" } });
    FileStorageView *target = s.root->storage(QStringLiteral("Target"));
    FileStorageView *oldSub = target->storage(QStringLiteral("Sub"));
    QVERIFY(target->fromByteArray(document("82a1636e65774134" "a163537562" "82a161794135a0"))); // new: 4, Sub/y: 5
    QCOMPARE(StorageTreeText::lines(s.root.get()),
             QStringList({ "storage Keep", "storage Target", "storage Target/Sub", "stream Keep/k 1 31",
                           "stream Target/Sub/y 1 35", "stream Target/new 1 34" }));
    // The view of the replaced sub-storage is detached; asking again gives the new one.
    QVERIFY(oldSub->isReadOnly() && oldSub->streamNames().isEmpty());
    QCOMPARE(target->storage(QStringLiteral("Sub"))->path(), QStringLiteral("Target/Sub"));

    // The nesting limit counts from the root of the file, not from the receiving storage.
    Scratch deep;
    QVERIFY(deep.root->fromByteArray(nested(512)));
    QCOMPARE(StorageTreeText::lines(deep.root.get()).size(), 512);
    FileStorageView *level1 = deep.root->storage(QStringLiteral("A"));
    QVERIFY(!level1->fromByteArray(nested(512)));
    QVERIFY(level1->fromByteArray(nested(511)));
    QCOMPARE(StorageTreeText::lines(deep.root.get()).size(), 512);
}

void tst_StorageBytes::hostileBytes_data()
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
    row("tag-without-item", QByteArray::fromHex("d9d9f7"));
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
    row("stream-length-2-pow-63", document("82a161785b7fffffffffffffff") + "abc", true);
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

void tst_StorageBytes::hostileBytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, declaresHugeSize);
    QFETCH(qint64, zeros);
    Scratch s;
    StorageTreeText::write(s.root.get(), { { "keep", "1" }, { "Sub/x", "2" } });
    FileStorageView *sub = s.root->storage(QStringLiteral("Sub"));
    const QByteArray encoded = s.root->toByteArray();
    if (zeros == 0) {
        QVERIFY(!s.root->fromByteArray(bytes));
        QVERIFY(!sub->fromByteArray(bytes));
        QCOMPARE(s.root->toByteArray(), encoded);
        QCOMPARE(s.root->storage(QStringLiteral("Sub")), sub);
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
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitStatus(), QProcess::NormalExit);
    QCOMPARE(helper.readAllStandardOutput(), QByteArray("rejected\n"));
}

QTEST_GUILESS_MAIN(tst_StorageBytes)
#include "tst_storagebytes.moc"
