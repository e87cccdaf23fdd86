#pragma once

#include <LxControls/lxcontrols_export.h>

#include <QtWidgets/QWidget>

class QTextEdit;
class TextEditWidgetPrivate;

/*!
 * A multi-line text field for descriptions and notes, plain or HTML.
 *
 * Text set by the program is never reported as an edit: textChanged() and
 * editingFinished() follow what the user types only, so a view can load a model into the
 * field without marking itself modified. Read-only fields get the read-only look of the
 * suite's forms (the base colour is the button colour).
 */
class LXCONTROLS_EXPORT TextEditWidget : public QWidget
{
    Q_OBJECT

public:
    explicit TextEditWidget(QWidget *parent = nullptr);
    ~TextEditWidget() override;

    /*! The content as plain text. */
    QString text() const;
    /*! Replaces the content by plain \a text; emits nothing. */
    void setText(const QString &text);
    /*! The content as an HTML document. */
    QString html() const;
    /*! Replaces the content by \a html; emits nothing. */
    void setHtml(const QString &html);

    bool isReadOnly() const;
    void setReadOnly(bool readOnly);

    /*! Whether the user has changed the content since it was last set by the program. */
    bool isModified() const;

    /*! The editor inside, for settings this class does not offer; owned by this widget. */
    QTextEdit *textEdit() const;

Q_SIGNALS:
    /*! Emitted on every change the user makes to the content; not for setText()/setHtml(). */
    void textChanged();
    /*!
     * Emitted when the focus leaves the field after the user has changed the content since
     * it was set or since the last emission; once per such change.
     */
    void editingFinished();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    TextEditWidgetPrivate *const d;
};
