// Block kinds from identifiers, and the user blocks that become local ones inside a version.
#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockType.h>
#include <KvBlockLibrary/FallbackBlockContainer.h>

#include <QtCore/QUuid>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

enum Kind { None, System, Standard, Template, Tool, Magic, Root, User };

class tst_BlockType : public QObject
{
    Q_OBJECT

private slots:
    void classification_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<int>("kind");
        QTest::addColumn<uint>("number");

        const QString uuid = QUuid::createUuid().toString(QUuid::WithBraces);
        QTest::newRow("system-bare-prefix") << "SystemBlock_" << int(System) << 0u;
        QTest::newRow("system-12") << "SystemBlock_12" << int(System) << 12u;
        QTest::newRow("system-letters") << "SystemBlock_x" << int(None) << 0u;
        QTest::newRow("system-lower-case") << "systemblock_12" << int(None) << 0u;
        QTest::newRow("system-max") << "SystemBlock_4294967295" << int(System) << 4294967295u;
        QTest::newRow("system-beyond-ulong") << "SystemBlock_99999999999999999999999" << int(System) << 0u;
        QTest::newRow("standard-5") << "StandardBlock_5" << int(Standard) << 5u;
        QTest::newRow("template-9") << "TemplateBlock_9" << int(Template) << 9u;
        QTest::newRow("tool-leading-zeros") << "ToolBlock_007" << int(Tool) << 7u;
        QTest::newRow("tool-trailing-line-feed") << "ToolBlock_3\n" << int(Tool) << 3u;
        QTest::newRow("tool-two-line-feeds") << "ToolBlock_3\n\n" << int(None) << 0u;
        QTest::newRow("tool-carriage-return") << "ToolBlock_3\r" << int(None) << 0u;
        QTest::newRow("magic-1") << "MagicBlock_1" << int(Magic) << 1u;
        QTest::newRow("non-ascii-digit") << QString::fromUtf8("MagicBlock_\xd9\xa3") << int(None) << 0u;
        QTest::newRow("leading-blank") << " SystemBlock_1" << int(None) << 0u;
        QTest::newRow("root") << "RootBlock" << int(Root) << 0u;
        QTest::newRow("root-underscore") << "RootBlock_1" << int(None) << 0u;
        QTest::newRow("user-braced") << uuid << int(User) << 0u;
        QTest::newRow("user-unbraced") << uuid.mid(1, 36) << int(User) << 0u;
        QTest::newRow("nil-uuid") << "{00000000-0000-0000-0000-000000000000}" << int(None) << 0u;
        QTest::newRow("uuid-broken") << "{1234}" << int(None) << 0u;
        QTest::newRow("empty") << "" << int(None) << 0u;
    }

    // Every classifier answers: exactly the one of the kind, with the number; the others
    // neither match nor touch the number.
    void classification()
    {
        QFETCH(QString, identifier);
        QFETCH(int, kind);
        QFETCH(uint, number);

        bool (*const numbered[])(const QString &, unsigned int *) = { &BlockType::isIdentifierSystem,
            &BlockType::isIdentifierStandard, &BlockType::isIdentifierTemplate, &BlockType::isIdentifierTool,
            &BlockType::isIdentifierMagic };
        QList<uint> numbers;
        QList<uint> expected(5, 12345u);
        for (int i = 0; i < 5; ++i) {
            unsigned int value = 12345;
            QCOMPARE(numbered[i](identifier, &value), kind == System + i);
            QCOMPARE(numbered[i](identifier, nullptr), kind == System + i);
            numbers << value;
            if (kind == System + i)
                expected[i] = number;
        }
        QCOMPARE(numbers, expected);
        QCOMPARE(BlockType::isIdentifierRoot(identifier), kind == Root);
        QCOMPARE(BlockType::isIdentifierUser(identifier), kind == User);
        QCOMPARE(BlockType::isValid(identifier), kind != None);

        // A block of the kind, whose number accessors answer for their own kind only.
        std::unique_ptr<Block> block(Block::createBlock(identifier));
        QCOMPARE(block != nullptr, kind != None);
        if (!block)
            return;
        const QList<uint> accessors{block->systemBlockNumber(), block->standardBlockNumber(), block->templateBlockNumber(),
                                    block->toolBlockNumber(), block->magicBlockNumber()};
        std::replace(expected.begin(), expected.end(), 12345u, 0u);
        QCOMPARE(accessors, expected);
        QCOMPARE(block->isUserBlock(), kind == User);
        QVERIFY(!block->isLocalBlock());
        QCOMPARE(block->versionVisible(), kind != System && kind != Tool);
    }

    // A UUID block is a user block everywhere but in a version's local library, where it is local.
    void userAndLocalBlocks()
    {
        FallbackBlockContainer fallback;
        Block *user = Block::createUserBlock();
        std::unique_ptr<Block> other(Block::createUserBlock());
        QCOMPARE(user->identifier().size(), 38);
        QCOMPARE(user->identifier(), user->identifier().toLower());
        QVERIFY(user->identifier() != other->identifier());
        fallback.library()->insertBlock(user);
        QVERIFY(user->isUserBlock() && !user->isLocalBlock() && user->versionVisible());

        QCOMPARE(fallback.library()->removeBlock(user->identifier()), user);
        other->createDefinition()->localBlockLibrary()->insertBlock(user);
        QVERIFY(!user->isUserBlock() && user->isLocalBlock() && !user->versionVisible());
    }
};

QTEST_MAIN(tst_BlockType)
#include "tst_blocktype.moc"
