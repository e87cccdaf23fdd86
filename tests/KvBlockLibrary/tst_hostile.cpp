// Libraries shaped to hurt: local blocks nested as deep as the storage allows, numbers far out
// of range or named twice. Each loads what it can, and what loaded saves and loads again.
// How loading scales with tens of thousands of streams is measured by kvbench.
#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/FallbackBlockContainer.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include "EditableContainer.h"
#include "ScratchStorage.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

class tst_Hostile : public QObject
{
    Q_OBJECT

private slots:
    void deeplyNestedLocalBlocks_data()
    {
        QTest::addColumn<int>("depth");
        QTest::addColumn<int>("tooDeepFor"); // 0: nothing, 1: a file, 2: a file and a contents text
        // Each local level takes three storage levels (Blocks, the block, its version) below the top block's
        // version, at level 3 in a file and at level 1 in a contents text. The storage holds 512 levels.
        QTest::newRow("deepest-storable") << 169 << 0;
        QTest::newRow("too-deep-for-a-file") << 170 << 1;
        QTest::newRow("too-deep-for-contents") << 171 << 2;
    }
    void deeplyNestedLocalBlocks()
    {
        QFETCH(int, depth);
        QFETCH(int, tooDeepFor);
        // Built from the bottom up: each level's only local block is a copy of the level below.
        std::unique_ptr<Block> chain(Block::createUserBlock());
        chain->createDefinition(0);
        for (int level = 1; level < depth; ++level) {
            std::unique_ptr<Block> parent(Block::createUserBlock());
            QVERIFY(parent->createDefinition(0)->cloneLocalBlock(chain.get()));
            chain = std::move(parent);
        }
        EditableContainer container;
        Block *top = Block::createUserBlock();
        QVERIFY(top->createDefinition(0)->cloneLocalBlock(chain.get()));
        chain.reset();
        container.library()->insertBlock(top);
        const auto depthBelow = [](BlockLibrary *library) {
            int levels = -1;
            for (; !library->blockIdentifiers().isEmpty(); ++levels)
                library = library->block(library->blockIdentifiers().first())->blockDefinition(0)->localBlockLibrary();
            return levels;
        };
        if (tooDeepFor)
            QTest::ignoreMessage(QtWarningMsg, "LxFileSystem: storage \"V0\" would nest deeper than 512 levels; it is not created");
        for (int i = 0; tooDeepFor == 2 && i < 2; ++i) // for the contents text and for the fallback copy
            QTest::ignoreMessage(QtWarningMsg, "LxFileSystem: storage \"Number_0\" would nest deeper than 512 levels; it is not created");
        // A block that cannot be written whole gets no contents text and no fallback copy, not a cut one.
        QCOMPARE(top->saveContents().isEmpty(), tooDeepFor == 2);
        FallbackBlockContainer fallback;
        QSignalSpy modified(&fallback, &BlockLibraryContainer::modifiedChanged);
        fallback.insert(top);
        QCOMPARE(modified.count(), tooDeepFor == 2 ? 0 : 1);
        QCOMPARE(depthBelow(fallback.library()), tooDeepFor == 2 ? -1 : depth);
        QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("nested.bli"));
        FileView file;
        file.create(path);
        std::unique_ptr<FileStorageView> root(file.createRootView());
        container.save(root.get());
        root.reset();
        file.close();
        // A save that cannot keep the deepest block fails as a whole instead of dropping it.
        QCOMPARE(file.hasError(), tooDeepFor != 0);
        if (tooDeepFor) {
            QCOMPARE(file.errorString(), QStringLiteral("Die Datei „%1“ kann nicht geschrieben werden: Speicher wären tiefer "
                                                        "als 512 Ebenen verschachtelt. Die Änderungen wurden nicht gespeichert.")
                                             .arg(QDir::toNativeSeparators(path)));
            QVERIFY(!QFile::exists(path));
            return;
        }
        file.open(path);
        root.reset(file.createRootView());
        EditableContainer again;
        QVERIFY(again.load(root.get()));
        root.reset();
        file.close();
        QCOMPARE(depthBelow(again.library()), depth);
    }

    void outOfRangeAndRepeatedNumbers()
    {
        // Numbers that do not fit read as if absent or as 0, never as wrapped values.
        ScratchStorage storage;
        FileStorageView *root = storage.root();
        root->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n"
                                                      "LevelVisible=99999999999999999999999\r\nLevelWrite=-5\r\n"
                                                      "MaxUsedSystemBlock=4294967297\r\n");
        const auto pin = [](const QByteArray &body) { return ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\n" + body + "\r\n"; };
        FileStorageView *interface = root->storage(QStringLiteral("Interface"));
        interface->writeStream(QStringLiteral("Pin_99999999999999999999.ini"), pin("Function=1"));
        interface->writeStream(QStringLiteral("Pin_4294967297.ini"), pin("Function=1"));
        interface->writeStream(QStringLiteral("Pin_7.ini"), pin("Function=4294967298\r\nDatatype=99999999999999999999"));
        // One pin number in two spellings: the first in name order is the pin, the other is skipped.
        interface->writeStream(QStringLiteral("Pin_2.ini"), pin("ShortName=second"));
        interface->writeStream(QStringLiteral("Pin_02.ini"), pin("ShortName=first"));
        std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("StandardBlock_5")));
        BlockDefinition *definition = block->createDefinition(0);
        QVERIFY(definition->load(root));
        QCOMPARE((QList<uint>{definition->accessLevelRead(), definition->accessLevelWrite(), definition->maxUsedSystemBlock()}), QList<uint>(3, 0));
        QCOMPARE(definition->pins(), (QList<int>{-1, 2, 7}));
        QCOMPARE(definition->pin(2)->shortName(), QStringLiteral("first"));
        QCOMPARE(QList<int>({int(definition->pin(7)->datatype()), int(definition->pin(7)->function())}), QList<int>({0, int(BlockPin(7).function())}));
    }
};

QTEST_MAIN(tst_Hostile)
#include "tst_hostile.moc"
