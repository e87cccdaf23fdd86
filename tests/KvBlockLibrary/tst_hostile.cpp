// Libraries shaped to hurt: local blocks nested as deep as the storage allows, versions with
// tens of thousands of streams, numbers far out of range. Each loads what it can, with the
// memory it needs and no more, and what loaded saves and loads again.
#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include "EditableContainer.h"
#include "ScratchStorage.h"

#include <QtTest/QTest>

#include <memory>

#include <sys/resource.h>

namespace {

using TestContainer = EditableContainer;

// AddressSanitizer keeps freed memory in quarantine and pads every allocation: bounds on
// memory growth hold for the plain build and are looser under it.
#if defined(__SANITIZE_ADDRESS__)
constexpr long MemorySlack = 4;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr long MemorySlack = 4;
#else
constexpr long MemorySlack = 1;
#endif
#else
constexpr long MemorySlack = 1;
#endif

long peakResidentKiB()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// How many local levels hang below the first block of library, following the first local block.
int localDepth(BlockLibrary *library)
{
    int depth = -1;
    while (library && !library->blockIdentifiers().isEmpty()) {
        Block *block = library->block(library->blockIdentifiers().first());
        BlockDefinition *definition = block->blockDefinition(0);
        if (!definition)
            break;
        library = definition->localBlockLibrary();
        ++depth;
    }
    return depth;
}

QByteArray pinStream(int function)
{
    return ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nDatatype=1\r\nFunction=" + QByteArray::number(function)
        + "\r\nShortName=P\r\n";
}

} // namespace

class tst_Hostile : public QObject
{
    Q_OBJECT

private slots:
    void deeplyNestedLocalBlocks_data();
    void deeplyNestedLocalBlocks();
    void manyStreams();
    void outOfRangeNumbers();
};

void tst_Hostile::deeplyNestedLocalBlocks_data()
{
    QTest::addColumn<int>("depth");
    QTest::addColumn<bool>("storable");

    // Each local level takes three storage levels (Blocks, the block, its version) below the
    // top block's version at level 3: the storage holds 512 levels, so 169 local levels fit.
    QTest::newRow("deepest-storable") << 169 << true;
    QTest::newRow("too-deep") << 170 << false;
}

void tst_Hostile::deeplyNestedLocalBlocks()
{
    QFETCH(int, depth);
    QFETCH(bool, storable);

    // Build the chain from the bottom up: each level's only local block is a copy of the
    // level below.
    std::unique_ptr<Block> chain(Block::createUserBlock());
    chain->createDefinition(0);
    for (int level = 1; level < depth; ++level) {
        std::unique_ptr<Block> parent(Block::createUserBlock());
        QVERIFY(parent->createDefinition(0)->cloneLocalBlock(chain.get()));
        chain = std::move(parent);
    }
    TestContainer container;
    Block *top = Block::createBlock(QStringLiteral("StandardBlock_1"));
    QVERIFY(top->createDefinition(0)->cloneLocalBlock(chain.get()));
    chain.reset();
    container.library()->insertBlock(top);

    QTemporaryDir directory;
    QVERIFY(directory.isValid());
    const QString path = directory.filePath(QStringLiteral("nested.bli"));
    {
        FileView file;
        file.create(path);
        QVERIFY(file.isOpen());
        std::unique_ptr<FileStorageView> root(file.createRootView());
        if (!storable)
            QTest::ignoreMessage(QtWarningMsg, "LxFileSystem: storage \"V0\" would nest deeper than 512 levels; it is not created");
        container.save(root.get());
        root.reset();
        file.close();
        // A save that cannot keep the deepest block fails as a whole instead of dropping it.
        QCOMPARE(file.hasError(), !storable);
        if (!storable) {
            QCOMPARE(file.errorString(), QStringLiteral("Die Datei „%1“ kann nicht geschrieben werden: Speicher wären tiefer "
                                                        "als 512 Ebenen verschachtelt. Die Änderungen wurden nicht gespeichert.")
                                             .arg(QDir::toNativeSeparators(path)));
            QVERIFY(!QFile::exists(path));
            return;
        }
    }
    FileView file;
    file.open(path);
    QVERIFY(file.isOpen());
    std::unique_ptr<FileStorageView> root(file.createRootView());
    TestContainer again;
    QVERIFY(again.load(root.get()));
    QCOMPARE(localDepth(again.library()), depth);
    root.reset();
    file.close();

    // The whole chain also travels as the top block's contents text.
    std::unique_ptr<Block> copy(Block::createBlock(QStringLiteral("StandardBlock_1")));
    QVERIFY(copy->loadContents(again.library()->block(QStringLiteral("StandardBlock_1"))->saveContents()));
}

void tst_Hostile::manyStreams()
{
    // A version whose interface holds 20,000 pins among 50,000 streams of no meaning, and a
    // group-segment storage with 20,000 entries: all read in one pass, memory in proportion.
    ScratchStorage storage;
    QVERIFY(storage.isValid());
    FileStorageView *root = storage.root();
    root->writeStream(QStringLiteral("Info.ini"), ";type=\"blocklibrary\" version=\"0\"\r\n\r\n[Info]\r\nType=256\r\n");
    FileStorageView *block = root->storage(QStringLiteral("Blocks"))->storage(QStringLiteral("StandardBlock_5"));
    block->writeStream(QStringLiteral("Info.ini"), ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=MANY\r\n");
    FileStorageView *version = block->storage(QStringLiteral("V0"));
    version->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n");
    FileStorageView *interface = version->storage(QStringLiteral("Interface"));
    // Names padded to one length come in the storage's own order, so that writing them here
    // costs no more than reading them will.
    constexpr int Pins = 20000;
    for (int i = 0; i < 50000; ++i)
        interface->writeStream(QStringLiteral("Noise_%1").arg(i, 5, 10, QLatin1Char('0')), "x");
    for (int i = 1; i <= Pins; ++i)
        interface->writeStream(QStringLiteral("Pin_%1.ini").arg(i, 5, 10, QLatin1Char('0')), pinStream(i % 2 ? 1 : 2));
    // As many parameter values, listed in order.txt, and as many parameter levels.
    FileStorageView *values = version->storage(QStringLiteral("ParameterValues"));
    FileStorageView *levels = version->storage(QStringLiteral("ParameterLevel"));
    QByteArray order = ";type=\"order\" version=\"0\"\r\n\r\n";
    for (int i = 0; i < Pins; ++i) {
        const QString name = QStringLiteral("P%1.ini").arg(i, 5, 10, QLatin1Char('0'));
        order += name.toLatin1() + "\r\n";
        values->writeStream(name, ";type=\"parametervalue\" version=\"0\"\r\n\r\n[General]\r\nValue=1\r\n");
        levels->writeStream(name, ";type=\"parameterlevel\" version=\"0\"\r\n\r\n[General]\r\nLevelRead=2\r\n");
    }
    values->writeStream(QStringLiteral("order.txt"), order);
    FileStorageView *segments = root->storage(QStringLiteral("Groupsegments"));
    for (int i = 0; i < 20000; ++i)
        segments->storage(QStringLiteral("%1").arg(i, 5, 10, QLatin1Char('0')))->writeStream(QStringLiteral("Info.ini"), "junk");

    const long before = peakResidentKiB();
    TestContainer container;
    QVERIFY(container.load(root));
    BlockDefinition *definition = container.library()->block(QStringLiteral("StandardBlock_5"))->blockDefinition(0);
    QVERIFY(definition);
    QCOMPARE(definition->pins().size(), Pins + 1);
    QCOMPARE(definition->inputPins().size(), Pins / 2 + 1);
    QCOMPARE(definition->defaultSkin()->size(), QSizeF(4.0, Pins / 2 + 1));
    QCOMPARE(definition->instantiationData()->targetParameter(BlockDefinition::GeneralFamily).size(), Pins);
    // 20,000 pins are a few megabytes of objects, not hundreds.
    QVERIFY2(peakResidentKiB() - before < MemorySlack * 128 * 1024,
             qPrintable(QStringLiteral("peak grew by %1 KiB").arg(peakResidentKiB() - before)));
}

void tst_Hostile::outOfRangeNumbers()
{
    // Numbers that do not fit read as if absent or as 0, never as wrapped values.
    ScratchStorage storage;
    QVERIFY(storage.isValid());
    FileStorageView *root = storage.root();
    root->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n"
                                                  "LevelVisible=99999999999999999999999\r\nLevelWrite=-5\r\n"
                                                  "MaxUsedSystemBlock=4294967296\r\n");
    FileStorageView *interface = root->storage(QStringLiteral("Interface"));
    interface->writeStream(QStringLiteral("Pin_99999999999999999999.ini"), pinStream(1));
    interface->writeStream(QStringLiteral("Pin_4294967297.ini"), pinStream(1));
    interface->writeStream(QStringLiteral("Pin_7.ini"), ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nFunction=4294967298\r\n"
                                                         "Datatype=99999999999999999999\r\n");
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("StandardBlock_5")));
    BlockDefinition *definition = block->createDefinition(0);
    QVERIFY(definition->load(root));
    QCOMPARE(definition->accessLevelRead(), 0u);
    QCOMPARE(definition->accessLevelWrite(), 0u);
    QCOMPARE(definition->maxUsedSystemBlock(), 0u);
    QCOMPARE(definition->pins(), (QList<int>{-1, 7}));
    QCOMPARE(int(definition->pin(7)->datatype()), 0);
    QCOMPARE(int(definition->pin(7)->function()), int(BlockPin(7).function()));
}

QTEST_MAIN(tst_Hostile)
#include "tst_hostile.moc"
