#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvBlockLibrary/CodeEditorAccess.h>
#include <KvCodeEditor/BlockCode.h>
#include <KvCodeEditor/LibraryBlockDefinitionSubWindow.h>
#include <KvSystem/System.h>

#include "ScratchStorage.h"
#include "StorageTreeText.h"

#include <QtCore/QFile>
#include <QtCore/QPointer>
#include <QtCore/QUuid>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace {

const QString UserId = QStringLiteral("{11111111-2222-3333-4444-555555555555}");
const QString ParameterIcon = QStringLiteral(":/Resources/DefaultParameterDefinitionBlockIconSmall.png");
const QString LocalIcon = QStringLiteral(":/Resources/DefaultLocalBlockIconSmall.png");
const QString UserIcon = QStringLiteral(":/Resources/DefaultUserBlockIconSmall.png");

// A container whose read-only flag the test sets; the base class leaves only this open.
class TestContainer : public BlockLibraryContainer
{
public:
    bool isLocalContainer() const override { return false; }
};

// A code object that records the calls a definition makes on it. On save() it writes
// pendingText into its definition, as the code editor does with the text under edit.
class RecordingCode : public BlockCode
{
public:
    void save() override
    {
        ++saves;
        if (definition && !pendingText.isEmpty())
            definition->setCodeText(pendingText);
    }
    void updateDefinitionCodeTextForCompareCrc() override {}

    BlockDefinition *definition = nullptr;
    QByteArray pendingText;
    int saves = 0;
};

QByteArray resource(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray codeStream(unsigned int version, const QByteArray &body)
{
    return ";type=\"code\" version=\"" + QByteArray::number(version) + "\"\r\n" + body;
}

// Where a block under test lives; its kind of home decides the writability rules.
enum class Home {
    Alone,             // no library
    WritableLibrary,   // a container that may be edited
    ReadOnlyLibrary,   // a container set read-only
    LocalOfUser,       // the local library of a user block's version (writable)
    LocalOfStandard,   // the local library of a standard block's version (never writable)
};

// Builds the block `identifier` ("user" for a fresh user identifier) in its home and keeps
// everything alive; the block itself is reachable through block.
struct Placement
{
    Placement(const QString &identifier, Home home)
    {
        const QString id = identifier == QLatin1String("user") ? UserId : identifier;
        std::unique_ptr<Block> made(Block::createBlock(id));
        block = made.get();
        switch (home) {
        case Home::Alone:
            alone = std::move(made);
            break;
        case Home::WritableLibrary:
        case Home::ReadOnlyLibrary:
            container = std::make_unique<TestContainer>();
            container->setReadOnly(home == Home::ReadOnlyLibrary);
            container->library()->insertBlock(made.release());
            break;
        case Home::LocalOfUser:
        case Home::LocalOfStandard:
            outer.reset(home == Home::LocalOfUser ? Block::createUserBlock()
                                                  : Block::createBlock(QStringLiteral("StandardBlock_5")));
            outer->createDefinition()->localBlockLibrary()->insertBlock(made.release());
            break;
        }
    }

    Block *block = nullptr;
    std::unique_ptr<Block> alone;
    std::unique_ptr<TestContainer> container;
    std::unique_ptr<Block> outer;
};

// Loads a version storage that carries only levels and a wizard definition.
bool loadWizard(BlockDefinition *definition, const QByteArray &wizard)
{
    ScratchStorage storage;
    if (!storage.isValid())
        return false;
    storage.root()->writeStream(QStringLiteral("Info.ini"),
                                ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nLevelVisible=0\r\nLevelWrite=0\r\n");
    storage.root()->storage(QStringLiteral("Wizard"))->writeStream(QStringLiteral("Definition.txt"), wizard);
    return definition->load(storage.root());
}

using Edit = std::function<void(BlockDefinition *)>;

} // namespace

Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(Home)

class tst_Definition : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void newDefinitionPins();
    void emissions_data();
    void emissions();
    void pinListsByFunction();

    void predicates_data();
    void predicates();

    void codeText_data();
    void codeText();
    void defaultSmallImage_data();
    void defaultSmallImage();
    void toolTipText_data();
    void toolTipText();

    void editorObjectsAreWeak();

    void cloneFromCopiesContent();
    void cloneFromTemplateLevels_data();
    void cloneFromTemplateLevels();
    void cloneFromLocalBlocks_data();
    void cloneFromLocalBlocks();
    void clearKeepsFieldsAndInstances();
};

void tst_Definition::cleanup()
{
    System::instance()->setCurrentAccessLevel(7);
}

void tst_Definition::newDefinitionPins()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition(4);
    QCOMPARE(definition->runtimeMembership(), eRuntimeMembership(1));
    QVERIFY(definition->localBlockLibrary()->container()->isLocalContainer());
    QCOMPARE(definition->pins(), QList<int>{-1});
    QCOMPARE(definition->inputPins(), QList<int>{-1});
    QVERIFY(definition->outputPins().isEmpty());
    QCOMPARE(definition->defaultSkin()->pins(), QList<int>{-1});
    const BlockPin *enable = definition->pin(-1);
    QCOMPARE(enable->shortName(), QStringLiteral("enable"));
    QCOMPARE(enable->function(), eBlockPinFunctionInput);
    QCOMPARE(int(enable->datatype()), 1);

    std::unique_ptr<Block> tool(Block::createBlock(QStringLiteral("ToolBlock_3")));
    QVERIFY(tool->createDefinition()->pins().isEmpty());
}

void tst_Definition::emissions_data()
{
    QTest::addColumn<Edit>("edit");
    QTest::addColumn<int>("changed");
    QTest::addColumn<int>("pinsModified");
    QTest::addColumn<int>("redraw");

    auto row = [](const char *name, Edit edit, int changed, int pins, int redraw) {
        QTest::newRow(name) << edit << changed << pins << redraw;
    };
    row("access-level-read", [](BlockDefinition *d) { d->setAccessLevelRead(5); }, 0, 0, 0);
    row("access-level-write", [](BlockDefinition *d) { d->setAccessLevelWrite(5); }, 0, 0, 0);
    row("show-modified", [](BlockDefinition *d) { d->setShowModified(true); }, 0, 0, 1);
    row("show-modified-same", [](BlockDefinition *d) { d->setShowModified(false); }, 0, 0, 0);
    row("runtime-membership", [](BlockDefinition *d) { d->setRuntimeMembership(eRuntimeMembership(0)); }, 1, 0, 0);
    row("runtime-membership-same", [](BlockDefinition *d) { d->setRuntimeMembership(eRuntimeMembership(1)); }, 0, 0, 0);
    row("max-used-system-block", [](BlockDefinition *d) { d->setMaxUsedSystemBlock(9); }, 1, 0, 0);
    row("description", [](BlockDefinition *d) { d->setDescriptionText("x"); }, 1, 0, 0);
    row("description-same", [](BlockDefinition *d) { d->setDescriptionText(QByteArray()); }, 0, 0, 0);
    row("small-image", [](BlockDefinition *d) { d->setSmallListImage(QStringLiteral("png"), "i"); }, 1, 0, 0);
    row("small-image-twice", [](BlockDefinition *d) {
        d->setSmallListImage(QStringLiteral("png"), "i");
        d->setSmallListImage(QStringLiteral("png"), "i");
    }, 1, 0, 0);
    row("small-image-name-only", [](BlockDefinition *d) { d->setSmallListImage(QStringLiteral("png"), QByteArray()); }, 1, 0, 0);
    row("template-read-level", [](BlockDefinition *d) { d->setTemplateTargetAccessLevelRead(3); }, 1, 0, 0);
    row("global-template", [](BlockDefinition *d) { d->setGlobalTemplate(true); }, 1, 0, 0);
    row("code-text", [](BlockDefinition *d) { d->setCodeText(codeStream(1, "a")); }, 1, 0, 0);
    row("code-text-without-header", [](BlockDefinition *d) { d->setCodeText("a"); }, 1, 0, 0);
    row("code-text-for-crc", [](BlockDefinition *d) { d->setCodeTextForCompareCrc("a"); }, 0, 0, 0);
    row("create-pin", [](BlockDefinition *d) { d->createPin(1); }, 1, 1, 0);
    row("create-existing-pin", [](BlockDefinition *d) { d->createPin(-1); }, 1, 1, 0);
    row("delete-missing-pin", [](BlockDefinition *d) { d->deletePin(8); }, 1, 1, 0);
    // A pin change reaches changed() directly and once more through pinsModified().
    row("pin-edited", [](BlockDefinition *d) { d->pin(-1)->setShortName(QStringLiteral("en")); }, 2, 1, 0);
    row("pin-set-same", [](BlockDefinition *d) { d->pin(-1)->setShortName(QStringLiteral("enable")); }, 0, 0, 0);
    row("skin-order", [](BlockDefinition *d) { d->defaultSkin()->setInputPinOrder({1}); }, 0, 0, 0);
    row("register-instance", [](BlockDefinition *d) { d->registerInstance(d); }, 0, 0, 0);
    row("local-block-inserted", [](BlockDefinition *d) { d->localBlockLibrary()->insertBlock(Block::createUserBlock()); }, 1, 0, 0);
    row("clear", [](BlockDefinition *d) { d->clear(); }, 1, 0, 0);
    row("instantiation-data", [](BlockDefinition *d) { d->instantiationData(); }, 0, 0, 0);
}

void tst_Definition::emissions()
{
    QFETCH(Edit, edit);
    QFETCH(int, changed);
    QFETCH(int, pinsModified);
    QFETCH(int, redraw);

    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    QSignalSpy changedSpy(definition, &BlockDefinition::changed);
    QSignalSpy pinsSpy(definition, &BlockDefinition::pinsModified);
    QSignalSpy redrawSpy(definition, &BlockDefinition::redrawRequired);
    QSignalSpy blockSpy(block.get(), &Block::changed);

    edit(definition);

    QCOMPARE(changedSpy.count(), changed);
    QCOMPARE(pinsSpy.count(), pinsModified);
    QCOMPARE(redrawSpy.count(), redraw);
    // Every change of a version is a change of its block.
    QCOMPARE(blockSpy.count(), changed);
}

void tst_Definition::pinListsByFunction()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    // Created out of order, and one pin with neither function.
    for (int number : {12, 3, 7, 10, 2}) {
        BlockPin *pin = definition->createPin(number);
        QCOMPARE(pin->parent(), definition);
        if (number != 10)
            pin->setFunction(number % 2 ? eBlockPinFunctionOutput : eBlockPinFunctionInput);
    }
    QCOMPARE(definition->pins(), (QList<int>{-1, 2, 3, 7, 10, 12}));
    QCOMPARE(definition->inputPins(), (QList<int>{-1, 2, 12}));
    QCOMPARE(definition->outputPins(), (QList<int>{3, 7}));

    // Creating an existing pin gives null and keeps the pin.
    BlockPin *existing = definition->pin(3);
    existing->setShortName(QStringLiteral("x"));
    QVERIFY(!definition->createPin(3));
    QCOMPARE(definition->pin(3), existing);
    QCOMPARE(existing->shortName(), QStringLiteral("x"));

    QPointer<BlockPin> deleted = existing;
    definition->deletePin(3);
    QVERIFY(deleted.isNull());
    QCOMPARE(definition->outputPins(), QList<int>{7});

    // The skin keeps its own order; the definition's lists stay in number order.
    definition->defaultSkin()->setOutputPinOrder({7, 12});
    QCOMPARE(definition->outputPins(), QList<int>{7});
}

void tst_Definition::predicates_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<Home>("home");
    QTest::addColumn<uint>("readLevel");
    QTest::addColumn<uint>("writeLevel");
    QTest::addColumn<uint>("current");
    QTest::addColumn<bool>("visible");
    QTest::addColumn<bool>("writable");
    QTest::addColumn<bool>("stepIn");
    QTest::addColumn<bool>("allowDelete");

    const QString user = QStringLiteral("user");
    const QString standard = QStringLiteral("StandardBlock_17");
    QTest::newRow("user-levels-met") << user << Home::Alone << 3u << 3u << 3u << true << true << true << true;
    QTest::newRow("user-read-above") << user << Home::Alone << 4u << 0u << 3u << false << true << false << true;
    QTest::newRow("user-write-above") << user << Home::Alone << 0u << 4u << 3u << true << false << true << false;
    QTest::newRow("user-writable-library") << user << Home::WritableLibrary << 0u << 7u << 7u << true << true << true << true;
    QTest::newRow("user-read-only-library") << user << Home::ReadOnlyLibrary << 0u << 0u << 7u << true << false << true << true;
    QTest::newRow("user-read-only-library-write-above") << user << Home::ReadOnlyLibrary << 0u << 5u << 4u << true << false << true << false;
    QTest::newRow("standard-writable-library") << standard << Home::WritableLibrary << 0u << 0u << 7u << true << false << true << false;
    QTest::newRow("standard-read-above") << standard << Home::Alone << 5u << 0u << 4u << false << false << false << false;
    QTest::newRow("system") << QStringLiteral("SystemBlock_2") << Home::Alone << 0u << 0u << 7u << true << false << false << false;
    QTest::newRow("template") << QStringLiteral("TemplateBlock_2") << Home::Alone << 0u << 0u << 7u << true << false << false << false;
    QTest::newRow("tool") << QStringLiteral("ToolBlock_2") << Home::Alone << 0u << 0u << 7u << true << false << false << false;
    QTest::newRow("magic-level-4") << QStringLiteral("MagicBlock_2") << Home::Alone << 0u << 0u << 4u << true << false << false << false;
    QTest::newRow("magic-level-5") << QStringLiteral("MagicBlock_2") << Home::Alone << 0u << 0u << 5u << true << false << true << false;
    QTest::newRow("magic-read-above") << QStringLiteral("MagicBlock_2") << Home::Alone << 7u << 0u << 5u << false << false << true << false;
    QTest::newRow("root-read-above") << QStringLiteral("RootBlock") << Home::Alone << 6u << 0u << 3u << false << true << true << false;
    QTest::newRow("root-write-above") << QStringLiteral("RootBlock") << Home::Alone << 0u << 5u << 3u << true << false << true << false;
    QTest::newRow("root-read-only-library") << QStringLiteral("RootBlock") << Home::ReadOnlyLibrary << 0u << 0u << 7u << true << false << true << false;
    QTest::newRow("local-of-user") << user << Home::LocalOfUser << 0u << 0u << 7u << true << true << true << false;
    QTest::newRow("local-of-user-write-above") << user << Home::LocalOfUser << 0u << 6u << 5u << true << false << true << false;
    QTest::newRow("local-of-standard") << user << Home::LocalOfStandard << 0u << 0u << 7u << true << false << true << false;
    QTest::newRow("local-read-above") << user << Home::LocalOfUser << 6u << 0u << 5u << false << true << false << false;
}

void tst_Definition::predicates()
{
    QFETCH(QString, identifier);
    QFETCH(Home, home);
    QFETCH(uint, readLevel);
    QFETCH(uint, writeLevel);
    QFETCH(uint, current);

    Placement placement(identifier, home);
    QVERIFY(placement.block);
    BlockDefinition *definition = placement.block->createDefinition();
    definition->setAccessLevelRead(readLevel);
    definition->setAccessLevelWrite(writeLevel);
    System::instance()->setCurrentAccessLevel(current);

    QTEST(definition->isVisible(), "visible");
    QTEST(definition->isWritable(), "writable");
    QTEST(definition->isStepInAllowed(), "stepIn");
    QTEST(definition->allowDelete(), "allowDelete");
    QVERIFY(!definition->isParameterDefinitionBlock());
    // The local blocks of a version may be edited exactly when the version may.
    QCOMPARE(definition->localBlockLibrary()->readOnly(), !definition->isWritable());
}

void tst_Definition::codeText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("expectedText");
    QTest::addColumn<uint>("expectedVersion");

    const QByteArray previous = codeStream(7, "old");
    const QByteArray withBom = "\xEF\xBB\xBF\r\n" + codeStream(2, "body");
    QTest::newRow("code-header") << codeStream(3, "new\r\nlines") << codeStream(3, "new\r\nlines") << 3u;
    QTest::newRow("code-header-version-0") << codeStream(0, "") << codeStream(0, "") << 0u;
    QTest::newRow("header-after-bom-line") << withBom << withBom << 2u;
    QTest::newRow("no-header") << QByteArray("plain text") << previous << 7u;
    QTest::newRow("other-kind") << QByteArray(";type=\"pin\" version=\"4\"\r\n") << previous << 7u;
    QTest::newRow("kind-case-differs") << QByteArray(";type=\"Code\" version=\"4\"\r\n") << previous << 7u;
    QTest::newRow("empty") << QByteArray() << previous << 7u;
    // Code text and images are held compressed.
    const QByteArray zeros = codeStream(5, QByteArray(1024 * 1024, '\0'));
    QTest::newRow("megabyte-of-zeros") << zeros << zeros << 5u;
    QTest::newRow("embedded-nul") << codeStream(5, QByteArray("a\0b\0", 4)) << codeStream(5, QByteArray("a\0b\0", 4)) << 5u;
}

void tst_Definition::codeText()
{
    QFETCH(QByteArray, text);

    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    definition->setCodeText(codeStream(7, "old"));
    QSignalSpy changed(definition, &BlockDefinition::changed);

    definition->setCodeText(text);

    QTEST(definition->codeText(), "expectedText");
    QTEST(definition->codeTextVersion(), "expectedVersion");
    QCOMPARE(changed.count(), 1);
    definition->setLargeListImage(QStringLiteral("bmp"), text);
    QCOMPARE(definition->largeListImage(), text);
}

void tst_Definition::defaultSmallImage_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<Home>("home");
    QTest::addColumn<QString>("expectedResource"); // empty: no default image

    QTest::newRow("standard-199999") << "StandardBlock_199999" << Home::Alone << QString();
    QTest::newRow("standard-200000") << "StandardBlock_200000" << Home::Alone << ParameterIcon;
    QTest::newRow("standard-299999") << "StandardBlock_299999" << Home::Alone << ParameterIcon;
    QTest::newRow("standard-300000") << "StandardBlock_300000" << Home::Alone << QString();
    QTest::newRow("standard-1") << "StandardBlock_1" << Home::Alone << QString();
    QTest::newRow("user") << "user" << Home::Alone << UserIcon;
    QTest::newRow("local") << "user" << Home::LocalOfUser << LocalIcon;
    QTest::newRow("system") << "SystemBlock_250000" << Home::Alone << QString();
    QTest::newRow("template") << "TemplateBlock_250000" << Home::Alone << QString();
    QTest::newRow("root") << "RootBlock" << Home::Alone << QString();
}

void tst_Definition::defaultSmallImage()
{
    QFETCH(QString, identifier);
    QFETCH(Home, home);
    QFETCH(QString, expectedResource);

    Placement placement(identifier, home);
    QVERIFY(placement.block);
    BlockDefinition *definition = placement.block->createDefinition();
    const QByteArray expected = expectedResource.isEmpty() ? QByteArray() : resource(expectedResource);
    QVERIFY2(expectedResource.isEmpty() || !expected.isEmpty(), qPrintable(expectedResource));

    QCOMPARE(definition->smallListImage(), expected);
    QCOMPARE(definition->smallListImageName(), QString());
    QCOMPARE(definition->largeListImage(), QByteArray());

    // A stored image always wins over the default.
    definition->setSmallListImage(QStringLiteral("bmp"), "own");
    QCOMPARE(definition->smallListImage(), QByteArray("own"));
}

void tst_Definition::toolTipText_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<uint>("version");
    QTest::addColumn<QByteArray>("zeroDescription"); // "-": the block has no version 0
    QTest::addColumn<QByteArray>("ownDescription");
    QTest::addColumn<bool>("inLibrary");
    QTest::addColumn<uint>("current");
    QTest::addColumn<QString>("expected");

    const QString library = QStringLiteral("<br><br>") + UserId
        + QStringLiteral("<br>Bibliotheks-ID:  {lib}<br>Bibliotheksname: Antriebe");
    auto row = [](const char *tag, uint version, const QByteArray &zero, const QByteArray &own, bool inLibrary,
                  uint current, const QString &expected, const QString &name = QStringLiteral("Regler")) {
        QTest::newRow(tag) << name << version << zero << own << inLibrary << current << expected;
    };
    row("bare", 0, "", "", false, 7, "Regler (0)");
    row("own-description", 0, "", "D", false, 7, "Regler (0)<br>D<br>");
    row("zero-and-own", 2, "A", "B", false, 7, "Regler (2)<br>A<hr>B<br>");
    row("zero-only", 2, "A", "", false, 7, "Regler (2)<br>A<hr><br>");
    row("zero-empty", 2, "", "B", false, 7, "Regler (2)<br>B<br>");
    row("no-version-zero", 2, "-", "B", false, 7, "Regler (2)<br>B<br>");
    row("umlaut-description", 0, "", "Gr\xc3\xb6\xc3\x9f" "e", false, 7, QStringLiteral("Regler (0)<br>Größe<br>"));
    row("library-level-5", 0, "", "", true, 5, QStringLiteral("Regler (0)") + library);
    row("library-with-description", 1, "A", "B", true, 7, QStringLiteral("Regler (1)<br>A<hr>B<br>") + library);
    row("library-level-4", 0, "", "", true, 4, "Regler (0)");
    row("placeholder-in-name", 3, "-", "", false, 7, "Rampe %1 %2 (3)", QStringLiteral("Rampe %1 %2"));
    row("large-version", 4294967295u, "-", "", false, 7, "Regler (4294967295)");
}

void tst_Definition::toolTipText()
{
    QFETCH(QString, name);
    QFETCH(uint, version);
    QFETCH(QByteArray, zeroDescription);
    QFETCH(QByteArray, ownDescription);
    QFETCH(bool, inLibrary);
    QFETCH(uint, current);

    Placement placement(QStringLiteral("user"), inLibrary ? Home::WritableLibrary : Home::Alone);
    Block *block = placement.block;
    block->setName(Text(1, name));
    if (inLibrary) {
        placement.container->setIdentifier(QStringLiteral("{lib}"));
        placement.container->setName(Text(1, QStringLiteral("Antriebe")));
    }
    if (version != 0 && zeroDescription != "-")
        block->createDefinition(0)->setDescriptionText(zeroDescription);
    BlockDefinition *definition = block->createDefinition(version);
    definition->setDescriptionText(ownDescription);
    System::instance()->setCurrentAccessLevel(current);

    QTEST(definition->toolTipText(), "expected");
}

void tst_Definition::editorObjectsAreWeak()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    auto *first = new RecordingCode;
    RecordingCode second;
    QSignalSpy changed(definition, &BlockDefinition::changed);

    // A second code object is ignored while the first lives; only the attached one is heard.
    CodeEditorAccess::setCode(definition, first);
    CodeEditorAccess::setCode(definition, &second);
    QCOMPARE(definition->code(), first);
    QCOMPARE(changed.count(), 0);
    emit first->changed();
    emit second.changed();
    QCOMPARE(changed.count(), 1);
    delete first;
    QVERIFY(!definition->code());
    CodeEditorAccess::setCode(definition, &second);
    emit second.changed();
    QCOMPARE(changed.count(), 2);

    // clear() lets go of the code object.
    definition->clear();
    QVERIFY(!definition->code());
    changed.clear();
    emit second.changed();
    QCOMPARE(changed.count(), 0);

    auto *window = new LibraryBlockDefinitionSubWindow;
    CodeEditorAccess::setEditSubWindow(definition, window);
    QCOMPARE(definition->editSubWindow(), window);
    delete window;
    QVERIFY(!definition->editSubWindow());
    LibraryBlockDefinitionSubWindow other;
    CodeEditorAccess::setEditSubWindow(definition, &other);
    CodeEditorAccess::setEditSubWindow(definition, nullptr);
    QVERIFY(!definition->editSubWindow());
    QCOMPARE(changed.count(), 0);
}

void tst_Definition::cloneFromCopiesContent()
{
    std::unique_ptr<Block> sourceBlock(Block::createUserBlock());
    BlockDefinition *source = sourceBlock->createDefinition(0);
    source->setRuntimeMembership(eRuntimeMembership(3));
    source->setCodeText(codeStream(2, "stale"));
    source->setSmallListImage(QStringLiteral("bmp"), "small");
    source->setLargeListImage(QStringLiteral("png"), "large");
    source->setAccessLevelRead(2);
    source->setAccessLevelWrite(5);
    source->setDescriptionText("<p>Quelle</p>");
    source->setTemplateTargetAccessLevelRead(6);
    source->setTemplateTargetAccessLevelWrite(7);
    source->setGlobalTemplate(true);
    source->setExclusiveTemplate(true);
    source->setMaxUsedSystemBlock(9);
    source->setShowModified(true);
    source->setCodeTextForCompareCrc("crc");
    source->pin(-1)->setShortName(QStringLiteral("freigabe"));
    BlockPin *in = source->createPin(1);
    in->setFunction(eBlockPinFunctionInput);
    in->setSimpleType(4);
    in->setName(Text(1, QStringLiteral("Sollwert")));
    source->createPin(2)->setFunction(eBlockPinFunctionOutput);
    source->defaultSkin()->setInputPinOrder({1});
    source->defaultSkin()->setOutputPinOrder({2});
    QObject user;
    source->registerInstance(&user);
    RecordingCode code;
    code.definition = source;
    code.pendingText = codeStream(4, "under edit");
    CodeEditorAccess::setCode(source, &code);
    LibraryBlockDefinitionSubWindow window;
    CodeEditorAccess::setEditSubWindow(source, &window);

    std::unique_ptr<Block> targetBlock(Block::createUserBlock());
    BlockDefinition *target = targetBlock->createDefinition(3);
    target->createPin(7);
    target->setMaxUsedSystemBlock(4);
    QSignalSpy changed(target, &BlockDefinition::changed);
    QSignalSpy pinsModified(target, &BlockDefinition::pinsModified);
    QSignalSpy redraw(target, &BlockDefinition::redrawRequired);

    target->cloneFrom(source);

    QCOMPARE(changed.count(), 1);
    QCOMPARE(pinsModified.count(), 0);
    QCOMPARE(redraw.count(), 0);
    QCOMPARE(code.saves, 1);
    QCOMPARE(target->codeText(), codeStream(4, "under edit"));
    QCOMPARE(target->version(), 3u);
    QCOMPARE(target->runtimeMembership(), eRuntimeMembership(3));
    QCOMPARE(target->templateTargetAccessLevelRead(), 6u);
    QCOMPARE(target->templateTargetAccessLevelWrite(), 7u);
    QVERIFY(!target->isGlobalTemplate());
    QVERIFY(!target->isExclusiveTemplate());

    // Left out of the copy.
    QCOMPARE(target->maxUsedSystemBlock(), 4u);
    QVERIFY(!target->showModified());
    QCOMPARE(target->codeTextForCompareCrc(), QByteArray());
    QVERIFY(!target->code());
    QVERIFY(!target->editSubWindow());
    QCOMPARE(target->instanceCount(), 0u);

    // Everything stored is copied: pins, skin, code, images, levels and description.
    target->setMaxUsedSystemBlock(9);
    ScratchStorage sourceTree;
    ScratchStorage targetTree;
    source->save(sourceTree.root());
    target->save(targetTree.root());
    QCOMPARE(StorageTreeText::lines(targetTree.root()), StorageTreeText::lines(sourceTree.root()));

    // The copy is independent of its source and reports its own changes.
    QVERIFY(target->pin(1) != source->pin(1));
    source->pin(1)->setShortName(QStringLiteral("changed"));
    QCOMPARE(target->pin(1)->shortName(), QString());
    changed.clear();
    target->pin(1)->setShortName(QStringLiteral("own"));
    QVERIFY(changed.count() > 0);
}

void tst_Definition::cloneFromTemplateLevels_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<bool>("templateInfo");
    QTest::addColumn<uint>("expectedRead");
    QTest::addColumn<uint>("expectedWrite");

    QTest::newRow("template-takes-target-levels") << "TemplateBlock_4" << true << 3u << 4u;
    QTest::newRow("template-without-template-info") << "TemplateBlock_4" << false << 1u << 2u;
    QTest::newRow("user-keeps-own-levels") << "user" << true << 1u << 2u;
}

void tst_Definition::cloneFromTemplateLevels()
{
    QFETCH(QString, identifier);
    QFETCH(bool, templateInfo);

    Placement placement(identifier, Home::Alone);
    QVERIFY(placement.block);
    BlockDefinition *source = placement.block->createDefinition();
    if (templateInfo) {
        QVERIFY(loadWizard(source, "wizard text"));
        QCOMPARE(source->wizardDefinition(), QByteArray("wizard text"));
        source->setGlobalTemplate(true);
        source->setExclusiveTemplate(true);
        source->setTemplateTargetAccessLevelRead(3);
        source->setTemplateTargetAccessLevelWrite(4);
    } else {
        // Reading the template settings must not create them.
        QCOMPARE(source->templateTargetAccessLevelRead(), 0u);
        QVERIFY(!source->isGlobalTemplate());
        QCOMPARE(source->wizardDefinition(), QByteArray());
    }
    source->setAccessLevelRead(1);
    source->setAccessLevelWrite(2);

    std::unique_ptr<Block> copyBlock(Block::createUserBlock());
    BlockDefinition *copy = copyBlock->createDefinition();
    copy->cloneFrom(source);

    QTEST(copy->accessLevelRead(), "expectedRead");
    QTEST(copy->accessLevelWrite(), "expectedWrite");
    QCOMPARE(copy->templateTargetAccessLevelRead(), templateInfo ? 3u : 0u);
    QCOMPARE(copy->templateTargetAccessLevelWrite(), templateInfo ? 4u : 0u);
    QVERIFY(!copy->isGlobalTemplate());
    QVERIFY(!copy->isExclusiveTemplate());
    QCOMPARE(copy->wizardDefinition(), QByteArray());
}

void tst_Definition::cloneFromLocalBlocks_data()
{
    QTest::addColumn<bool>("fallback");

    QTest::newRow("normal-block-renames") << false;
    QTest::newRow("fallback-block-keeps-identifier") << true;
}

void tst_Definition::cloneFromLocalBlocks()
{
    QFETCH(bool, fallback);

    std::unique_ptr<Block> sourceBlock(Block::createUserBlock());
    BlockDefinition *source = sourceBlock->createDefinition();
    Block *local = Block::createBlock(UserId);
    local->setShortName(QStringLiteral("L"));
    local->createDefinition()->setDescriptionText("local");
    source->localBlockLibrary()->insertBlock(local);
    QVERIFY(local->isLocalBlock());

    std::unique_ptr<Block> targetBlock(Block::createUserBlock());
    if (fallback)
        targetBlock->setFallbackBlock();
    BlockDefinition *target = targetBlock->createDefinition();
    QSignalSpy changed(target, &BlockDefinition::changed);
    target->cloneFrom(source);

    QCOMPARE(changed.count(), 1);
    const QList<QString> identifiers = target->localBlockLibrary()->blockIdentifiers();
    QCOMPARE(identifiers.size(), 1);
    Block *copy = target->localBlockLibrary()->block(identifiers.first());
    QVERIFY(copy != local);
    QVERIFY(copy->isLocalBlock());
    QCOMPARE(copy->ownerLibrary(), target->localBlockLibrary());
    QCOMPARE(copy->shortName(), QStringLiteral("L"));
    QCOMPARE(copy->blockDefinition(0)->descriptionText(), QByteArray("local"));
    if (fallback) {
        QCOMPARE(copy->identifier(), UserId);
        QCOMPARE(target->localSubstitutionForBlock(UserId), QString());
    } else {
        QVERIFY(copy->identifier() != UserId);
        QVERIFY(!QUuid(copy->identifier()).isNull());
        QCOMPARE(target->localSubstitutionForBlock(UserId), copy->identifier());
    }
    QCOMPARE(target->localSubstitutionForBlock(QStringLiteral("{unknown}")), QString());
    // The source keeps its own local block.
    QCOMPARE(source->localBlockLibrary()->blockIdentifiers(), QList<QString>{UserId});
    QCOMPARE(source->localBlockLibrary()->block(UserId), local);
}

void tst_Definition::clearKeepsFieldsAndInstances()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    definition->createPin(1);
    QPointer<BlockPin> enable = definition->pin(-1);
    QPointer<Block> local = Block::createUserBlock();
    definition->localBlockLibrary()->insertBlock(local);
    definition->setAccessLevelRead(3);
    definition->setDescriptionText("kept");
    definition->setCodeText(codeStream(2, "kept"));
    definition->setSmallListImage(QStringLiteral("png"), "kept");
    definition->setRuntimeMembership(eRuntimeMembership(2));
    BlockInstantiationData *data = definition->instantiationData();
    // A user registered twice counts once; instances survive clear().
    QObject user, other;
    definition->registerInstance(&user);
    definition->registerInstance(&user);
    definition->registerInstance(&other);
    definition->unregisterInstance(&other);
    definition->unregisterInstance(&other);

    definition->clear();

    QVERIFY(definition->pins().isEmpty());
    QVERIFY(enable.isNull());
    QVERIFY(local.isNull());
    QVERIFY(definition->localBlockLibrary()->blockIdentifiers().isEmpty());
    QCOMPARE(definition->accessLevelRead(), 3u);
    QCOMPARE(definition->descriptionText(), QByteArray("kept"));
    QCOMPARE(definition->codeText(), codeStream(2, "kept"));
    QCOMPARE(definition->smallListImage(), QByteArray("kept"));
    QCOMPARE(definition->runtimeMembership(), eRuntimeMembership(2));
    QCOMPARE(definition->instantiationData(), data);
    QCOMPARE(definition->instanceCount(), 1u);
    definition->unregisterInstance(&user);
    QCOMPARE(definition->instanceCount(), 0u);

    // Pins can be made again, the enable pin included.
    QVERIFY(definition->createPin(-1));
    QCOMPARE(definition->pins(), QList<int>{-1});
}

QTEST_MAIN(tst_Definition)
#include "tst_definition.moc"
