#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvBlockLibrary/CodeEditorAccess.h>
#include <KvBlockLibrary/CrcFileStorageView.h>
#include <KvCodeEditor/BlockCode.h>
#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QPointer>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace {

using Streams = QList<QPair<QString, QByteArray>>;
const QByteArray CodeHeader(";type=\"code\" version=\"0\"\r\n");

// Writes streams given by slash-separated paths; a path ending in "/" only creates its storages.
void fill(FileStorageView *root, const Streams &streams)
{
    for (const auto &[path, data] : streams) {
        QStringList parts = path.split(QLatin1Char('/'));
        const QString name = parts.takeLast();
        FileStorageView *view = root;
        for (const QString &part : std::as_const(parts))
            view = view->storage(part);
        if (!name.isEmpty())
            view->writeStream(name, data);
    }
}

// The CRC-32 of zlib and PNG, written out bitwise so that the values below do not depend
// on the checksum code under test.
quint32 referenceCrc32(const QByteArray &data)
{
    quint32 crc = 0xFFFFFFFFu;
    for (const char c : data) {
        crc ^= quint8(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

QByteArray streamText(const QByteArray &name, const QByteArray &data)
{
    return "<stream name=\"" + name + "\">\n<data>" + data.toHex() + "</data>\n</stream>\n";
}

QByteArray storageText(const QByteArray &name, const QByteArray &inner)
{
    return "<storage name=\"" + name + "\">\n" + inner + "\n</storage>";
}

QByteArray formattedValue(quint32 crc)
{
    return "00" + QByteArray::number(crc, 16).rightJustified(8, '0');
}

// What the normal save writes for the parts whose formats belong to the pin, skin and
// parameter code: the interface and, when written, the parameter storage, as canonical text.
QByteArray savedInterfaceAndParameters(BlockDefinition *definition)
{
    CrcFileStorageView saved(nullptr);
    definition->save(&saved);
    QByteArray text;
    for (const QString &name : {QStringLiteral("Interface"), QStringLiteral("Parameter")}) {
        if (saved.storageNames().contains(name))
            text += storageText(name.toLatin1(), static_cast<CrcFileStorageView *>(saved.storage(name))->canonicalText());
    }
    return text;
}

// A code editor stand-in: hands the definition its comparison text when asked.
class CompareCode : public BlockCode
{
public:
    CompareCode(BlockDefinition *definition, const QByteArray &text)
        : m_definition(definition)
        , m_text(text)
    {
    }
    void save() override { ++saves; }
    void updateDefinitionCodeTextForCompareCrc() override
    {
        ++updates;
        m_definition->setCodeTextForCompareCrc(m_text);
    }

    int saves = 0;
    int updates = 0;

private:
    BlockDefinition *m_definition;
    QByteArray m_text;
};

// A change to a version and to the version of its local block.
using Change = std::function<void(BlockDefinition *, BlockDefinition *)>;

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
    definition->setCodeText(CodeHeader + "normal");
    definition->setCodeTextForCompareCrc("compare");
    definition->setSmallListImage(QStringLiteral("png"), "small");
    definition->setDescriptionText("<p>rich</p>");
    Block *local = Block::createUserBlock();
    local->createDefinition()->setCodeTextForCompareCrc("local compare");
    definition->localBlockLibrary()->insertBlock(local);
    return block;
}

// What a tool block version with the given levels and no code contributes besides its code
// and description.
QByteArray minimalRest(BlockDefinition *definition, int read, int write)
{
    const QByteArray info = ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nMaxUsedSystemBlock=\r\nLevelVisible="
            + QByteArray::number(read) + "\r\nLevelWrite=" + QByteArray::number(write) + "\r\n";
    return streamText("Info.ini", info) + storageText("Blocks", streamText("Content.txt", ""))
            + savedInterfaceAndParameters(definition);
}

} // namespace

Q_DECLARE_METATYPE(Change)

class tst_Crc : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void canonicalText_data();
    void canonicalText();
    void viewBehaviour();

    void compareValueOfMinimalVersion();
    void compareValueIsZeroPadded();
    void compareValueAfter_data();
    void compareValueAfter();
    void codeObjectProvidesCompareText();
};

void tst_Crc::initTestCase()
{
    // The oracle itself: the check value of this CRC-32 and the value's format.
    QCOMPARE(referenceCrc32("123456789"), 0xCBF43926u);
    QCOMPARE(formattedValue(48879), QByteArray("000000beef"));
}

void tst_Crc::canonicalText_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("empty-view") << Streams() << QByteArray();
    QTest::newRow("one-stream") << Streams{{"S", QByteArray("\x01\xAB")}}
                                << QByteArray("<stream name=\"S\">\n<data>01ab</data>\n</stream>\n");
    QTest::newRow("empty-stream") << Streams{{"E", QByteArray()}}
                                  << QByteArray("<stream name=\"E\">\n<data></data>\n</stream>\n");
    QTest::newRow("streams-sorted-by-code-unit") << Streams{{"b", "2"}, {"a", "1"}, {"_", "3"}, {"B", "4"}}
                                                 << streamText("B", "4") + streamText("_", "3") + streamText("a", "1")
                                                            + streamText("b", "2");
    QTest::newRow("streams-before-storages") << Streams{{"A/x", "1"}, {"Z", "2"}}
                                             << streamText("Z", "2") + storageText("A", streamText("x", "1"));
    QTest::newRow("empty-child") << Streams{{"X/", {}}} << QByteArray("<storage name=\"X\">\n\n</storage>");
    QTest::newRow("siblings-not-separated") << Streams{{"B/y", "2"}, {"A/x", "1"}}
                                            << storageText("A", streamText("x", "1")) + storageText("B", streamText("y", "2"));
    QTest::newRow("nested") << Streams{{"A/B/x", "1"}}
                            << QByteArray("<storage name=\"A\">\n<storage name=\"B\">\n<stream name=\"x\">\n"
                                          "<data>31</data>\n</stream>\n\n</storage>\n</storage>");
    QTest::newRow("images-at-root") << Streams{{"Images/IconSmall.png", "png"}, {"x", "1"}} << streamText("x", "1");
    QTest::newRow("images-deep") << Streams{{"Blocks/Number_0/V0/Images/IconLarge.bmp", "bmp"}}
                                 << storageText("Blocks", storageText("Number_0", storageText("V0", "")));
    QTest::newRow("images-name-exact") << Streams{{"images/a", "1"}, {"Images2/b", "2"}, {"Images", "3"}}
                                       << streamText("Images", "3") + storageText("Images2", streamText("b", "2"))
                                                  + storageText("images", streamText("a", "1"));
    QTest::newRow("stream-and-storage-share-name") << Streams{{"V0", "s"}, {"V0/V0", "i"}}
                                                   << streamText("V0", "s") + storageText("V0", streamText("V0", "i"));
    QTest::newRow("names-not-escaped") << Streams{{"a\"b<c>&d/e\"f", "1"}}
                                       << storageText("a\"b<c>&d", streamText("e\"f", "1"));
    QTest::newRow("latin1-name") << Streams{{QStringLiteral("Maß"), "1"}} << streamText("Ma\xDF", "1");
    QTest::newRow("name-beyond-latin1") << Streams{{QStringLiteral("€uro"), "1"}} << streamText("?uro", "1");
}

void tst_Crc::canonicalText()
{
    QFETCH(Streams, streams);
    QFETCH(QByteArray, expected);

    CrcFileStorageView view(nullptr);
    fill(&view, streams);
    QCOMPARE(view.canonicalText(), expected);
    QCOMPARE(view.checksum(), referenceCrc32(expected));
}

void tst_Crc::viewBehaviour()
{
    // A second write of a stream wins.
    CrcFileStorageView view(nullptr);
    view.writeStream(QStringLiteral("S"), "first");
    view.storage(QStringLiteral("A"))->writeStream(QStringLiteral("x"), "first");
    view.writeStream(QStringLiteral("S"), "second");
    view.storage(QStringLiteral("A"))->writeStream(QStringLiteral("x"), "2");
    QCOMPARE(view.streamNames(), QStringList{QStringLiteral("S")});
    QCOMPARE(view.canonicalText(), streamText("S", "second") + storageText("A", streamText("x", "2")));

    // Removing is ignored: what was written once is kept.
    view.removeStream(QStringLiteral("S"));
    QCOMPARE(view.readStream(QStringLiteral("S")), QByteArray("second"));

    // A comparison storage cannot be serialised or restored.
    QCOMPARE(view.toByteArray(), QByteArray());
    QVERIFY(!view.fromByteArray(QByteArray("anything")));
    QCOMPARE(view.readStream(QStringLiteral("S")), QByteArray("second"));

    // Child views belong to the view: clear() deletes them, grandchildren too.
    QPointer<FileStorageView> child = view.storage(QStringLiteral("A"));
    QCOMPARE(view.storage(QStringLiteral("A")), child.data());
    QPointer<FileStorageView> grandChild = child->storage(QStringLiteral("B"));
    view.clear();
    QVERIFY(child.isNull());
    QVERIFY(grandChild.isNull());
    QCOMPARE(view.canonicalText(), QByteArray());
}

void tst_Crc::compareValueOfMinimalVersion()
{
    // A tool block has no enable pin, so its interface holds the skin alone.
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("ToolBlock_1")));
    BlockDefinition *definition = block->createDefinition();
    definition->setAccessLevelRead(2);
    definition->setAccessLevelWrite(5);
    definition->setDescriptionText("<p>x</p>");
    definition->setCodeText(CodeHeader + "normal");
    definition->setCodeTextForCompareCrc("compare");
    definition->setSmallListImage(QStringLiteral("png"), "image");

    QVERIFY(savedInterfaceAndParameters(definition).startsWith(
            "<storage name=\"Interface\">\n<stream name=\"DefaultSkin\">\n<data>"
            + QByteArray(";type=\"blockskin\" version=\"0\"\r\n").toHex()));
    const QByteArray text = streamText("Code.txt", "compare") + streamText("Description", "<p>x</p>")
            + minimalRest(definition, 2, 5);
    QCOMPARE(definition->compareCrc32Value(), formattedValue(referenceCrc32(text)));
}

void tst_Crc::compareValueIsZeroPadded()
{
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("ToolBlock_1")));
    BlockDefinition *definition = block->createDefinition();
    const QByteArray rest = minimalRest(definition, 0, 0);

    // One description in sixteen gives a checksum whose first hexadecimal digit is 0.
    for (int i = 0; i < 1000; ++i) {
        const QByteArray description = "d" + QByteArray::number(i);
        const quint32 crc = referenceCrc32(streamText("Code.txt", "") + streamText("Description", description) + rest);
        if (crc >= 0x10000000u)
            continue;
        definition->setDescriptionText(description);
        const QByteArray value = definition->compareCrc32Value();
        QCOMPARE(value, formattedValue(crc));
        QVERIFY(value.startsWith("000"));
        return;
    }
    QFAIL("no description with a small checksum found");
}

void tst_Crc::compareValueAfter_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("changes");

    const auto row = [](const char *name, bool changes, Change change) { QTest::newRow(name) << change << changes; };
    row("small-image", false, [](BlockDefinition *d, BlockDefinition *) { d->setSmallListImage(QStringLiteral("png"), "other"); });
    row("large-image", false, [](BlockDefinition *d, BlockDefinition *) { d->setLargeListImage(QStringLiteral("bmp"), "large"); });
    row("normal-code-text", false, [](BlockDefinition *d, BlockDefinition *) { d->setCodeText(CodeHeader + "changed"); });
    row("show-modified", false, [](BlockDefinition *d, BlockDefinition *) { d->setShowModified(true); });
    row("max-used-system-block-19-to-23", false, [](BlockDefinition *d, BlockDefinition *) { d->setMaxUsedSystemBlock(23); });
    row("local-block-image", false, [](BlockDefinition *, BlockDefinition *l) { l->setSmallListImage(QStringLiteral("png"), "local"); });
    row("local-block-description", false, [](BlockDefinition *, BlockDefinition *l) { l->setDescriptionText("local"); });
    row("local-block-levels", false, [](BlockDefinition *, BlockDefinition *l) { l->setAccessLevelRead(4); });
    row("compare-code-text", true, [](BlockDefinition *d, BlockDefinition *) { d->setCodeTextForCompareCrc("changed"); });
    row("description", true, [](BlockDefinition *d, BlockDefinition *) { d->setDescriptionText("<p>changed</p>"); });
    row("access-level-read", true, [](BlockDefinition *d, BlockDefinition *) { d->setAccessLevelRead(3); });
    row("access-level-write", true, [](BlockDefinition *d, BlockDefinition *) { d->setAccessLevelWrite(3); });
    row("max-used-system-block-0", true, [](BlockDefinition *d, BlockDefinition *) { d->setMaxUsedSystemBlock(0); });
    row("pin-added", true, [](BlockDefinition *d, BlockDefinition *) { d->createPin(2)->setFunction(eBlockPinFunctionOutput); });
    row("pin-short-name", true, [](BlockDefinition *d, BlockDefinition *) { d->pin(1)->setShortName(QStringLiteral("changed")); });
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
    QCOMPARE(after.size(), 10);
}

void tst_Crc::codeObjectProvidesCompareText()
{
    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    definition->setCodeTextForCompareCrc("edited");
    const QByteArray expected = definition->compareCrc32Value();

    // An open editor is asked for the comparison text, and never told to save.
    definition->setCodeTextForCompareCrc("stale");
    auto code = std::make_unique<CompareCode>(definition, "edited");
    CodeEditorAccess::setCode(definition, code.get());
    QCOMPARE(definition->compareCrc32Value(), expected);
    QCOMPARE(code->updates, 1);
    CrcFileStorageView view(nullptr);
    definition->saveForCompareCrc(&view);
    QCOMPARE(view.canonicalText(), streamText("Code.txt", "edited"));
    QCOMPARE(code->updates, 2);
    QCOMPARE(code->saves, 0);

    // Without the editor the last comparison text stays in use.
    code.reset();
    QVERIFY(!definition->code());
    QCOMPARE(definition->compareCrc32Value(), expected);
}

QTEST_MAIN(tst_Crc)
#include "tst_crc.moc"
