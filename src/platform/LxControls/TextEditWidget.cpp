#include "TextEditWidget.h"
#include "TextEditWidget_p.h"

#include <QtGui/QFocusEvent>
#include <QtWidgets/QTextEdit>
#include <QtWidgets/QVBoxLayout>

TextEditWidget::TextEditWidget(QWidget *parent)
    : QWidget(parent)
    , d(new TextEditWidgetPrivate)
{
    d->edit = new QTextEdit(this);
    d->edit->setObjectName(QStringLiteral("textEdit"));
    d->edit->installEventFilter(this);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(d->edit);
    setFocusProxy(d->edit);

    connect(d->edit, &QTextEdit::textChanged, this, [this] {
        if (d->settingContent)
            return;
        d->modified = true;
        d->unfinished = true;
        Q_EMIT textChanged();
    });
}

TextEditWidget::~TextEditWidget()
{
    d->edit->removeEventFilter(this);
    delete d;
}

QString TextEditWidget::text() const
{
    return d->edit->toPlainText();
}

void TextEditWidget::setText(const QString &text)
{
    d->settingContent = true;
    d->edit->setPlainText(text);
    d->settingContent = false;
    d->modified = false;
    d->unfinished = false;
}

QString TextEditWidget::html() const
{
    return d->edit->toHtml();
}

void TextEditWidget::setHtml(const QString &html)
{
    d->settingContent = true;
    d->edit->setHtml(html);
    d->settingContent = false;
    d->modified = false;
    d->unfinished = false;
}

bool TextEditWidget::isReadOnly() const
{
    return d->edit->isReadOnly();
}

void TextEditWidget::setReadOnly(bool readOnly)
{
    d->edit->setReadOnly(readOnly);
    if (readOnly) {
        QPalette palette = d->edit->palette();
        palette.setColor(QPalette::Base, palette.color(QPalette::Button));
        d->edit->setPalette(palette);
    } else {
        // An empty palette resolves nothing of its own, so the editor inherits again.
        d->edit->setPalette(QPalette());
    }
}

bool TextEditWidget::isModified() const
{
    return d->modified;
}

QTextEdit *TextEditWidget::textEdit() const
{
    return d->edit;
}

bool TextEditWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == d->edit && event->type() == QEvent::FocusOut && d->unfinished) {
        // A context menu takes the focus only for a moment; the entry is still in progress.
        if (static_cast<QFocusEvent *>(event)->reason() != Qt::PopupFocusReason) {
            d->unfinished = false;
            Q_EMIT editingFinished();
        }
    }
    return QWidget::eventFilter(watched, event);
}
