#include "LineEdit.h"
#include "LineEdit_p.h"

#include <QtGui/QFocusEvent>
#include <QtGui/QKeyEvent>

LineEditPrivate::LineEditPrivate(LineEdit *q)
    : q(q)
{
}

void LineEditPrivate::commit()
{
    const QString text = q->text();
    if (text == committedText)
        return;
    committedText = text;
    Q_EMIT q->textCommited(text);
}

void LineEditPrivate::restoreCommittedText()
{
    q->QLineEdit::setText(committedText);
}

LineEdit::LineEdit(QWidget *parent)
    : LineEdit(QString(), parent)
{
}

LineEdit::LineEdit(const QString &text, QWidget *parent)
    : QLineEdit(text, parent)
    , d(new LineEditPrivate(this))
{
    d->committedText = text;
    // QLineEdit emits editingFinished on Return/Enter and on focus loss, and only for
    // acceptable input; comparing with the committed text turns that into one commit.
    connect(this, &QLineEdit::editingFinished, this, [this] { d->commit(); });
    // QLineEdit::setText() is not virtual and resets the modified flag, while user edits
    // set it: a change with the flag clear comes from the program and moves the baseline.
    connect(this, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (!isModified())
            d->committedText = text;
    });
}

LineEdit::~LineEdit()
{
    delete d;
}

QString LineEdit::committedText() const
{
    return d->committedText;
}

void LineEdit::setText(const QString &text)
{
    d->committedText = text;
    QLineEdit::setText(text);
}

void LineEdit::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
    // A context menu takes the focus only for a moment; the entry is still in progress.
    if (event->reason() != Qt::PopupFocusReason && !hasAcceptableInput())
        d->restoreCommittedText();
}

void LineEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier
        && text() != d->committedText) {
        d->restoreCommittedText();
        event->accept();
        return;
    }
    QLineEdit::keyPressEvent(event);
}
