// The block properties dialog driven as a user drives it: showPropertiesView() runs the modal
// dialog, the test acts on its widgets by object name once the event loop runs, and the
// model is compared by its stored form before and after.

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockDefinitionDescriptionView.h>
#include <KvBlockLibrary/BlockParameterDescriptionView.h>
#include <KvBlockLibrary/BlockPropertiesDialog.h>
#include <KvBlockLibrary/BlockPropertiesSupport.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvBlockLibrary/BlockSkinPinList.h>
#include <KvBlockLibrary/PlausibilityEvaluator.h>
#include <KvMultilingual/Text.h>
#include <KvSystem/System.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxControls/TextEditWidget.h>

#include "StoredForm.h"

#include <QtCore/QTimer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QSpinBox>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QTextEdit>

#include <functional>
#include <memory>

namespace {

// A block of the given kind with version 0: inputs 1 and 5, output 2, drawn in that order.
struct Sample
{
    explicit Sample(const QString &kind)
    {
        if (kind == QLatin1String("local")) {
            outer.reset(Block::createBlock(QStringLiteral("StandardBlock_5")));
            block = Block::createUserBlock();
            outer->createDefinition()->localBlockLibrary()->insertBlock(block);
        } else {
            owned.reset(kind == QLatin1String("user") || kind == QLatin1String("fallback") ? Block::createUserBlock()
                                                                                         : Block::createBlock(kind));
            block = owned.get();
            if (kind == QLatin1String("fallback"))
                block->setFallbackBlock();
        }
        Text name(1, QStringLiteral("Regler"));
        name.setText(2, QStringLiteral("Controller"));
        block->setName(name);
        block->setShortName(QStringLiteral("PID"));
        definition = block->createDefinition();
        for (auto [number, function, type] : {std::tuple{1, eBlockPinFunctionInput, 4}, {2, eBlockPinFunctionOutput, 14},
                                               {5, eBlockPinFunctionInput, 1}}) {
            BlockPin *pin = definition->createPin(number);
            pin->setFunction(function);
            pin->setSimpleType(tSimpleType(type));
            pin->setShortName(QStringLiteral("p%1").arg(number));
            pin->setName(Text(1, QStringLiteral("Pin %1").arg(number)));
        }
        definition->defaultSkin()->setInputPinOrder({1, 5});
        definition->defaultSkin()->setOutputPinOrder({2});
    }

    std::unique_ptr<Block> outer;
    std::unique_ptr<Block> owned;
    Block *block = nullptr;
    BlockDefinition *definition = nullptr;
};

template<typename T>
T *child(QWidget *dialog, const char *name)
{
    T *found = dialog->findChild<T *>(QString::fromLatin1(name));
    if (!found)
        qWarning("no widget %s", name);
    return found;
}

// Runs showPropertiesView(); once the dialog runs, act() works on it and presses `button`.
// The dialog is seen through `seen` while it is open.
bool runDialog(BlockDefinition *definition, bool readOnly, const std::function<void(QDialog *)> &act,
               QDialogButtonBox::StandardButton button)
{
    QTimer::singleShot(0, [&] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        act(dialog);
        auto *buttons = dialog->findChild<QDialogButtonBox *>();
        if (QAbstractButton *b = buttons ? buttons->button(button) : nullptr)
            b->click();
        else
            dialog->reject();
    });
    return definition->showPropertiesView(readOnly, BlockDefinition::GeneralFamily);
}

void selectPin(QDialog *dialog, const char *list, int identifier)
{
    auto *pins = child<BlockSkinPinList>(dialog, list);
    for (int i = 0; i < pins->topLevelItemCount(); ++i) {
        if (pins->topLevelItem(i)->data(0, Qt::UserRole).toInt() == identifier)
            pins->setCurrentItem(pins->topLevelItem(i));
    }
}

// The pins of a list whose icon says that the details pane shows them.
QList<int> pinsShownInPane(QDialog *dialog, const char *list)
{
    const QImage edit = QIcon(QStringLiteral(":/Resources/pinEdit.png")).pixmap(16).toImage();
    QList<int> shown;
    auto *pins = child<BlockSkinPinList>(dialog, list);
    for (int i = 0; i < pins->topLevelItemCount(); ++i) {
        if (pins->topLevelItem(i)->icon(0).pixmap(16).toImage() == edit)
            shown << pins->topLevelItem(i)->data(0, Qt::UserRole).toInt();
    }
    return shown;
}

enum class PinEdit { AddTwoInputsOneOutput, MoveInputToOutput, MoveThereAndBack, DeleteInput, MoveToFirstPosition, AddOutputOnly };

} // namespace

class tst_Dialogs : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void okWritesBackCancelLeavesModel_data();
    void okWritesBackCancelLeavesModel();
    void pinEdits_data();
    void pinEdits();
    void readOnlyPresentation();
    void accessLevels_data();
    void accessLevels();
    void damagedDefinitions_data();
    void damagedDefinitions();
    void plausibilityGatesOk();
    void descriptionWriteBack_data();
    void descriptionWriteBack();
    void parameterBlockWithoutParameterForFamily();
};

void tst_Dialogs::cleanup()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY2(QApplication::topLevelWidgets().isEmpty(), "a window of the dialog outlived it");
}

void tst_Dialogs::okWritesBackCancelLeavesModel_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("accept");
    QTest::addColumn<QString>("typeText");
    QTest::addColumn<bool>("describedApart");

    const QList<std::tuple<const char *, QString, QString, bool>> kinds{
        {"standard", QStringLiteral("StandardBlock_100"), QStringLiteral("VELMAR Baustein"), false},
        {"system", QStringLiteral("SystemBlock_7"), QStringLiteral("VELMAR Baustein"), false},
        {"user", QStringLiteral("user"), QStringLiteral("Benutzerbaustein"), true},
        {"fallback", QStringLiteral("fallback"), QStringLiteral("Fallback-Baustein"), true},
        {"local", QStringLiteral("local"), QStringLiteral("Lokale Bausteindefinition"), true},
    };
    for (const auto &[name, kind, typeText, described] : kinds) {
        QTest::addRow("%s-ok", name) << kind << true << typeText << described;
        QTest::addRow("%s-cancel", name) << kind << false << typeText << described;
    }
}

void tst_Dialogs::okWritesBackCancelLeavesModel()
{
    QFETCH(QString, kind);
    QFETCH(bool, accept);
    QFETCH(QString, typeText);
    QFETCH(bool, describedApart);

    Sample sample(kind);
    const QStringList before = StoredForm::of(sample.block);
    QString title, shownType, number;
    QStringList tabs, cramped;
    const bool result = runDialog(sample.definition, false, [&](QDialog *dialog) {
        title = dialog->windowTitle();
        shownType = child<QLineEdit>(dialog, "typeEdit")->text();
        number = child<QLineEdit>(dialog, "numberEdit")->text();
        if (auto *tabWidget = dialog->findChild<QTabWidget *>()) {
            for (int i = 0; i < tabWidget->count(); ++i)
                tabs << tabWidget->tabText(i);
        }
        QTest::keyClicks(child<QLineEdit>(dialog, "shortNameEdit"), QStringLiteral("23456789ABCDEFGH"));
        child<QPushButton>(dialog, "newInputButton")->click();
        QApplication::processEvents();
        // With a new pin in the pane, multilingual: four rows in view and every heading whole, without scrolling sideways.
        for (const char *name : {"inputPinList", "outputPinList"}) {
            auto *pins = child<BlockSkinPinList>(dialog, name);
            bool fits = pins->viewport()->height() >= 4 * pins->sizeHintForRow(0) && !pins->horizontalScrollBar()->isVisible();
            for (int i = 0; i < 3; ++i)
                fits = fits && pins->header()->sectionSize(i) >= pins->header()->sectionSizeHint(i);
            if (!fits)
                cramped << QString::fromLatin1(name);
        }
    }, accept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel);

    QCOMPARE(result, accept);
    QCOMPARE(cramped, QStringList());
    QCOMPARE(title, QStringLiteral("Eigenschaften von Regler"));
    QCOMPARE(shownType, typeText);
    if (sample.block->isUserBlock())
        QCOMPARE(number, sample.block->identifier());
    else if (sample.block->isStandardBlock())
        QCOMPARE(number, QStringLiteral("100"));
    // A fallback block is a user block too: its identifier stands in the number field.
    const QStringList describedTabs{QStringLiteral("Eigenschaften"), QStringLiteral("Beschreibung")};
    QCOMPARE(tabs, describedApart ? describedTabs : QStringList());
    if (!accept) {
        QCOMPARE(StoredForm::of(sample.block), before);
        return;
    }
    QCOMPARE(sample.block->shortName(), QStringLiteral("PID23456789ABCDE"));
    QCOMPARE(sample.definition->defaultSkin()->inputPinOrder(), (QList<int>{1, 5, 6}));
    QVERIFY(sample.definition->pin(6));
    QCOMPARE(sample.definition->pin(6)->shortName(), QStringLiteral("newPin"));
    QCOMPARE(int(sample.definition->pin(6)->datatype()), 1);
}

void tst_Dialogs::pinEdits_data()
{
    QTest::addColumn<PinEdit>("edit");
    QTest::addColumn<QList<int>>("inputs");
    QTest::addColumn<QList<int>>("outputs");
    QTest::addColumn<QList<int>>("pins");

    QTest::newRow("identifiers-from-one-counter") << PinEdit::AddTwoInputsOneOutput << QList<int>{1, 5, 6, 7}
                                                  << QList<int>{2, 8} << QList<int>{-1, 1, 2, 5, 6, 7, 8};
    QTest::newRow("output-list-continues-after-highest-pin") << PinEdit::AddOutputOnly << QList<int>{1, 5}
                                                             << QList<int>{2, 6} << QList<int>{-1, 1, 2, 5, 6};
    QTest::newRow("function-moves-pin-to-end-of-other-list") << PinEdit::MoveInputToOutput << QList<int>{5}
                                                             << QList<int>{2, 1} << QList<int>{-1, 1, 2, 5};
    QTest::newRow("function-moves-pin-back-to-end") << PinEdit::MoveThereAndBack << QList<int>{5, 1}
                                                   << QList<int>{2} << QList<int>{-1, 1, 2, 5};
    QTest::newRow("delete-takes-only-its-pin") << PinEdit::DeleteInput << QList<int>{1} << QList<int>{2}
                                               << QList<int>{-1, 1, 2};
    QTest::newRow("position-rotates-order") << PinEdit::MoveToFirstPosition << QList<int>{5, 1} << QList<int>{2}
                                            << QList<int>{-1, 1, 2, 5};
}

void tst_Dialogs::pinEdits()
{
    QFETCH(PinEdit, edit);
    QFETCH(QList<int>, inputs);
    QFETCH(QList<int>, outputs);
    QFETCH(QList<int>, pins);

    Sample sample(QStringLiteral("user"));
    QVERIFY(runDialog(sample.definition, false, [&](QDialog *dialog) {
        switch (edit) {
        case PinEdit::AddTwoInputsOneOutput:
            child<QPushButton>(dialog, "newInputButton")->click();
            child<QPushButton>(dialog, "newInputButton")->click();
            child<QPushButton>(dialog, "newOutputButton")->click();
            break;
        case PinEdit::AddOutputOnly:
            child<QPushButton>(dialog, "newOutputButton")->click();
            break;
        case PinEdit::MoveInputToOutput:
        case PinEdit::MoveThereAndBack:
            selectPin(dialog, "inputPinList", 1);
            child<QComboBox>(dialog, "functionComboBox")->setCurrentIndex(1);
            if (edit == PinEdit::MoveThereAndBack) {
                selectPin(dialog, "outputPinList", 1);
                child<QComboBox>(dialog, "functionComboBox")->setCurrentIndex(0);
            }
            break;
        case PinEdit::DeleteInput:
            selectPin(dialog, "inputPinList", 5);
            child<QPushButton>(dialog, "deleteButton")->click();
            break;
        case PinEdit::MoveToFirstPosition:
            selectPin(dialog, "inputPinList", 5);
            QCOMPARE(child<QSpinBox>(dialog, "positionSpinBox")->value(), 2);
            QCOMPARE(child<QSpinBox>(dialog, "positionSpinBox")->maximum(), 2);
            child<QSpinBox>(dialog, "positionSpinBox")->setValue(1);
            QCOMPARE(child<BlockSkinPinList>(dialog, "inputPinList")->topLevelItem(0)->text(0), QStringLiteral("p5"));
            break;
        }
    }, QDialogButtonBox::Ok));

    QCOMPARE(sample.definition->defaultSkin()->inputPinOrder(), inputs);
    QCOMPARE(sample.definition->defaultSkin()->outputPinOrder(), outputs);
    QCOMPARE(sample.definition->pins(), pins);
    QCOMPARE(sample.definition->pin(1)->function(),
             edit == PinEdit::MoveInputToOutput ? eBlockPinFunctionOutput : eBlockPinFunctionInput);
}

void tst_Dialogs::readOnlyPresentation()
{
    Sample sample(QStringLiteral("StandardBlock_100"));
    const QStringList before = StoredForm::of(sample.block);
    QList<QDialogButtonBox::StandardButton> buttons;
    QStringList buttonTexts;
    QList<int> shownInPane;
    QStringList faults;
    const bool result = runDialog(sample.definition, true, [&](QDialog *dialog) {
        for (QAbstractButton *button : dialog->findChild<QDialogButtonBox *>()->buttons()) {
            buttons << dialog->findChild<QDialogButtonBox *>()->standardButton(button);
            buttonTexts << button->text();
        }
        selectPin(dialog, "inputPinList", 5);
        selectPin(dialog, "inputPinList", 1);
        shownInPane = pinsShownInPane(dialog, "inputPinList");
        for (auto *edit : dialog->findChildren<QLineEdit *>()) {
            if (edit->parent()->inherits("QAbstractSpinBox"))
                continue;
            if (!edit->isReadOnly() || edit->palette().color(QPalette::Base) != edit->palette().color(QPalette::Button))
                faults << edit->objectName() + QStringLiteral(" editable look");
        }
        for (auto *box : dialog->findChildren<QComboBox *>()) {
            const int index = box->currentIndex();
            QTest::keyClick(box, Qt::Key_Down);
            if (box->view()->isEnabled() || box->currentIndex() != index)
                faults << box->objectName() + QStringLiteral(" changeable");
        }
        auto *position = child<QSpinBox>(dialog, "positionSpinBox");
        if (!position->isReadOnly() || position->palette().color(QPalette::Base) != position->palette().color(QPalette::Button))
            faults << QStringLiteral("positionSpinBox editable look");
        for (const char *name : {"newInputButton", "newOutputButton", "deleteButton"}) {
            if (child<QPushButton>(dialog, name)->isEnabled())
                faults << QString::fromLatin1(name) + QStringLiteral(" enabled");
        }
        QTest::keyClicks(child<QLineEdit>(dialog, "shortNameEdit"), QStringLiteral("X"));
    }, QDialogButtonBox::Close);

    QVERIFY(!result);
    QCOMPARE(buttons, QList<QDialogButtonBox::StandardButton>{QDialogButtonBox::Close});
    QCOMPARE(buttonTexts, QStringList{QStringLiteral("Schließen")});
    QCOMPARE(shownInPane, QList<int>{1});
    QCOMPARE(faults, QStringList());
    QCOMPARE(StoredForm::of(sample.block), before);
}

void tst_Dialogs::accessLevels_data()
{
    QTest::addColumn<unsigned>("user");
    QTest::addColumn<unsigned>("read");
    QTest::addColumn<unsigned>("write");
    QTest::addColumn<QList<unsigned>>("readRows");
    QTest::addColumn<QList<unsigned>>("writeRows");

    // Levels up to the user's own, and up to a higher level already set.
    QTest::newRow("read-above-user") << 1u << 3u << 0u << QList<unsigned>{0, 1, 2, 3} << QList<unsigned>{0, 1};
    QTest::newRow("user-above-both") << 2u << 1u << 0u << QList<unsigned>{0, 1, 2} << QList<unsigned>{0, 1, 2};
    QTest::newRow("write-at-top") << 0u << 0u << 7u << QList<unsigned>{0} << QList<unsigned>{0, 1, 2, 3, 4, 5, 6, 7};
}

void tst_Dialogs::accessLevels()
{
    QFETCH(unsigned, user);
    QFETCH(unsigned, read);
    QFETCH(unsigned, write);
    QFETCH(QList<unsigned>, readRows);
    QFETCH(QList<unsigned>, writeRows);

    Sample sample(QStringLiteral("user"));
    sample.definition->setAccessLevelRead(read);
    sample.definition->setAccessLevelWrite(write);
    const unsigned previousUser = System::instance()->currentAccessLevel();
    System::instance()->setCurrentAccessLevel(user);
    QList<unsigned> shownRead, shownWrite;
    QList<int> current;
    QVERIFY(runDialog(sample.definition, false, [&](QDialog *dialog) {
        for (auto [name, rows] : {std::pair{"levelReadComboBox", &shownRead}, {"levelWriteComboBox", &shownWrite}}) {
            auto *box = child<QComboBox>(dialog, name);
            for (int i = 0; i < box->count(); ++i)
                *rows << box->itemData(i).toUInt();
            current << box->currentIndex();
        }
        child<QComboBox>(dialog, "levelReadComboBox")->setCurrentIndex(0);
    }, QDialogButtonBox::Ok));
    System::instance()->setCurrentAccessLevel(previousUser);

    QCOMPARE(shownRead, readRows);
    QCOMPARE(shownWrite, writeRows);
    QCOMPARE(current, (QList<int>{int(read), int(write)}));
    QCOMPARE(sample.definition->accessLevelRead(), 0u);
    QCOMPARE(sample.definition->accessLevelWrite(), write);
}

void tst_Dialogs::damagedDefinitions_data()
{
    QTest::addColumn<QList<int>>("inputOrder");
    QTest::addColumn<int>("unknownType");
    QTest::addColumn<QStringList>("shownPositions");
    QTest::addColumn<QString>("shownType");

    // Items sort by position; a pin the order names without a pin shows an empty row.
    QTest::newRow("order-names-missing-pin") << QList<int>{9, 1, 5} << 4 << QStringList{"1", "2", "3"}
                                             << QStringLiteral("Ganzzahl 16 Bit mit Vorzeichen");
    QTest::newRow("no-stored-order-shows-own-order") << QList<int>{} << 4 << QStringList{"1", "2"}
                                                     << QStringLiteral("Ganzzahl 16 Bit mit Vorzeichen");
    QTest::newRow("pin-missing-from-order") << QList<int>{5} << 4 << QStringList{"1"}
                                            << QStringLiteral("Ganzzahl 16 Bit mit Vorzeichen");
    QTest::newRow("unknown-data-type") << QList<int>{1, 5} << 99 << QStringList{"1", "2"} << QStringLiteral("Unbekannt");
    QTest::newRow("address-type-not-offered") << QList<int>{1, 5} << 17 << QStringList{"1", "2"} << QStringLiteral("Unbekannt");
}

void tst_Dialogs::damagedDefinitions()
{
    QFETCH(QList<int>, inputOrder);
    QFETCH(int, unknownType);
    QFETCH(QStringList, shownPositions);
    QFETCH(QString, shownType);

    Sample sample(QStringLiteral("user"));
    sample.definition->defaultSkin()->setInputPinOrder(inputOrder);
    sample.definition->pin(1)->setSimpleType(tSimpleType(unknownType));
    const QStringList before = StoredForm::of(sample.block);
    const bool showsPin1 = inputOrder.isEmpty() || inputOrder.contains(1);
    QStringList positions;
    QString type;
    QVERIFY(!runDialog(sample.definition, false, [&](QDialog *dialog) {
        auto *inputs = child<BlockSkinPinList>(dialog, "inputPinList");
        for (int i = 0; i < inputs->topLevelItemCount(); ++i)
            positions << inputs->topLevelItem(i)->text(2);
        selectPin(dialog, "inputPinList", showsPin1 ? 1 : 5);
        type = child<QComboBox>(dialog, "datatypeComboBox")->currentText();
        child<QPushButton>(dialog, "newInputButton")->click();
    }, QDialogButtonBox::Cancel));

    QCOMPARE(positions, shownPositions);
    QCOMPARE(type, showsPin1 ? shownType : QStringLiteral("Boolescher Wert"));
    QCOMPARE(StoredForm::of(sample.block), before);
}

void tst_Dialogs::plausibilityGatesOk()
{
    BlockPropertiesDialog dialog;
    QObject *d = nullptr;
    for (QObject *each : dialog.children()) {
        if (qstrcmp(each->metaObject()->className(), "BlockPropertiesDialogPrivate") == 0)
            d = each;
    }
    QVERIFY(d);
    BlockPropertiesSupport *support = dialog.support();
    support->setProperty(QStringLiteral("PdoMapping"), true);
    support->setProperty(QStringLiteral("EnableOff"), true);
    QVERIFY(QMetaObject::invokeMethod(d, "setContent", Q_ARG(QWidget *, new QWidget), Q_ARG(int, 1), Q_ARG(bool, false)));

    QPushButton *ok = dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
    auto *status = dialog.findChild<QLabel *>(QStringLiteral("statusLabel"));
    QVERIFY(!ok->isEnabled());
    QVERIFY(!status->text().isEmpty());
    QCOMPARE(status->text(), support->evaluator()->lastMessage());

    // A new value alone counts only once the support checks again.
    for (const auto &[key, value] : {std::pair{"EnableOff", QVariant(false)}, {"PdoMapping", QVariant(false)},
                                     {"WriteLevel", QVariant(3)}, {"SaveInKT", QVariant(true)}})
        support->setProperty(QString::fromLatin1(key), value);
    QVERIFY(!ok->isEnabled());
    support->checkPlausibility();
    QVERIFY(ok->isEnabled());
    QCOMPARE(status->text(), QString());
}

void tst_Dialogs::descriptionWriteBack_data()
{
    QTest::addColumn<bool>("parameter");
    QTest::addColumn<bool>("readOnly");
    QTest::addColumn<QString>("typed");
    for (const char *view : {"version", "parameter"}) {
        const bool parameter = qstrcmp(view, "parameter") == 0;
        QTest::addRow("%s-typed", view) << parameter << false << QStringLiteral("Neu ");
        QTest::addRow("%s-untouched", view) << parameter << false << QString();
        QTest::addRow("%s-read-only", view) << parameter << true << QStringLiteral("Neu ");
    }
}

void tst_Dialogs::descriptionWriteBack()
{
    QFETCH(bool, parameter);
    QFETCH(bool, readOnly);
    QFETCH(QString, typed);

    Sample sample(QStringLiteral("user"));
    const QString stored = QStringLiteral("<p>Alt</p>");
    auto *number7 = new SimpleParameterDefinition;
    number7->setDescriptionText(stored);
    sample.definition->attachParameterGeneralDefinition(7, number7);
    sample.definition->setDescriptionText(stored.toUtf8());
    std::unique_ptr<QWidget> view;
    if (parameter)
        view = std::make_unique<BlockParameterDescriptionView>(sample.definition, 3u, 7u, readOnly);
    else
        view = std::make_unique<BlockDefinitionDescriptionView>(sample.definition, readOnly);
    QCOMPARE(view->findChild<QLabel *>(QStringLiteral("descriptionLabel"))->text(),
             parameter ? QStringLiteral("Beschreibung Parameter 7") : QStringLiteral("Beschreibung Version 0"));
    QTest::keyClicks(child<TextEditWidget>(view.get(), "descriptionEdit")->textEdit(), typed);
    QSignalSpy changed(sample.definition, &BlockDefinition::changed);
    QVERIFY(QMetaObject::invokeMethod(view.get(), "updateBlockDefinition"));

    const QString now = parameter ? number7->descriptionText() : QString::fromUtf8(sample.definition->descriptionText());
    const bool written = !readOnly && !typed.isEmpty();
    QCOMPARE(changed.count(), written ? 1 : 0);
    QVERIFY2(written ? now.contains(QStringLiteral("Neu Alt")) : now == stored, qPrintable(now));
}

void tst_Dialogs::parameterBlockWithoutParameterForFamily()
{
    Sample sample(QStringLiteral("user"));
    sample.definition->attachParameterFamilyDefinition(5, 1, new SimpleParameterDefinition);
    bool bare = false;
    // Nothing to show for the general family: no content, no layout, no buttons; closing
    // the window is all the user can do.
    QVERIFY(!runDialog(sample.definition, false, [&](QDialog *dialog) {
        bare = !dialog->layout() && !dialog->findChild<QDialogButtonBox *>() && !dialog->findChild<QTabWidget *>();
    }, QDialogButtonBox::Ok));
    QVERIFY(bare);
}

QTEST_MAIN(tst_Dialogs)
#include "tst_dialogs.moc"
