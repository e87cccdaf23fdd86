#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>
#include <KvBlockLibrary/CrcFileStorageView.h>

#include "ScratchStorage.h"
#include "StorageTreeText.h"

#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

namespace {

// Sorted: '{' comes after every letter, so user identifiers list last.
const QString UserA = QStringLiteral("{0aaaaaaa-0000-0000-0000-000000000000}");
const QString UserB = QStringLiteral("{0bbbbbbb-0000-0000-0000-000000000000}");
const QString UserC = QStringLiteral("{0ccccccc-0000-0000-0000-000000000000}");

class TestContainer : public BlockLibraryContainer
{
public:
    bool isLocalContainer() const override { return false; }
};

Block *makeBlock(const QString &identifier, const QString &groupPath = QString(),
                 const QString &shortName = QString())
{
    Block *block = Block::createBlock(identifier);
    if (block) {
        block->setGroupPath(groupPath);
        block->setShortName(shortName);
    }
    return block;
}

// A block storage's "Info.ini" as a block writes it, reduced to the short name.
QByteArray blockInfo(const QByteArray &shortName)
{
    return ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=" + shortName + "\r\n";
}

// The storages and streams directly below "Blocks", without the blocks' insides.
QStringList blocksLevel(FileStorageView *root)
{
    QStringList result;
    const QStringList lines = StorageTreeText::lines(root);
    for (const QString &line : lines) {
        const QString path = line.section(QLatin1Char(' '), 1, 1);
        if (path.count(QLatin1Char('/')) <= 1)
            result << (line.startsWith(QLatin1String("stream")) ? line.section(QLatin1Char(' '), 0, 2) : line);
    }
    return result;
}

} // namespace

class tst_Library : public QObject
{
    Q_OBJECT

private slots:
    void insertAndRemove();
    void insertSameIdentifierReplaces();
    void blockSignalsReachLibrary_data();
    void blockSignalsReachLibrary();

    void listings_data();
    void listings();
    void groupListingsFollowChanges();
    void instanceTotal();
    void clear();

    void saveAndLoad();
    void saveForCompareCrcLayout();
    void loadContentMap_data();
    void loadContentMap();
    void loadWithoutBlocksStorage_data();
    void loadWithoutBlocksStorage();
    void loadSkipsBrokenBlocks();
};

void tst_Library::insertAndRemove()
{
    TestContainer container;
    BlockLibrary *library = container.library();
    QCOMPARE(library->container(), &container);
    QSignalSpy contents(library, &BlockLibrary::contentsChanged);
    QSignalSpy groups(library, &BlockLibrary::groupsChanged);
    QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);

    library->insertBlock(nullptr);
    QCOMPARE(contents.count(), 0);
    Block *block = makeBlock(QStringLiteral("SystemBlock_1"), QStringLiteral("G"));
    library->insertBlock(block);
    library->insertBlock(makeBlock(QStringLiteral("SystemBlock_2")));
    QCOMPARE(contents.count(), 2);
    QCOMPARE(groups.count(), 0);
    QCOMPARE(library->block(QStringLiteral("SystemBlock_1")), block);
    QVERIFY(!library->containsBlock(QStringLiteral("systemblock_1")));
    QCOMPARE(block->parent(), library);
    QCOMPARE(block->ownerLibrary(), library);

    // Unknown identifiers are passed by in silence.
    QVERIFY(!library->removeBlock(QStringLiteral("SystemBlock_9")));
    QVERIFY(!library->removeBlock(QString()));
    QCOMPARE(contents.count(), 2);

    // The removed block is the caller's and no longer speaks to the library.
    std::unique_ptr<Block> removed(library->removeBlock(QStringLiteral("SystemBlock_1")));
    QCOMPARE(removed.get(), block);
    QCOMPARE(contents.count(), 3);
    QVERIFY(!removed->parent());
    QVERIFY(!removed->ownerLibrary());
    QCOMPARE(library->blockIdentifiers(), QList<QString>{QStringLiteral("SystemBlock_2")});
    removed->setGroupPath(QStringLiteral("X"));
    removed->createDefinition();
    QCOMPARE(contents.count(), 3);
    QCOMPARE(groups.count(), 0);

    // With the library's signals blocked the container hears nothing either.
    modified.clear();
    library->blockSignals(true);
    std::unique_ptr<Block> quiet(library->removeBlock(QStringLiteral("SystemBlock_2")));
    library->blockSignals(false);
    QVERIFY(quiet);
    QVERIFY(library->blockIdentifiers().isEmpty());
    QCOMPARE(contents.count(), 3);
    QCOMPARE(modified.count(), 0);
}

void tst_Library::insertSameIdentifierReplaces()
{
    auto container = std::make_unique<TestContainer>();
    BlockLibrary *library = container->library();
    QPointer<Block> first = makeBlock(QStringLiteral("SystemBlock_1"), QStringLiteral("first"));
    QPointer<Block> second = makeBlock(QStringLiteral("SystemBlock_1"), QStringLiteral("second"));
    QSignalSpy contents(library, &BlockLibrary::contentsChanged);

    library->insertBlock(first);
    library->insertBlock(second);

    QCOMPARE(contents.count(), 2);
    QCOMPARE(library->block(QStringLiteral("SystemBlock_1")), second.data());
    QCOMPARE(library->blockIdentifiers(), QList<QString>{QStringLiteral("SystemBlock_1")});
    QCOMPARE(library->groupPaths(), QList<QString>{QStringLiteral("second")});
    // The earlier block is unreachable but still owned: clearing passes it by, and it goes
    // with the library.
    QVERIFY(!first.isNull());
    QCOMPARE(first->parent(), library);
    library->clear();
    QVERIFY(second.isNull());
    QVERIFY(!first.isNull());
    QVERIFY(library->blockIdentifiers().isEmpty());
    container.reset();
    QVERIFY(first.isNull());
    QVERIFY(second.isNull());
}

void tst_Library::blockSignalsReachLibrary_data()
{
    QTest::addColumn<int>("edit");
    QTest::addColumn<int>("contents");
    QTest::addColumn<int>("groups");

    QTest::newRow("group-path-set") << 0 << 0 << 1;
    QTest::newRow("group-path-set-same") << 1 << 0 << 1;
    QTest::newRow("version-created") << 2 << 1 << 0;
    QTest::newRow("version-edited") << 3 << 1 << 0;
    QTest::newRow("name-set") << 4 << 0 << 0;
}

void tst_Library::blockSignalsReachLibrary()
{
    QFETCH(int, edit);

    TestContainer container;
    Block *block = makeBlock(QStringLiteral("StandardBlock_3"), QStringLiteral("G"));
    BlockDefinition *definition = block->createDefinition();
    container.library()->insertBlock(block);
    QSignalSpy contents(container.library(), &BlockLibrary::contentsChanged);
    QSignalSpy groups(container.library(), &BlockLibrary::groupsChanged);
    QSignalSpy containerGroups(&container, &BlockLibraryContainer::groupsChanged);

    switch (edit) {
    case 0: block->setGroupPath(QStringLiteral("H")); break;
    case 1: block->setGroupPath(QStringLiteral("G")); break;
    case 2: block->createDefinition(); break;
    case 3: definition->setDescriptionText("x"); break;
    case 4: block->setName(Text(1, QStringLiteral("n"))); break;
    }

    QTEST(int(contents.count()), "contents");
    QTEST(int(groups.count()), "groups");
    QTEST(int(containerGroups.count()), "groups");
}

void tst_Library::listings_data()
{
    QTest::addColumn<QString>("groupPath");
    QTest::addColumn<QList<QString>>("expected");

    QTest::newRow("two-blocks-sorted") << "A" << QList<QString>{QStringLiteral("MagicBlock_1"), QStringLiteral("SystemBlock_10")};
    QTest::newRow("sub-group-exact") << "A/B" << QList<QString>{UserA};
    QTest::newRow("empty-group") << QString() << QList<QString>{QStringLiteral("RootBlock")};
    QTest::newRow("case-sensitive") << "a" << QList<QString>{QStringLiteral("SystemBlock_9")};
    QTest::newRow("no-prefix-match") << "A/" << QList<QString>();
    QTest::newRow("unknown") << "Z" << QList<QString>();
}

void tst_Library::listings()
{
    QFETCH(QString, groupPath);

    TestContainer container;
    BlockLibrary *library = container.library();
    library->insertBlock(makeBlock(UserB, QStringLiteral("B")));
    library->insertBlock(makeBlock(QStringLiteral("SystemBlock_10"), QStringLiteral("A")));
    library->insertBlock(makeBlock(QStringLiteral("SystemBlock_9"), QStringLiteral("a")));
    library->insertBlock(makeBlock(QStringLiteral("RootBlock"), QString()));
    library->insertBlock(makeBlock(UserA, QStringLiteral("A/B")));
    library->insertBlock(makeBlock(QStringLiteral("MagicBlock_1"), QStringLiteral("A")));

    QTEST(library->blockIdentifiers(groupPath), "expected");
    // Plain string order: case-sensitive, digit by digit, braces after letters.
    QCOMPARE(library->blockIdentifiers(),
             (QList<QString>{QStringLiteral("MagicBlock_1"), QStringLiteral("RootBlock"),
                             QStringLiteral("SystemBlock_10"), QStringLiteral("SystemBlock_9"), UserA, UserB}));
    QCOMPARE(library->groupPaths(),
             (QList<QString>{QString(), QStringLiteral("A"), QStringLiteral("A/B"), QStringLiteral("B"), QStringLiteral("a")}));
}

void tst_Library::groupListingsFollowChanges()
{
    TestContainer container;
    BlockLibrary *library = container.library();
    Block *moving = makeBlock(UserA, QStringLiteral("A"));
    library->insertBlock(moving);
    library->insertBlock(makeBlock(UserB, QStringLiteral("A")));
    QCOMPARE(library->blockIdentifiers(QStringLiteral("A")), (QList<QString>{UserA, UserB}));

    // Whoever hears groupsChanged() already sees the new grouping.
    QList<QString> seenInB;
    QList<QString> seenPaths;
    connect(library, &BlockLibrary::groupsChanged, this, [&] {
        seenInB = library->blockIdentifiers(QStringLiteral("B"));
        seenPaths = library->groupPaths();
    });
    moving->setGroupPath(QStringLiteral("B"));
    QCOMPARE(seenInB, QList<QString>{UserA});
    QCOMPARE(seenPaths, (QList<QString>{QStringLiteral("A"), QStringLiteral("B")}));
    QCOMPARE(library->blockIdentifiers(QStringLiteral("A")), QList<QString>{UserB});

    // A group that empties is no longer listed.
    library->block(UserB)->setGroupPath(QStringLiteral("B"));
    QCOMPARE(library->groupPaths(), QList<QString>{QStringLiteral("B")});
    QVERIFY(library->blockIdentifiers(QStringLiteral("A")).isEmpty());

    // A replaced block and a removed one no longer count, whatever they do.
    Block *replaced = library->block(UserB);
    library->insertBlock(makeBlock(UserB, QStringLiteral("C")));
    replaced->setGroupPath(QStringLiteral("D"));
    QCOMPARE(library->groupPaths(), (QList<QString>{QStringLiteral("B"), QStringLiteral("C")}));
    QCOMPARE(library->blockIdentifiers(QStringLiteral("B")), QList<QString>{UserA});
    std::unique_ptr<Block> removed(library->removeBlock(UserA));
    removed->setGroupPath(QStringLiteral("C"));
    QCOMPARE(library->groupPaths(), QList<QString>{QStringLiteral("C")});
    QCOMPARE(library->blockIdentifiers(QStringLiteral("C")), QList<QString>{UserB});
    QVERIFY(library->blockIdentifiers(QStringLiteral("D")).isEmpty());

    // Removing from the middle of a group keeps the rest of it, in order.
    for (const QString &id : {QStringLiteral("SystemBlock_1"), QStringLiteral("SystemBlock_2"), QStringLiteral("SystemBlock_3")})
        library->insertBlock(makeBlock(id, QStringLiteral("C")));
    delete library->removeBlock(QStringLiteral("SystemBlock_1"));
    library->block(QStringLiteral("SystemBlock_3"))->setGroupPath(QStringLiteral("E"));
    QCOMPARE(library->blockIdentifiers(QStringLiteral("C")), (QList<QString>{QStringLiteral("SystemBlock_2"), UserB}));
    delete library->removeBlock(UserB);
    QCOMPARE(library->blockIdentifiers(QStringLiteral("C")), QList<QString>{QStringLiteral("SystemBlock_2")});
    QCOMPARE(library->blockIdentifiers(QStringLiteral("E")), QList<QString>{QStringLiteral("SystemBlock_3")});
    QCOMPARE(library->groupPaths(), (QList<QString>{QStringLiteral("C"), QStringLiteral("E")}));
}

void tst_Library::instanceTotal()
{
    TestContainer container;
    BlockLibrary *library = container.library();
    QObject user;
    const QList<QString> identifiers{UserA, UserB, UserC, QStringLiteral("SystemBlock_1")};
    for (int i = 0; i < identifiers.size(); ++i) {
        Block *block = makeBlock(identifiers.at(i));
        BlockDefinition *definition = block->createDefinition();
        for (int j = 0; j <= i; ++j)
            definition->registerInstance(new QObject(&user)); // 1, 2, 3 and 4 instances
        library->insertBlock(block);
    }
    // Every version counts, and a block without instances adds nothing.
    Block *versions = makeBlock(QStringLiteral("SystemBlock_2"));
    versions->createDefinition()->registerInstance(&user);
    BlockDefinition *later = versions->createDefinition();
    later->registerInstance(&user);
    versions->createDefinition();
    library->insertBlock(versions);
    QCOMPARE(library->allBlocksInstanceCount(), 12u);
    later->unregisterInstance(&user);
    QCOMPARE(library->allBlocksInstanceCount(), 11u);

    delete library->removeBlock(UserA);
    QCOMPARE(library->allBlocksInstanceCount(), 10u);
    delete library->removeBlock(QStringLiteral("SystemBlock_1"));
    QCOMPARE(library->allBlocksInstanceCount(), 6u);
    Block *again = makeBlock(UserA);
    again->createDefinition()->registerInstance(&user);
    library->insertBlock(again);
    QCOMPARE(library->allBlocksInstanceCount(), 7u);
    // A block replaced under its identifier is no longer counted.
    library->insertBlock(makeBlock(UserB));
    QCOMPARE(library->allBlocksInstanceCount(), 5u);
}

void tst_Library::clear()
{
    TestContainer container;
    BlockLibrary *library = container.library();
    QSignalSpy contents(library, &BlockLibrary::contentsChanged);
    QSignalSpy groups(library, &BlockLibrary::groupsChanged);
    library->clear();
    QCOMPARE(contents.count(), 0);

    QList<QPointer<Block>> blocks;
    for (const QString &id : {UserA, QStringLiteral("SystemBlock_1"), QStringLiteral("RootBlock")}) {
        Block *block = makeBlock(id, QStringLiteral("G"));
        block->createDefinition();
        blocks << block;
        library->insertBlock(block);
    }
    contents.clear();
    library->clear();

    QCOMPARE(contents.count(), 1);
    QCOMPARE(groups.count(), 0);
    QVERIFY(library->blockIdentifiers().isEmpty());
    QVERIFY(library->groupPaths().isEmpty());
    for (const QPointer<Block> &block : std::as_const(blocks))
        QVERIFY(block.isNull());
}

void tst_Library::saveAndLoad()
{
    // Without user blocks the content list is written all the same, empty.
    ScratchStorage empty;
    QVERIFY(empty.isValid());
    TestContainer none;
    none.library()->save(empty.root());
    QCOMPARE(blocksLevel(empty.root()), (QStringList{QStringLiteral("storage Blocks"), QStringLiteral("stream Blocks/Content.txt 0")}));

    ScratchStorage storage;
    QVERIFY(storage.isValid());
    {
        // Inserted out of order: the numbering follows the sorted identifiers.
        TestContainer source;
        source.library()->insertBlock(makeBlock(UserC, QString(), QStringLiteral("c")));
        source.library()->insertBlock(makeBlock(QStringLiteral("SystemBlock_2"), QStringLiteral("S"), QStringLiteral("s2")));
        source.library()->insertBlock(makeBlock(UserA, QStringLiteral("G/2"), QStringLiteral("a")));
        Block *versioned = makeBlock(QStringLiteral("StandardBlock_250000"), QStringLiteral("S"), QStringLiteral("p"));
        versioned->createDefinition(0);
        versioned->createDefinition(3)->setDescriptionText("three");
        source.library()->insertBlock(versioned);
        source.library()->insertBlock(makeBlock(UserB, QStringLiteral("G/1"), QStringLiteral("b")));
        source.library()->save(storage.root());
    }
    const QByteArray content = "Number_0," + UserA.toUtf8() + "\rNumber_1," + UserB.toUtf8() + "\rNumber_2," + UserC.toUtf8() + "\r";
    QCOMPARE(storage.root()->storage(QStringLiteral("Blocks"))->readStream(QStringLiteral("Content.txt")), content);
    QCOMPARE(blocksLevel(storage.root()),
             (QStringList{QStringLiteral("storage Blocks"), QStringLiteral("storage Blocks/Number_0"),
                          QStringLiteral("storage Blocks/Number_1"), QStringLiteral("storage Blocks/Number_2"),
                          QStringLiteral("storage Blocks/StandardBlock_250000"), QStringLiteral("storage Blocks/SystemBlock_2"),
                          QStringLiteral("stream Blocks/Content.txt %1").arg(content.size())}));

    // Each numbered storage holds the block its line names.
    TestContainer target;
    BlockLibrary *library = target.library();
    QSignalSpy contents(library, &BlockLibrary::contentsChanged);
    QVERIFY(library->load(storage.root()));
    QCOMPARE(contents.count(), 5);
    const QList<QString> identifiers{QStringLiteral("StandardBlock_250000"), QStringLiteral("SystemBlock_2"), UserA, UserB, UserC};
    QCOMPARE(library->blockIdentifiers(), identifiers);
    QStringList shortNames;
    for (const QString &identifier : identifiers)
        shortNames << library->block(identifier)->shortName();
    QCOMPARE(shortNames, (QStringList{QStringLiteral("p"), QStringLiteral("s2"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    QCOMPARE(library->block(UserA)->ownerLibrary(), library);
    QCOMPARE(library->block(QStringLiteral("StandardBlock_250000"))->versions(), (QList<unsigned int>{0, 3}));
    QCOMPARE(library->block(QStringLiteral("StandardBlock_250000"))->blockDefinition(3)->descriptionText(), QByteArray("three"));
    QCOMPARE(library->groupPaths(), (QList<QString>{QString(), QStringLiteral("G/1"), QStringLiteral("G/2"), QStringLiteral("S")}));
}

void tst_Library::saveForCompareCrcLayout()
{
    TestContainer container;
    container.library()->insertBlock(makeBlock(UserB));
    container.library()->insertBlock(makeBlock(QStringLiteral("SystemBlock_1")));
    container.library()->insertBlock(makeBlock(UserA));

    CrcFileStorageView root(nullptr);
    container.library()->saveForCompareCrc(&root);

    QCOMPARE(root.storageNames(), QStringList{QStringLiteral("Blocks")});
    FileStorageView *blocks = root.storage(QStringLiteral("Blocks"));
    QStringList names = blocks->storageNames();
    names.sort();
    QCOMPARE(names, (QStringList{QStringLiteral("Number_0"), QStringLiteral("Number_1"), QStringLiteral("SystemBlock_1")}));
    QCOMPARE(blocks->readStream(QStringLiteral("Content.txt")),
             "Number_0," + UserA.toUtf8() + "\rNumber_1," + UserB.toUtf8() + "\r");
}

void tst_Library::loadContentMap_data()
{
    QTest::addColumn<bool>("hasContent");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QList<QString>>("expected");

    const QByteArray a = UserA.toUtf8();
    const QByteArray b = UserB.toUtf8();
    const QString system = QStringLiteral("SystemBlock_4");
    const QList<QString> all{system, UserA, UserB};
    QTest::newRow("cr") << true << "Number_0," + a + "\rNumber_1," + b + "\r" << all;
    QTest::newRow("cr-lf") << true << "Number_0," + a + "\r\nNumber_1," + b + "\r\n" << all;
    QTest::newRow("no-final-line-end") << true << "Number_0," + a + "\rNumber_1," + b << all;
    QTest::newRow("blanks-around-lines") << true << "  Number_0," + a + "\t\r\n\r\n Number_1," + b + " \r" << all;
    QTest::newRow("last-field-is-identifier") << true << "Number_0,x," + a + "\rNumber_1,," + b + "\r" << all;
    QTest::newRow("line-feeds-only-are-one-line") << true << "Number_0," + a + "\nNumber_1," + b + "\n"
                                                  << QList<QString>{system, UserB};
    QTest::newRow("one-line-missing") << true << "Number_1," + b + "\r" << QList<QString>{system, UserB};
    QTest::newRow("no-content-stream") << false << QByteArray() << QList<QString>{system};
    QTest::newRow("empty-content-stream") << true << QByteArray() << QList<QString>{system};
    QTest::newRow("two-names-one-identifier") << true << "Number_0," + a + "\rNumber_1," + a + "\r"
                                              << QList<QString>{system, UserA};
    QTest::newRow("invalid-identifier") << true << "Number_0,nonsense\rNumber_1," + b + "\r"
                                        << QList<QString>{system, UserB};
    QTest::newRow("fixed-kind-renamed") << true << QByteArray("SystemBlock_4,SystemBlock_5\r") << QList<QString>{QStringLiteral("SystemBlock_5")};
}

void tst_Library::loadContentMap()
{
    QFETCH(bool, hasContent);
    QFETCH(QByteArray, content);

    ScratchStorage storage;
    QVERIFY(storage.isValid());
    QList<QPair<QString, QByteArray>> streams{{QStringLiteral("Blocks/Number_0/Info.ini"), blockInfo("n0")},
                                              {QStringLiteral("Blocks/Number_1/Info.ini"), blockInfo("n1")},
                                              {QStringLiteral("Blocks/SystemBlock_4/Info.ini"), blockInfo("s4")}};
    if (hasContent)
        streams.append({QStringLiteral("Blocks/Content.txt"), content});
    StorageTreeText::write(storage.root(), streams);

    TestContainer container;
    QVERIFY(container.library()->load(storage.root()));
    QTEST(container.library()->blockIdentifiers(), "expected");
}

void tst_Library::loadWithoutBlocksStorage_data()
{
    QTest::addColumn<QString>("path");

    QTest::newRow("empty-root") << QString();
    QTest::newRow("lower-case-name") << QStringLiteral("blocks/SystemBlock_1/Info.ini");
    QTest::newRow("stream-named-blocks") << QStringLiteral("Blocks");
    QTest::newRow("other-storage") << QStringLiteral("Block/SystemBlock_1/Info.ini");
}

void tst_Library::loadWithoutBlocksStorage()
{
    QFETCH(QString, path);

    ScratchStorage storage;
    QVERIFY(storage.isValid());
    if (!path.isEmpty())
        StorageTreeText::write(storage.root(), {{path, blockInfo("x")}});
    const QStringList before = StorageTreeText::lines(storage.root());

    TestContainer container;
    QSignalSpy contents(container.library(), &BlockLibrary::contentsChanged);
    QVERIFY(!container.library()->load(storage.root()));
    QVERIFY(container.library()->blockIdentifiers().isEmpty());
    QCOMPARE(contents.count(), 0);
    QCOMPARE(StorageTreeText::lines(storage.root()), before);
}

void tst_Library::loadSkipsBrokenBlocks()
{
    ScratchStorage storage;
    QVERIFY(storage.isValid());
    StorageTreeText::write(storage.root(),
                           {{QStringLiteral("Blocks/SystemBlock_1/Info.ini"), blockInfo("good")},
                            {QStringLiteral("Blocks/SystemBlock_2/Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n"},
                            {QStringLiteral("Blocks/SystemBlock_3/Other.ini"), blockInfo("no info")},
                            {QStringLiteral("Blocks/NotAnIdentifier/Info.ini"), blockInfo("bad name")},
                            {QStringLiteral("Blocks/Content.txt"), QByteArray()}});

    TestContainer container;
    QSignalSpy contents(container.library(), &BlockLibrary::contentsChanged);
    QVERIFY(container.library()->load(storage.root()));
    QCOMPARE(container.library()->blockIdentifiers(), QList<QString>{QStringLiteral("SystemBlock_1")});
    QCOMPARE(container.library()->block(QStringLiteral("SystemBlock_1"))->shortName(), QStringLiteral("good"));
    QCOMPARE(contents.count(), 1);
}

QTEST_MAIN(tst_Library)
#include "tst_library.moc"
