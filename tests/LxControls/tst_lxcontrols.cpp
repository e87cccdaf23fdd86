#include <LxControls/LineEdit.h>
#include <LxControls/TextEditWidget.h>

#include <QtCore/QRegularExpression>
#include <QtGui/QRegularExpressionValidator>
#include <QtTest/QTest>
#include <QtWidgets/QDialog>
#include <QtWidgets/QTextEdit>
#include <QtWidgets/QVBoxLayout>

class LxControlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void edits_data();
    void edits();
};

void LxControlsTest::edits_data()
{
    QTest::addColumn<QString>("initial"); // "P…" accepts only P and two or three digits
    QTest::addColumn<QString>("steps");   // keys ("\r" Return, "\b" Backspace, "\x1b" Escape), "|" the
                                          // focus leaves and comes back, "=" the program sets "xyz"
    QTest::addColumn<QStringList>("expected"); // LineEdit commits, the dialog's rejection, in order
    QTest::addColumn<QString>("finalText");
    const auto row = [](const char *name, const char *initial, const char *steps, const QStringList &emitted,
                        const char *finalText) { QTest::newRow(name) << initial << steps << emitted << finalText; };
    row("return-then-leave-commits-once", "", "abc\r|\r", { "abc" }, "abc");
    row("typed-back-to-committed", "abc", "d\b\r|", {}, "abc");
    row("program-text-is-not-a-commit", "abc", "d=|", {}, "xyz");
    row("escape-restores-last-commit", "abc", "d\re\x1b", { "abcd" }, "abcd");
    row("escape-reaches-dialog-only-unchanged", "abc", "d\x1b\x1b", { "<rejected>" }, "abc");
    row("validated-intermediate-return-keeps-entry", "P12", "\b\b3\r", {}, "P3");
    row("validated-intermediate-leave-restores", "P12", "\b\b3|", {}, "P12");
    // A TextEditWidget finishes an edit when the focus leaves; the program's text ends it unreported.
    row("text-edit-finishes-edits-only", "", "|ab|||c=|", { "finished" }, "xyz");
}

void LxControlsTest::edits()
{
    QFETCH(QString, initial);
    QFETCH(QString, steps);
    QFETCH(QStringList, expected);
    QFETCH(QString, finalText);
    QDialog window;
    auto *edit = new LineEdit(initial);
    auto *text = new TextEditWidget;
    auto *other = new QLineEdit;
    auto *layout = new QVBoxLayout(&window);
    for (QWidget *widget : std::initializer_list<QWidget *> { edit, text, other })
        layout->addWidget(widget);
    if (initial.startsWith(QLatin1Char('P')))
        edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("^P[0-9]{2,3}$")), edit));
    QStringList emitted;
    connect(edit, &LineEdit::textCommited, this, [&](const QString &committed) { emitted << committed; });
    connect(text, &TextEditWidget::editingFinished, this, [&] { emitted << QStringLiteral("finished"); });
    connect(&window, &QDialog::rejected, this, [&] { emitted << QStringLiteral("<rejected>"); });
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    const bool lineEdit = !QByteArray(QTest::currentDataTag()).startsWith("text-edit");
    QWidget *input = lineEdit ? static_cast<QWidget *>(edit) : text->textEdit();
    input->setFocus();
    edit->end(false);
    for (const QChar step : steps) {
        if (step == QLatin1Char('|')) {
            other->setFocus(Qt::TabFocusReason);
            input->setFocus(Qt::TabFocusReason);
        } else if (step == QLatin1Char('=')) {
            edit->setText(QStringLiteral("xyz"));
            text->setText(QStringLiteral("xyz"));
        } else {
            QTest::keyClick(input, step.toLatin1());
        }
    }
    QCOMPARE(emitted, expected);
    QCOMPARE(lineEdit ? edit->text() : text->text(), finalText);
    QVERIFY(!text->isModified());
}

QTEST_MAIN(LxControlsTest)
#include "tst_lxcontrols.moc"
