#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockType.h>
#include <KvBlockLibrary/FallbackBlockContainer.h>

#include "LocalBlockContainer.h"

#include <QtCore/QUuid>
#include <QtTest/QTest>

#include <memory>
#include <thread>
#include <vector>

namespace {

enum Kind { None, System, Standard, Template, Tool, Magic, Root, User };

// The kind each classifier reports, and the number the numbered ones read.
struct Classification
{
    Kind kind = None;
    unsigned int number = 0;
    bool operator==(const Classification &other) const { return kind == other.kind && number == other.number; }
};

Classification classify(const QString &identifier)
{
    Classification result;
    int matches = 0;
    unsigned int number = 12345;
    auto numbered = [&](bool (*classifier)(const QString &, unsigned int *), Kind kind) {
        unsigned int value = 12345;
        if (classifier(identifier, &value)) {
            result.kind = kind;
            number = value;
            ++matches;
            // The same truth value without a number pointer.
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
        result.kind = Root;
        ++matches;
    }
    if (BlockType::isIdentifierUser(identifier)) {
        result.kind = User;
        ++matches;
    }
    if (matches > 1)
        qFatal("identifier of two kinds");
    if (result.kind != None && result.kind != Root && result.kind != User)
        result.number = number;
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
    void concurrentClassification();
    void verifyIdentifierWithOwnExpression();
    void numberAccessors_data();
    void numberAccessors();
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
    QTest::newRow("root-number") << "RootBlock1" << None << 0u;
    QTest::newRow("user-braced") << uuid << User << 0u;
    QTest::newRow("user-unbraced") << uuid.mid(1, 36) << User << 0u;
    QTest::newRow("user-upper-case") << uuid.toUpper() << User << 0u;
    QTest::newRow("nil-uuid") << "{00000000-0000-0000-0000-000000000000}" << None << 0u;
    QTest::newRow("nil-uuid-unbraced") << "00000000-0000-0000-0000-000000000000" << None << 0u;
    QTest::newRow("uuid-broken") << "{1234}" << None << 0u;
    QTest::newRow("empty") << "" << None << 0u;
    QTest::newRow("foo") << "Foo" << None << 0u;
}

void tst_BlockType::classification()
{
    QFETCH(QString, identifier);
    QFETCH(Kind, kind);
    QFETCH(uint, number);

    const Classification result = classify(identifier);
    QCOMPARE(result.kind, kind);
    QCOMPARE(result.number, number);
    QCOMPARE(BlockType::isValid(identifier), kind != None);
    std::unique_ptr<Block> block(Block::createBlock(identifier));
    QCOMPARE(block != nullptr, kind != None);
}

void tst_BlockType::concurrentClassification()
{
    QStringList identifiers;
    for (int i = 0; i < 400; ++i) {
        identifiers << QStringLiteral("SystemBlock_%1").arg(i) << QStringLiteral("StandardBlock_%1").arg(i * 7)
                    << QStringLiteral("TemplateBlock_%1").arg(i) << QStringLiteral("ToolBlock_0%1").arg(i)
                    << QStringLiteral("MagicBlock_%1\n").arg(i) << QStringLiteral("RootBlock")
                    << QUuid::createUuid().toString() << QStringLiteral("Foo%1").arg(i);
    }
    QList<Classification> serial;
    for (const QString &identifier : std::as_const(identifiers))
        serial.append(classify(identifier));

    // Eight threads classify the whole list at once, each starting at another place.
    constexpr int Threads = 8;
    std::vector<QList<Classification>> results(Threads);
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            QList<Classification> &result = results[t];
            result.resize(identifiers.size());
            for (qsizetype i = 0; i < identifiers.size(); ++i) {
                const qsizetype at = (i + t * 97) % identifiers.size();
                result[at] = classify(identifiers.at(at));
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (const QList<Classification> &result : results)
        QVERIFY(result == serial);
}

void tst_BlockType::verifyIdentifierWithOwnExpression()
{
    const QRegularExpression expression(QStringLiteral("^Custom_(\\d*)$"));
    unsigned int number = 99;
    QVERIFY(BlockType::verifyIdentifier(expression, QStringLiteral("Custom_42"), &number));
    QCOMPARE(number, 42u);
    QVERIFY(!BlockType::verifyIdentifier(expression, QStringLiteral("Custom_x"), &number));
    QCOMPARE(number, 42u);
    QVERIFY(BlockType::verifyIdentifier(expression, QStringLiteral("Custom_"), nullptr));
}

void tst_BlockType::numberAccessors_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QList<uint>>("numbers"); // system, standard, template, tool, magic

    QTest::newRow("system") << "SystemBlock_12" << QList<uint>{12, 0, 0, 0, 0};
    QTest::newRow("standard") << "StandardBlock_5" << QList<uint>{0, 5, 0, 0, 0};
    QTest::newRow("template") << "TemplateBlock_77" << QList<uint>{0, 0, 77, 0, 0};
    QTest::newRow("tool") << "ToolBlock_007" << QList<uint>{0, 0, 0, 7, 0};
    QTest::newRow("magic") << "MagicBlock_4" << QList<uint>{0, 0, 0, 0, 4};
    QTest::newRow("root") << "RootBlock" << QList<uint>{0, 0, 0, 0, 0};
}

void tst_BlockType::numberAccessors()
{
    QFETCH(QString, identifier);
    QFETCH(QList<uint>, numbers);
    std::unique_ptr<Block> block(Block::createBlock(identifier));
    QVERIFY(block);
    const QList<uint> actual{block->systemBlockNumber(), block->standardBlockNumber(), block->templateBlockNumber(),
                             block->toolBlockNumber(), block->magicBlockNumber()};
    QCOMPARE(actual, numbers);
    QVERIFY(!block->isUserBlock());
    QVERIFY(!block->isLocalBlock());
}

void tst_BlockType::userAndLocalBlocks()
{
    // A UUID block is a user block everywhere but in a local container, where it is local.
    FallbackBlockContainer fallback;
    Block *user = Block::createUserBlock();
    QCOMPARE(user->identifier().size(), 38);
    QVERIFY(user->identifier().startsWith(QLatin1Char('{')));
    QCOMPARE(user->identifier(), user->identifier().toLower());
    QVERIFY(user->isUserBlock());
    QVERIFY(!user->isLocalBlock());
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
