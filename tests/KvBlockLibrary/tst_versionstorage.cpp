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
#include <QtCore/QMap>
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
        : block(Block::createBlock(identifier)), definition(block->createDefinition()) {}
    std::unique_ptr<Block> block;
    BlockDefinition *definition;
};

// What "Info.ini" sets, as one line: levels, max used system block, runtime membership,
// template flags, template target levels and parameter group.
QByteArray settings(const BlockDefinition *d)
{
    return QStringLiteral("r%1 w%2 m%3 t%4 %5%6 l%7/%8 ")
                   .arg(d->accessLevelRead()).arg(d->accessLevelWrite()).arg(d->maxUsedSystemBlock())
                   .arg(uint(d->runtimeMembership())).arg(d->isGlobalTemplate() ? "G" : "-")
                   .arg(d->isExclusiveTemplate() ? "E" : "-").arg(d->templateTargetAccessLevelRead())
                   .arg(d->templateTargetAccessLevelWrite()).toLatin1() + d->parameterGroup();
}

QStringList withoutOwnInfo(QStringList lines)
{
    return lines.filter(QRegularExpression(QStringLiteral("^(?!stream Info.ini )")));
}

} // namespace

class tst_VersionStorage : public QObject
{
    Q_OBJECT

private slots:
    void infoBytes();
    void loadInfo_data();
    void loadInfo();
    void loadStreams_data();
    void loadStreams();
    void savedStreams();
};

void tst_VersionStorage::infoBytes()
{
    // The line is "MaxUsedSystemBlock=" less its first N characters, N being the number.
    const QList<QPair<uint, QByteArray>> lines{{0, "MaxUsedSystemBlock="}, {3, "UsedSystemBlock="}, {19, ""}, {40, ""}};
    for (const auto &[maxUsed, line] : lines) {
        Version version(QStringLiteral("SystemBlock_1"));
        version.definition->setMaxUsedSystemBlock(maxUsed);
        version.definition->setAccessLevelRead(maxUsed + 1);
        version.definition->setAccessLevelWrite(5);
        ScratchStorage storage;
        version.definition->save(storage.root());
        QCOMPARE(storage.root()->readStream(QStringLiteral("Info.ini")),
                 info(line + "\r\nLevelVisible=" + QByteArray::number(maxUsed + 1) + "\r\nLevelWrite=5\r\n"));
    }
}

void tst_VersionStorage::loadInfo_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QByteArray>("infoStream"); // null: no "Info.ini"
    QTest::addColumn<bool>("result");
    QTest::addColumn<QByteArray>("settings");
    // Before loading: "r5 w1 m9 t4 GE l7/7 ", as settings() writes it.
    auto row = [](const char *tag, const char *identifier, const QByteArray &stream, bool result, const QByteArray &settings) {
        QTest::newRow(tag) << QString::fromLatin1(identifier) << stream << result << settings;
    };
    const char *system = "SystemBlock_1";
    row("no-info-stream", system, QByteArray(), false, "r5 w1 m9 t4 GE l7/7 ");
    row("all-keys", system, info("MaxUsedSystemBlock=4\r\nLevelVisible=3\r\nLevelWrite=2\r\n"), true, "r3 w2 m4 t0 GE l7/7 ");
    // Write level 6 stands for a missing key, but only where an "[Info]" section was read.
    row("level-write-absent-gives-6", system, info("LevelVisible=3\r\n"), true, "r3 w6 m9 t0 GE l7/7 ");
    row("no-info-section-keeps-levels", system, VersionHeader + "\r\n[Other]\r\nLevelVisible=2\r\nTasks=3\r\n", false,
        "r5 w1 m9 t4 GE l7/7 ");
    row("level-visible-absent-unchanged", system, info("LevelWrite=0\r\n"), true, "r5 w0 m9 t0 GE l7/7 ");
    row("keys-of-other-section", system, info("\r\n[Other]\r\nLevelVisible=2\r\nLevelWrite=3\r\nTasks=3\r\n"), true,
        "r5 w6 m9 t0 GE l7/7 ");
    // "Tasks" maps 1 to 0 and 5 to 1, and counts only for system, tool and magic blocks.
    row("tasks-system-1", system, info("Tasks=1\r\n"), true, "r5 w6 m9 t0 GE l7/7 ");
    row("tasks-system-2", system, info("Tasks=2\r\n"), true, "r5 w6 m9 t2 GE l7/7 ");
    row("tasks-system-4", system, info("Tasks=4\r\n"), true, "r5 w6 m9 t4 GE l7/7 ");
    row("tasks-tool-5", "ToolBlock_2", info("Tasks=5\r\n"), true, "r5 w6 m9 t1 GE l7/7 ");
    row("tasks-magic-3", "MagicBlock_3", info("Tasks=3\r\n"), true, "r5 w6 m9 t3 GE l7/7 ");
    row("tasks-user-3", "{6f1c1e58-3c1b-4a7e-9d3c-1b2a3c4d5e6f}", info("Tasks=3\r\n"), true, "r5 w6 m9 t1 GE l7/7 ");
    // A version made from a template carries a second type line before its "[Template]".
    const char *templ = "TemplateBlock_1";
    const QByteArray both = VersionHeader + TemplateHeader + "\r\n[Info]\r\nLevelVisible=1\r\n\r\n[Template]\r\n";
    const QByteArray section("\r\n[Template]\r\n");
    row("template-headers-on-first-lines", templ, both + "LevelEditOfCopy=4\r\nAvailableFor=Global\r\nParameterGroup=Achsen\r\n",
        true, "r1 w6 m9 t1 G- l4/4 Achsen");
    row("template-header-before-section", templ,
        info("LevelVisible=1\r\n") + "\r\n" + TemplateHeader + section + "AvailableFor=EXKLUSIV\r\nLevelEditOfCopy=0\r\n", true,
        "r1 w6 m9 t1 -E l0/0 ");
    row("template-exclusive-is-no-value", templ, both + "AvailableFor=exclusive\r\n", true, "r1 w6 m9 t1 -- l7/7 ");
    row("template-absent-keys-unchanged", templ, both + "ParameterGroup=Gr\xFC\xDF" "e 1\r\n", true,
        "r1 w6 m9 t1 GE l7/7 Gr\xFC\xDF" "e 1");
    row("template-section-without-header", templ, info(QByteArray()) + section + "AvailableFor=global\r\nLevelEditOfCopy=2\r\n",
        true, "r5 w6 m9 t1 GE l7/7 ");
    // Only the template header: nothing but the template section and the local blocks is read.
    row("template-header-only", templ, TemplateHeader + "\r\n[Info]\r\nLevelVisible=1\r\n" + section
        + "AvailableFor=global\r\nLevelEditOfCopy=3\r\n", false, "r5 w1 m9 t4 G- l3/3 ");
}

void tst_VersionStorage::loadInfo()
{
    QFETCH(QString, identifier);
    QFETCH(QByteArray, infoStream);
    // A version with something in every entry, saved and then given another "Info.ini".
    Version source(identifier);
    source.definition->createPin(1)->setFunction(eBlockPinFunctionOutput);
    source.definition->setCodeText(codeStream(0, "code"));
    source.definition->setDescriptionText("description");
    source.definition->setSmallListImage(QStringLiteral("png"), "image");
    Block *local = Block::createUserBlock();
    local->createDefinition();
    source.definition->localBlockLibrary()->insertBlock(local);
    ScratchStorage storage;
    source.definition->save(storage.root());
    StorageTreeText::write(storage.root(), {{"Wizard/Definition.txt", "wizard"}, {"KsbBinaries/1/General.bin", "ksb"},
                                            {"Images/IconLarge.gif", "gif"}, {"Interface/Notes.txt", "notes"}, {"Extra/x", "x"}});
    if (infoStream.isNull())
        storage.root()->removeStream(QStringLiteral("Info.ini"));
    else
        storage.root()->writeStream(QStringLiteral("Info.ini"), infoStream);
    Version loaded(identifier), expected(identifier);
    loaded.definition->setAccessLevelRead(5);
    loaded.definition->setAccessLevelWrite(1);
    loaded.definition->setMaxUsedSystemBlock(9);
    loaded.definition->setRuntimeMembership(eRuntimeMembershipTask4);
    loaded.definition->setGlobalTemplate(true);
    loaded.definition->setExclusiveTemplate(true);
    loaded.definition->setTemplateTargetAccessLevelRead(7);
    loaded.definition->setTemplateTargetAccessLevelWrite(7);
    QTEST(loaded.definition->load(storage.root()), "result");
    QTEST(settings(loaded.definition), "settings");
    // The contents are read from a version's own kind of stream only, local blocks always.
    const bool contents = infoStream.startsWith(VersionHeader);
    if (!infoStream.isNull()) {
        expected.definition->localBlockLibrary()->insertBlock(Block::createBlock(local->identifier()));
        expected.definition->localBlockLibrary()->block(local->identifier())->createDefinition();
    }
    QCOMPARE(withoutOwnInfo(StoredForm::of(loaded.definition)),
             withoutOwnInfo(StoredForm::of(contents ? source.definition : expected.definition)));
    QCOMPARE(loaded.definition->wizardDefinition(), contents ? QByteArray("wizard") : QByteArray());
    QCOMPARE(loaded.definition->instantiationData()->ksbBinaries(1), contents ? QList<unsigned int>{1} : QList<unsigned int>());
    // Saved over the storage, the version writes what it writes into an empty one, "Info.ini"
    // whole, and leaves every other entry there, such as the stream of a deleted pin.
    loaded.definition->deletePin(1);
    loaded.definition->setDescriptionText(QByteArray());
    QMap<QString, QString> tree;
    for (const QString &line : withoutOwnInfo(StorageTreeText::lines(storage.root())) + StoredForm::of(loaded.definition))
        tree.insert(line.section(QLatin1Char(' '), 0, 1), line);
    loaded.definition->save(storage.root());
    QCOMPARE(StorageTreeText::lines(storage.root()), tree.values());
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
    BlockInstantiationData *data = definition->instantiationData();
    if (name == "instantiation") {
        // Binaries of family 2 and one binary; target parameters of family 3; three values.
        QList<unsigned int> family2 = data->ksbBinaries(2);
        std::sort(family2.begin(), family2.end());
        QByteArray text;
        for (unsigned int number : family2)
            text += QByteArray::number(number) + ',';
        text += data->ksbBinary(3, 4) + ' ' + data->targetParameter(3).join(QLatin1Char(',')).toLatin1();
        for (auto [family, parameter] : QList<QPair<int, QString>>{{3, "B[2]"}, {5, "B[2]"}, {5, "A"}})
            text += ' ' + data->targetParameterPropertyValue(family, parameter, 109).toLatin1();
        return text;
    }
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
    // Binaries are read per number and family, values in the listed order and per family.
    const QByteArray valueHeader(";type=\"parametervalue\" version=\"0\"\r\n\r\n");
    row("instantiation-data",
        {{"KsbBinaries/4/General.bin", "g4"}, {"KsbBinaries/4/Family_2.bin", "f2-4"}, {"KsbBinaries/7/Family_2.bin", "f2-7"},
         {"KsbBinaries/7/Family_x.bin", "x"}, {"KsbBinaries/x/General.bin", "x"}, {"KsbBinaries/8/Other.bin", "x"},
         {"ParameterValues/order.txt", ";type=\"order\" version=\"0\"\r\nB[2].ini\r\n  A.ini  \r\n\r\n;A.ini\r\nC.ini\r\nMissing.ini\r\n"},
         {"ParameterValues/B[2].ini", valueHeader + "[General]\r\nValue=1\r\n\r\n[Family_3]\r\nValue=2\r\n\r\n[Other]\r\nValue=9\r\n"},
         {"ParameterValues/A.ini", valueHeader + "[General]\r\nValue=a\r\n\r\n[Family_x]\r\nValue=x\r\n"},
         {"ParameterValues/C.ini", "[General]\r\nValue=c\r\n"},
         {"ParameterValues/D.ini", valueHeader + "[General]\r\nValue=d\r\n"}},
        "instantiation", "4,7,g4 B[2],A 2 1 a");
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
    // Everything is written raw, pins and skin in Latin-1; an open code editor stores the
    // text under edit first. The enable pin is never written.
    version.definition->setCodeText(codeStream(0, "old"));
    CodeStandIn code(version.definition, codeStream(0, "edited"));
    CodeEditorAccess::setCode(version.definition, &code);
    const QByteArray png("\x89PNG\r\n\x1a\n-not-compressed", 23);
    version.definition->setDescriptionText("<p>Gr\xC3\xB6\xC3\x9F" "e</p>");
    version.definition->setSmallListImage(QStringLiteral("png"), png);
    version.definition->setLargeListImage(QStringLiteral("bmp"), "BM-large");
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
    QCOMPARE(code.saves, 1);
    QCOMPARE(code.updates, 0);
    FileStorageView *interface = storage.root()->storage(QStringLiteral("Interface"));
    FileStorageView *images = storage.root()->storage(QStringLiteral("Images"));
    const QList<QPair<FileStorageView *, Streams>> expected{
            {storage.root(), {{"Code.txt", codeStream(0, "edited")}, {"Description", "<p>Gr\xC3\xB6\xC3\x9F" "e</p>"}}},
            {images, {{"IconSmall.png", png}, {"IconLarge.bmp", "BM-large"}}},
            {interface, {{"Pin_1.ini", ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nDatatype=4\r\nFunction=1\r\nShortName=St\xE4rke\r\n\r\n"
                                       "[Names]\r\n1=Gr\xF6\xDF" "e\r\n2=Size\r\n"},
                         {"DefaultSkin", ";type=\"blockskin\" version=\"0\"\r\n\r\n[Skin]\r\nInputPinOrder=3,1\r\nOutputPinOrder=12\r\n"}}}};
    for (const auto &[view, streams] : expected) {
        for (const auto &[name, bytes] : streams)
            QCOMPARE(view->readStream(name), bytes);
    }
    QStringList names = interface->streamNames();
    names.sort();
    QCOMPARE(names, QStringList({"DefaultSkin", "Pin_1.ini", "Pin_12.ini", "Pin_3.ini"}));
    // Loaded and saved again, the version writes the same tree.
    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    QCOMPARE(StoredForm::of(loaded.definition), StorageTreeText::lines(storage.root()));
}

QTEST_MAIN(tst_VersionStorage)
#include "tst_versionstorage.moc"
