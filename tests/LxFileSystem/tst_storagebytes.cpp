#include "StorageTestSupport.h"
#include "StorageTreeText.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtTest/QtTest>

#include <memory>

#if defined(__has_feature)
#  if __has_feature(address_sanitizer)
#    define KV_UNDER_ASAN 1
#  endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#  define KV_UNDER_ASAN 1
#endif

using Streams = QList<QPair<QString, QByteArray>>;
using RootView = std::unique_ptr<FileStorageView>;

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
    void roundTrip_data();
    void roundTrip();
    void fromByteArrayReplacesOnlyTheSubtree();
    void nestingLimitCountsFromTheTarget();

    void hostileBytes_data();
    void hostileBytes();
    void declaredSizesAreNotAllocated_data();
    void declaredSizesAreNotAllocated();

private:
    std::unique_ptr<FileView> m_file;
    RootView m_root;
};

void tst_StorageBytes::init()
{
    m_root.reset();
    m_file = std::make_unique<FileView>();
    m_file->create(QString());
    m_root.reset(m_file->createRootView());
}

void tst_StorageBytes::encodingIsExact_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QByteArray>("storageHex");
    QTest::newRow("empty-storage") << Streams() << QByteArray("82a0a0");
    QTest::newRow("stream-and-empty-storage")
            << Streams { { "x", "1" }, { "A/", "" } } << QByteArray("82a161784131" "a1614182a16040a0");
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
    StorageTreeText::write(m_root.get(), streams);
    QCOMPARE(m_root->toByteArray().toHex(), document(storageHex).toHex());
}

void tst_StorageBytes::roundTrip_data()
{
    QTest::addColumn<Streams>("streams");
    const QString surrogates = QString(QChar(0xdc00)) + QChar(0xd800);
    QTest::newRow("empty") << Streams();
    QTest::newRow("library") << Streams { { "Info.ini", ";type=\"blocklibrary\"" }, { "Blocks/B1/V0/Pin1", "p" },
                                          { "Blocks/B1/Info.ini", QByteArray(70000, 'i') } };
    QTest::newRow("odd-names") << Streams { { surrogates + "/" + surrogates, "s" }, { "/", "empty names" },
                                            { QStringLiteral("a") + QChar(0) + "/x", QByteArray(1, '\0') } };
    QTest::newRow("stream-and-storage-share-name") << Streams { { "V0", "s" }, { "V0/V0", "t" } };
}

void tst_StorageBytes::roundTrip()
{
    QFETCH(Streams, streams);
    StorageTreeText::write(m_root.get(), streams);
    const QByteArray bytes = m_root->toByteArray();
    FileView other;
    other.create(QString());
    RootView target(other.createRootView());
    FileStorageView *into = target->storage(QStringLiteral("Somewhere"))->storage(QStringLiteral("Deep"));
    QVERIFY(into->fromByteArray(bytes));
    QCOMPARE(StorageTreeText::lines(into), StorageTreeText::lines(m_root.get()));
    QCOMPARE(into->toByteArray(), bytes);
    QCOMPARE(into->name(), QStringLiteral("Deep"));
}

void tst_StorageBytes::fromByteArrayReplacesOnlyTheSubtree()
{
    StorageTreeText::write(m_root.get(), { { "Keep/k", "1" }, { "Target/old", "2" }, { "Target/Sub/x", "3" } });
    FileStorageView *target = m_root->storage(QStringLiteral("Target"));
    FileStorageView *oldSub = target->storage(QStringLiteral("Sub"));

    FileView source;
    source.create(QString());
    RootView sourceRoot(source.createRootView());
    StorageTreeText::write(sourceRoot.get(), { { "new", "4" }, { "Sub/y", "5" } });
    QVERIFY(target->fromByteArray(sourceRoot->toByteArray()));

    QCOMPARE(StorageTreeText::lines(m_root.get()),
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
    QCOMPARE(StorageTreeText::lines(m_root.get()).size(), 512);
    FileStorageView *level1 = m_root->storage(QStringLiteral("A"));
    const QByteArray before = m_root->toByteArray();
    QVERIFY(!level1->fromByteArray(nested(512)));
    QVERIFY(level1->fromByteArray(nested(511)));
    QCOMPARE(m_root->toByteArray(), before);
}

void tst_StorageBytes::hostileBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray valid = document("82a161784131" "a1614182a16040a0");
    const QByteArray marker = QByteArray("LxStorageTree");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not-cbor") << QByteArray("hello, world");
    QTest::newRow("missing-self-describe-tag") << valid.mid(3);
    QTest::newRow("other-tag") << QByteArray::fromHex("d818") + valid.mid(3);
    QTest::newRow("tag-without-item") << QByteArray::fromHex("d9d9f7");
    QTest::newRow("wrong-marker") << QByteArray::fromHex("d9d9f7836d") + "LxStorageTrex" + QByteArray::fromHex("0182a0a0");
    QTest::newRow("marker-as-bytes") << QByteArray::fromHex("d9d9f7834d") + marker + QByteArray::fromHex("0182a0a0");
    QTest::newRow("marker-declared-huge") << QByteArray::fromHex("d9d9f7837b7fffffffffffffff") + marker;
    QTest::newRow("version-0") << QByteArray::fromHex("d9d9f7836d") + marker + QByteArray::fromHex("0082a0a0");
    QTest::newRow("version-2") << QByteArray::fromHex("d9d9f7836d") + marker + QByteArray::fromHex("0282a0a0");
    QTest::newRow("version-negative") << QByteArray::fromHex("d9d9f7836d") + marker + QByteArray::fromHex("2082a0a0");
    QTest::newRow("version-float") << QByteArray::fromHex("d9d9f7836d") + marker + QByteArray::fromHex("f93c0082a0a0");
    QTest::newRow("top-array-of-two") << QByteArray::fromHex("d9d9f7826d") + marker + QByteArray::fromHex("01");
    QTest::newRow("top-array-of-four") << QByteArray::fromHex("d9d9f7846d") + marker + QByteArray::fromHex("0182a0a000");
    QTest::newRow("indefinite-top-array") << QByteArray::fromHex("d9d9f79f6d") + marker + QByteArray::fromHex("0182a0a0ff");
    QTest::newRow("storage-is-map") << document("a0");
    QTest::newRow("storage-array-of-three") << document("83a0a0a0");
    QTest::newRow("storage-array-of-one") << document("81a0");
    QTest::newRow("streams-not-map") << document("8280a0");
    QTest::newRow("indefinite-streams-map") << document("82bfffa0");
    QTest::newRow("indefinite-storages-map") << document("82a0bfff");
    QTest::newRow("stream-value-text") << document("82a161786131a0");
    QTest::newRow("stream-value-integer") << document("82a1617801a0");
    QTest::newRow("stream-value-null") << document("82a16178f6a0");
    QTest::newRow("stream-value-tagged-bytes") << document("82a16178c24131a0");
    QTest::newRow("stream-value-indefinite-bytes") << document("82a161785f4131ff" "a0");
    QTest::newRow("stream-name-integer") << document("82a1014131a0");
    QTest::newRow("stream-name-indefinite-text") << document("82a17f6178ff4131a0");
    QTest::newRow("stream-name-invalid-utf8") << document("82a162c3284131a0");
    QTest::newRow("stream-name-overlong-utf8") << document("82a162c0af4131a0");
    QTest::newRow("stream-name-encoded-surrogate") << document("82a163eda0804131a0");
    QTest::newRow("name-bytes-odd-length") << document("82a14300d8004131a0");
    QTest::newRow("name-bytes-well-formed-text") << document("82a1427800" "4131a0");
    QTest::newRow("duplicate-stream-name") << document("82a2617841316178413282a0a0");
    QTest::newRow("streams-out-of-order") << document("82a2617941316178413282a0a0");
    QTest::newRow("duplicate-storage-name") << document("82a0a2614182a0a0614182a0a0");
    QTest::newRow("storages-out-of-order") << document("82a0a2614282a0a0614182a0a0");
    QTest::newRow("storage-value-bytes") << document("82a0a161414131");
    QTest::newRow("stream-length-beyond-input") << document("82a161785a00100000") + "abc";
    QTest::newRow("stream-length-900-megabytes") << document("82a161785a35a4e900") + "abc";
    QTest::newRow("stream-length-2-pow-63") << document("82a161785b7fffffffffffffff") + "abc";
    QTest::newRow("stream-length-2-pow-64-minus-1") << document("82a161785bffffffffffffffff") + "abc";
    QTest::newRow("map-count-beyond-input") << document("82b9ffff6178");
    QTest::newRow("map-count-2-pow-63") << document("82bb7fffffffffffffff6178");
    QTest::newRow("array-count-2-pow-63") << document("9b7fffffffffffffff");
    QTest::newRow("truncated-by-one-byte") << valid.chopped(1);
    QTest::newRow("truncated-to-header") << kHeader;
    QTest::newRow("trailing-zero-byte") << valid + QByteArray(1, '\0');
    QTest::newRow("trailing-second-document") << valid + valid;
    QTest::newRow("nesting-one-beyond-limit") << nested(513);
    QTest::newRow("nesting-far-beyond-limit") << nested(100000);
}

void tst_StorageBytes::hostileBytes()
{
    QFETCH(QByteArray, bytes);
    StorageTreeText::write(m_root.get(), { { "keep", "1" }, { "Sub/x", "2" } });
    FileStorageView *sub = m_root->storage(QStringLiteral("Sub"));
    const QStringList lines = StorageTreeText::lines(m_root.get());
    const QByteArray encoded = m_root->toByteArray();

    QVERIFY(!m_root->fromByteArray(bytes));
    QVERIFY(!sub->fromByteArray(bytes));
    QCOMPARE(StorageTreeText::lines(m_root.get()), lines);
    QCOMPARE(m_root->toByteArray(), encoded);
    QCOMPARE(m_root->storage(QStringLiteral("Sub")), sub);
}

void tst_StorageBytes::declaredSizesAreNotAllocated_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("stream-of-900-megabytes") << document("82a161785a35a4e900") + "abc";
    QTest::newRow("stream-of-2-pow-63-bytes") << document("82a161785b7fffffffffffffff") + "abc";
    QTest::newRow("map-of-2-pow-63-entries") << document("82bb7fffffffffffffff6178");
    QTest::newRow("marker-of-2-pow-63-bytes") << QByteArray::fromHex("d9d9f7837b7fffffffffffffff") + "LxStorageTree";
}

void tst_StorageBytes::declaredSizesAreNotAllocated()
{
#ifdef KV_UNDER_ASAN
    QSKIP("the address sanitizer reserves more address space than the cap this test sets");
#else
    // The helper caps its address space at 64 MB above what it uses, then decodes: an
    // allocation of a declared size would kill it instead of being turned down.
    QFETCH(QByteArray, bytes);
    QTemporaryDir dir;
    QFile input(dir.filePath(QStringLiteral("input")));
    QVERIFY(input.open(QIODevice::WriteOnly));
    input.write(bytes);
    input.close();
    QProcess helper;
    helper.start(QCoreApplication::applicationDirPath() + QStringLiteral("/lxfs_helper"),
                 { QStringLiteral("frombytes"), input.fileName(), QStringLiteral("64") });
    QVERIFY(helper.waitForFinished(30000));
    QCOMPARE(helper.exitStatus(), QProcess::NormalExit);
    QCOMPARE(helper.readAllStandardOutput(), QByteArray("rejected\n"));
    QCOMPARE(helper.exitCode(), 0);
#endif
}

QTEST_GUILESS_MAIN(tst_StorageBytes)
#include "tst_storagebytes.moc"
