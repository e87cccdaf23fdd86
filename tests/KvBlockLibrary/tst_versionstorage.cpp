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
#include <LxFileSystem/FileView.h>

#include "StorageTreeText.h"

#include <QtCore/QSet>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

namespace {

using Streams = QList<QPair<QString, QByteArray>>;

// An in-memory storage file; the root view lives as long as the object.
class Scratch
{
public:
    Scratch()
    {
        m_file.create(QString());
        m_root.reset(m_file.createRootView());
    }
    ~Scratch()
    {
        m_root.reset();
        m_file.close();
    }
    FileStorageView *root() const { return m_root.get(); }

private:
    FileView m_file;
    std::unique_ptr<FileStorageView> m_root;
};

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

// The stream at a slash-separated path; null when a storage or the stream is missing.
QByteArray streamAt(FileStorageView *root, const QString &path)
{
    QStringList parts = path.split(QLatin1Char('/'));
    const QString name = parts.takeLast();
    FileStorageView *view = root;
    for (const QString &part : std::as_const(parts)) {
        if (!view->storageNames().contains(part))
            return QByteArray();
        view = view->storage(part);
    }
    return view->streamNames().contains(name) ? view->readStream(name) : QByteArray();
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
    void tasks_data();
    void tasks();
    void templateSection_data();
    void templateSection();

    void codeText_data();
    void codeText();
    void codeObjectSavesBeforeCodeIsWritten();

    void pinsRoundTrip();
    void interfaceStreams_data();
    void interfaceStreams();

    void imagesRead_data();
    void imagesRead();
    void imagesWritten();
    void wizard_data();
    void wizard();
    void description_data();
    void description();

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

    QTest::newRow("max-0") << 0u << 2u << 5u
                           << QByteArray(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nMaxUsedSystemBlock=\r\n"
                                         "LevelVisible=2\r\nLevelWrite=5\r\n")
                           << 0u;
    QTest::newRow("max-3") << 3u << 0u << 0u
                           << QByteArray(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nUsedSystemBlock=\r\n"
                                         "LevelVisible=0\r\nLevelWrite=0\r\n")
                           << 9u;
    QTest::newRow("max-7") << 7u << 7u << 6u
                           << QByteArray(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nSystemBlock=\r\n"
                                         "LevelVisible=7\r\nLevelWrite=6\r\n")
                           << 9u;
    QTest::newRow("max-19") << 19u << 1u << 1u
                            << QByteArray(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n\r\n"
                                          "LevelVisible=1\r\nLevelWrite=1\r\n")
                            << 9u;
    QTest::newRow("max-23") << 23u << 1u << 1u
                            << QByteArray(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n\r\n"
                                          "LevelVisible=1\r\nLevelWrite=1\r\n")
                            << 9u;
    QTest::newRow("max-40") << 40u << 4294967295u << 0u
                            << QByteArray(";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n\r\n"
                                          "LevelVisible=4294967295\r\nLevelWrite=0\r\n")
                            << 9u;
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
    Scratch storage;
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
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<uint>("read");
    QTest::addColumn<uint>("write");
    QTest::addColumn<uint>("maxUsed");

    // Before loading: read 5, write 1, max used system block 9.
    QTest::newRow("all-keys") << QByteArray("MaxUsedSystemBlock=4\r\nLevelVisible=3\r\nLevelWrite=2\r\n") << 3u << 2u << 4u;
    QTest::newRow("level-write-absent-gives-6") << QByteArray("LevelVisible=3\r\n") << 3u << 6u << 9u;
    QTest::newRow("level-visible-absent-unchanged") << QByteArray("LevelWrite=0\r\n") << 5u << 0u << 9u;
    QTest::newRow("no-keys") << QByteArray() << 5u << 6u << 9u;
    QTest::newRow("not-numbers-count-0") << QByteArray("MaxUsedSystemBlock=x\r\nLevelVisible=-1\r\nLevelWrite=2a\r\n")
                                         << 0u << 0u << 0u;
    QTest::newRow("empty-values-count-0") << QByteArray("MaxUsedSystemBlock=\r\nLevelVisible=\r\nLevelWrite=\r\n")
                                          << 0u << 0u << 0u;
    QTest::newRow("unknown-keys-ignored") << QByteArray("Foo=1\r\nLevelVisible=2\r\nTasks=3\r\n") << 2u << 6u << 9u;
    QTest::newRow("keys-of-other-section") << QByteArray("\r\n[Other]\r\nLevelVisible=2\r\nLevelWrite=3\r\n") << 5u << 6u << 9u;
    QTest::newRow("key-case-matters") << QByteArray("levelvisible=2\r\nLEVELWRITE=3\r\n") << 5u << 6u << 9u;
}

void tst_VersionStorage::infoKeys()
{
    QFETCH(QByteArray, body);
    QFETCH(uint, read);
    QFETCH(uint, write);
    QFETCH(uint, maxUsed);

    Scratch storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(body));
    Version version;
    version.definition->setAccessLevelRead(5);
    version.definition->setAccessLevelWrite(1);
    version.definition->setMaxUsedSystemBlock(9);
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(version.definition->accessLevelRead(), read);
    QCOMPARE(version.definition->accessLevelWrite(), write);
    QCOMPARE(version.definition->maxUsedSystemBlock(), maxUsed);
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
    Scratch storage;
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

void tst_VersionStorage::tasks_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QByteArray>("tasks"); // null: no key
    QTest::addColumn<uint>("membership");

    QTest::newRow("system-1") << "SystemBlock_1" << QByteArray("1") << 0u;
    QTest::newRow("system-2") << "SystemBlock_1" << QByteArray("2") << 2u;
    QTest::newRow("system-3") << "SystemBlock_1" << QByteArray("3") << 3u;
    QTest::newRow("system-4") << "SystemBlock_1" << QByteArray("4") << 4u;
    QTest::newRow("system-5") << "SystemBlock_1" << QByteArray("5") << 1u;
    QTest::newRow("system-6") << "SystemBlock_1" << QByteArray("6") << 0u;
    QTest::newRow("system-0") << "SystemBlock_1" << QByteArray("0") << 0u;
    QTest::newRow("system-not-a-number") << "SystemBlock_1" << QByteArray("3x") << 0u;
    QTest::newRow("system-absent") << "SystemBlock_1" << QByteArray() << 0u;
    QTest::newRow("tool-5") << "ToolBlock_2" << QByteArray("5") << 1u;
    QTest::newRow("tool-absent") << "ToolBlock_2" << QByteArray() << 0u;
    QTest::newRow("magic-3") << "MagicBlock_3" << QByteArray("3") << 3u;
    QTest::newRow("user-3") << "{6f1c1e58-3c1b-4a7e-9d3c-1b2a3c4d5e6f}" << QByteArray("3") << 1u;
    QTest::newRow("user-absent") << "{6f1c1e58-3c1b-4a7e-9d3c-1b2a3c4d5e6f}" << QByteArray() << 1u;
    QTest::newRow("standard-2") << "StandardBlock_1" << QByteArray("2") << 1u;
    QTest::newRow("template-4") << "TemplateBlock_1" << QByteArray("4") << 1u;
    QTest::newRow("root-3") << "RootBlock" << QByteArray("3") << 1u;
}

void tst_VersionStorage::tasks()
{
    QFETCH(QString, identifier);
    QFETCH(QByteArray, tasks);
    QFETCH(uint, membership);

    Scratch storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(tasks.isNull() ? QByteArray() : "Tasks=" + tasks + "\r\n"));
    Version version(identifier);
    version.definition->setRuntimeMembership(eRuntimeMembershipTask4);
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(uint(version.definition->runtimeMembership()), membership);
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

    Scratch storage;
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

void tst_VersionStorage::codeText_data()
{
    QTest::addColumn<QByteArray>("stored"); // null: no "Code.txt"
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<uint>("codeVersion");

    QTest::newRow("with-header") << CodeHeader + "PROGRAM\r\nEND\r\n" << CodeHeader + "PROGRAM\r\nEND\r\n" << 0u;
    QTest::newRow("header-version-3") << QByteArray(";type=\"code\" version=\"3\"\r\nx") << QByteArray(";type=\"code\" version=\"3\"\r\nx")
                                      << 3u;
    QTest::newRow("no-header") << QByteArray("PROGRAM\r\n") << QByteArray() << 0u;
    QTest::newRow("other-kind") << QByteArray(";type=\"pin\" version=\"0\"\r\n") << QByteArray() << 0u;
    QTest::newRow("empty") << QByteArray("") << QByteArray() << 0u;
    QTest::newRow("absent") << QByteArray() << QByteArray() << 0u;
}

void tst_VersionStorage::codeText()
{
    QFETCH(QByteArray, stored);
    QFETCH(QByteArray, expected);
    QFETCH(uint, codeVersion);

    Scratch storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(QByteArray()));
    if (!stored.isNull())
        storage.root()->writeStream(QStringLiteral("Code.txt"), stored);
    Version version;
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(version.definition->codeText(), expected);
    QCOMPARE(version.definition->codeTextVersion(), codeVersion);

    // The stream is written on every save, uncompressed, also when it is empty.
    Scratch saved;
    version.definition->save(saved.root());
    QVERIFY(saved.root()->streamNames().contains(QStringLiteral("Code.txt")));
    QCOMPARE(saved.root()->readStream(QStringLiteral("Code.txt")), expected);
}

void tst_VersionStorage::codeObjectSavesBeforeCodeIsWritten()
{
    Version version;
    version.definition->setCodeText(CodeHeader + "old");
    CountingCode code(version.definition, CodeHeader + "edited");
    CodeEditorAccess::setCode(version.definition, &code);

    Scratch storage;
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
    BlockPin *output = version.definition->createPin(12);
    output->setFunction(eBlockPinFunctionOutput);
    output->setSimpleType(1);
    output->setShortName(QStringLiteral("Q"));
    BlockPin *third = version.definition->createPin(3);
    third->setFunction(eBlockPinFunctionInput);
    version.definition->defaultSkin()->setInputPinOrder({3, 1});
    version.definition->defaultSkin()->setOutputPinOrder({12});

    Scratch storage;
    version.definition->save(storage.root());
    FileStorageView *interface = storage.root()->storage(QStringLiteral("Interface"));
    QCOMPARE(sorted(interface->streamNames()),
             QStringList({"DefaultSkin", "Pin_1.ini", "Pin_12.ini", "Pin_3.ini"}));
    QCOMPARE(interface->readStream(QStringLiteral("Pin_1.ini")).left(27), QByteArray(";type=\"pin\" version=\"0\"\r\n\r\n"));

    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    QCOMPARE(loaded.definition->pins(), QList<int>({-1, 1, 3, 12}));
    QCOMPARE(loaded.definition->inputPins(), QList<int>({-1, 1, 3}));
    QCOMPARE(loaded.definition->outputPins(), QList<int>{12});
    const BlockPin *pin = loaded.definition->pin(1);
    QCOMPARE(int(pin->datatype()), 4);
    QCOMPARE(pin->shortName(), QStringLiteral("Stärke"));
    QCOMPARE(pin->name(), inputName);
    QCOMPARE(int(loaded.definition->pin(12)->datatype()), 1);
    QCOMPARE(loaded.definition->pin(12)->shortName(), QStringLiteral("Q"));
    QCOMPARE(loaded.definition->defaultSkin()->inputPinOrder(), QList<int>({3, 1}));
    QCOMPARE(loaded.definition->defaultSkin()->outputPinOrder(), QList<int>{12});
    // The enable pin is the definition's own, never read from the file.
    QCOMPARE(loaded.definition->pin(-1)->shortName(), QStringLiteral("enable"));
}

void tst_VersionStorage::interfaceStreams_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QList<int>>("pins");
    QTest::addColumn<QList<int>>("inputOrder");

    const QByteArray input = pinStream(1, 1, "IN");
    const QByteArray skin = skinStream("2", "");
    QTest::newRow("pin") << Streams{{"Pin_2.ini", input}} << QList<int>{-1, 2} << QList<int>();
    QTest::newRow("pin-without-suffix") << Streams{{"Pin_2", input}} << QList<int>{-1, 2} << QList<int>();
    QTest::newRow("pin-other-suffix") << Streams{{"Pin_2.txt", input}} << QList<int>{-1, 2} << QList<int>();
    QTest::newRow("pin-leading-zero") << Streams{{"Pin_02.ini", input}} << QList<int>{-1, 2} << QList<int>();
    QTest::newRow("enable-pin-ignored") << Streams{{"Pin_-1.ini", pinStream(2, 4, "hacked")}} << QList<int>{-1}
                                        << QList<int>();
    QTest::newRow("lower-case-ignored") << Streams{{"pin_2.ini", input}} << QList<int>{-1} << QList<int>();
    QTest::newRow("not-a-number-ignored") << Streams{{"Pin_x.ini", input}} << QList<int>{-1} << QList<int>();
    QTest::newRow("two-suffixes-ignored") << Streams{{"Pin_2.ini.bak", input}} << QList<int>{-1} << QList<int>();
    QTest::newRow("skin-header-on-pin") << Streams{{"Pin_2.ini", skin}} << QList<int>{-1} << QList<int>();
    QTest::newRow("pin-version-1") << Streams{{"Pin_2.ini", QByteArray(input).replace("version=\"0\"", "version=\"1\"")}}
                                   << QList<int>{-1} << QList<int>();
    QTest::newRow("pin-without-header") << Streams{{"Pin_2.ini", input.mid(input.indexOf("[Pin]"))}} << QList<int>{-1}
                                        << QList<int>();
    QTest::newRow("skin") << Streams{{"Pin_2.ini", input}, {"DefaultSkin", skin}} << QList<int>{-1, 2} << QList<int>{2};
    QTest::newRow("skin-pin-header") << Streams{{"Pin_2.ini", input}, {"DefaultSkin", input}} << QList<int>{-1, 2}
                                     << QList<int>();
    QTest::newRow("skin-version-1") << Streams{{"DefaultSkin", QByteArray(skin).replace("version=\"0\"", "version=\"1\"")}}
                                    << QList<int>{-1} << QList<int>();
    QTest::newRow("skin-name-case") << Streams{{"defaultskin", skin}} << QList<int>{-1} << QList<int>();
}

void tst_VersionStorage::interfaceStreams()
{
    QFETCH(Streams, streams);
    QFETCH(QList<int>, pins);
    QFETCH(QList<int>, inputOrder);

    Scratch storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(QByteArray()));
    for (const auto &[name, data] : std::as_const(streams))
        storage.root()->storage(QStringLiteral("Interface"))->writeStream(name, data);
    Version version;
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(version.definition->pins(), pins);
    QCOMPARE(version.definition->defaultSkin()->inputPinOrder(), inputOrder);
    QCOMPARE(version.definition->pin(-1)->shortName(), QStringLiteral("enable"));
    QCOMPARE(version.definition->pin(-1)->function(), eBlockPinFunctionInput);
    if (pins.contains(2)) {
        QCOMPARE(version.definition->pin(2)->shortName(), QStringLiteral("IN"));
        QCOMPARE(version.definition->pin(2)->function(), eBlockPinFunctionInput);
    }
}

void tst_VersionStorage::imagesRead_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QString>("smallName");
    QTest::addColumn<QByteArray>("small");
    QTest::addColumn<QString>("largeName");
    QTest::addColumn<QByteArray>("large");

    QTest::newRow("small-png-upper-case") << Streams{{"IconSmall.PNG", "s"}} << "png" << QByteArray("s") << "" << QByteArray();
    QTest::newRow("large-bmp") << Streams{{"IconLarge.bmp", "l"}} << "" << QByteArray() << "bmp" << QByteArray("l");
    QTest::newRow("both") << Streams{{"IconSmall.Bmp", "s"}, {"IconLarge.pNg", "l"}} << "bmp" << QByteArray("s") << "png"
                          << QByteArray("l");
    QTest::newRow("gif-ignored") << Streams{{"IconSmall.gif", "s"}} << "" << QByteArray() << "" << QByteArray();
    QTest::newRow("no-suffix-ignored") << Streams{{"IconSmall", "s"}} << "" << QByteArray() << "" << QByteArray();
    QTest::newRow("two-suffixes-ignored") << Streams{{"IconSmall.x.png", "s"}} << "" << QByteArray() << "" << QByteArray();
    QTest::newRow("base-name-case") << Streams{{"iconsmall.png", "s"}, {"ICONLARGE.png", "l"}} << "" << QByteArray() << ""
                                    << QByteArray();
    QTest::newRow("other-base-name") << Streams{{"Icon.png", "s"}, {"IconSmall2.png", "s"}} << "" << QByteArray() << ""
                                     << QByteArray();
}

void tst_VersionStorage::imagesRead()
{
    QFETCH(Streams, streams);
    QFETCH(QString, smallName);
    QFETCH(QByteArray, small);
    QFETCH(QString, largeName);
    QFETCH(QByteArray, large);

    Scratch storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(QByteArray()));
    for (const auto &[name, data] : std::as_const(streams))
        storage.root()->storage(QStringLiteral("Images"))->writeStream(name, data);
    Version version; // a standard block below 200000 has no default icon
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(version.definition->smallListImageName(), smallName);
    QCOMPARE(version.definition->smallListImage(), small);
    QCOMPARE(version.definition->largeListImageName(), largeName);
    QCOMPARE(version.definition->largeListImage(), large);
}

void tst_VersionStorage::imagesWritten()
{
    Version version;
    Scratch empty;
    version.definition->save(empty.root());
    QVERIFY(empty.root()->storage(QStringLiteral("Images"))->streamNames().isEmpty());

    const QByteArray png("\x89PNG\r\n\x1a\n-not-compressed", 23);
    version.definition->setSmallListImage(QStringLiteral("png"), png);
    version.definition->setLargeListImage(QStringLiteral("bmp"), "BM-large");
    Scratch storage;
    version.definition->save(storage.root());
    FileStorageView *images = storage.root()->storage(QStringLiteral("Images"));
    QCOMPARE(sorted(images->streamNames()), QStringList({"IconLarge.bmp", "IconSmall.png"}));
    QCOMPARE(images->readStream(QStringLiteral("IconSmall.png")), png);
    QCOMPARE(images->readStream(QStringLiteral("IconLarge.bmp")), QByteArray("BM-large"));

    // When two streams qualify for one image, the one listed last wins.
    images->writeStream(QStringLiteral("IconSmall.bmp"), "bmp");
    const QString last = images->streamNames().indexOf(QStringLiteral("IconSmall.bmp"))
                    > images->streamNames().indexOf(QStringLiteral("IconSmall.png"))
            ? QStringLiteral("bmp")
            : QStringLiteral("png");
    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    QCOMPARE(loaded.definition->smallListImageName(), last);
    QCOMPARE(loaded.definition->smallListImage(), last == QLatin1String("bmp") ? QByteArray("bmp") : png);
}

void tst_VersionStorage::wizard_data()
{
    QTest::addColumn<Streams>("streams");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("definition") << Streams{{"Wizard/Definition.txt", QByteArray("no header\0bytes", 15)}}
                                << QByteArray("no header\0bytes", 15);
    QTest::newRow("empty-definition") << Streams{{"Wizard/Definition.txt", ""}} << QByteArray();
    QTest::newRow("stream-name-case") << Streams{{"Wizard/definition.txt", "w"}} << QByteArray();
    QTest::newRow("storage-name-case") << Streams{{"wizard/Definition.txt", "w"}} << QByteArray();
    QTest::newRow("stream-not-storage") << Streams{{"Wizard", "w"}} << QByteArray();
}

void tst_VersionStorage::wizard()
{
    QFETCH(Streams, streams);
    QFETCH(QByteArray, expected);

    Scratch storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(QByteArray()));
    StorageTreeText::write(storage.root(), streams);
    Version version(QStringLiteral("TemplateBlock_1"));
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(version.definition->wizardDefinition(), expected);
}

void tst_VersionStorage::description_data()
{
    QTest::addColumn<QByteArray>("stored"); // null: no "Description"
    QTest::addColumn<QByteArray>("expected");

    // Before loading the description is "before".
    QTest::newRow("present") << QByteArray("<p>Gr\xC3\xB6\xC3\x9F" "e</p>") << QByteArray("<p>Gr\xC3\xB6\xC3\x9F" "e</p>");
    QTest::newRow("absent-unchanged") << QByteArray() << QByteArray("before");
    QTest::newRow("empty-stream-clears") << QByteArray("") << QByteArray();
}

void tst_VersionStorage::description()
{
    QFETCH(QByteArray, stored);
    QFETCH(QByteArray, expected);

    Scratch storage;
    storage.root()->writeStream(QStringLiteral("Info.ini"), info(QByteArray()));
    if (!stored.isNull())
        storage.root()->writeStream(QStringLiteral("Description"), stored);
    Version version;
    version.definition->setDescriptionText("before");
    QVERIFY(version.definition->load(storage.root()));
    QCOMPARE(version.definition->descriptionText(), expected);

    // Written raw, and only when there is one.
    Scratch saved;
    version.definition->save(saved.root());
    QCOMPARE(saved.root()->streamNames().contains(QStringLiteral("Description")), !expected.isEmpty());
    QCOMPARE(saved.root()->readStream(QStringLiteral("Description")), expected);
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

    Scratch storage;
    version.definition->save(storage.root());
    // Local blocks live in the version's own storage, in the layout of a library.
    QCOMPARE(streamAt(storage.root(), "Blocks/Content.txt"), "Number_0," + outerId.toUtf8() + "\r");
    QCOMPARE(streamAt(storage.root(), "Blocks/Number_0/V0/Blocks/Content.txt"), "Number_0," + innerId.toUtf8() + "\r");
    QCOMPARE(streamAt(storage.root(), "Blocks/Number_0/V0/Blocks/Number_0/V1/Description"), QByteArray("inner 1"));

    Version loaded;
    QVERIFY(loaded.definition->load(storage.root()));
    BlockLibrary *outerLibrary = loaded.definition->localBlockLibrary();
    QCOMPARE(outerLibrary->blockIdentifiers(), QList<QString>{outerId});
    const Block *loadedOuter = outerLibrary->block(outerId);
    QVERIFY(loadedOuter->isLocalBlock());
    QCOMPARE(loadedOuter->shortName(), QStringLiteral("OUT"));
    QCOMPARE(loadedOuter->versions(), QList<unsigned int>{0});
    const BlockDefinition *loadedOuterVersion = loadedOuter->blockDefinition(0);
    QCOMPARE(loadedOuterVersion->descriptionText(), QByteArray("outer"));
    QCOMPARE(loadedOuterVersion->pins(), QList<int>({-1, 1}));

    BlockLibrary *innerLibrary = loadedOuterVersion->localBlockLibrary();
    QCOMPARE(innerLibrary->blockIdentifiers(), QList<QString>{innerId});
    const Block *loadedInner = innerLibrary->block(innerId);
    QVERIFY(loadedInner->isLocalBlock());
    QCOMPARE(loadedInner->shortName(), QStringLiteral("IN"));
    QCOMPARE(loadedInner->versions(), QList<unsigned int>({0, 1}));
    QCOMPARE(loadedInner->blockDefinition(1)->descriptionText(), QByteArray("inner 1"));
    QVERIFY(loadedInner->blockDefinition(0)->localBlockLibrary()->blockIdentifiers().isEmpty());

    // Saving the loaded version again writes the same tree.
    Scratch again;
    loaded.definition->save(again.root());
    QCOMPARE(StorageTreeText::lines(again.root()), StorageTreeText::lines(storage.root()));
}

void tst_VersionStorage::saveLeavesOtherEntriesUntouched()
{
    Scratch storage;
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
    Scratch fresh;
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
    Scratch storage;
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
    QTest::newRow("reversed") << QByteArray(";type=\"order\" version=\"0\"\r\nA.ini\r\nB.ini\r\n") << QList<QString>{"A", "B"};
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
    Scratch storage;
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
