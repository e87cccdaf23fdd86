#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockType.h>
#include <KvBlockLibrary/FallbackBlockContainer.h>

#include "LocalBlockContainer.h"

#include <QtCore/QUuid>
#include <QtTest/QTest>

#include <memory>

namespace {

enum Kind { None, System, Standard, Template, Tool, Magic, Root, User };

struct Classification
{
    Kind kind = None;
    unsigned int number = 0;
    bool operator==(const Classification &other) const { return kind == other.kind && number == other.number; }
};

// Runs every classifier; an identifier of two kinds, a classifier that answers differently
// without a number pointer, or one that writes the number without a match is fatal.
Classification classify(const QString &identifier)
{
    Classification result;
    int matches = 0;
    auto numbered = [&](bool (*classifier)(const QString &, unsigned int *), Kind kind) {
        unsigned int value = 12345;
        if (classifier(identifier, &value)) {
            result = {kind, value};
            ++matches;
            if (!classifier(identifier, nullptr))
                qFatal("classifier disagrees without a number pointer");
        } else if (value != 12345) {
            qFatal("classifier touched the number without a match");
        }
    };
    numbered(&BlockType::isIdentifierSystem, System);
    numbered(&BlockType::isIdentifierStandard, Standard);
    numbered(&BlockType::isIdentifierTemplate, Template);
    numbered(&BlockType::isIdentifierTool, Tool);
    numbered(&BlockType::isIdentifierMagic, Magic);
    if (BlockType::isIdentifierRoot(identifier)) {
        result = {Root, 0};
        ++matches;
    }
    if (BlockType::isIdentifierUser(identifier)) {
        result = {User, 0};
        ++matches;
    }
    if (matches > 1)
        qFatal("identifier of two kinds");
    return result;
}

} // namespace

Q_DECLARE_METATYPE(Kind)

class tst_BlockType : public QObject
{
    Q_OBJECT

private slots:
    void classification_data();
    void classification();
    void userAndLocalBlocks();
};

void tst_BlockType::classification_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<uint>("number");

    const QString uuid = QUuid::createUuid().toString(QUuid::WithBraces);
    QTest::newRow("system-bare-prefix") << "SystemBlock_" << System << 0u;
    QTest::newRow("system-12") << "SystemBlock_12" << System << 12u;
    QTest::newRow("system-letters") << "SystemBlock_x" << None << 0u;
    QTest::newRow("system-lower-case") << "systemblock_12" << None << 0u;
    QTest::newRow("system-overflow") << "SystemBlock_4294967296" << System << 0u;
    QTest::newRow("system-max") << "SystemBlock_4294967295" << System << 4294967295u;
    QTest::newRow("system-beyond-ulong") << "SystemBlock_99999999999999999999999" << System << 0u;
    QTest::newRow("standard-5") << "StandardBlock_5" << Standard << 5u;
    QTest::newRow("template-9") << "TemplateBlock_9" << Template << 9u;
    QTest::newRow("tool-leading-zeros") << "ToolBlock_007" << Tool << 7u;
    QTest::newRow("tool-trailing-line-feed") << "ToolBlock_3\n" << Tool << 3u;
    QTest::newRow("tool-two-line-feeds") << "ToolBlock_3\n\n" << None << 0u;
    QTest::newRow("tool-inner-line-feed") << "ToolBlock_\n3" << None << 0u;
    QTest::newRow("tool-carriage-return") << "ToolBlock_3\r" << None << 0u;
    QTest::newRow("magic-1") << "MagicBlock_1" << Magic << 1u;
    QTest::newRow("non-ascii-digit") << QString::fromUtf8("MagicBlock_\xd9\xa3") << None << 0u;
    QTest::newRow("fullwidth-digit") << QString::fromUtf8("MagicBlock_\xef\xbc\x91") << None << 0u;
    QTest::newRow("leading-blank") << " SystemBlock_1" << None << 0u;
    QTest::newRow("root") << "RootBlock" << Root << 0u;
    QTest::newRow("root-line-feed") << "RootBlock\n" << Root << 0u;
    QTest::newRow("root-underscore") << "RootBlock_1" << None << 0u;
    QTest::newRow("user-braced") << uuid << User << 0u;
    QTest::newRow("user-unbraced") << uuid.mid(1, 36) << User << 0u;
    QTest::newRow("user-upper-case") << uuid.toUpper() << User << 0u;
    QTest::newRow("nil-uuid") << "{00000000-0000-0000-0000-000000000000}" << None << 0u;
    QTest::newRow("nil-uuid-unbraced") << "00000000-0000-0000-0000-000000000000" << None << 0u;
    QTest::newRow("uuid-broken") << "{1234}" << None << 0u;
    QTest::newRow("empty") << "" << None << 0u;
}

void tst_BlockType::classification()
{
    QFETCH(QString, identifier);
    QFETCH(Kind, kind);
    QFETCH(uint, number);

    QCOMPARE(classify(identifier), (Classification{kind, number}));
    QCOMPARE(BlockType::isValid(identifier), kind != None);
    std::unique_ptr<Block> block(Block::createBlock(identifier));
    QCOMPARE(block != nullptr, kind != None);
    if (!block)
        return;
    // Each number accessor answers for its own kind only.
    const QList<uint> numbers{block->systemBlockNumber(), block->standardBlockNumber(), block->templateBlockNumber(),
                              block->toolBlockNumber(), block->magicBlockNumber()};
    QList<uint> expected(5, 0u);
    if (kind >= System && kind <= Magic)
        expected[kind - System] = number;
    QCOMPARE(numbers, expected);
    QCOMPARE(block->isUserBlock(), kind == User);
    QVERIFY(!block->isLocalBlock());
}

void tst_BlockType::userAndLocalBlocks()
{
    // A UUID block is a user block everywhere but in a local container, where it is local.
    FallbackBlockContainer fallback;
    Block *user = Block::createUserBlock();
    std::unique_ptr<Block> other(Block::createUserBlock());
    QCOMPARE(user->identifier().size(), 38);
    QVERIFY(user->identifier().startsWith(QLatin1Char('{')));
    QCOMPARE(user->identifier(), user->identifier().toLower());
    QVERIFY(user->identifier() != other->identifier());
    QVERIFY(user->versionVisible());
    fallback.library()->insertBlock(user);
    QVERIFY(user->isUserBlock());
    QVERIFY(!user->isLocalBlock());

    LocalBlockContainer local(nullptr);
    Block *moved = fallback.library()->removeBlock(user->identifier());
    QCOMPARE(moved, user);
    local.library()->insertBlock(moved);
    QVERIFY(!moved->isUserBlock());
    QVERIFY(moved->isLocalBlock());
    QVERIFY(!moved->versionVisible());

    std::unique_ptr<Block> tool(Block::createBlock(QStringLiteral("ToolBlock_1")));
    std::unique_ptr<Block> system(Block::createBlock(QStringLiteral("SystemBlock_1")));
    std::unique_ptr<Block> standard(Block::createBlock(QStringLiteral("StandardBlock_1")));
    QVERIFY(!tool->versionVisible());
    QVERIFY(!system->versionVisible());
    QVERIFY(standard->versionVisible());
}

QTEST_MAIN(tst_BlockType)
#include "tst_blocktype.moc"
