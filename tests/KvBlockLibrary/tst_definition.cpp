#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvBlockLibrary/CodeEditorAccess.h>
#include <KvCodeEditor/LibraryBlockDefinitionSubWindow.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <KvSystem/System.h>

#include "CodeStandIn.h"
#include "StoredForm.h"

#include <QtCore/QFile>
#include <QtCore/QPointer>
#include <QtCore/QRegularExpression>
#include <QtCore/QUuid>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace {

const QString UserId = QStringLiteral("{11111111-2222-3333-4444-555555555555}");

struct TestContainer : BlockLibraryContainer
{
    bool isLocalContainer() const override { return false; }
};

struct CountedParameter : SimpleParameterDefinition
{
    explicit CountedParameter(int *deleted) : deleted(deleted) {}
    ~CountedParameter() override { ++*deleted; }
    int *deleted;
};

// Where a block under test lives; its kind of home decides the writability rules.
enum class Home { Alone, WritableLibrary, ReadOnlyLibrary, LocalOfUser, LocalOfStandard };

// Builds the block `identifier` ("user" for UserId) in its home and keeps everything alive.
struct Placement
{
    Placement(const QString &identifier, Home home)
    {
        block = Block::createBlock(identifier == QLatin1String("user") ? UserId : identifier);
        container.setReadOnly(home == Home::ReadOnlyLibrary);
        if (home == Home::Alone)
            alone.reset(block);
        else if (home == Home::WritableLibrary || home == Home::ReadOnlyLibrary)
            container.library()->insertBlock(block);
        else
            outer.reset(home == Home::LocalOfUser ? Block::createUserBlock() : Block::createBlock(QStringLiteral("StandardBlock_5")));
        if (outer)
            outer->createDefinition()->localBlockLibrary()->insertBlock(block);
    }
    Block *block;
    std::unique_ptr<Block> alone, outer;
    TestContainer container;
};

using Edit = std::function<void(BlockDefinition *)>;

} // namespace

Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(Home)

class tst_Definition : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { System::instance()->setCurrentAccessLevel(7); }
    void emissions_data();
    void emissions();
    void pinListsByFunction();
    void predicates_data();
    void predicates();
    void toolTipText_data();
    void toolTipText();
    void cloneFrom_data();
    void cloneFrom();
    void weakEditorsClearAndDestruction();
};

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
    row("show-modified", [](BlockDefinition *d) { d->setShowModified(true); }, 0, 0, 1);
    row("show-modified-same", [](BlockDefinition *d) { d->setShowModified(false); }, 0, 0, 0);
    row("runtime-membership", [](BlockDefinition *d) { d->setRuntimeMembership(eRuntimeMembership(0)); }, 1, 0, 0);
    row("runtime-membership-same", [](BlockDefinition *d) { d->setRuntimeMembership(eRuntimeMembership(1)); }, 0, 0, 0);
    row("max-used-system-block", [](BlockDefinition *d) { d->setMaxUsedSystemBlock(9); }, 1, 0, 0);
    row("description", [](BlockDefinition *d) { d->setDescriptionText("x"); }, 1, 0, 0);
    row("description-same", [](BlockDefinition *d) { d->setDescriptionText(QByteArray()); }, 0, 0, 0);
    row("small-image-twice", [](BlockDefinition *d) { for (int i = 0; i < 2; ++i) d->setSmallListImage(QStringLiteral("png"), "i"); }, 1, 0, 0);
    row("global-template", [](BlockDefinition *d) { d->setGlobalTemplate(true); }, 1, 0, 0);
    row("code-text-without-header", [](BlockDefinition *d) { d->setCodeText("a"); }, 1, 0, 0);
    row("create-pin", [](BlockDefinition *d) { d->createPin(1); }, 1, 1, 0);
    row("create-existing-pin", [](BlockDefinition *d) { d->createPin(-1); }, 1, 1, 0);
    // A pin change reaches changed() directly and once more through pinsModified().
    row("pin-edited", [](BlockDefinition *d) { d->pin(-1)->setShortName(QStringLiteral("en")); }, 2, 1, 0);
    row("pin-set-same", [](BlockDefinition *d) { d->pin(-1)->setShortName(QStringLiteral("enable")); }, 0, 0, 0);
    row("local-block-inserted", [](BlockDefinition *d) { d->localBlockLibrary()->insertBlock(Block::createUserBlock()); }, 1, 0, 0);
    row("clear", [](BlockDefinition *d) { d->clear(); }, 1, 0, 0);
}

void tst_Definition::emissions()
{
    QFETCH(Edit, edit);
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    QSignalSpy changedSpy(definition, &BlockDefinition::changed);
    QSignalSpy pinsSpy(definition, &BlockDefinition::pinsModified);
    QSignalSpy redrawSpy(definition, &BlockDefinition::redrawRequired);
    QSignalSpy blockSpy(block.get(), &Block::changed);
    edit(definition);
    QTEST(int(changedSpy.count()), "changed");
    QTEST(int(pinsSpy.count()), "pinsModified");
    QTEST(int(redrawSpy.count()), "redraw");
    // Every change of a version is a change of its block.
    QTEST(int(blockSpy.count()), "changed");
}

void tst_Definition::pinListsByFunction()
{
    // A new version has the enable pin only, in its skin too; a tool block's has none.
    QVERIFY(std::unique_ptr<Block>(Block::createBlock(QStringLiteral("ToolBlock_3")))->createDefinition()->pins().isEmpty());
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition(4);
    QCOMPARE(definition->defaultSkin()->pins(), QList<int>{-1});
    QCOMPARE(definition->pin(-1)->shortName() + QString::number(definition->pin(-1)->datatype()), QStringLiteral("enable1"));
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
    // Creating an existing pin gives null and keeps the pin; deleting deletes it.
    QPointer<BlockPin> existing = definition->pin(3);
    QVERIFY(!definition->createPin(3) && definition->pin(3) == existing);
    definition->deletePin(3);
    QVERIFY(existing.isNull());
    QCOMPARE(definition->outputPins(), QList<int>{7});
}

void tst_Definition::predicates_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<Home>("home");
    QTest::addColumn<uint>("readLevel");
    QTest::addColumn<uint>("writeLevel");
    QTest::addColumn<uint>("current");
    QTest::addColumn<QString>("expected"); // visible, writable, step in, allow delete: 1 or 0 each
    QTest::addColumn<QString>("icon");     // the default small image's kind; empty: none
    auto row = [](const char *tag, const char *identifier, Home home, uint read, uint write, uint current, const char *expected) {
        const bool local = home == Home::LocalOfUser || home == Home::LocalOfStandard;
        const char *icon = local ? "Local" : identifier == QByteArray("user") ? "User" : "";
        QTest::newRow(tag) << QString::fromLatin1(identifier) << home << read << write << current << expected << icon;
    };
    const char *standard = "StandardBlock_17";
    row("user-levels-met", "user", Home::Alone, 3, 3, 3, "1111");
    row("user-read-above", "user", Home::Alone, 4, 0, 3, "0101");
    row("user-write-above", "user", Home::Alone, 0, 4, 3, "1010");
    row("user-read-only-library", "user", Home::ReadOnlyLibrary, 0, 0, 7, "1011");
    row("user-read-only-library-write-above", "user", Home::ReadOnlyLibrary, 0, 5, 4, "1010");
    row("standard-writable-library", standard, Home::WritableLibrary, 0, 0, 7, "1010");
    row("standard-read-above", standard, Home::Alone, 5, 0, 4, "0000");
    row("standard-199999", "StandardBlock_199999", Home::Alone, 0, 0, 7, "1010");
    row("standard-300000", "StandardBlock_300000", Home::Alone, 0, 0, 7, "1010");
    row("system", "SystemBlock_250000", Home::Alone, 0, 0, 7, "1000");
    row("magic-level-4", "MagicBlock_2", Home::Alone, 0, 0, 4, "1000");
    row("magic-level-5", "MagicBlock_2", Home::Alone, 0, 0, 5, "1010");
    row("magic-read-above", "MagicBlock_2", Home::Alone, 7, 0, 5, "0010");
    row("root-read-above", "RootBlock", Home::Alone, 6, 0, 3, "0110");
    row("root-write-above", "RootBlock", Home::Alone, 0, 5, 3, "1010");
    row("root-read-only-library", "RootBlock", Home::ReadOnlyLibrary, 0, 0, 7, "1010");
    row("local-of-user", "user", Home::LocalOfUser, 0, 0, 7, "1110");
    row("local-of-user-write-above", "user", Home::LocalOfUser, 0, 6, 5, "1010");
    row("local-of-standard", "user", Home::LocalOfStandard, 0, 0, 7, "1010");
    row("local-read-above", "user", Home::LocalOfUser, 6, 0, 5, "0100");
    // Standard blocks 200000 to 299999 hold parameter definitions and have an icon of their own.
    QTest::newRow("standard-200000") << "StandardBlock_200000" << Home::Alone << 0u << 0u << 7u << "1010" << "ParameterDefinition";
    QTest::newRow("standard-299999") << "StandardBlock_299999" << Home::Alone << 0u << 0u << 7u << "1010" << "ParameterDefinition";
}

void tst_Definition::predicates()
{
    QFETCH(QString, identifier);
    QFETCH(Home, home);
    QFETCH(uint, readLevel);
    QFETCH(uint, writeLevel);
    QFETCH(uint, current);
    QFETCH(QString, icon);
    Placement placement(identifier, home);
    BlockDefinition *definition = placement.block->createDefinition();
    definition->setAccessLevelRead(readLevel);
    definition->setAccessLevelWrite(writeLevel);
    System::instance()->setCurrentAccessLevel(current);
    QString bits;
    for (bool b : {definition->isVisible(), definition->isWritable(), definition->isStepInAllowed(), definition->allowDelete()})
        bits += QLatin1Char(b ? '1' : '0');
    QTEST(bits, "expected");
    // The local blocks of a version may be edited exactly when the version may.
    QCOMPARE(definition->localBlockLibrary()->readOnly(), !definition->isWritable());
    QFile file(QStringLiteral(":/Resources/Default%1BlockIconSmall.png").arg(icon));
    QCOMPARE(file.open(QIODevice::ReadOnly), !icon.isEmpty());
    QCOMPARE(definition->smallListImage(), icon.isEmpty() ? QByteArray() : file.readAll());
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
    const QString library = "<br><br>" + UserId + "<br>Bibliotheks-ID:  {lib}<br>Bibliotheksname: Antriebe";
    auto row = [](const char *tag, uint version, const QByteArray &zero, const QByteArray &own, bool inLibrary,
                  uint current, const QString &expected, const char *name = "Regler") {
        QTest::newRow(tag) << QString::fromUtf8(name) << version << zero << own << inLibrary << current << expected;
    };
    row("own-description", 0, "", "D", false, 7, "Regler (0)<br>D<br>");
    row("zero-and-own", 2, "A", "B", false, 7, "Regler (2)<br>A<hr>B<br>");
    row("zero-empty", 2, "", "B", false, 7, "Regler (2)<br>B<br>");
    row("no-version-zero", 2, "-", "B", false, 7, "Regler (2)<br>B<br>");
    row("library-with-description", 1, "A", "B", true, 7, "Regler (1)<br>A<hr>B<br>" + library);
    row("library-level-4", 0, "", "", true, 4, "Regler (0)");
    row("placeholder-in-name-umlaut-description", 3, "-", "Gr\xc3\xb6\xc3\x9f" "e", false, 7, "Rampe %1 %2 (3)<br>Größe<br>", "Rampe %1 %2");
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
    placement.block->setName(Text(1, name));
    if (inLibrary) {
        placement.container.setIdentifier(QStringLiteral("{lib}"));
        placement.container.setName(Text(1, QStringLiteral("Antriebe")));
    }
    if (version != 0 && zeroDescription != "-")
        placement.block->createDefinition(0)->setDescriptionText(zeroDescription);
    BlockDefinition *definition = placement.block->createDefinition(version);
    definition->setDescriptionText(ownDescription);
    System::instance()->setCurrentAccessLevel(current);
    QTEST(definition->toolTipText(), "expected");
}

void tst_Definition::cloneFrom_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<bool>("templateInfo");
    QTest::addColumn<bool>("fallback"); // the copy is a fallback block's version
    QTest::addColumn<uint>("read");
    QTest::addColumn<uint>("write");
    QTest::newRow("user-keeps-own-levels") << "user" << true << false << 1u << 2u;
    QTest::newRow("template-takes-target-levels") << "TemplateBlock_4" << true << false << 3u << 4u;
    QTest::newRow("template-without-template-info") << "TemplateBlock_4" << false << false << 1u << 2u;
    QTest::newRow("fallback-keeps-local-identifiers") << "user" << false << true << 1u << 2u;
}

void tst_Definition::cloneFrom()
{
    QFETCH(QString, identifier);
    QFETCH(bool, templateInfo);
    QFETCH(bool, fallback);
    Placement placement(identifier, Home::Alone);
    BlockDefinition *source = placement.block->createDefinition(0);
    if (templateInfo) {
        source->setGlobalTemplate(true);
        source->setExclusiveTemplate(true);
        source->setTemplateTargetAccessLevelRead(3);
        source->setTemplateTargetAccessLevelWrite(4);
    } else {
        // Reading the template settings must not create them.
        QCOMPARE(source->templateTargetAccessLevelRead() + source->isGlobalTemplate(), 0u);
    }
    source->setAccessLevelRead(1);
    source->setAccessLevelWrite(2);
    source->setRuntimeMembership(eRuntimeMembership(3));
    source->setSmallListImage(QStringLiteral("bmp"), "small");
    source->setLargeListImage(QStringLiteral("png"), "large");
    source->setDescriptionText("<p>Quelle</p>");
    source->setMaxUsedSystemBlock(9);
    source->setShowModified(true);
    source->setCodeTextForCompareCrc("crc");
    source->pin(-1)->setShortName(QStringLiteral("freigabe"));
    source->createPin(1)->setName(Text(1, QStringLiteral("Sollwert")));
    source->defaultSkin()->setInputPinOrder({1});
    Block *local = Block::createBlock(UserId);
    local->setShortName(QStringLiteral("L"));
    local->createDefinition()->setDescriptionText("local");
    source->localBlockLibrary()->insertBlock(local);
    QObject user;
    source->registerInstance(&user);
    // The text under edit is stored before the copy is taken.
    CodeStandIn code(source, codeStream(4, "under edit"));
    CodeEditorAccess::setCode(source, &code);
    std::unique_ptr<Block> targetBlock(Block::createUserBlock());
    if (fallback)
        targetBlock->setFallbackBlock();
    BlockDefinition *target = targetBlock->createDefinition(3);
    target->createPin(7);
    QSignalSpy changed(target, &BlockDefinition::changed);
    QSignalSpy pinsModified(target, &BlockDefinition::pinsModified);
    target->cloneFrom(source);
    QCOMPARE(QList<int>({int(changed.count()), int(pinsModified.count()), code.saves}), QList<int>({1, 0, 1}));
    QCOMPARE(QList<uint>({target->version(), target->codeTextVersion()}), QList<uint>({3, 4}));
    QTEST(target->accessLevelRead(), "read");
    QTEST(target->accessLevelWrite(), "write");
    QCOMPARE(target->templateTargetAccessLevelWrite(), templateInfo ? 4u : 0u);
    // Left out of the copy: template flags, the highest system block used, the view state,
    // the comparison text, the editor and the instances.
    QVERIFY(!target->isGlobalTemplate() && !target->isExclusiveTemplate() && !target->showModified() && !target->code());
    QVERIFY(target->codeTextForCompareCrc().isEmpty() && target->instanceCount() == 0 && target->maxUsedSystemBlock() == 0);
    // A local block is copied under a new identifier unless the version is a fallback's.
    const QString copyId = fallback ? UserId : target->localSubstitutionForBlock(UserId);
    QCOMPARE(target->localBlockLibrary()->blockIdentifiers(), QList<QString>{copyId});
    QVERIFY(!QUuid(copyId).isNull() && (copyId == UserId) == fallback);
    QCOMPARE(target->localSubstitutionForBlock(UserId).isEmpty(), fallback);
    QVERIFY(target->localBlockLibrary()->block(copyId)->isLocalBlock() && source->localBlockLibrary()->block(UserId) == local);
    // Everything else stored is copied: pins, skin, code, images, description, local blocks.
    target->setMaxUsedSystemBlock(9);
    target->setAccessLevelRead(1);
    target->setAccessLevelWrite(2);
    // The list of local blocks names the new identifier.
    const QRegularExpression notLocalList(QStringLiteral("^(?!stream Blocks/Content.txt )"));
    QCOMPARE(StoredForm::of(target).replaceInStrings(copyId, UserId).filter(notLocalList), StoredForm::of(source).filter(notLocalList));
    // The copy's pins are its own and report their changes to it.
    changed.clear();
    target->pin(1)->setShortName(QStringLiteral("own"));
    QCOMPARE(source->pin(1)->shortName(), QString());
    QCOMPARE(changed.count(), 2);
}

void tst_Definition::weakEditorsClearAndDestruction()
{
    int deleted = 0;
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    auto *first = new CodeStandIn;
    CodeStandIn second;
    QSignalSpy changed(definition, &BlockDefinition::changed);
    // A second code object is ignored while the first lives; only the attached one is heard.
    CodeEditorAccess::setCode(definition, first);
    CodeEditorAccess::setCode(definition, &second);
    emit first->changed();
    emit second.changed();
    QCOMPARE(changed.count(), 1);
    delete first;
    QVERIFY(!definition->code());
    CodeEditorAccess::setCode(definition, &second);
    QCOMPARE(definition->code(), &second);
    auto *window = new LibraryBlockDefinitionSubWindow;
    CodeEditorAccess::setEditSubWindow(definition, window);
    QCOMPARE(definition->editSubWindow(), window);
    delete window;
    QVERIFY(!definition->editSubWindow());
    definition->setAccessLevelRead(3);
    definition->setDescriptionText("kept");
    definition->setCodeText(codeStream(2, "kept"));
    definition->setSmallListImage(QStringLiteral("png"), "kept");
    // Clearing deletes pins, parameters and local blocks, lets go of the code object and
    // keeps every other stored field and the instances.
    const QStringList expected = StoredForm::of(definition);
    QPointer<BlockPin> pin = definition->createPin(1);
    QPointer<Block> local = Block::createUserBlock();
    definition->localBlockLibrary()->insertBlock(local);
    definition->attachParameterGeneralDefinition(1, new CountedParameter(&deleted));
    BlockInstantiationData *data = definition->instantiationData();
    // A user registered twice counts once.
    QObject user, other;
    definition->registerInstance(&user);
    definition->registerInstance(&user);
    definition->registerInstance(&other);
    definition->unregisterInstance(&other);
    definition->clear();
    changed.clear();
    emit second.changed();
    QVERIFY(!definition->code() && changed.isEmpty() && definition->pins().isEmpty() && pin.isNull() && local.isNull());
    QCOMPARE(deleted, 1);
    QCOMPARE(StoredForm::of(definition), expected);
    QCOMPARE(definition->instantiationData(), data);
    QCOMPARE(definition->instanceCount(), 1u);
    // The destructor deletes what a version owns.
    pin = definition->createPin(-1);
    definition->attachParameterGeneralDefinition(1, new CountedParameter(&deleted));
    definition->attachParameterFamilyDefinition(2, 1, new CountedParameter(&deleted));
    block.reset();
    QVERIFY(pin.isNull());
    QCOMPARE(deleted, 3);
}

QTEST_MAIN(tst_Definition)
#include "tst_definition.moc"
