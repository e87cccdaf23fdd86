#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvBlockLibrary/CodeEditorAccess.h>
#include <LxFileSystem/FileStorageView.h>

#include "CodeStandIn.h"
#include "ScratchStorage.h"
#include "StorageTreeText.h"
#include "StoredForm.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

namespace {

using Streams = QList<QPair<QString, QByteArray>>;

const QByteArray VersionHeader(";type=\"blockversion\" version=\"0\"\r\n");
const QByteArray TemplateHeader(";type=\"templateblock\" version=\"0\"\r\n");

QByteArray info(const QByteArray &body)
{
    return VersionHeader + "\r\n[Info]\r\n" + body;
}

QByteArray pinStream(int function, const QByteArray &shortName)
{
    return ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nDatatype=1\r\nFunction=" + QByteArray::number(function)
            + "\r\nShortName=" + shortName + "\r\n";
}

// A new empty version 0 of a new block of that identifier.
struct Version
{
    explicit Version(const QString &identifier = QStringLiteral("StandardBlock_5"))
        : block(Block::createBlock(identifier)), definition(block->createDefinition())
    {
    }
    std::unique_ptr<Block> block;
    BlockDefinition *definition;
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
    void roundTrip();
    void saveLeavesOtherEntriesUntouched();
    void instantiationData();
};

void tst_VersionStorage::infoBytes_data()
{
    QTest::addColumn<uint>("maxUsed");
    QTest::addColumn<uint>("read");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<uint>("reloadedOver9");

    // The line is "MaxUsedSystemBlock=" less its first max-used characters; only the key of
    // the line for 0 is read back, every other number is lost.
    QTest::newRow("max-0") << 0u << 2u << QByteArray("MaxUsedSystemBlock=") << 0u;
    QTest::newRow("max-3") << 3u << 0u << QByteArray("UsedSystemBlock=") << 9u;
    QTest::newRow("max-19") << 19u << 1u << QByteArray() << 9u;
    QTest::newRow("max-40") << 40u << 4294967295u << QByteArray() << 9u;
}

void tst_VersionStorage::infoBytes()
{
    QFETCH(uint, maxUsed);
    QFETCH(uint, read);
    QFETCH(QByteArray, line);

    Version version(QStringLiteral("SystemBlock_1"));
    version.definition->setMaxUsedSystemBlock(maxUsed);
    version.definition->setAccessLevelRead(read);
    version.definition->setAccessLevelWrite(5);
    ScratchStorage storage;
    version.definition->save(storage.root());
    QCOMPARE(storage.root()->readStream(QStringLiteral("Info.ini")),
             info(line + "\r\nLevelVisible=" + QByteArray::number(read) + "\r\nLevelWrite=5\r\n"));

    Version reloaded(QStringLiteral("SystemBlock_1"));
    reloaded.definition->setMaxUsedSystemBlock(9);
    QVERIFY(reloaded.definition->load(storage.root()));
    QTEST(reloaded.definition->maxUsedSystemBlock(), "reloadedOver9");
    QCOMPARE(reloaded.definition->accessLevelRead(), read);
    QCOMPARE(reloaded.definition->accessLevelWrite(), 5u);
}

void tst_VersionStorage::infoKeys_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QByteArray>("infoStream");
    QTest::addColumn<uint>("read");
    QTest::addColumn<uint>("write");
    QTest::addColumn<uint>("maxUsed");
    QTest::addColumn<uint>("membership");

    // Before loading: read 5, write 1, max used system block 9, runtime membership 4.
    auto row = [](const char *tag, const char *identifier, const QByteArray &body, uint read, uint write, uint maxUsed,
                  uint membership) {
        QTest::newRow(tag) << QString::fromLatin1(identifier) << info(body) << read << write << maxUsed << membership;
    };
    const char *system = "SystemBlock_1";
    row("all-keys", system, "MaxUsedSystemBlock=4\r\nLevelVisible=3\r\nLevelWrite=2\r\n", 3, 2, 4, 0);
    // Write level 6 stands for a missing key, but only where an "[Info]" section was read.
    row("level-write-absent-gives-6", system, "LevelVisible=3\r\n", 3, 6, 9, 0);
    QTest::newRow("no-info-section-keeps-levels") << QString::fromLatin1(system)
            << VersionHeader + "\r\n[Other]\r\nLevelVisible=2\r\nTasks=3\r\n" << 5u << 1u << 9u << 4u;
    row("level-visible-absent-unchanged", system, "LevelWrite=0\r\n", 5, 0, 9, 0);
    row("keys-of-other-section", system, "\r\n[Other]\r\nLevelVisible=2\r\nLevelWrite=3\r\nTasks=3\r\n", 5, 6, 9, 0);
    // "Tasks" maps 1 to 0 and 5 to 1, and counts only for system, tool and magic blocks.
    row("tasks-system-1", system, "Tasks=1\r\n", 5, 6, 9, 0);
    row("tasks-system-2", system, "Tasks=2\r\n", 5, 6, 9, 2);
    row("tasks-system-4", system, "Tasks=4\r\n", 5, 6, 9, 4);
    row("tasks-tool-5", "ToolBlock_2", "Tasks=5\r\n", 5, 6, 9, 1);
    row("tasks-magic-3", "MagicBlock_3", "Tasks=3\r\n", 5, 6, 9, 3);
    row("tasks-user-3", "{6f1c1e58-3c1b-4a7e-9d3c-1b2a3c4d5e6f}", "Tasks=3\r\n", 5, 6, 9, 1);
}

void tst_VersionStorage::infoKeys()
{
    QFETCH(QString, identifier);
    QFETCH(QByteArray, infoStream);

    ScratchStorage storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), infoStream);
    Version version(identifier);
    version.definition->setAccessLevelRead(5);
    version.definition->setAccessLevelWrite(1);
    version.definition->setMaxUsedSystemBlock(9);
    version.definition->setRuntimeMembership(eRuntimeMembershipTask4);
    QCOMPARE(version.definition->load(storage.root()), infoStream.contains("[Info]"));
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
    QTest::newRow("template-kind-only") << TemplateHeader + "\r\n[Info]\r\n" << false << false << true;
    QTest::newRow("no-info-section") << VersionHeader + "\r\n[Other]\r\nLevelVisible=1\r\n" << false << true << true;
    QTest::newRow("info-section") << info("LevelWrite=6\r\n") << true << true << true;
}

void tst_VersionStorage::loadResult()
{
    QFETCH(QByteArray, infoStream);
    QFETCH(bool, contentsRead);
    QFETCH(bool, localBlocksRead);

    // A version with something in every entry, saved and then given another "Info.ini".
    Version source;
    source.definition->setAccessLevelWrite(6);
    source.definition->createPin(1)->setFunction(eBlockPinFunctionOutput);
    source.definition->setCodeText(codeStream(0, "code"));
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

    // What is not read stays as in a new version; local blocks are read on their own.
    Version expected;
    expected.definition->setAccessLevelWrite(6);
    if (localBlocksRead) {
        expected.definition->localBlockLibrary()->insertBlock(Block::createBlock(local->identifier()));
        expected.definition->localBlockLibrary()->block(local->identifier())->createDefinition();
    }
    Version loaded;
    loaded.definition->setAccessLevelWrite(6);
    QTEST(loaded.definition->load(storage.root()), "result");
    QCOMPARE(StoredForm::of(loaded.definition), StoredForm::of(contentsRead ? source.definition : expected.definition));
    QCOMPARE(loaded.definition->wizardDefinition(), contentsRead ? QByteArray("wizard") : QByteArray());
    QCOMPARE(loaded.definition->instantiationData()->ksbBinaries(1), contentsRead ? QList<unsigned int>{1} : QList<unsigned int>());
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
    const QByteArray both = VersionHeader + TemplateHeader + "\r\n" + infoSection + "\r\n[Template]\r\n";
    const QByteArray section("\r\n[Template]\r\n");
    QTest::newRow("headers-on-first-lines") << both + "LevelEditOfCopy=4\r\nAvailableFor=Global\r\nParameterGroup=Achsen\r\n"
                                            << true << true << false << 4u << QByteArray("Achsen");
    QTest::newRow("header-before-template-section")
            << info("LevelVisible=1\r\n") + "\r\n" + TemplateHeader + section + "AvailableFor=EXKLUSIV\r\nLevelEditOfCopy=0\r\n"
            << true << false << true << 0u << QByteArray();
    QTest::newRow("exclusive-is-no-value") << both + "AvailableFor=exclusive\r\n" << true << false << false << 7u << QByteArray();
    QTest::newRow("absent-keys-unchanged") << both + "ParameterGroup=Gr\xFC\xDF" "e 1\r\n" << true << true << true << 7u
                                           << QByteArray("Gr\xFC\xDF" "e 1");
    QTest::newRow("no-template-header") << info(QByteArray()) + section + "AvailableFor=global\r\nLevelEditOfCopy=2\r\nParameterGroup=X\r\n"
                                        << true << true << true << 7u << QByteArray();
    QTest::newRow("template-header-only") << TemplateHeader + "\r\n" + infoSection + section + "AvailableFor=global\r\nLevelEditOfCopy=3\r\n"
                                          << false << true << false << 3u << QByteArray();
}

void tst_VersionStorage::templateSection()
{
    QFETCH(QByteArray, infoStream);
    QFETCH(uint, targetLevel);

    ScratchStorage storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), infoStream);
    Version version(QStringLiteral("TemplateBlock_1"));
    version.definition->setGlobalTemplate(true);
    version.definition->setExclusiveTemplate(true);
    version.definition->setTemplateTargetAccessLevelRead(7);
    version.definition->setTemplateTargetAccessLevelWrite(7);
    QTEST(version.definition->load(storage.root()), "result");
    QTEST(version.definition->isGlobalTemplate(), "global");
    QTEST(version.definition->isExclusiveTemplate(), "exclusive");
    QCOMPARE(version.definition->templateTargetAccessLevelRead(), targetLevel);
    QCOMPARE(version.definition->templateTargetAccessLevelWrite(), targetLevel);
    QTEST(version.definition->parameterGroup(), "parameterGroup");
}

// What one aspect of a loaded version reads, as one line of text.
QByteArray readAspect(const BlockDefinition *definition, const QByteArray &name)
{
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
    QByteArray pins;
    for (int number : definition->pins()) {
        const BlockPin *pin = definition->pin(number);
        pins += QByteArray::number(number) + ':' + pin->shortName().toUtf8() + '/' + QByteArray::number(pin->function()) + ' ';
    }
    for (int number : definition->defaultSkin()->inputPinOrder())
        pins += "order " + QByteArray::number(number);
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
    row("code-header-version-3", {{"Code.txt", codeStream(3, "x")}}, "code", codeStream(3, "x") + " v3");
    row("code-no-header", {{"Code.txt", "PROGRAM\r\n"}}, "code", " v0");
    row("code-absent", {}, "code", " v0");
    row("wizard", {{"Wizard/Definition.txt", QByteArray("no header\0bytes", 15)}}, "wizard", QByteArray("no header\0bytes", 15));
    row("wizard-stream-name-case", {{"Wizard/definition.txt", "w"}}, "wizard", "");
    // Before loading the description is "before".
    row("description", {{"Description", "<p>Gr\xC3\xB6\xC3\x9F" "e</p>"}}, "description", "<p>Gr\xC3\xB6\xC3\x9F" "e</p>");
    row("description-absent-unchanged", {}, "description", "before");
    row("description-empty-clears", {{"Description", ""}}, "description", "");
    row("image-suffix-case", {{"Images/IconSmall.Bmp", "s"}, {"Images/IconLarge.pNg", "l"}}, "images", "bmp:s png:l");
    row("image-gif-ignored", {{"Images/IconSmall.gif", "s"}}, "images", ": :");
    row("image-two-suffixes-ignored", {{"Images/IconSmall.x.png", "s"}}, "images", ": :");
    row("image-base-name-case", {{"Images/iconsmall.png", "s"}, {"Images/ICONLARGE.png", "l"}}, "images", ": :");
    row("image-other-base-name", {{"Images/Icon.png", "s"}, {"Images/IconSmall2.png", "s"}}, "images", ": :");

    const QByteArray input = pinStream(1, "IN");
    const QByteArray skin = ";type=\"blockskin\" version=\"0\"\r\n\r\n[Skin]\r\nInputPinOrder=2\r\n";
    const QByteArray pin2 = "-1:enable/1 2:IN/1 ";
    const QByteArray none = "-1:enable/1 ";
    row("pin", {{"Interface/Pin_2.ini", input}}, "pins", pin2);
    row("pin-without-suffix", {{"Interface/Pin_2", input}}, "pins", pin2);
    row("pin-leading-zero", {{"Interface/Pin_02.ini", input}}, "pins", pin2);
    row("enable-pin-ignored", {{"Interface/Pin_-1.ini", pinStream(2, "hacked")}}, "pins", none);
    row("pin-lower-case-ignored", {{"Interface/pin_2.ini", input}}, "pins", none);
    row("pin-two-suffixes-ignored", {{"Interface/Pin_2.ini.bak", input}}, "pins", none);
    row("pin-skin-header", {{"Interface/Pin_2.ini", skin}}, "pins", none);
    row("skin", {{"Interface/Pin_2.ini", input}, {"Interface/DefaultSkin", skin}}, "pins", pin2 + "order 2");
    row("skin-pin-header", {{"Interface/Pin_2.ini", input}, {"Interface/DefaultSkin", input}}, "pins", pin2);
}

void tst_VersionStorage::loadStreams()
{
    QFETCH(Streams, streams);
    QFETCH(QByteArray, aspect);

    ScratchStorage storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(QByteArray()));
    StorageTreeText::write(storage.root(), streams);
    Version version; // a standard block below 200000 has no default icon
    version.definition->setDescriptionText("before");
    QVERIFY(version.definition->load(storage.root()));
    QTEST(readAspect(version.definition, aspect), "expected");
}

void tst_VersionStorage::savedStreams()
{
    // "Code.txt" is written always, "Description" and images only when set.
    Version version;
    QCOMPARE(StoredForm::of(version.definition).filter(QRegularExpression(QStringLiteral("^(?!.*(Info.ini|DefaultSkin))"))),
             QStringList({"storage Blocks", "storage Images", "storage Interface", "storage Parameter", "stream Blocks/Content.txt 0 ",
                          "stream Code.txt 0 "}));

    // Everything is written raw; an open code editor stores the text under edit first.
    version.definition->setCodeText(codeStream(0, "old"));
    CodeStandIn code(version.definition, codeStream(0, "edited"));
    CodeEditorAccess::setCode(version.definition, &code);
    const QByteArray png("\x89PNG\r\n\x1a\n-not-compressed", 23);
    version.definition->setDescriptionText("<p>Gr\xC3\xB6\xC3\x9F" "e</p>");
    version.definition->setSmallListImage(QStringLiteral("png"), png);
    version.definition->setLargeListImage(QStringLiteral("bmp"), "BM-large");
    ScratchStorage storage;
    version.definition->save(storage.root());
    QCOMPARE(code.saves, 1);
    QCOMPARE(code.updates, 0);
    QCOMPARE(storage.root()->readStream(QStringLiteral("Code.txt")), codeStream(0, "edited"));
    QCOMPARE(storage.root()->readStream(QStringLiteral("Description")), QByteArray("<p>Gr\xC3\xB6\xC3\x9F" "e</p>"));
    FileStorageView *images = storage.root()->storage(QStringLiteral("Images"));
    QCOMPARE(images->readStream(QStringLiteral("IconSmall.png")), png);
    QCOMPARE(images->readStream(QStringLiteral("IconLarge.bmp")), QByteArray("BM-large"));

    // When two streams qualify for one image, the one listed last wins.
    images->writeStream(QStringLiteral("IconSmall.bmp"), "bmp");
    const bool bmpLast = images->streamNames().indexOf(QStringLiteral("IconSmall.bmp"))
            > images->streamNames().indexOf(QStringLiteral("IconSmall.png"));
    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    QCOMPARE(loaded.definition->smallListImage(), bmpLast ? QByteArray("bmp") : png);
}

void tst_VersionStorage::roundTrip()
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
    ScratchStorage storage;
    version.definition->save(storage.root());
    // Pins and skin are written in Latin-1; the enable pin is never written.
    FileStorageView *interface = storage.root()->storage(QStringLiteral("Interface"));
    QStringList names = interface->streamNames();
    names.sort();
    QCOMPARE(names, QStringList({"DefaultSkin", "Pin_1.ini", "Pin_12.ini", "Pin_3.ini"}));
    QCOMPARE(interface->readStream(QStringLiteral("Pin_1.ini")),
             QByteArray(";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nDatatype=4\r\nFunction=1\r\nShortName=St\xE4rke\r\n\r\n"
                        "[Names]\r\n1=Gr\xF6\xDF" "e\r\n2=Size\r\n"));
    QCOMPARE(interface->readStream(QStringLiteral("DefaultSkin")),
             QByteArray(";type=\"blockskin\" version=\"0\"\r\n\r\n[Skin]\r\nInputPinOrder=3,1\r\nOutputPinOrder=12\r\n"));
    // Loaded and saved again, the version writes the same tree.
    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    QCOMPARE(StoredForm::of(loaded.definition), StorageTreeText::lines(storage.root()));
}

void tst_VersionStorage::saveLeavesOtherEntriesUntouched()
{
    ScratchStorage storage;
    StorageTreeText::write(storage.root(),
                           {{"Info.ini", VersionHeader + TemplateHeader + "\r\n[Info]\r\nLevelVisible=1\r\nLevelWrite=6\r\n\r\n[Template]\r\nAvailableFor=global\r\n"},
                            {"KsbBinaries/4/General.bin", "ksb"},
                            {"ParameterValues/order.txt", ";type=\"order\" version=\"0\"\r\n"},
                            {"ParameterLevel", "levels"},
                            {"Wizard/Definition.txt", "wizard"},
                            {"ExtraStorage/x", "x"},
                            {"Images/IconLarge.gif", "gif"},
                            {"Interface/Pin_9.ini", pinStream(2, "OLD")},
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
    QCOMPARE(storage.root()->readStream(QStringLiteral("Info.ini")), info("MaxUsedSystemBlock=\r\nLevelVisible=1\r\nLevelWrite=6\r\n"));
    // Everything else that was there stays, next to what a save into an empty storage writes.
    before.removeIf([](const QString &line) { return line.startsWith(QLatin1String("stream Info.ini ")); });
    QSet<QString> expected(before.cbegin(), before.cend());
    const QStringList written = StoredForm::of(version.definition);
    expected.unite(QSet<QString>(written.cbegin(), written.cend()));
    QStringList expectedLines = expected.values();
    expectedLines.sort();
    QCOMPARE(StorageTreeText::lines(storage.root()), expectedLines);
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

    // Binaries are read per number and family, values in the listed order and per family.
    QList<unsigned int> family2 = data->ksbBinaries(2);
    std::sort(family2.begin(), family2.end());
    QCOMPARE(family2, QList<unsigned int>({4, 7}));
    QCOMPARE(data->ksbBinary(3, 4), QByteArray("g4"));
    QCOMPARE(data->targetParameter(3), QList<QString>({"B[2]", "A"}));
    QCOMPARE(data->targetParameterPropertyValue(3, QStringLiteral("B[2]"), 109), QStringLiteral("2"));
    QCOMPARE(data->targetParameterPropertyValue(5, QStringLiteral("B[2]"), 109), QStringLiteral("1"));
    QCOMPARE(data->targetParameterPropertyValue(5, QStringLiteral("A"), 109), QStringLiteral("a"));
}

QTEST_MAIN(tst_VersionStorage)
#include "tst_versionstorage.moc"
