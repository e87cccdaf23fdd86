#pragma once

#include <LxControls/lxcontrols_export.h>

#include <QtWidgets/QLineEdit>

class LineEditPrivate;

/*!
 * A line edit that tells when the user has finished an entry, so that views can take a
 * value once instead of on every keystroke.
 *
 * The edit remembers the committed text: the text last set by the program or last
 * committed by the user. An entry is committed when the user presses Return or Enter, or
 * moves the focus elsewhere, and the text then differs from the committed text.
 * Besides:
 * - An entry the validator does not accept is not committed. Return leaves it for the
 *   user to correct; losing the focus restores the committed text.
 * - Escape restores the committed text when the entry differs from it; otherwise the key
 *   goes on to the parent, so that Escape still closes a dialog.
 */
class LXCONTROLS_EXPORT LineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit LineEdit(QWidget *parent = nullptr);
    explicit LineEdit(const QString &text, QWidget *parent = nullptr);
    ~LineEdit() override;

    /*! The text last set by the program or committed by the user. */
    QString committedText() const;

public Q_SLOTS:
    /*!
     * Shows \a text and makes it the committed text without emitting textCommited().
     * Setting the text through QLineEdit::setText() has the same effect.
     */
    void setText(const QString &text);

Q_SIGNALS:
    /*!
     * Emitted when the user commits an entry that differs from the committed text, once
     * per commit, with the new text. Never emitted for text set by the program.
     */
    void textCommited(const QString &text);

protected:
    void focusOutEvent(QFocusEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    LineEditPrivate *const d;
};
