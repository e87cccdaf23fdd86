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
QByteArray blockInfo(const QByteArray &shortName)
{
    return ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=" + shortName + "\r\n";
}

} // namespace

class tst_Library : public QObject
{
    Q_OBJECT

private slots:
    void insertAndRemove()
    {
        TestContainer container;
        BlockLibrary *library = container.library();
        QSignalSpy contents(library, &BlockLibrary::contentsChanged);
        QSignalSpy groups(library, &BlockLibrary::groupsChanged);
        QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);
        library->insertBlock(nullptr);
        Block *block = makeBlock(QStringLiteral("SystemBlock_1"), QStringLiteral("G"));
        library->insertBlock(block);
        library->insertBlock(makeBlock(QStringLiteral("SystemBlock_2")));
        QCOMPARE(contents.count(), 2);
        QCOMPARE(library->block(QStringLiteral("SystemBlock_1")), block);
        QVERIFY(!library->containsBlock(QStringLiteral("systemblock_1")));
        QVERIFY(block->parent() == library && block->ownerLibrary() == library);
        QVERIFY(!library->removeBlock(QStringLiteral("SystemBlock_9")) && !library->removeBlock(QString()));
        QCOMPARE(contents.count(), 2);

        // The removed block is the caller's and no longer speaks to the library.
        std::unique_ptr<Block> removed(library->removeBlock(QStringLiteral("SystemBlock_1")));
        QCOMPARE(removed.get(), block);
        QCOMPARE(contents.count(), 3);
        QVERIFY(!removed->parent() && !removed->ownerLibrary());
        removed->setGroupPath(QStringLiteral("X"));
        removed->createDefinition();
        QCOMPARE(contents.count(), 3);
        QCOMPARE(groups.count(), 0);
        QCOMPARE(modified.count(), 3);
    }

    void blockSignalsReachLibrary_data()
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
    void blockSignalsReachLibrary()
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

    void listings_data()
    {
        QTest::addColumn<QString>("groupPath");
        QTest::addColumn<QList<QString>>("expected");

        QTest::newRow("two-blocks-sorted") << "A" << QList<QString>{QStringLiteral("MagicBlock_1"), QStringLiteral("SystemBlock_10")};
        QTest::newRow("sub-group-exact") << "A/B" << QList<QString>{UserA};
        QTest::newRow("empty-group") << QString() << QList<QString>{QStringLiteral("RootBlock")};
        QTest::newRow("case-sensitive") << "a" << QList<QString>{QStringLiteral("SystemBlock_9")};
        QTest::newRow("no-prefix-match") << "A/" << QList<QString>();
    }
    void listings()
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
        QCOMPARE(library->blockIdentifiers(), (QList<QString>{QStringLiteral("MagicBlock_1"), QStringLiteral("RootBlock"),
                                                              QStringLiteral("SystemBlock_10"), QStringLiteral("SystemBlock_9"), UserA, UserB}));
        QCOMPARE(library->groupPaths(),
                 (QList<QString>{QString(), QStringLiteral("A"), QStringLiteral("A/B"), QStringLiteral("B"), QStringLiteral("a")}));
    }

    void groupListingsFollowChanges()
    {
        TestContainer container;
        BlockLibrary *library = container.library();
        Block *moving = makeBlock(UserA, QStringLiteral("A"));
        library->insertBlock(moving);
        library->insertBlock(makeBlock(UserB, QStringLiteral("A")));

        // Whoever hears groupsChanged() already sees the new grouping.
        QList<QString> seen;
        connect(library, &BlockLibrary::groupsChanged, this, [&] { seen = library->blockIdentifiers(QStringLiteral("B")) + library->groupPaths(); });
        moving->setGroupPath(QStringLiteral("B"));
        QCOMPARE(seen, (QList<QString>{UserA, QStringLiteral("A"), QStringLiteral("B")}));
        QCOMPARE(library->blockIdentifiers(QStringLiteral("A")), QList<QString>{UserB});

        // A replaced block and a removed one no longer count, whatever they do; a group that
        // empties is no longer listed.
        Block *replaced = library->block(UserB);
        library->insertBlock(makeBlock(UserB, QStringLiteral("C")));
        replaced->setGroupPath(QStringLiteral("D"));
        QCOMPARE(library->groupPaths(), (QList<QString>{QStringLiteral("B"), QStringLiteral("C")}));
        std::unique_ptr<Block> removed(library->removeBlock(UserA));
        removed->setGroupPath(QStringLiteral("C"));
        QCOMPARE(library->groupPaths(), QList<QString>{QStringLiteral("C")});
        QCOMPARE(library->blockIdentifiers(QStringLiteral("C")), QList<QString>{UserB});

        // Removing from the middle of a group keeps the rest of it, in order.
        for (const QString &id : {QStringLiteral("SystemBlock_1"), QStringLiteral("SystemBlock_2"), QStringLiteral("SystemBlock_3")})
            library->insertBlock(makeBlock(id, QStringLiteral("C")));
        delete library->removeBlock(QStringLiteral("SystemBlock_1"));
        library->block(QStringLiteral("SystemBlock_3"))->setGroupPath(QStringLiteral("E"));
        QCOMPARE(library->blockIdentifiers(QStringLiteral("C")), (QList<QString>{QStringLiteral("SystemBlock_2"), UserB}));
        delete library->removeBlock(UserB);
        QCOMPARE(library->blockIdentifiers(QStringLiteral("C")) + library->blockIdentifiers(QStringLiteral("E")),
                 (QList<QString>{QStringLiteral("SystemBlock_2"), QStringLiteral("SystemBlock_3")}));
        QCOMPARE(library->groupPaths(), (QList<QString>{QStringLiteral("C"), QStringLiteral("E")}));
    }

    void instanceTotal()
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
        // Every version counts.
        library->block(UserA)->createDefinition()->registerInstance(&user);
        QCOMPARE(library->allBlocksInstanceCount(), 11u);
        delete library->removeBlock(UserA);
        QCOMPARE(library->allBlocksInstanceCount(), 9u);
        // A block replaced under its identifier is no longer counted.
        library->insertBlock(makeBlock(UserB));
        QCOMPARE(library->allBlocksInstanceCount(), 7u);
    }

    void clear()
    {
        auto container = std::make_unique<TestContainer>();
        BlockLibrary *library = container->library();
        QSignalSpy contents(library, &BlockLibrary::contentsChanged);
        library->clear();
        QCOMPARE(contents.count(), 0);
        // A block replaced under its identifier is unreachable but still owned: clearing
        // passes it by, and it goes with the library.
        QPointer<Block> replaced = makeBlock(UserA, QStringLiteral("first"));
        library->insertBlock(replaced);
        QList<QPointer<Block>> blocks;
        QStringList seenOnDeletion;
        for (const QString &id : {UserA, QStringLiteral("SystemBlock_1"), QStringLiteral("RootBlock")}) {
            blocks << makeBlock(id, QStringLiteral("G"));
            library->insertBlock(blocks.last());
            // Each block goes with the library already empty: whoever hears of a deletion
            // finds no block that is being deleted.
            connect(blocks.last(), &QObject::destroyed, this, [&, id] {
                seenOnDeletion << (library->block(id) ? id : QString()) + library->blockIdentifiers().join(QString())
                        + library->blockIdentifiers(QStringLiteral("G")).join(QString());
            });
        }
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
        // Inserted out of order: the numbering follows the sorted identifiers.
        source.library()->insertBlock(makeBlock(UserC, QString(), QStringLiteral("c")));
        source.library()->insertBlock(makeBlock(QStringLiteral("SystemBlock_2"), QStringLiteral("S"), QStringLiteral("s2")));
        source.library()->insertBlock(makeBlock(UserA, QStringLiteral("G/2"), QStringLiteral("a")));
        Block *versioned = makeBlock(QStringLiteral("StandardBlock_250000"), QStringLiteral("S"), QStringLiteral("p"));
        versioned->createDefinition(0);
        versioned->createDefinition(3)->setDescriptionText("three");
        source.library()->insertBlock(versioned);
        source.library()->insertBlock(makeBlock(UserB, QStringLiteral("G/1"), QStringLiteral("b")));
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
        QCOMPARE(target.library()->groupPaths(), source.library()->groupPaths());
        QCOMPARE(target.library()->block(UserA)->ownerLibrary(), target.library());
    }

    void loadContentMap_data()
    {
        QTest::addColumn<bool>("hasContent");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QList<QString>>("expected");

        const QByteArray a = UserA.toUtf8();
        const QByteArray b = UserB.toUtf8();
        const QString system = QStringLiteral("SystemBlock_4");
        const QList<QString> all{system, UserA, UserB};
        QTest::newRow("cr-lf-no-final-line-end") << true << "Number_0," + a + "\r\nNumber_1," + b << all;
        QTest::newRow("blanks-around-lines") << true << "  Number_0," + a + "\t\r\n\r\n Number_1," + b + " \r" << all;
        QTest::newRow("last-field-is-identifier") << true << "Number_0,x," + a + "\rNumber_1,," + b + "\r" << all;
        QTest::newRow("line-feeds-only-are-one-line") << true << "Number_0," + a + "\nNumber_1," + b + "\n" << QList<QString>{system, UserB};
        QTest::newRow("no-content-stream") << false << QByteArray() << QList<QString>{system};
        QTest::newRow("two-names-one-identifier") << true << "Number_0," + a + "\rNumber_1," + a + "\r" << QList<QString>{system, UserA};
        QTest::newRow("fixed-kind-renamed") << true << QByteArray("SystemBlock_4,SystemBlock_5\r") << QList<QString>{QStringLiteral("SystemBlock_5")};
    }
    void loadContentMap()
    {
        QFETCH(bool, hasContent);
        QFETCH(QByteArray, content);
        ScratchStorage storage;
        QList<QPair<QString, QByteArray>> streams{{QStringLiteral("Blocks/Number_0/Info.ini"), blockInfo("n0")},
                                                  {QStringLiteral("Blocks/Number_1/Info.ini"), blockInfo("n1")},
                                                  {QStringLiteral("Blocks/SystemBlock_4/Info.ini"), blockInfo("s4")},
                                                  // Storages that hold no block, or under a name that is none, are skipped.
                                                  {QStringLiteral("Blocks/SystemBlock_2/Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n"},
                                                  {QStringLiteral("Blocks/SystemBlock_3/Other.ini"), blockInfo("s3")},
                                                  {QStringLiteral("Blocks/NotAnIdentifier/Info.ini"), blockInfo("x")}};
        if (hasContent)
            streams.append({QStringLiteral("Blocks/Content.txt"), content});
        StorageTreeText::write(storage.root(), streams);
        TestContainer container;
        QVERIFY(container.library()->load(storage.root()));
        QTEST(container.library()->blockIdentifiers(), "expected");

        // Without a "Blocks" storage, named in that case, nothing loads and nothing is said.
        ScratchStorage other;
        StorageTreeText::write(other.root(), {{QStringLiteral("blocks/SystemBlock_1/Info.ini"), blockInfo("x")}});
        TestContainer none;
        QSignalSpy contents(none.library(), &BlockLibrary::contentsChanged);
        QVERIFY(!none.library()->load(other.root()));
        QVERIFY(none.library()->blockIdentifiers().isEmpty() && contents.isEmpty());
    }

};

QTEST_MAIN(tst_Library)
#include "tst_library.moc"
