#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvBlockLibrary/CodeEditorAccess.h>
#include <KvBlockLibrary/CrcFileStorageView.h>
#include <KvCodeEditor/BlockCode.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>

#include "ScratchStorage.h"
#include "StorageTreeText.h"

#include <QtCore/QSet>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

namespace {

using Streams = QList<QPair<QString, QByteArray>>;

const QByteArray VersionHeader(";type=\"blockversion\" version=\"0\"\r\n");
const QByteArray TemplateHeader(";type=\"templateblock\" version=\"0\"\r\n");
const QByteArray CodeHeader(";type=\"code\" version=\"0\"\r\n");

QByteArray info(const QByteArray &body)
{
    return VersionHeader + "\r\n[Info]\r\n" + body;
}

// "Info.ini" of a version made from a template: a second type line and a "[Template]" section.
QByteArray bothHeadersInfo()
{
    return VersionHeader + TemplateHeader + "\r\n[Info]\r\nLevelVisible=1\r\n\r\n[Template]\r\nAvailableFor=global\r\n";
}

QByteArray pinStream(int function, int datatype, const QByteArray &shortName)
{
    return ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nDatatype=" + QByteArray::number(datatype)
            + "\r\nFunction=" + QByteArray::number(function) + "\r\nShortName=" + shortName + "\r\n";
}

QByteArray skinStream(const QByteArray &inputs, const QByteArray &outputs)
{
    return ";type=\"blockskin\" version=\"0\"\r\n\r\n[Skin]\r\nInputPinOrder=" + inputs + "\r\nOutputPinOrder=" + outputs
            + "\r\n";
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

// A new empty version 0 of a new block of that identifier.
struct Version
{
    explicit Version(const QString &identifier = QStringLiteral("StandardBlock_5"))
        : block(Block::createBlock(identifier))
        , definition(block->createDefinition())
    {
    }
    std::unique_ptr<Block> block;
    BlockDefinition *definition;
};

// A code editor stand-in that counts what the definition asks of it.
class CountingCode : public BlockCode
{
public:
    CountingCode(BlockDefinition *definition, const QByteArray &editedText)
        : m_definition(definition)
        , m_editedText(editedText)
    {
    }
    void save() override
    {
        ++saves;
        m_definition->setCodeText(m_editedText);
    }
    void updateDefinitionCodeTextForCompareCrc() override { ++updates; }

    int saves = 0;
    int updates = 0;

private:
    BlockDefinition *m_definition;
    QByteArray m_editedText;
};

} // namespace

class tst_VersionStorage : public QObject
{
    Q_OBJECT

private slots:
    void infoBytes_data();
    void infoBytes();
    void infoKeys_data();
    void infoKeys();
    void loadResult_data();
    void loadResult();
    void templateSection_data();
    void templateSection();

    void loadStreams_data();
    void loadStreams();
    void savedStreams();
    void codeObjectSavesBeforeCodeIsWritten();

    void pinsRoundTrip();

    void localBlocksNestedTwoLevels();
    void saveLeavesOtherEntriesUntouched();
    void saveOrder();

    void instantiationData();
    void parameterValueOrder_data();
    void parameterValueOrder();
};

void tst_VersionStorage::infoBytes_data()
{
    QTest::addColumn<uint>("maxUsed");
    QTest::addColumn<uint>("read");
    QTest::addColumn<uint>("write");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<uint>("reloadedOver9");

    // The fourth line is "MaxUsedSystemBlock=" less its first max-used characters.
    auto row = [](const char *tag, uint maxUsed, uint read, uint write, const QByteArray &line, uint reloaded) {
        QTest::newRow(tag) << maxUsed << read << write
                           << VersionHeader + "\r\n[Info]\r\n" + line + "\r\nLevelVisible=" + QByteArray::number(read)
                                  + "\r\nLevelWrite=" + QByteArray::number(write) + "\r\n"
                           << reloaded;
    };
    row("max-0", 0, 2, 5, "MaxUsedSystemBlock=", 0);
    row("max-3", 3, 0, 0, "UsedSystemBlock=", 9);
    row("max-7", 7, 7, 6, "SystemBlock=", 9);
    row("max-19", 19, 1, 1, "", 9);
    row("max-23", 23, 1, 1, "", 9);
    row("max-40", 40, 4294967295u, 0, "", 9);
}

void tst_VersionStorage::infoBytes()
{
    QFETCH(uint, maxUsed);
    QFETCH(uint, read);
    QFETCH(uint, write);
    QFETCH(QByteArray, expected);
    QFETCH(uint, reloadedOver9);

    Version version(QStringLiteral("SystemBlock_1"));
    version.definition->setMaxUsedSystemBlock(maxUsed);
    version.definition->setAccessLevelRead(read);
    version.definition->setAccessLevelWrite(write);
    ScratchStorage storage;
    version.definition->save(storage.root());
    QCOMPARE(storage.root()->readStream(QStringLiteral("Info.ini")), expected);

    // Only the key of the line for 0 is read back; every other number is lost.
    Version reloaded(QStringLiteral("SystemBlock_1"));
    reloaded.definition->setMaxUsedSystemBlock(9);
    QVERIFY(reloaded.definition->load(storage.root()));
    QCOMPARE(reloaded.definition->maxUsedSystemBlock(), reloadedOver9);
    QCOMPARE(reloaded.definition->accessLevelRead(), read);
    QCOMPARE(reloaded.definition->accessLevelWrite(), write);
}

void tst_VersionStorage::infoKeys_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<uint>("read");
    QTest::addColumn<uint>("write");
    QTest::addColumn<uint>("maxUsed");
    QTest::addColumn<uint>("membership");

    // Before loading: read 5, write 1, max used system block 9, runtime membership 4.
    auto row = [](const char *tag, const char *identifier, const QByteArray &body, uint read, uint write, uint maxUsed,
                  uint membership) {
        QTest::newRow(tag) << QString::fromLatin1(identifier) << body << read << write << maxUsed << membership;
    };
    const char *system = "SystemBlock_1";
    row("all-keys", system, "MaxUsedSystemBlock=4\r\nLevelVisible=3\r\nLevelWrite=2\r\n", 3, 2, 4, 0);
    row("level-write-absent-gives-6", system, "LevelVisible=3\r\n", 3, 6, 9, 0);
    row("level-visible-absent-unchanged", system, "LevelWrite=0\r\n", 5, 0, 9, 0);
    row("not-numbers-count-0", system, "MaxUsedSystemBlock=x\r\nLevelVisible=-1\r\nLevelWrite=2a\r\n", 0, 0, 0, 0);
    row("empty-values-count-0", system, "MaxUsedSystemBlock=\r\nLevelVisible=\r\nLevelWrite=\r\n", 0, 0, 0, 0);
    row("unknown-keys-ignored", system, "Foo=1\r\nLevelVisible=2\r\n", 2, 6, 9, 0);
    row("keys-of-other-section", system, "\r\n[Other]\r\nLevelVisible=2\r\nLevelWrite=3\r\nTasks=3\r\n", 5, 6, 9, 0);
    row("key-case-matters", system, "levelvisible=2\r\nLEVELWRITE=3\r\ntasks=3\r\n", 5, 6, 9, 0);
    // "Tasks" maps 1 to 0 and 5 to 1, and counts only for system, tool and magic blocks.
    row("tasks-system-1", system, "Tasks=1\r\n", 5, 6, 9, 0);
    row("tasks-system-2", system, "Tasks=2\r\n", 5, 6, 9, 2);
    row("tasks-system-3", system, "Tasks=3\r\n", 5, 6, 9, 3);
    row("tasks-system-4", system, "Tasks=4\r\n", 5, 6, 9, 4);
    row("tasks-system-5", system, "Tasks=5\r\n", 5, 6, 9, 1);
    row("tasks-system-6", system, "Tasks=6\r\n", 5, 6, 9, 0);
    row("tasks-system-not-a-number", system, "Tasks=3x\r\n", 5, 6, 9, 0);
    row("tasks-tool-5", "ToolBlock_2", "Tasks=5\r\n", 5, 6, 9, 1);
    row("tasks-tool-absent", "ToolBlock_2", "", 5, 6, 9, 0);
    row("tasks-magic-3", "MagicBlock_3", "Tasks=3\r\n", 5, 6, 9, 3);
    row("tasks-user-3", "{6f1c1e58-3c1b-4a7e-9d3c-1b2a3c4d5e6f}", "Tasks=3\r\n", 5, 6, 9, 1);
    row("tasks-user-absent", "{6f1c1e58-3c1b-4a7e-9d3c-1b2a3c4d5e6f}", "", 5, 6, 9, 1);
    row("tasks-standard-2", "StandardBlock_1", "Tasks=2\r\n", 5, 6, 9, 1);
    row("tasks-template-4", "TemplateBlock_1", "Tasks=4\r\n", 5, 6, 9, 1);
    row("tasks-root-3", "RootBlock", "Tasks=3\r\n", 5, 6, 9, 1);
}

void tst_VersionStorage::infoKeys()
{
    QFETCH(QString, identifier);
    QFETCH(QByteArray, body);

    ScratchStorage storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(body));
    Version version(identifier);
    version.definition->setAccessLevelRead(5);
    version.definition->setAccessLevelWrite(1);
    version.definition->setMaxUsedSystemBlock(9);
    version.definition->setRuntimeMembership(eRuntimeMembershipTask4);
    QVERIFY(version.definition->load(storage.root()));
    QTEST(version.definition->accessLevelRead(), "read");
    QTEST(version.definition->accessLevelWrite(), "write");
    QTEST(version.definition->maxUsedSystemBlock(), "maxUsed");
    QTEST(uint(version.definition->runtimeMembership()), "membership");
}

void tst_VersionStorage::loadResult_data()
{
    QTest::addColumn<QByteArray>("infoStream"); // null: no "Info.ini"
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("contentsRead");
    QTest::addColumn<bool>("localBlocksRead");

    QTest::newRow("no-info-stream") << QByteArray() << false << false << false;
    QTest::newRow("block-kind") << QByteArray(";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\n") << false << false << true;
    QTest::newRow("version-1") << QByteArray(";type=\"blockversion\" version=\"1\"\r\n\r\n[Info]\r\n") << false << false
                               << true;
    QTest::newRow("no-type-line") << QByteArray("[Info]\r\nLevelVisible=1\r\n") << false << false << true;
    QTest::newRow("template-kind-only") << TemplateHeader + "\r\n[Info]\r\n" << false << false << true;
    QTest::newRow("no-info-section") << VersionHeader + "\r\n[Other]\r\nLevelVisible=1\r\n" << false << true << true;
    QTest::newRow("empty-info-section") << info(QByteArray()) << true << true << true;
}

void tst_VersionStorage::loadResult()
{
    QFETCH(QByteArray, infoStream);
    QFETCH(bool, result);
    QFETCH(bool, contentsRead);
    QFETCH(bool, localBlocksRead);

    // A version with something in every entry, saved and then given another "Info.ini".
    Version source;
    BlockPin *pin = source.definition->createPin(1);
    pin->setFunction(eBlockPinFunctionOutput);
    source.definition->setCodeText(CodeHeader + "code");
    source.definition->setDescriptionText("description");
    source.definition->setSmallListImage(QStringLiteral("png"), "image");
    Block *local = Block::createUserBlock();
    local->createDefinition();
    source.definition->localBlockLibrary()->insertBlock(local);
    ScratchStorage storage;
    source.definition->save(storage.root());
    StorageTreeText::write(storage.root(), {{"Wizard/Definition.txt", "wizard"}, {"KsbBinaries/1/General.bin", "ksb"}});
    if (infoStream.isNull())
        storage.root()->removeStream(QStringLiteral("Info.ini"));
    else
        storage.root()->writeStream(QStringLiteral("Info.ini"), infoStream);

    Version loaded;
    loaded.definition->setAccessLevelWrite(1);
    QCOMPARE(loaded.definition->load(storage.root()), result);
    QCOMPARE(loaded.definition->pins(), contentsRead ? QList<int>({-1, 1}) : QList<int>{-1});
    QCOMPARE(loaded.definition->codeText(), contentsRead ? CodeHeader + "code" : QByteArray());
    QCOMPARE(loaded.definition->descriptionText(), contentsRead ? QByteArray("description") : QByteArray());
    QCOMPARE(loaded.definition->smallListImage(), contentsRead ? QByteArray("image") : QByteArray());
    QCOMPARE(loaded.definition->wizardDefinition(), contentsRead ? QByteArray("wizard") : QByteArray());
    QCOMPARE(loaded.definition->instantiationData()->ksbBinaries(1),
             contentsRead ? QList<unsigned int>{1} : QList<unsigned int>());
    // Without an "[Info]" section its keys, and so the default write level, are not applied.
    QCOMPARE(loaded.definition->accessLevelWrite(), result ? 6u : 1u);
    QCOMPARE(loaded.definition->localBlockLibrary()->blockIdentifiers(),
             localBlocksRead ? QList<QString>{local->identifier()} : QList<QString>());
}

void tst_VersionStorage::templateSection_data()
{
    QTest::addColumn<QByteArray>("infoStream");
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("global");
    QTest::addColumn<bool>("exclusive");
    QTest::addColumn<uint>("targetLevel");
    QTest::addColumn<QByteArray>("parameterGroup");

    // Before loading: global and exclusive, target levels 7.
    const QByteArray infoSection("[Info]\r\nLevelVisible=1\r\n");
    const QByteArray bothHeaders = VersionHeader + TemplateHeader + "\r\n" + infoSection;
    const QByteArray section("\r\n[Template]\r\n");
    QTest::newRow("headers-on-first-lines") << bothHeaders + section + "LevelEditOfCopy=4\r\nAvailableFor=Global\r\nParameterGroup=Achsen\r\n"
                                            << true << true << false << 4u << QByteArray("Achsen");
    QTest::newRow("header-before-template-section")
            << info("LevelVisible=1\r\n") + "\r\n" + TemplateHeader + section + "AvailableFor=EXKLUSIV\r\nLevelEditOfCopy=0\r\n"
            << true << false << true << 0u << QByteArray();
    QTest::newRow("exclusive-is-no-value") << bothHeaders + section + "AvailableFor=exclusive\r\n" << true << false << false
                                           << 7u << QByteArray();
    QTest::newRow("empty-available-for") << bothHeaders + section + "AvailableFor=\r\n" << true << false << false << 7u
                                         << QByteArray();
    QTest::newRow("absent-keys-unchanged") << bothHeaders + section + "ParameterGroup=Gr\xFC\xDF" "e 1\r\n" << true << true
                                           << true << 7u << QByteArray("Gr\xFC\xDF" "e 1");
    QTest::newRow("no-template-header") << info(QByteArray()) + section + "AvailableFor=global\r\nLevelEditOfCopy=2\r\nParameterGroup=X\r\n"
                                        << true << true << true << 7u << QByteArray();
    QTest::newRow("template-header-version-1")
            << VersionHeader + ";type=\"templateblock\" version=\"1\"\r\n\r\n" + infoSection + section + "AvailableFor=global\r\n"
            << true << true << true << 7u << QByteArray();
    QTest::newRow("template-header-only") << TemplateHeader + "\r\n" + infoSection + section + "AvailableFor=global\r\nLevelEditOfCopy=3\r\n"
                                          << false << true << false << 3u << QByteArray();
    QTest::newRow("parameter-group-outside-template") << bothHeaders + "ParameterGroup=X\r\n" << true << true << true << 7u
                                                      << QByteArray();
}

void tst_VersionStorage::templateSection()
{
    QFETCH(QByteArray, infoStream);
    QFETCH(bool, result);
    QFETCH(bool, global);
    QFETCH(bool, exclusive);
    QFETCH(uint, targetLevel);
    QFETCH(QByteArray, parameterGroup);

    ScratchStorage storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), infoStream);
    Version version(QStringLiteral("TemplateBlock_1"));
    version.definition->setGlobalTemplate(true);
    version.definition->setExclusiveTemplate(true);
    version.definition->setTemplateTargetAccessLevelRead(7);
    version.definition->setTemplateTargetAccessLevelWrite(7);
    QCOMPARE(version.definition->load(storage.root()), result);
    QCOMPARE(version.definition->isGlobalTemplate(), global);
    QCOMPARE(version.definition->isExclusiveTemplate(), exclusive);
    QCOMPARE(version.definition->templateTargetAccessLevelRead(), targetLevel);
    QCOMPARE(version.definition->templateTargetAccessLevelWrite(), targetLevel);
    QCOMPARE(version.definition->parameterGroup(), parameterGroup);
}

// What one aspect of a loaded version reads, as one line of text.
QByteArray readAspect(const BlockDefinition *definition, const QByteArray &name)
{
    auto numbers = [](const QList<int> &list) {
        QByteArrayList parts;
        for (int n : list)
            parts << QByteArray::number(n);
        return parts.join(',');
    };
    if (name == "code")
        return definition->codeText() + " v" + QByteArray::number(definition->codeTextVersion());
    if (name == "wizard")
        return definition->wizardDefinition();
    if (name == "description")
        return definition->descriptionText();
    if (name == "images")
        return definition->smallListImageName().toUtf8() + ':' + definition->smallListImage() + ' '
                + definition->largeListImageName().toUtf8() + ':' + definition->largeListImage();
    // The enable pin is the definition's own and never read from the file.
    QByteArray pins = numbers(definition->pins()) + " order " + numbers(definition->defaultSkin()->inputPinOrder())
            + " enable " + definition->pin(-1)->shortName().toUtf8() + '/'
            + QByteArray::number(definition->pin(-1)->function());
    if (const BlockPin *pin = definition->pin(2))
        pins += " pin2 " + pin->shortName().toUtf8() + '/' + QByteArray::number(pin->function());
    return pins;
}

void tst_VersionStorage::loadStreams_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QByteArray>("aspect");
    QTest::addColumn<QByteArray>("expected");

    auto row = [](const char *tag, const Streams &streams, const QByteArray &aspect, const QByteArray &expected) {
        QTest::newRow(tag) << streams << aspect << expected;
    };
    // Before loading the description is "before".
    row("code-with-header", {{"Code.txt", CodeHeader + "PROGRAM\r\nEND\r\n"}}, "code", CodeHeader + "PROGRAM\r\nEND\r\n v0");
    row("code-header-version-3", {{"Code.txt", ";type=\"code\" version=\"3\"\r\nx"}}, "code",
        ";type=\"code\" version=\"3\"\r\nx v3");
    row("code-no-header", {{"Code.txt", "PROGRAM\r\n"}}, "code", " v0");
    row("code-other-kind", {{"Code.txt", ";type=\"pin\" version=\"0\"\r\n"}}, "code", " v0");
    row("code-empty", {{"Code.txt", ""}}, "code", " v0");
    row("code-absent", {}, "code", " v0");
    row("wizard", {{"Wizard/Definition.txt", QByteArray("no header\0bytes", 15)}}, "wizard", QByteArray("no header\0bytes", 15));
    row("wizard-empty", {{"Wizard/Definition.txt", ""}}, "wizard", "");
    row("wizard-stream-name-case", {{"Wizard/definition.txt", "w"}}, "wizard", "");
    row("wizard-storage-name-case", {{"wizard/Definition.txt", "w"}}, "wizard", "");
    row("wizard-stream-not-storage", {{"Wizard", "w"}}, "wizard", "");
    row("description", {{"Description", "<p>Gr\xC3\xB6\xC3\x9F" "e</p>"}}, "description", "<p>Gr\xC3\xB6\xC3\x9F" "e</p>");
    row("description-absent-unchanged", {}, "description", "before");
    row("description-empty-clears", {{"Description", ""}}, "description", "");
    row("image-small-png-upper-case", {{"Images/IconSmall.PNG", "s"}}, "images", "png:s :");
    row("image-large-bmp", {{"Images/IconLarge.bmp", "l"}}, "images", ": bmp:l");
    row("image-both", {{"Images/IconSmall.Bmp", "s"}, {"Images/IconLarge.pNg", "l"}}, "images", "bmp:s png:l");
    row("image-gif-ignored", {{"Images/IconSmall.gif", "s"}}, "images", ": :");
    row("image-no-suffix-ignored", {{"Images/IconSmall", "s"}}, "images", ": :");
    row("image-two-suffixes-ignored", {{"Images/IconSmall.x.png", "s"}}, "images", ": :");
    row("image-base-name-case", {{"Images/iconsmall.png", "s"}, {"Images/ICONLARGE.png", "l"}}, "images", ": :");
    row("image-other-base-name", {{"Images/Icon.png", "s"}, {"Images/IconSmall2.png", "s"}}, "images", ": :");

    const QByteArray input = pinStream(1, 1, "IN");
    const QByteArray skin = skinStream("2", "");
    const QByteArray pin2 = "-1,2 order  enable enable/1 pin2 IN/1";
    const QByteArray none = "-1 order  enable enable/1";
    row("pin", {{"Interface/Pin_2.ini", input}}, "pins", pin2);
    row("pin-without-suffix", {{"Interface/Pin_2", input}}, "pins", pin2);
    row("pin-other-suffix", {{"Interface/Pin_2.txt", input}}, "pins", pin2);
    row("pin-leading-zero", {{"Interface/Pin_02.ini", input}}, "pins", pin2);
    row("enable-pin-ignored", {{"Interface/Pin_-1.ini", pinStream(2, 4, "hacked")}}, "pins", none);
    row("pin-lower-case-ignored", {{"Interface/pin_2.ini", input}}, "pins", none);
    row("pin-not-a-number-ignored", {{"Interface/Pin_x.ini", input}}, "pins", none);
    row("pin-two-suffixes-ignored", {{"Interface/Pin_2.ini.bak", input}}, "pins", none);
    row("pin-skin-header", {{"Interface/Pin_2.ini", skin}}, "pins", none);
    row("pin-version-1", {{"Interface/Pin_2.ini", QByteArray(input).replace("version=\"0\"", "version=\"1\"")}}, "pins", none);
    row("pin-without-header", {{"Interface/Pin_2.ini", input.mid(input.indexOf("[Pin]"))}}, "pins", none);
    row("skin", {{"Interface/Pin_2.ini", input}, {"Interface/DefaultSkin", skin}}, "pins",
        "-1,2 order 2 enable enable/1 pin2 IN/1");
    row("skin-pin-header", {{"Interface/Pin_2.ini", input}, {"Interface/DefaultSkin", input}}, "pins", pin2);
    row("skin-version-1", {{"Interface/DefaultSkin", QByteArray(skin).replace("version=\"0\"", "version=\"1\"")}}, "pins",
        none);
    row("skin-name-case", {{"Interface/defaultskin", skin}}, "pins", none);
}

void tst_VersionStorage::loadStreams()
{
    QFETCH(Streams, streams);
    QFETCH(QByteArray, aspect);
    QFETCH(QByteArray, expected);

    ScratchStorage storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(QByteArray()));
    StorageTreeText::write(storage.root(), streams);
    Version version; // a standard block below 200000 has no default icon
    version.definition->setDescriptionText("before");
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(readAspect(version.definition, aspect), expected);
}

void tst_VersionStorage::savedStreams()
{
    // "Code.txt" is written on every save, also when empty; "Description" and images only when set.
    Version version;
    ScratchStorage empty;
    version.definition->save(empty.root());
    QCOMPARE(empty.root()->readStream(QStringLiteral("Code.txt")), QByteArray());
    QVERIFY(empty.root()->streamNames().contains(QStringLiteral("Code.txt")));
    QVERIFY(!empty.root()->streamNames().contains(QStringLiteral("Description")));
    QVERIFY(empty.root()->storage(QStringLiteral("Images"))->streamNames().isEmpty());

    // Everything is written raw.
    const QByteArray png("\x89PNG\r\n\x1a\n-not-compressed", 23);
    version.definition->setCodeText(CodeHeader + "PROGRAM");
    version.definition->setDescriptionText("<p>Gr\xC3\xB6\xC3\x9F" "e</p>");
    version.definition->setSmallListImage(QStringLiteral("png"), png);
    version.definition->setLargeListImage(QStringLiteral("bmp"), "BM-large");
    ScratchStorage storage;
    version.definition->save(storage.root());
    QCOMPARE(storage.root()->readStream(QStringLiteral("Code.txt")), CodeHeader + "PROGRAM");
    QCOMPARE(storage.root()->readStream(QStringLiteral("Description")), QByteArray("<p>Gr\xC3\xB6\xC3\x9F" "e</p>"));
    FileStorageView *images = storage.root()->storage(QStringLiteral("Images"));
    QCOMPARE(sorted(images->streamNames()), QStringList({"IconLarge.bmp", "IconSmall.png"}));
    QCOMPARE(images->readStream(QStringLiteral("IconSmall.png")), png);
    QCOMPARE(images->readStream(QStringLiteral("IconLarge.bmp")), QByteArray("BM-large"));

    // When two streams qualify for one image, the one listed last wins.
    images->writeStream(QStringLiteral("IconSmall.bmp"), "bmp");
    const bool bmpLast = images->streamNames().indexOf(QStringLiteral("IconSmall.bmp"))
            > images->streamNames().indexOf(QStringLiteral("IconSmall.png"));
    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    QCOMPARE(loaded.definition->smallListImageName(), bmpLast ? QStringLiteral("bmp") : QStringLiteral("png"));
    QCOMPARE(loaded.definition->smallListImage(), bmpLast ? QByteArray("bmp") : png);
}

void tst_VersionStorage::codeObjectSavesBeforeCodeIsWritten()
{
    Version version;
    version.definition->setCodeText(CodeHeader + "old");
    CountingCode code(version.definition, CodeHeader + "edited");
    CodeEditorAccess::setCode(version.definition, &code);

    ScratchStorage storage;
    version.definition->save(storage.root());
    QCOMPARE(storage.root()->readStream(QStringLiteral("Code.txt")), CodeHeader + "edited");
    QCOMPARE(code.saves, 1);
    QCOMPARE(code.updates, 0);
}

void tst_VersionStorage::pinsRoundTrip()
{
    Version version;
    BlockPin *input = version.definition->createPin(1);
    input->setFunction(eBlockPinFunctionInput);
    input->setSimpleType(4);
    input->setShortName(QStringLiteral("Stärke"));
    Text inputName(1, QStringLiteral("Größe"));
    inputName.setText(2, QStringLiteral("Size"));
    input->setName(inputName);
    version.definition->createPin(12)->setFunction(eBlockPinFunctionOutput);
    version.definition->createPin(3)->setFunction(eBlockPinFunctionInput);
    version.definition->defaultSkin()->setInputPinOrder({3, 1});
    version.definition->defaultSkin()->setOutputPinOrder({12});

    // Pins and skin are written in Latin-1; the enable pin is never written.
    ScratchStorage storage;
    version.definition->save(storage.root());
    FileStorageView *interface = storage.root()->storage(QStringLiteral("Interface"));
    QCOMPARE(sorted(interface->streamNames()), QStringList({"DefaultSkin", "Pin_1.ini", "Pin_12.ini", "Pin_3.ini"}));
    QCOMPARE(interface->readStream(QStringLiteral("Pin_1.ini")),
             QByteArray(";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nDatatype=4\r\nFunction=1\r\nShortName=St\xE4rke\r\n\r\n"
                        "[Names]\r\n1=Gr\xF6\xDF" "e\r\n2=Size\r\n"));
    QCOMPARE(interface->readStream(QStringLiteral("DefaultSkin")), skinStream("3,1", "12"));

    // Loaded and saved again, the version writes the same tree.
    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    QCOMPARE(loaded.definition->inputPins(), QList<int>({-1, 1, 3}));
    QCOMPARE(loaded.definition->pin(1)->name(), inputName);
    ScratchStorage again;
    loaded.definition->save(again.root());
    QCOMPARE(StorageTreeText::lines(again.root()), StorageTreeText::lines(storage.root()));
}

void tst_VersionStorage::localBlocksNestedTwoLevels()
{
    Version version;
    Block *outer = Block::createUserBlock();
    outer->setShortName(QStringLiteral("OUT"));
    BlockDefinition *outerVersion = outer->createDefinition();
    outerVersion->setDescriptionText("outer");
    outerVersion->createPin(1)->setFunction(eBlockPinFunctionOutput);
    version.definition->localBlockLibrary()->insertBlock(outer);
    Block *inner = Block::createUserBlock();
    inner->setShortName(QStringLiteral("IN"));
    inner->createDefinition()->setDescriptionText("inner 0");
    inner->createDefinition()->setDescriptionText("inner 1");
    outerVersion->localBlockLibrary()->insertBlock(inner);
    const QString outerId = outer->identifier();
    const QString innerId = inner->identifier();

    ScratchStorage storage;
    version.definition->save(storage.root());
    // Local blocks live in the version's own storage, in the layout of a library.
    FileStorageView *blocks = storage.root()->storage(QStringLiteral("Blocks"));
    FileStorageView *innerBlocks = blocks->storage(QStringLiteral("Number_0"))->storage(QStringLiteral("V0"))->storage(QStringLiteral("Blocks"));
    QCOMPARE(blocks->readStream(QStringLiteral("Content.txt")), "Number_0," + outerId.toUtf8() + "\r");
    QCOMPARE(innerBlocks->readStream(QStringLiteral("Content.txt")), "Number_0," + innerId.toUtf8() + "\r");
    QCOMPARE(innerBlocks->storage(QStringLiteral("Number_0"))->storage(QStringLiteral("V1"))->readStream(QStringLiteral("Description")),
             QByteArray("inner 1"));

    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    const Block *loadedOuter = loaded.definition->localBlockLibrary()->block(outerId);
    QVERIFY(loadedOuter->isLocalBlock());
    const Block *loadedInner = loadedOuter->blockDefinition(0)->localBlockLibrary()->block(innerId);
    QVERIFY(loadedInner->isLocalBlock());
    QCOMPARE(loadedInner->shortName(), QStringLiteral("IN"));
    QCOMPARE(loadedInner->versions(), QList<unsigned int>({0, 1}));

    // Saving the loaded version again writes the same tree.
    ScratchStorage again;
    loaded.definition->save(again.root());
    QCOMPARE(StorageTreeText::lines(again.root()), StorageTreeText::lines(storage.root()));
}

void tst_VersionStorage::saveLeavesOtherEntriesUntouched()
{
    ScratchStorage storage;
    StorageTreeText::write(storage.root(),
                           {{"Info.ini", bothHeadersInfo()},
                            {"KsbBinaries/4/General.bin", "ksb"},
                            {"ParameterValues/order.txt", ";type=\"order\" version=\"0\"\r\n"},
                            {"ParameterLevel", "levels"},
                            {"Wizard/Definition.txt", "wizard"},
                            {"Extra", "extra"},
                            {"ExtraStorage/x", "x"},
                            {"Images/IconLarge.gif", "gif"},
                            {"Interface/Pin_9.ini", pinStream(2, 1, "OLD")},
                            {"Interface/Notes.txt", "notes"},
                            {"Description", "old description"}});
    QStringList before = StorageTreeText::lines(storage.root());

    Version version(QStringLiteral("TemplateBlock_1"));
    QVERIFY(version.definition->load(storage.root()));
    QVERIFY(version.definition->isGlobalTemplate());
    version.definition->deletePin(9);
    version.definition->setDescriptionText(QByteArray());
    version.definition->createPin(2)->setFunction(eBlockPinFunctionInput);
    version.definition->save(storage.root());

    // "Info.ini" is rewritten whole and loses the template header and section.
    QCOMPARE(storage.root()->readStream(QStringLiteral("Info.ini")),
             QByteArray(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nMaxUsedSystemBlock=\r\n"
                        "LevelVisible=1\r\nLevelWrite=6\r\n"));

    // Everything else that was there stays, next to what a save into an empty storage writes.
    ScratchStorage fresh;
    version.definition->save(fresh.root());
    before.removeIf([](const QString &line) { return line.startsWith(QLatin1String("stream Info.ini ")); });
    QSet<QString> expected(before.cbegin(), before.cend());
    const QStringList written = StorageTreeText::lines(fresh.root());
    expected.unite(QSet<QString>(written.cbegin(), written.cend()));
    QStringList expectedLines = expected.values();
    expectedLines.sort();
    QCOMPARE(StorageTreeText::lines(storage.root()), expectedLines);
}

// A storage that records, for its own level, which entries are written or opened, in order.
class RecordingView : public CrcFileStorageView
{
public:
    RecordingView()
        : CrcFileStorageView(nullptr)
    {
    }
    void writeStream(const QString &name, const QByteArray &data) override
    {
        record(QStringLiteral("stream ") + name);
        CrcFileStorageView::writeStream(name, data);
    }
    FileStorageView *storage(const QString &name) override
    {
        record(QStringLiteral("storage ") + name);
        return CrcFileStorageView::storage(name);
    }
    QStringList order;

private:
    void record(const QString &entry)
    {
        if (!order.contains(entry))
            order.append(entry);
    }
};

void tst_VersionStorage::saveOrder()
{
    Version version(QStringLiteral("StandardBlock_200001"));
    BlockDefinition *definition = version.definition;
    definition->createPin(1)->setFunction(eBlockPinFunctionInput);
    definition->setLargeListImage(QStringLiteral("png"), "image");
    definition->setDescriptionText("<p>Beschreibung</p>");
    definition->attachParameterGeneralDefinition(1, new SimpleParameterDefinition);
    std::unique_ptr<Block> local(Block::createUserBlock());
    local->createDefinition();
    QVERIFY(definition->cloneLocalBlock(local.get()));

    RecordingView view;
    definition->save(&view);
    QCOMPARE(view.order, (QStringList{QStringLiteral("stream Info.ini"), QStringLiteral("stream Code.txt"),
                                      QStringLiteral("storage Interface"), QStringLiteral("storage Images"),
                                      QStringLiteral("storage Parameter"), QStringLiteral("stream Description"),
                                      QStringLiteral("storage Blocks")}));
}

void tst_VersionStorage::instantiationData()
{
    ScratchStorage storage;
    const QByteArray valueHeader(";type=\"parametervalue\" version=\"0\"\r\n\r\n");
    StorageTreeText::write(
            storage.root(),
            {{"Info.ini", info(QByteArray())},
             {"KsbBinaries/4/General.bin", "g4"},
             {"KsbBinaries/4/Family_2.bin", "f2-4"},
             {"KsbBinaries/7/Family_2.bin", "f2-7"},
             {"KsbBinaries/7/Family_x.bin", "ignored"},
             {"KsbBinaries/x/General.bin", "ignored"},
             {"KsbBinaries/8/Other.bin", "ignored"},
             {"ParameterValues/order.txt", ";type=\"order\" version=\"0\"\r\nB[2].ini\r\n  A.ini  \r\n\r\n;A.ini\r\nC.ini\r\nMissing.ini\r\n"},
             {"ParameterValues/B[2].ini", valueHeader + "[General]\r\nValue=1\r\n\r\n[Family_3]\r\nValue=2\r\n\r\n[Other]\r\nValue=9\r\n"},
             {"ParameterValues/A.ini", valueHeader + "[General]\r\nValue=a\r\n\r\n[Family_x]\r\nValue=x\r\n"},
             {"ParameterValues/C.ini", "[General]\r\nValue=c\r\n"},
             {"ParameterValues/D.ini", valueHeader + "[General]\r\nValue=d\r\n"}});
    Version version;
    QVERIFY(version.definition->load(storage.root()));
    BlockInstantiationData *data = version.definition->instantiationData();

    QList<unsigned int> family2 = data->ksbBinaries(2);
    std::sort(family2.begin(), family2.end());
    QCOMPARE(family2, QList<unsigned int>({4, 7}));
    QCOMPARE(data->ksbBinaries(3), QList<unsigned int>{4});
    QCOMPARE(data->ksbBinary(2, 4), QByteArray("f2-4"));
    QCOMPARE(data->ksbBinary(3, 4), QByteArray("g4"));
    QCOMPARE(data->ksbBinary(3, 7), QByteArray());

    QCOMPARE(data->targetParameter(3), QList<QString>({"B[2]", "A"}));
    QCOMPARE(data->targetParameterPropertyValue(3, QStringLiteral("B[2]"), 109), QStringLiteral("2"));
    QCOMPARE(data->targetParameterPropertyValue(5, QStringLiteral("B[2]"), 109), QStringLiteral("1"));
    QCOMPARE(data->targetParameterPropertyValue(5, QStringLiteral("A"), 109), QStringLiteral("a"));
    QCOMPARE(data->targetParameterPropertyNumbers(3, QStringLiteral("B[2]")), QList<int>{109});
}

void tst_VersionStorage::parameterValueOrder_data()
{
    QTest::addColumn<QByteArray>("order");
    QTest::addColumn<QList<QString>>("parameters");

    QTest::newRow("listed-order") << QByteArray(";type=\"order\" version=\"0\"\r\nB.ini\r\nA.ini\r\n") << QList<QString>{"B", "A"};
    QTest::newRow("line-feeds-only") << QByteArray(";type=\"order\" version=\"0\"\nB.ini\nA.ini") << QList<QString>{"B", "A"};
    QTest::newRow("no-header") << QByteArray("B.ini\r\nA.ini\r\n") << QList<QString>();
    QTest::newRow("version-1") << QByteArray(";type=\"order\" version=\"1\"\r\nB.ini\r\n") << QList<QString>();
    QTest::newRow("other-kind") << QByteArray(";type=\"parametervalue\" version=\"0\"\r\nB.ini\r\n") << QList<QString>();
}

void tst_VersionStorage::parameterValueOrder()
{
    QFETCH(QByteArray, order);
    QFETCH(QList<QString>, parameters);

    const QByteArray value(";type=\"parametervalue\" version=\"0\"\r\n\r\n[General]\r\nValue=v\r\n");
    ScratchStorage storage;
    StorageTreeText::write(storage.root(), {{"Info.ini", info(QByteArray())},
                                            {"ParameterValues/order.txt", order},
                                            {"ParameterValues/A.ini", value},
                                            {"ParameterValues/B.ini", value}});
    Version version;
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(version.definition->instantiationData()->targetParameter(BlockInstantiationData::GeneralFamily), parameters);
}

QTEST_MAIN(tst_VersionStorage)
#include "tst_versionstorage.moc"
