#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>

#include "ScratchStorage.h"
#include "StorageTreeText.h"
#include "StoredForm.h"

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

Block *makeBlock(const QString &identifier, const QString &groupPath = QString(), const QString &shortName = QString())
{
    Block *block = Block::createBlock(identifier);
    block->setGroupPath(groupPath);
    block->setShortName(shortName);
    return block;
}

// A block storage's "Info.ini" as a block writes it, reduced to the short name.
QByteArray blockInfo(const QByteArray &shortName) { return ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=" + shortName + "\r\n"; }

} // namespace

class tst_Library : public QObject
{
    Q_OBJECT

private slots:
    void signalsThroughTheLibrary()
    {
        TestContainer container;
        BlockLibrary *library = container.library();
        QSignalSpy contents(library, &BlockLibrary::contentsChanged);
        QSignalSpy groups(library, &BlockLibrary::groupsChanged);
        QSignalSpy containerGroups(&container, &BlockLibraryContainer::groupsChanged);
        QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);
        QList<int> counts;
        const auto count = [&] { counts << int(contents.count()) << int(groups.count()) << int(containerGroups.count()) << int(modified.count()); };
        library->insertBlock(nullptr);
        Block *block = makeBlock(QStringLiteral("SystemBlock_1"), QStringLiteral("G"));
        BlockDefinition *definition = block->createDefinition();
        library->insertBlock(block);
        count();
        QVERIFY(library->block(QStringLiteral("SystemBlock_1")) == block && !library->containsBlock(QStringLiteral("systemblock_1")));
        QVERIFY(block->parent() == library && block->ownerLibrary() == library);
        // A group path set twice is two changes of grouping and none of contents; a name is neither.
        block->setGroupPath(QStringLiteral("H")), block->setGroupPath(QStringLiteral("H")), count();
        block->createDefinition(), definition->setDescriptionText("x"), block->setName(Text(1, QStringLiteral("n"))), count();
        QVERIFY(!library->removeBlock(QStringLiteral("SystemBlock_9")) && !library->removeBlock(QString()));
        // The removed block is the caller's and no longer speaks to the library.
        std::unique_ptr<Block> removed(library->removeBlock(QStringLiteral("SystemBlock_1")));
        QVERIFY(removed.get() == block && !removed->parent() && !removed->ownerLibrary());
        removed->setGroupPath(QStringLiteral("X")), removed->createDefinition(), count();
        QCOMPARE(counts, (QList<int>{1, 0, 0, 1, 1, 2, 2, 1, 3, 2, 2, 3, 4, 2, 2, 4}));
    }

    void listingsFollowChanges()
    {
        TestContainer container;
        BlockLibrary *library = container.library();
        library->insertBlock(makeBlock(UserB, QStringLiteral("B")));
        library->insertBlock(makeBlock(QStringLiteral("SystemBlock_10"), QStringLiteral("A")));
        library->insertBlock(makeBlock(QStringLiteral("SystemBlock_9"), QStringLiteral("a")));
        library->insertBlock(makeBlock(QStringLiteral("RootBlock"), QString()));
        library->insertBlock(makeBlock(UserA, QStringLiteral("A/B")));
        library->insertBlock(makeBlock(QStringLiteral("MagicBlock_1"), QStringLiteral("A")));
        // Groups by exact, case-sensitive path; plain string order: digit by digit, braces after letters.
        QStringList listed;
        for (const QString &path : {QStringLiteral("A"), QStringLiteral("A/B"), QString(), QStringLiteral("a"), QStringLiteral("A/")})
            listed << library->blockIdentifiers(path).join(QLatin1Char(' '));
        QCOMPARE(listed, (QStringList{QStringLiteral("MagicBlock_1 SystemBlock_10"), UserA, QStringLiteral("RootBlock"),
                                      QStringLiteral("SystemBlock_9"), QString()}));
        QCOMPARE(library->blockIdentifiers(), (QList<QString>{QStringLiteral("MagicBlock_1"), QStringLiteral("RootBlock"),
                                                              QStringLiteral("SystemBlock_10"), QStringLiteral("SystemBlock_9"), UserA, UserB}));
        // Whoever hears groupsChanged() already sees the new grouping.
        QList<QString> seen;
        connect(library, &BlockLibrary::groupsChanged, this, [&] { seen = library->blockIdentifiers(QStringLiteral("B")) + library->groupPaths(); });
        library->block(UserA)->setGroupPath(QStringLiteral("B"));
        QCOMPARE(seen, (QList<QString>{UserA, UserB, QString(), QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("a")}));
        // A replaced block and a removed one no longer count; a group that empties is no longer listed.
        Block *replaced = library->block(UserB);
        library->insertBlock(makeBlock(UserB, QStringLiteral("C")));
        replaced->setGroupPath(QStringLiteral("D"));
        std::unique_ptr<Block> removed(library->removeBlock(UserA));
        removed->setGroupPath(QStringLiteral("C"));
        QCOMPARE(library->groupPaths(), (QList<QString>{QString(), QStringLiteral("A"), QStringLiteral("C"), QStringLiteral("a")}));
        QCOMPARE(library->blockIdentifiers(QStringLiteral("C")), QList<QString>{UserB});
        // Blocks leaving a group from the front or the middle leave the rest of it listed.
        for (const QString &id : {QStringLiteral("SystemBlock_1"), QStringLiteral("SystemBlock_2")})
            library->insertBlock(makeBlock(id, QStringLiteral("A")));
        delete library->removeBlock(QStringLiteral("MagicBlock_1"));
        library->block(QStringLiteral("SystemBlock_2"))->setGroupPath(QStringLiteral("E"));
        delete library->removeBlock(QStringLiteral("SystemBlock_10"));
        QCOMPARE(library->blockIdentifiers(QStringLiteral("A")) + library->blockIdentifiers(QStringLiteral("E")),
                 (QList<QString>{QStringLiteral("SystemBlock_1"), QStringLiteral("SystemBlock_2")}));
    }

    void instancesAndClear()
    {
        QObject user; // outlives the library, whose versions hold its children as instances
        auto container = std::make_unique<TestContainer>();
        BlockLibrary *library = container->library();
        QSignalSpy contents(library, &BlockLibrary::contentsChanged);
        library->clear();
        QCOMPARE(contents.count(), 0);
        // A block replaced under its identifier is still owned, not counted, and left by clear() to go with the library.
        QPointer<Block> replaced = makeBlock(UserA, QStringLiteral("first"));
        replaced->createDefinition()->registerInstance(&user);
        library->insertBlock(replaced);
        QList<QPointer<Block>> blocks;
        QStringList seenOnDeletion;
        for (const QString &id : {UserA, QStringLiteral("SystemBlock_1"), QStringLiteral("RootBlock"), UserB}) {
            Block *block = makeBlock(id, QStringLiteral("G"));
            BlockDefinition *definition = block->createDefinition();
            for (int i = 0; i <= blocks.size(); ++i) // 1, 2, 3 and 4 instances
                definition->registerInstance(new QObject(&user));
            library->insertBlock(blocks.emplace_back(block));
            // Whoever hears of a block's deletion finds the library already empty.
            connect(block, &QObject::destroyed, library, [&, id] {
                seenOnDeletion << (library->block(id) ? id : QString()) + library->blockIdentifiers().join(QString())
                        + library->blockIdentifiers(QStringLiteral("G")).join(QString());
            });
        }
        // Every version counts, up to the last block inserted; a removed block no longer does.
        library->block(UserA)->createDefinition()->registerInstance(&user);
        QList<uint> totals{library->allBlocksInstanceCount()};
        delete library->removeBlock(UserB);
        QCOMPARE(totals << library->allBlocksInstanceCount(), (QList<uint>{11, 7}));
        blocks.removeLast();
        seenOnDeletion.clear();
        QSignalSpy groups(library, &BlockLibrary::groupsChanged);
        contents.clear();
        library->clear();
        QCOMPARE(seenOnDeletion, QStringList(3, QString()));
        QCOMPARE(contents.count() * 10 + groups.count(), 10);
        QVERIFY(library->groupPaths().isEmpty());
        QCOMPARE(blocks, QList<QPointer<Block>>(3));
        QCOMPARE(replaced->parent(), library);
        container.reset();
        QVERIFY(replaced.isNull());
    }

    void saveAndLoad()
    {
        ScratchStorage storage;
        TestContainer source;
        Block *versioned = makeBlock(QStringLiteral("StandardBlock_250000"), QStringLiteral("S"), QStringLiteral("p"));
        versioned->createDefinition(0);
        versioned->createDefinition(3)->setDescriptionText("three");
        // Inserted out of order: the numbering follows the sorted identifiers.
        for (Block *block : {makeBlock(UserC, QString(), QStringLiteral("c")), versioned,
                             makeBlock(QStringLiteral("SystemBlock_2"), QStringLiteral("S"), QStringLiteral("s2")),
                             makeBlock(UserA, QStringLiteral("G/2"), QStringLiteral("a")), makeBlock(UserB, QStringLiteral("G/1"), QStringLiteral("b"))})
            source.library()->insertBlock(block);
        source.library()->save(storage.root());
        FileStorageView *blocks = storage.root()->storage(QStringLiteral("Blocks"));
        QCOMPARE(blocks->readStream(QStringLiteral("Content.txt")),
                 "Number_0," + UserA.toUtf8() + "\rNumber_1," + UserB.toUtf8() + "\rNumber_2," + UserC.toUtf8() + "\r");
        QCOMPARE(blocks->storageNames(), (QStringList{QStringLiteral("Number_0"), QStringLiteral("Number_1"), QStringLiteral("Number_2"),
                                                      QStringLiteral("StandardBlock_250000"), QStringLiteral("SystemBlock_2")}));
        // Each numbered storage holds the block its line names.
        TestContainer target;
        QSignalSpy contents(target.library(), &BlockLibrary::contentsChanged);
        QVERIFY(target.library()->load(storage.root()));
        QCOMPARE(contents.count(), 5);
        QCOMPARE(StoredForm::of(target.library()), StoredForm::of(source.library()));
    }

    void loadContentMap_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no content stream
        QTest::addColumn<QList<QString>>("expected");
        const QByteArray a = UserA.toUtf8();
        const QByteArray b = UserB.toUtf8();
        const QString system = QStringLiteral("SystemBlock_4");
        const QList<QString> all{system, UserA, UserB};
        QTest::newRow("cr-lf-no-final-line-end") << "Number_0," + a + "\r\nNumber_1," + b << all;
        QTest::newRow("blanks-around-lines") << "  Number_0," + a + "\t\r\n\r\n Number_1," + b + " \r" << all;
        QTest::newRow("last-field-is-identifier") << "Number_0,x," + a + "\rNumber_1,," + b + "\r" << all;
        QTest::newRow("line-feeds-only-are-one-line") << "Number_0," + a + "\nNumber_1," + b + "\n" << QList<QString>{system, UserB};
        QTest::newRow("no-content-stream") << QByteArray() << QList<QString>{system};
        QTest::newRow("two-names-one-identifier") << "Number_0," + a + "\rNumber_1," + a + "\r" << QList<QString>{system, UserA};
        QTest::newRow("fixed-kind-renamed") << QByteArray("SystemBlock_4,SystemBlock_5\r") << QList<QString>{QStringLiteral("SystemBlock_5")};
    }
    void loadContentMap()
    {
        QFETCH(QByteArray, content);
        ScratchStorage storage;
        QList<QPair<QString, QByteArray>> streams{
            {QStringLiteral("Blocks/Number_0/Info.ini"), blockInfo("n0")}, {QStringLiteral("Blocks/Number_1/Info.ini"), blockInfo("n1")},
            {QStringLiteral("Blocks/SystemBlock_4/Info.ini"), blockInfo("s4")},
            // Storages that hold no block, or under a name that is none, are skipped.
            {QStringLiteral("Blocks/SystemBlock_2/Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n"},
            {QStringLiteral("Blocks/SystemBlock_3/Other.ini"), blockInfo("s3")}, {QStringLiteral("Blocks/NotAnIdentifier/Info.ini"), blockInfo("x")}};
        if (!content.isNull())
            streams.append({QStringLiteral("Blocks/Content.txt"), content});
        StorageTreeText::write(storage.root(), streams);
        TestContainer container;
        QVERIFY(container.library()->load(storage.root()));
        // Without a "Blocks" storage, named in that case, nothing loads and nothing is said.
        ScratchStorage other;
        StorageTreeText::write(other.root(), {{QStringLiteral("blocks/SystemBlock_1/Info.ini"), blockInfo("x")}});
        QSignalSpy contents(container.library(), &BlockLibrary::contentsChanged);
        QVERIFY(!container.library()->load(other.root()) && contents.isEmpty());
        QTEST(container.library()->blockIdentifiers(), "expected");
    }
};

QTEST_MAIN(tst_Library)
#include "tst_library.moc"
