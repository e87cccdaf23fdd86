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

namespace {

// Shows the subject in an active dialog above a second field that takes the focus away.
QLineEdit *showWithOtherField(QDialog &window, QWidget *subject)
{
    auto *other = new QLineEdit(&window);
    auto *layout = new QVBoxLayout(&window);
    layout->addWidget(subject);
    layout->addWidget(other);
    window.show();
    return QTest::qWaitForWindowActive(&window) ? other : nullptr;
}

} // namespace

class LxControlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QVERIFY2(QApplication::topLevelWidgets().isEmpty(), "a window was left behind"); }
    void lineEditCommits_data();
    void lineEditCommits();
    void textEditWidgetFinishesEditsOnly();
};

void LxControlsTest::lineEditCommits_data()
{
    QTest::addColumn<QString>("initial");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("commits");
    QTest::addColumn<QString>("finalText");
    // Steps: "type:<keys>", "backspace", "return", "enter", "escape", "leave" (focus to
    // the other field), "back", "set:<text>" (LineEdit::setText), "base-set:<text>"
    // (QLineEdit::setText). Edits starting with "P" accept only P and two or three digits.
    const auto row = [](const char *name, const char *initial, const QStringList &steps, const QStringList &commits,
                        const char *finalText) { QTest::newRow(name) << initial << steps << commits << finalText; };
    row("return-after-typing", "", { "type:abc", "return" }, { "abc" }, "abc");
    row("enter-then-leave-commits-once", "", { "type:abc", "enter", "leave", "back", "return" }, { "abc" }, "abc");
    row("no-change", "abc", { "return", "leave", "back", "enter" }, {}, "abc");
    row("typed-back-to-committed", "abc", { "type:d", "backspace", "return" }, {}, "abc");
    row("program-text-is-not-a-commit", "abc", { "type:d", "set:xyz", "return", "leave" }, {}, "xyz");
    row("base-class-text-is-not-a-commit", "abc", { "base-set:xyz", "leave" }, {}, "xyz");
    row("escape-restores-last-commit", "abc", { "type:d", "return", "type:e", "escape" }, { "abcd" }, "abcd");
    // Only an Escape that has nothing to restore reaches the dialog.
    row("escape-reaches-dialog-only-unchanged", "abc", { "type:d", "escape", "escape" }, { "<rejected>" }, "abc");
    row("validated-intermediate-return-keeps-entry", "P12", { "backspace", "backspace", "type:3", "return" }, {}, "P3");
    row("validated-intermediate-leave-restores", "P12", { "backspace", "backspace", "type:3", "leave" }, {}, "P12");
}

void LxControlsTest::lineEditCommits()
{
    QFETCH(QString, initial);
    QFETCH(QStringList, steps);
    QFETCH(QStringList, commits);
    QFETCH(QString, finalText);
    QDialog window;
    auto *edit = new LineEdit(initial, &window);
    if (initial.startsWith(QLatin1Char('P')))
        edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("^P[0-9]{2,3}$")), edit));
    QLineEdit *other = showWithOtherField(window, edit);
    QVERIFY(other);
    edit->setFocus();
    edit->end(false);
    QStringList emitted; // commits and the dialog's rejection, in order
    connect(edit, &LineEdit::textCommited, this, [&](const QString &text) { emitted << text; });
    connect(&window, &QDialog::rejected, this, [&] { emitted << QStringLiteral("<rejected>"); });

    const QHash<QString, int> keys = { { "backspace", Qt::Key_Backspace }, { "return", Qt::Key_Return },
                                       { "enter", Qt::Key_Enter }, { "escape", Qt::Key_Escape } };
    for (const QString &step : steps) {
        const QString argument = step.section(QLatin1Char(':'), 1);
        if (keys.contains(step))
            QTest::keyClick(edit, Qt::Key(keys.value(step)), step == QLatin1String("enter") ? Qt::KeypadModifier : Qt::NoModifier);
        else if (step.startsWith(QLatin1String("type:")))
            QTest::keyClicks(edit, argument);
        else if (step == QLatin1String("leave") || step == QLatin1String("back"))
            (step == QLatin1String("leave") ? static_cast<QWidget *>(other) : edit)->setFocus(Qt::TabFocusReason);
        else if (step.startsWith(QLatin1String("set:")))
            edit->setText(argument);
        else
            static_cast<QLineEdit *>(edit)->setText(argument);
    }
    QCOMPARE(emitted, commits);
    QCOMPARE(edit->text(), finalText);
}

void LxControlsTest::textEditWidgetFinishesEditsOnly()
{
    QDialog window;
    auto *widget = new TextEditWidget(&window);
    QLineEdit *other = showWithOtherField(window, widget);
    QVERIFY(other);
    QSignalSpy changed(widget, &TextEditWidget::textChanged);
    QSignalSpy finished(widget, &TextEditWidget::editingFinished);
    const auto visit = [&](const QString &keys) {
        widget->setFocus(Qt::TabFocusReason);
        widget->textEdit()->moveCursor(QTextCursor::End);
        QTest::keyClicks(widget->textEdit(), keys);
        other->setFocus(Qt::TabFocusReason);
    };
    widget->setHtml(QStringLiteral("<p>Beschreibung</p>"));
    visit(QString()); // focus that comes and goes without an edit finishes nothing
    QCOMPARE(finished.count(), 0);
    visit(QStringLiteral("ab"));
    visit(QString());
    QCOMPARE(finished.count(), 1);
    QVERIFY(widget->isModified());
    // Content set by the program ends a pending edit without reporting it.
    widget->setFocus(Qt::TabFocusReason);
    QTest::keyClicks(widget->textEdit(), QStringLiteral("c"));
    widget->setText(QStringLiteral("neu"));
    other->setFocus(Qt::TabFocusReason);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(changed.count(), 3);
    QVERIFY(!widget->isModified());
}

QTEST_MAIN(LxControlsTest)
#include "tst_lxcontrols.moc"
