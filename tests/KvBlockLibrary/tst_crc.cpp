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
    definition->createPin(1)->setShortName(QStringLiteral("IN"));
    definition->setCodeText(codeStream(0, "normal"));
    definition->setCodeTextForCompareCrc("compare");
    definition->setSmallListImage(QStringLiteral("png"), "small");
    definition->setDescriptionText("<p>rich</p>");
    Block *local = Block::createBlock(QStringLiteral("{11111111-2222-3333-4444-555555555555}"));
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
    void clearDeletesChildViews();
    void compareValue_data();
    void compareValue();
    void codeObjectProvidesCompareText();
};

void tst_Crc::canonicalText_data()
{
    QTest::addColumn<Streams>("streams"); // written in this order
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("one-stream") << Streams{{"S", QByteArray("\x01\xAB")}}
                                << QByteArray("<stream name=\"S\">\n<data>01ab</data>\n</stream>\n");
    QTest::newRow("second-write-wins") << Streams{{"S", "first"}, {"S", "second"}} << streamText("S", "second");
    QTest::newRow("streams-sorted-by-code-unit")
            << Streams{{"b", "2"}, {"a", "1"}, {"_", "3"}, {"B", "4"}}
            << streamText("B", "4") + streamText("_", "3") + streamText("a", "1") + streamText("b", "2");
    QTest::newRow("nested") << Streams{{"A/B/x", "1"}}
                            << QByteArray("<storage name=\"A\">\n<storage name=\"B\">\n<stream name=\"x\">\n"
                                          "<data>31</data>\n</stream>\n\n</storage>\n</storage>");
    // Images do not count wherever they are; the storages above them stay.
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
    CrcFileStorageView view(nullptr);
    StorageTreeText::write(&view, streams);
    // Removing is ignored.
    for (const auto &stream : streams)
        view.removeStream(stream.first);
    QTEST(view.canonicalText(), "expected");
}

void tst_Crc::clearDeletesChildViews()
{
    CrcFileStorageView view(nullptr);
    QPointer<FileStorageView> child = view.storage(QStringLiteral("A"));
    QCOMPARE(view.storage(QStringLiteral("A")), child.data());
    QPointer<FileStorageView> grandChild = child->storage(QStringLiteral("B"));
    grandChild->writeStream(QStringLiteral("S"), "s");
    view.clear();
    QVERIFY(child.isNull() && grandChild.isNull());
    QCOMPARE(view.canonicalText(), QByteArray());
}

void tst_Crc::compareValue_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QByteArray>("expected"); // "same" or "other" than before, or the value
    const auto row = [](const char *name, const QByteArray &expected, Change change) { QTest::newRow(name) << change << expected; };
    using D = BlockDefinition *;
    // Images, the normal code text and a highest system block used beyond 19 do not count,
    // nor the images, levels and description of local blocks.
    row("unchanged", "00f8a41b79", [](D, D) {});
    row("normal-code-and-images", "same", [](D d, D) { d->setCodeText("other"); d->setLargeListImage(QStringLiteral("bmp"), "l"); });
    row("max-used-system-block-19-to-23", "same", [](D d, D) { d->setMaxUsedSystemBlock(23); });
    row("local-block-image", "same", [](D, D l) { l->setSmallListImage(QStringLiteral("png"), "local"); });
    row("local-block-levels-and-description", "same", [](D, D l) { l->setDescriptionText("local"); l->setAccessLevelRead(4); });
    // The value is "00" and eight hexadecimal digits, leading zeros kept.
    row("description-leading-zeros", "0000aac297", [](D d, D) { d->setDescriptionText("d141"); });
    row("compare-code-text", "other", [](D d, D) { d->setCodeTextForCompareCrc("changed"); });
    row("access-level-read", "other", [](D d, D) { d->setAccessLevelRead(3); });
    row("max-used-system-block-0", "other", [](D d, D) { d->setMaxUsedSystemBlock(0); });
    row("pin-added", "other", [](D d, D) { d->createPin(2)->setFunction(eBlockPinFunctionOutput); });
    row("skin-order", "other", [](D d, D) { d->defaultSkin()->setInputPinOrder({1}); });
    row("local-block-added", "other", [](D d, D) { d->localBlockLibrary()->insertBlock(Block::createBlock(QStringLiteral("StandardBlock_9"))); });
    row("local-block-compare-code", "other", [](D, D l) { l->setCodeTextForCompareCrc("local changed"); });
    row("local-block-short-name", "other", [](D, D l) { l->block()->setShortName(QStringLiteral("changed")); });
}

void tst_Crc::compareValue()
{
    QFETCH(Change, change);
    QFETCH(QByteArray, expected);
    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    BlockLibrary *local = definition->localBlockLibrary();
    const QByteArray before = definition->compareCrc32Value();
    change(definition, local->block(local->blockIdentifiers().first())->blockDefinition(0));
    const QByteArray after = definition->compareCrc32Value();
    if (expected == "same" || expected == "other")
        QVERIFY2((after == before) == (expected == "same"), after.constData());
    else
        QCOMPARE(after, expected);
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
