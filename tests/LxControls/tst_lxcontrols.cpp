#include <LxControls/LineEdit.h>
#include <LxControls/TextEditWidget.h>

#include <QtCore/QRegularExpression>
#include <QtGui/QRegularExpressionValidator>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QTextEdit>
#include <QtWidgets/QVBoxLayout>

#include <memory>

namespace {

// A shown, active window holding the widget under test and a second field that takes the
// focus away from it.
class FocusWindow : public QWidget
{
public:
    explicit FocusWindow(QWidget *subject)
        : other(new QLineEdit(this))
    {
        auto *layout = new QVBoxLayout(this);
        layout->addWidget(subject);
        layout->addWidget(other);
        show();
        activateWindow();
    }

    QLineEdit *const other; // child of the window
};

} // namespace

class LxControlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void lineEditCommits_data();
    void lineEditCommits();
    void lineEditEscapeReachesDialogOnlyWithoutChange();
    void textEditWidgetSignals();
    void textEditWidgetReadOnly();
};

void LxControlsTest::cleanup()
{
    QVERIFY2(QApplication::topLevelWidgets().isEmpty(), "a window was left behind");
}

void LxControlsTest::lineEditCommits_data()
{
    QTest::addColumn<QString>("initial");
    QTest::addColumn<bool>("validated");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("commits");
    QTest::addColumn<QString>("finalText");

    // Steps: "type:<keys>", "clear" (select all, delete), "backspace", "return", "enter",
    // "escape", "leave" (focus to the other field), "back" (focus to the edit),
    // "set:<text>" (LineEdit::setText), "base-set:<text>" (QLineEdit::setText).
    // validated: the edit accepts only P and two or three digits.
    QTest::newRow("return-after-typing") << "" << false << QStringList{"type:abc", "return"} << QStringList{"abc"} << "abc";
    QTest::newRow("enter-then-leave-commits-once") << "" << false << QStringList{"type:abc", "enter", "leave", "back", "return"}
                                                   << QStringList{"abc"} << "abc";
    QTest::newRow("two-entries") << "" << false << QStringList{"type:a", "return", "type:b", "leave"} << QStringList{"a", "ab"} << "ab";
    QTest::newRow("no-change") << "abc" << false << QStringList{"return", "leave", "back", "enter"} << QStringList{} << "abc";
    QTest::newRow("typed-back-to-committed") << "abc" << false << QStringList{"type:d", "backspace", "return"} << QStringList{} << "abc";
    QTest::newRow("cleared-commits-empty") << "abc" << false << QStringList{"clear", "return"} << QStringList{""} << "";
    QTest::newRow("program-text-is-not-a-commit") << "abc" << false << QStringList{"type:d", "set:xyz", "return", "leave"}
                                                  << QStringList{} << "xyz";
    QTest::newRow("base-class-text-is-not-a-commit") << "abc" << false << QStringList{"base-set:xyz", "leave"} << QStringList{} << "xyz";
    QTest::newRow("commit-after-program-text") << "abc" << false << QStringList{"base-set:xyz", "type:q", "return"}
                                               << QStringList{"xyzq"} << "xyzq";
    QTest::newRow("escape-restores") << "abc" << false << QStringList{"type:d", "escape", "return", "leave"} << QStringList{} << "abc";
    QTest::newRow("escape-restores-last-commit") << "abc" << false << QStringList{"type:d", "return", "type:e", "escape"}
                                                 << QStringList{"abcd"} << "abcd";
    QTest::newRow("validated-acceptable") << "P12" << true << QStringList{"clear", "type:P345", "return"} << QStringList{"P345"} << "P345";
    QTest::newRow("validated-intermediate-return-keeps-entry") << "P12" << true << QStringList{"clear", "type:P3", "return"}
                                                               << QStringList{} << "P3";
    QTest::newRow("validated-intermediate-leave-restores") << "P12" << true << QStringList{"clear", "type:P3", "leave"}
                                                           << QStringList{} << "P12";
}

void LxControlsTest::lineEditCommits()
{
    QFETCH(QString, initial);
    QFETCH(bool, validated);
    QFETCH(QStringList, steps);
    QFETCH(QStringList, commits);
    QFETCH(QString, finalText);

    auto *edit = new LineEdit(initial);
    if (validated) {
        edit->setValidator(new QRegularExpressionValidator(
            QRegularExpression(QStringLiteral("^(P)([0-9][0-9]{1,2})$")), edit));
    }
    FocusWindow window(edit);
    QVERIFY(QTest::qWaitForWindowActive(&window));
    edit->setFocus();
    QVERIFY(edit->hasFocus());
    edit->end(false);

    QSignalSpy spy(edit, &LineEdit::textCommited);
    for (const QString &step : steps) {
        const QString argument = step.section(QLatin1Char(':'), 1);
        if (step.startsWith(QLatin1String("type:"))) {
            QTest::keyClicks(edit, argument);
        } else if (step == QLatin1String("clear")) {
            edit->selectAll();
            QTest::keyClick(edit, Qt::Key_Delete);
        } else if (step == QLatin1String("backspace")) {
            QTest::keyClick(edit, Qt::Key_Backspace);
        } else if (step == QLatin1String("return")) {
            QTest::keyClick(edit, Qt::Key_Return);
        } else if (step == QLatin1String("enter")) {
            QTest::keyClick(edit, Qt::Key_Enter, Qt::KeypadModifier);
        } else if (step == QLatin1String("escape")) {
            QTest::keyClick(edit, Qt::Key_Escape);
        } else if (step == QLatin1String("leave")) {
            window.other->setFocus(Qt::TabFocusReason);
            QVERIFY(!edit->hasFocus());
        } else if (step == QLatin1String("back")) {
            edit->setFocus(Qt::TabFocusReason);
            QVERIFY(edit->hasFocus());
        } else if (step.startsWith(QLatin1String("set:"))) {
            edit->setText(argument);
        } else if (step.startsWith(QLatin1String("base-set:"))) {
            static_cast<QLineEdit *>(edit)->setText(argument);
        } else {
            QFAIL(qPrintable(QStringLiteral("unknown step ") + step));
        }
    }

    QStringList emitted;
    for (const QList<QVariant> &arguments : std::as_const(spy))
        emitted << arguments.first().toString();
    QCOMPARE(emitted, commits);
    QCOMPARE(edit->text(), finalText);
    if (!commits.isEmpty())
        QCOMPARE(edit->committedText(), commits.last());
}

void LxControlsTest::lineEditEscapeReachesDialogOnlyWithoutChange()
{
    QDialog dialog;
    auto *edit = new LineEdit(QStringLiteral("abc"), &dialog);
    (new QVBoxLayout(&dialog))->addWidget(edit);
    QSignalSpy rejected(&dialog, &QDialog::rejected);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    edit->setFocus();
    edit->end(false);

    QTest::keyClicks(edit, QStringLiteral("d"));
    QTest::keyClick(edit, Qt::Key_Escape);
    QCOMPARE(edit->text(), QStringLiteral("abc"));
    QCOMPARE(rejected.count(), 0);
    QVERIFY(dialog.isVisible());

    QTest::keyClick(edit, Qt::Key_Escape);
    QCOMPARE(rejected.count(), 1);
    QVERIFY(!dialog.isVisible());
}

void LxControlsTest::textEditWidgetSignals()
{
    auto *widget = new TextEditWidget;
    FocusWindow window(widget);
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QSignalSpy changed(widget, &TextEditWidget::textChanged);
    QSignalSpy finished(widget, &TextEditWidget::editingFinished);

    widget->setText(QStringLiteral("Zeile 1\nZeile 2"));
    widget->setHtml(QStringLiteral("<p>Beschreibung</p>"));
    QCOMPARE(changed.count(), 0);
    QCOMPARE(widget->text(), QStringLiteral("Beschreibung"));
    QVERIFY(!widget->isModified());

    // Focus that comes and goes without an edit finishes nothing.
    widget->setFocus(Qt::TabFocusReason);
    QVERIFY(widget->textEdit()->hasFocus());
    window.other->setFocus(Qt::TabFocusReason);
    QCOMPARE(finished.count(), 0);

    widget->setFocus(Qt::TabFocusReason);
    widget->textEdit()->moveCursor(QTextCursor::End);
    QTest::keyClicks(widget->textEdit(), QStringLiteral("ab"));
    QCOMPARE(changed.count(), 2);
    QVERIFY(widget->isModified());
    QCOMPARE(widget->text(), QStringLiteral("Beschreibungab"));
    window.other->setFocus(Qt::TabFocusReason);
    QCOMPARE(finished.count(), 1);
    widget->setFocus(Qt::TabFocusReason);
    window.other->setFocus(Qt::TabFocusReason);
    QCOMPARE(finished.count(), 1);
    QVERIFY(widget->isModified());

    // Content set by the program ends the pending edit without reporting it.
    widget->setFocus(Qt::TabFocusReason);
    QTest::keyClicks(widget->textEdit(), QStringLiteral("c"));
    widget->setText(QStringLiteral("neu"));
    window.other->setFocus(Qt::TabFocusReason);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(changed.count(), 3);
    QVERIFY(!widget->isModified());
}

void LxControlsTest::textEditWidgetReadOnly()
{
    TextEditWidget widget;
    const QPalette normal = widget.textEdit()->palette();
    widget.setReadOnly(true);
    QVERIFY(widget.isReadOnly());
    QVERIFY(widget.textEdit()->isReadOnly());
    QCOMPARE(widget.textEdit()->palette().color(QPalette::Base),
             normal.color(QPalette::Button));
    widget.setReadOnly(false);
    QVERIFY(!widget.textEdit()->isReadOnly());
    QCOMPARE(widget.textEdit()->palette().color(QPalette::Base), normal.color(QPalette::Base));
}

QTEST_MAIN(LxControlsTest)
#include "tst_lxcontrols.moc"
