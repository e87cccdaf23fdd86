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

#include <algorithm>
#include <memory>

namespace {

using Streams = QList<QPair<QString, QByteArray>>;

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

const QByteArray CodeHeader(";type=\"code\" version=\"0\"\r\n");

} // namespace

class tst_Crc : public QObject
{
    Q_OBJECT

private slots:
    void referenceChecksum();

    void canonicalText_data();
    void canonicalText();
    void writingOrderDoesNotMatter();
    void secondWriteWins();
    void childViews();

    void compareValueOfMinimalVersion();
    void compareValueIsZeroPadded();
    void compareValueUnchangedBy_data();
    void compareValueUnchangedBy();
    void compareValueChangedBy_data();
    void compareValueChangedBy();
    void codeObjectProvidesCompareText();
    void saveForCompareCrcWritesOnlyCode();

private:
    void changeData();
};

void tst_Crc::referenceChecksum()
{
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

void tst_Crc::writingOrderDoesNotMatter()
{
    Streams streams;
    for (int i = 0; i < 40; ++i) {
        streams.append({QStringLiteral("s%1").arg(i), QByteArray::number(i)});
        streams.append({QStringLiteral("D%1/t%2").arg(i % 7).arg(i), QByteArray::number(i)});
    }
    CrcFileStorageView forward(nullptr);
    fill(&forward, streams);
    std::reverse(streams.begin(), streams.end());
    CrcFileStorageView backward(nullptr);
    fill(&backward, streams);

    QCOMPARE(backward.canonicalText(), forward.canonicalText());
    QCOMPARE(backward.checksum(), forward.checksum());
}

void tst_Crc::secondWriteWins()
{
    CrcFileStorageView view(nullptr);
    view.writeStream(QStringLiteral("S"), "first");
    view.storage(QStringLiteral("A"))->writeStream(QStringLiteral("x"), "first");
    view.writeStream(QStringLiteral("S"), "second");
    view.storage(QStringLiteral("A"))->writeStream(QStringLiteral("x"), "2");

    QCOMPARE(view.streamNames(), QStringList{QStringLiteral("S")});
    QCOMPARE(view.readStream(QStringLiteral("S")), QByteArray("second"));
    QCOMPARE(view.canonicalText(), streamText("S", "second") + storageText("A", streamText("x", "2")));
}

void tst_Crc::childViews()
{
    CrcFileStorageView view(nullptr);
    FileStorageView *child = view.storage(QStringLiteral("A"));
    QCOMPARE(view.storage(QStringLiteral("A")), child);
    QCOMPARE(child->parent(), &view);
    QPointer<FileStorageView> grandChild = child->storage(QStringLiteral("B"));
    view.writeStream(QStringLiteral("S"), "1");
    QCOMPARE(view.readStream(QStringLiteral("missing")), QByteArray());

    QPointer<FileStorageView> guard = child;
    view.clear();
    QVERIFY(guard.isNull());
    QVERIFY(grandChild.isNull());
    QVERIFY(view.streamNames().isEmpty());
    QVERIFY(view.storageNames().isEmpty());
    QCOMPARE(view.canonicalText(), QByteArray());

    // A comparison storage cannot be serialised or restored.
    view.writeStream(QStringLiteral("S"), "1");
    QCOMPARE(view.toByteArray(), QByteArray());
    QVERIFY(!view.fromByteArray(QByteArray("anything")));
    QCOMPARE(view.readStream(QStringLiteral("S")), QByteArray("1"));

    // It is writable, nameless at every level, and keeps what was written once.
    FileStorageView *named = view.storage(QStringLiteral("Named"));
    QVERIFY(!view.isReadOnly());
    QVERIFY(!named->isReadOnly());
    QCOMPARE(named->name(), QString());
    QCOMPARE(named->path(), QString());
    view.removeStream(QStringLiteral("S"));
    QCOMPARE(view.streamNames(), QStringList{QStringLiteral("S")});
    QCOMPARE(view.readStream(QStringLiteral("S")), QByteArray("1"));
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

    const QByteArray info(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nMaxUsedSystemBlock=\r\n"
                          "LevelVisible=2\r\nLevelWrite=5\r\n");
    const QByteArray saved = savedInterfaceAndParameters(definition);
    QVERIFY(saved.startsWith("<storage name=\"Interface\">\n<stream name=\"DefaultSkin\">\n<data>"
                             + QByteArray(";type=\"blockskin\" version=\"0\"\r\n").toHex()));
    const QByteArray text = streamText("Code.txt", "compare") + streamText("Description", "<p>x</p>")
            + streamText("Info.ini", info) + storageText("Blocks", streamText("Content.txt", "")) + saved;

    const QByteArray value = definition->compareCrc32Value();
    QCOMPARE(value, formattedValue(referenceCrc32(text)));
    QCOMPARE(value.size(), 10);
    QVERIFY(value.startsWith("00"));
}

void tst_Crc::compareValueIsZeroPadded()
{
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("ToolBlock_1")));
    BlockDefinition *definition = block->createDefinition();
    const QByteArray info(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nMaxUsedSystemBlock=\r\n"
                          "LevelVisible=0\r\nLevelWrite=0\r\n");
    const QByteArray rest = streamText("Info.ini", info) + storageText("Blocks", streamText("Content.txt", ""))
            + savedInterfaceAndParameters(definition);

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

// Changes applied to a version whose comparison value was taken before.
void tst_Crc::changeData()
{
    QTest::addColumn<QString>("change");
}

namespace {

void applyChange(BlockDefinition *definition, const QString &change)
{
    BlockDefinition *local = definition->localBlockLibrary()
                                     ->block(definition->localBlockLibrary()->blockIdentifiers().first())
                                     ->blockDefinition(0);
    if (change == "small-image")
        definition->setSmallListImage(QStringLiteral("png"), "other image");
    else if (change == "large-image")
        definition->setLargeListImage(QStringLiteral("bmp"), "large image");
    else if (change == "normal-code-text")
        definition->setCodeText(CodeHeader + "changed");
    else if (change == "show-modified")
        definition->setShowModified(true);
    else if (change == "max-used-system-block-19-to-23")
        definition->setMaxUsedSystemBlock(23);
    else if (change == "local-block-image")
        local->setSmallListImage(QStringLiteral("png"), "local image");
    else if (change == "local-block-description")
        local->setDescriptionText("local description");
    else if (change == "local-block-levels")
        local->setAccessLevelRead(4);
    else if (change == "compare-code-text")
        definition->setCodeTextForCompareCrc("changed");
    else if (change == "description")
        definition->setDescriptionText("<p>changed</p>");
    else if (change == "access-level-read")
        definition->setAccessLevelRead(3);
    else if (change == "access-level-write")
        definition->setAccessLevelWrite(3);
    else if (change == "max-used-system-block-0")
        definition->setMaxUsedSystemBlock(0);
    else if (change == "pin-added")
        definition->createPin(2)->setFunction(eBlockPinFunctionOutput);
    else if (change == "pin-short-name")
        definition->pin(1)->setShortName(QStringLiteral("changed"));
    else if (change == "skin-order")
        definition->defaultSkin()->setInputPinOrder({1});
    else if (change == "local-block-added")
        definition->localBlockLibrary()->insertBlock(Block::createBlock(QStringLiteral("StandardBlock_9")));
    else if (change == "local-block-compare-code")
        local->setCodeTextForCompareCrc("local changed");
    else if (change == "local-block-short-name")
        local->block()->setShortName(QStringLiteral("changed"));
    else
        QFAIL(qPrintable("unknown change " + change));
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
    definition->setCodeText(CodeHeader + "normal");
    definition->setCodeTextForCompareCrc("compare");
    definition->setSmallListImage(QStringLiteral("png"), "small");
    definition->setDescriptionText("<p>rich</p>");
    Block *local = Block::createUserBlock();
    local->createDefinition()->setCodeTextForCompareCrc("local compare");
    definition->localBlockLibrary()->insertBlock(local);
    return block;
}

} // namespace

void tst_Crc::compareValueUnchangedBy_data()
{
    changeData();
    for (const char *change : {"small-image", "large-image", "normal-code-text", "show-modified",
                               "max-used-system-block-19-to-23", "local-block-image", "local-block-description",
                               "local-block-levels"})
        QTest::newRow(change) << QString::fromLatin1(change);
}

void tst_Crc::compareValueUnchangedBy()
{
    QFETCH(QString, change);
    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    const QByteArray before = definition->compareCrc32Value();
    applyChange(definition, change);
    QCOMPARE(definition->compareCrc32Value(), before);
}

void tst_Crc::compareValueChangedBy_data()
{
    changeData();
    for (const char *change : {"compare-code-text", "description", "access-level-read", "access-level-write",
                               "max-used-system-block-0", "pin-added", "pin-short-name", "skin-order",
                               "local-block-added", "local-block-compare-code", "local-block-short-name"})
        QTest::newRow(change) << QString::fromLatin1(change);
}

void tst_Crc::compareValueChangedBy()
{
    QFETCH(QString, change);
    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    const QByteArray before = definition->compareCrc32Value();
    applyChange(definition, change);
    const QByteArray after = definition->compareCrc32Value();
    QVERIFY2(after != before, after.constData());
    QCOMPARE(after.size(), 10);
}

void tst_Crc::codeObjectProvidesCompareText()
{
    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    definition->setCodeTextForCompareCrc("edited");
    const QByteArray expected = definition->compareCrc32Value();

    definition->setCodeTextForCompareCrc("stale");
    auto code = std::make_unique<CompareCode>(definition, "edited");
    CodeEditorAccess::setCode(definition, code.get());
    QCOMPARE(definition->compareCrc32Value(), expected);
    QCOMPARE(code->updates, 1);
    QCOMPARE(code->saves, 0);
    QCOMPARE(definition->codeTextForCompareCrc(), QByteArray("edited"));

    // Without the editor the last comparison text stays in use.
    code.reset();
    QVERIFY(!definition->code());
    QCOMPARE(definition->compareCrc32Value(), expected);
}

void tst_Crc::saveForCompareCrcWritesOnlyCode()
{
    std::unique_ptr<Block> block = richBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    CompareCode code(definition, "for comparison");
    CodeEditorAccess::setCode(definition, &code);

    CrcFileStorageView view(nullptr);
    definition->saveForCompareCrc(&view);
    QCOMPARE(view.canonicalText(), streamText("Code.txt", "for comparison"));
    QCOMPARE(code.updates, 1);
    QCOMPARE(code.saves, 0);
}

QTEST_MAIN(tst_Crc)
#include "tst_crc.moc"
