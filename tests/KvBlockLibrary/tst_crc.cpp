#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvBlockLibrary/CodeEditorAccess.h>
#include <KvBlockLibrary/CrcFileStorageView.h>
#include <LxFileSystem/FileStorageView.h>

#include "CodeStandIn.h"
#include "StorageTreeText.h"

#include <QtCore/QPointer>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace {

using Streams = QList<QPair<QString, QByteArray>>;
// A change to a version and to the version of its local block.
using Change = std::function<void(BlockDefinition *, BlockDefinition *)>;

QByteArray streamText(const QByteArray &name, const QByteArray &data)
{
    return "<stream name=\"" + name + "\">\n<data>" + data.toHex() + "</data>\n</stream>\n";
}

QByteArray storageText(const QByteArray &name, const QByteArray &inner)
{
    return "<storage name=\"" + name + "\">\n" + inner + "\n</storage>";
}

// A standard block version with a pin, code, images, a description and one local block.
std::unique_ptr<Block> richBlock()
{
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("StandardBlock_5")));
    BlockDefinition *definition = block->createDefinition();
    definition->setAccessLevelRead(1);
    definition->setAccessLevelWrite(2);
    definition->setMaxUsedSystemBlock(19);
    BlockPin *pin = definition->createPin(1);
    pin->setFunction(eBlockPinFunctionInput);
    pin->setSimpleType(4);
    pin->setShortName(QStringLiteral("IN"));
    definition->setCodeText(codeStream(0, "normal"));
    definition->setCodeTextForCompareCrc("compare");
    definition->setSmallListImage(QStringLiteral("png"), "small");
    definition->setDescriptionText("<p>rich</p>");
    Block *local = Block::createUserBlock();
    local->createDefinition()->setCodeTextForCompareCrc("local compare");
    definition->localBlockLibrary()->insertBlock(local);
    return block;
}

} // namespace

Q_DECLARE_METATYPE(Change)

class tst_Crc : public QObject
{
    Q_OBJECT

private slots:
    void canonicalText_data();
    void canonicalText();
    void viewBehaviour();

    void compareValue_data();
    void compareValue();
    void compareValueAfter_data();
    void compareValueAfter();
    void codeObjectProvidesCompareText();
};

void tst_Crc::canonicalText_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("one-stream") << Streams{{"S", QByteArray("\x01\xAB")}}
                                << QByteArray("<stream name=\"S\">\n<data>01ab</data>\n</stream>\n");
    QTest::newRow("streams-sorted-by-code-unit")
            << Streams{{"b", "2"}, {"a", "1"}, {"_", "3"}, {"B", "4"}}
            << streamText("B", "4") + streamText("_", "3") + streamText("a", "1") + streamText("b", "2");
    QTest::newRow("nested") << Streams{{"A/B/x", "1"}}
                            << QByteArray("<storage name=\"A\">\n<storage name=\"B\">\n<stream name=\"x\">\n"
                                          "<data>31</data>\n</stream>\n\n</storage>\n</storage>");
    QTest::newRow("images-at-root") << Streams{{"Images/IconSmall.png", "png"}, {"x", "1"}} << streamText("x", "1");
    QTest::newRow("images-deep-leaves-empty-storage") << Streams{{"Blocks/Number_0/V0/Images/IconLarge.bmp", "bmp"}}
                                                      << storageText("Blocks", storageText("Number_0", storageText("V0", "")));
    QTest::newRow("images-name-exact") << Streams{{"images/a", "1"}, {"Images2/b", "2"}, {"Images", "3"}}
                                       << streamText("Images", "3") + storageText("Images2", streamText("b", "2"))
                                                  + storageText("images", streamText("a", "1"));
    QTest::newRow("names-not-escaped") << Streams{{"a\"b<c>&d/e\"f", "1"}} << storageText("a\"b<c>&d", streamText("e\"f", "1"));
    QTest::newRow("name-beyond-latin1") << Streams{{QStringLiteral("€uro"), "1"}} << streamText("?uro", "1");
}

void tst_Crc::canonicalText()
{
    QFETCH(Streams, streams);
    QFETCH(QByteArray, expected);

    CrcFileStorageView view(nullptr);
    StorageTreeText::write(&view, streams);
    QCOMPARE(view.canonicalText(), expected);
}

void tst_Crc::viewBehaviour()
{
    // A second write of a stream wins; removing is ignored.
    CrcFileStorageView view(nullptr);
    view.writeStream(QStringLiteral("S"), "first");
    view.writeStream(QStringLiteral("S"), "second");
    view.removeStream(QStringLiteral("S"));
    QCOMPARE(view.canonicalText(), streamText("S", "second"));
    // Child views belong to the view: clear() deletes them, grandchildren too.
    QPointer<FileStorageView> child = view.storage(QStringLiteral("A"));
    QCOMPARE(view.storage(QStringLiteral("A")), child.data());
    QPointer<FileStorageView> grandChild = child->storage(QStringLiteral("B"));
    view.clear();
    QVERIFY(child.isNull() && grandChild.isNull());
    QCOMPARE(view.canonicalText(), QByteArray());
}

void tst_Crc::compareValue_data()
{
    QTest::addColumn<QByteArray>("description");
    QTest::addColumn<QByteArray>("expected");

    // A tool block version has no enable pin; the value is "00" and eight hexadecimal digits.
    QTest::newRow("tool-version") << QByteArray("<p>x</p>") << QByteArray("00de6f6c4c");
    QTest::newRow("leading-zeros-kept") << QByteArray("d4") << QByteArray("00013b439b");
}

void tst_Crc::compareValue()
{
    QFETCH(QByteArray, description);

    // Images and the normal code text do not count; the comparison code text does.
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("ToolBlock_1")));
    BlockDefinition *definition = block->createDefinition();
    definition->setAccessLevelRead(2);
    definition->setAccessLevelWrite(5);
    definition->setDescriptionText(description);
    definition->setCodeText(codeStream(0, "normal"));
    definition->setCodeTextForCompareCrc("compare");
    definition->setSmallListImage(QStringLiteral("png"), "image");
    QTEST(definition->compareCrc32Value(), "expected");
}

void tst_Crc::compareValueAfter_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("changes");

    const auto row = [](const char *name, bool changes, Change change) { QTest::newRow(name) << change << changes; };
    row("max-used-system-block-19-to-23", false, [](BlockDefinition *d, BlockDefinition *) { d->setMaxUsedSystemBlock(23); });
    row("local-block-image", false, [](BlockDefinition *, BlockDefinition *l) { l->setSmallListImage(QStringLiteral("png"), "local"); });
    row("local-block-levels-and-description", false, [](BlockDefinition *, BlockDefinition *l) {
        l->setDescriptionText("local");
        l->setAccessLevelRead(4);
    });
    row("compare-code-text", true, [](BlockDefinition *d, BlockDefinition *) { d->setCodeTextForCompareCrc("changed"); });
    row("description", true, [](BlockDefinition *d, BlockDefinition *) { d->setDescriptionText("<p>changed</p>"); });
    row("access-level-read", true, [](BlockDefinition *d, BlockDefinition *) { d->setAccessLevelRead(3); });
    row("max-used-system-block-0", true, [](BlockDefinition *d, BlockDefinition *) { d->setMaxUsedSystemBlock(0); });
    row("pin-added", true, [](BlockDefinition *d, BlockDefinition *) { d->createPin(2)->setFunction(eBlockPinFunctionOutput); });
    row("skin-order", true, [](BlockDefinition *d, BlockDefinition *) { d->defaultSkin()->setInputPinOrder({1}); });
    row("local-block-added", true, [](BlockDefinition *d, BlockDefinition *) {
        d->localBlockLibrary()->insertBlock(Block::createBlock(QStringLiteral("StandardBlock_9")));
    });
    row("local-block-compare-code", true, [](BlockDefinition *, BlockDefinition *l) { l->setCodeTextForCompareCrc("local changed"); });
    row("local-block-short-name", true, [](BlockDefinition *, BlockDefinition *l) { l->block()->setShortName(QStringLiteral("changed")); });
}

void tst_Crc::compareValueAfter()
{
    QFETCH(Change, change);
    QFETCH(bool, changes);

    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    BlockLibrary *local = definition->localBlockLibrary();
    const QByteArray before = definition->compareCrc32Value();
    change(definition, local->block(local->blockIdentifiers().first())->blockDefinition(0));
    const QByteArray after = definition->compareCrc32Value();
    QVERIFY2((after != before) == changes, after.constData());
}

void tst_Crc::codeObjectProvidesCompareText()
{
    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    definition->setCodeTextForCompareCrc("edited");
    const QByteArray expected = definition->compareCrc32Value();

    // An open editor is asked for the comparison text, and never told to save.
    definition->setCodeTextForCompareCrc("stale");
    CodeStandIn code(definition, QByteArray(), "edited");
    CodeEditorAccess::setCode(definition, &code);
    QCOMPARE(definition->compareCrc32Value(), expected);
    QCOMPARE(code.updates, 1);
    CrcFileStorageView view(nullptr);
    definition->saveForCompareCrc(&view);
    QCOMPARE(view.canonicalText(), streamText("Code.txt", "edited"));
    QCOMPARE(code.updates, 2);
    QCOMPARE(code.saves, 0);
}

QTEST_MAIN(tst_Crc)
#include "tst_crc.moc"
