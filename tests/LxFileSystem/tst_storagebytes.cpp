#include "StorageTestSupport.h"
#include "StorageTreeText.h"

#include <QtTest/QtTest>

#if defined(__has_feature)
#  if __has_feature(address_sanitizer)
#    define KV_UNDER_ASAN 1
#  endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#  define KV_UNDER_ASAN 1
#endif

using namespace StorageTestSupport;

namespace {

// The start of every encoding: self-describing CBOR tag, array of three, marker, version 1.
const QByteArray kHeader = QByteArray::fromHex("d9d9f7" "83" "6d") + "LxStorageTree" + QByteArray::fromHex("01");
const QByteArray kEmptyStorage = QByteArray::fromHex("82a0a0");

QByteArray document(const QByteArray &storageHex)
{
    return kHeader + QByteArray::fromHex(storageHex);
}

// n nested storages named "A", innermost empty.
QByteArray nested(int n)
{
    QByteArray bytes;
    for (int i = 0; i < n; ++i)
        bytes += QByteArray::fromHex("82a0a16141");
    bytes += kEmptyStorage;
    return kHeader + bytes;
}

} // namespace

class tst_StorageBytes : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void encodingIsExact_data();
    void encodingIsExact();
    void fromByteArrayReplacesOnlyTheSubtree();
    void nestingLimitCountsFromTheTarget();

    void hostileBytes_data();
    void hostileBytes();

private:
    std::unique_ptr<Scratch> m_scratch;
    FileStorageView *m_root = nullptr;
};

void tst_StorageBytes::init()
{
    m_scratch = std::make_unique<Scratch>();
    m_root = m_scratch->root.get();
}

void tst_StorageBytes::encodingIsExact_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QByteArray>("storageHex");
    QTest::newRow("empty-storage") << Streams() << QByteArray("82a0a0");
    QTest::newRow("stream-and-empty-storage") << Streams { { "x", "1" }, { "A/", "" } } << QByteArray("82a161784131" "a1614182a16040a0");
    QTest::newRow("names-in-code-unit-order")
            << Streams { { "b", "" }, { "B", "" }, { QStringLiteral("\u00e4"), "" } }
            << QByteArray("82a3614240616240" "62c3a440" "a0");
    QTest::newRow("unpaired-surrogate-name-as-utf16le-bytes")
            << Streams { { QString(QChar(0xd800)), "z" } } << QByteArray("82a14200d8417aa0");
}

void tst_StorageBytes::encodingIsExact()
{
    QFETCH(Streams, streams);
    QFETCH(QByteArray, storageHex);
    StorageTreeText::write(m_root, streams);
    QCOMPARE(m_root->toByteArray().toHex(), document(storageHex).toHex());
}

void tst_StorageBytes::fromByteArrayReplacesOnlyTheSubtree()
{
    StorageTreeText::write(m_root, { { "Keep/k", "1" }, { "Target/old", "2" }, { "Target/Sub/x", "3" } });
    FileStorageView *target = m_root->storage(QStringLiteral("Target"));
    FileStorageView *oldSub = target->storage(QStringLiteral("Sub"));

    Scratch source;
    StorageTreeText::write(source.root.get(), { { "new", "4" }, { "Sub/y", "5" } });
    QVERIFY(target->fromByteArray(source.root->toByteArray()));

    QCOMPARE(StorageTreeText::lines(m_root),
             QStringList({ "storage Keep", "storage Target", "storage Target/Sub", "stream Keep/k 1 31",
                           "stream Target/Sub/y 1 35", "stream Target/new 1 34" }));
    QCOMPARE(target->name(), QStringLiteral("Target"));
    // The view of the replaced sub-storage is detached; asking again gives the new one.
    QCOMPARE(oldSub->streamNames(), QStringList());
    QVERIFY(oldSub->isReadOnly());
    FileStorageView *newSub = target->storage(QStringLiteral("Sub"));
    QVERIFY(newSub != oldSub);
    QCOMPARE(newSub->readStream(QStringLiteral("y")), QByteArray("5"));
    QCOMPARE(newSub->path(), QStringLiteral("Target/Sub"));
}

void tst_StorageBytes::nestingLimitCountsFromTheTarget()
{
    // 512 levels below the storage that receives them is the limit of the whole tree.
    QVERIFY(m_root->fromByteArray(nested(512)));
    QCOMPARE(StorageTreeText::lines(m_root).size(), 512);
    FileStorageView *level1 = m_root->storage(QStringLiteral("A"));
    const QByteArray before = m_root->toByteArray();
    QVERIFY(!level1->fromByteArray(nested(512)));
    QVERIFY(level1->fromByteArray(nested(511)));
    QCOMPARE(m_root->toByteArray(), before);
}

void tst_StorageBytes::hostileBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("declaresHugeSize"); // also decoded under a memory cap
    const QByteArray valid = document("82a161784131" "a1614182a16040a0");
    const QByteArray head = QByteArray::fromHex("d9d9f7836d") + "LxStorageTree";
    const auto row = [](const char *name, const QByteArray &bytes, bool huge = false) {
        QTest::newRow(name) << bytes << huge;
    };
    row("empty", QByteArray());
    row("not-cbor", "hello, world");
    row("missing-self-describe-tag", valid.mid(3));
    row("other-tag", QByteArray::fromHex("d818") + valid.mid(3));
    row("tag-without-item", QByteArray::fromHex("d9d9f7"));
    row("wrong-marker", QByteArray::fromHex("d9d9f7836d") + "LxStorageTrex" + QByteArray::fromHex("0182a0a0"));
    row("marker-as-bytes", QByteArray::fromHex("d9d9f7834d") + "LxStorageTree" + QByteArray::fromHex("0182a0a0"));
    row("marker-of-2-pow-63-bytes", QByteArray::fromHex("d9d9f7837b7fffffffffffffff") + "LxStorageTree", true);
    row("version-0", head + QByteArray::fromHex("0082a0a0"));
    row("version-2", head + QByteArray::fromHex("0282a0a0"));
    row("top-array-of-two", QByteArray::fromHex("d9d9f7826d") + "LxStorageTree" + QByteArray::fromHex("01"));
    row("indefinite-top-array", QByteArray::fromHex("d9d9f79f6d") + "LxStorageTree" + QByteArray::fromHex("0182a0a0ff"));
    row("storage-is-map", document("a0"));
    row("storage-array-of-three", document("83a0a0a0"));
    row("streams-not-map", document("8280a0"));
    row("indefinite-streams-map", document("82bfffa0"));
    row("indefinite-storages-map", document("82a0bfff"));
    row("stream-value-text", document("82a161786131a0"));
    row("stream-value-tagged-bytes", document("82a16178c24131a0"));
    row("stream-value-indefinite-bytes", document("82a161785f4131ff" "a0"));
    row("stream-name-integer", document("82a1014131a0"));
    row("stream-name-indefinite-text", document("82a17f6178ff4131a0"));
    row("stream-name-invalid-utf8", document("82a162c3284131a0"));
    row("name-bytes-odd-length", document("82a14300d8004131a0"));
    row("name-bytes-well-formed-text", document("82a1427800" "4131a0"));
    row("duplicate-stream-name", document("82a2617841316178413282a0a0"));
    row("streams-out-of-order", document("82a2617941316178413282a0a0"));
    row("duplicate-storage-name", document("82a0a2614182a0a0614182a0a0"));
    row("storages-out-of-order", document("82a0a2614282a0a0614182a0a0"));
    row("storage-value-bytes", document("82a0a161414131"));
    row("stream-length-beyond-input", document("82a161785a00100000") + "abc");
    row("stream-length-900-megabytes", document("82a161785a35a4e900") + "abc", true);
    row("stream-length-2-pow-63", document("82a161785b7fffffffffffffff") + "abc", true);
    row("stream-length-2-pow-64-minus-1", document("82a161785bffffffffffffffff") + "abc");
    row("map-count-beyond-input", document("82b9ffff6178"));
    row("map-count-2-pow-63", document("82bb7fffffffffffffff6178"), true);
    row("array-count-2-pow-63", document("9b7fffffffffffffff"));
    row("truncated-by-one-byte", valid.chopped(1));
    row("truncated-to-header", kHeader);
    row("trailing-zero-byte", valid + QByteArray(1, '\0'));
    row("trailing-second-document", valid + valid);
    row("nesting-one-beyond-limit", nested(513));
    row("nesting-far-beyond-limit", nested(100000));
}

void tst_StorageBytes::hostileBytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, declaresHugeSize);
    StorageTreeText::write(m_root, { { "keep", "1" }, { "Sub/x", "2" } });
    FileStorageView *sub = m_root->storage(QStringLiteral("Sub"));
    const QStringList lines = StorageTreeText::lines(m_root);
    const QByteArray encoded = m_root->toByteArray();

    QVERIFY(!m_root->fromByteArray(bytes));
    QVERIFY(!sub->fromByteArray(bytes));
    QCOMPARE(StorageTreeText::lines(m_root), lines);
    QCOMPARE(m_root->toByteArray(), encoded);
    QCOMPARE(m_root->storage(QStringLiteral("Sub")), sub);

#ifndef KV_UNDER_ASAN // the address sanitizer reserves more address space than the cap allows
    if (!declaresHugeSize)
        return;
    // The helper caps its address space at 64 MB above what it uses, then decodes: an
    // allocation of a declared size would kill it instead of being turned down.
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("input"));
    QVERIFY(writeFile(input, bytes));
    QProcess helper;
    helper.start(QCoreApplication::applicationDirPath() + QStringLiteral("/lxfs_helper"),
                 { QStringLiteral("frombytes"), input, QStringLiteral("64") });
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitStatus(), QProcess::NormalExit);
    QCOMPARE(helper.readAllStandardOutput(), QByteArray("rejected\n"));
    QCOMPARE(helper.exitCode(), 0);
#else
    Q_UNUSED(declaresHugeSize);
#endif
}

QTEST_GUILESS_MAIN(tst_StorageBytes)
#include "tst_storagebytes.moc"
