#pragma once

#include <KvMultilingual/Text.h>
#include <KvMultilingual/kvmultilingual_export.h>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

class QFormLayout;
class QLineEdit;
class TextWidgetProviderPrivate;

/*!
 * Builds and reads the line edits of multilingual texts inside a form that a view owns.
 *
 * Each text is registered under its label and fills one row of the form: one line edit in
 * monolingual display, or one line edit per language of LanguageManager::languageList(),
 * each labelled with the language's name, in multilingual display. The provider keeps a
 * working copy of every text; typing changes the copy, never the model, and text() hands
 * the copy back. The row widgets are children of the form's parent widget and belong to
 * it; clear() and the destructor remove them again.
 */
class KVMULTILINGUAL_EXPORT TextWidgetProvider : public QObject
{
    Q_OBJECT

public:
    explicit TextWidgetProvider(QObject *parent = nullptr);
    ~TextWidgetProvider() override;

    /*!
     * The form to fill, and the row the first text goes to (-1: after the form's rows).
     * Rows already built move to the new place.
     */
    void setFormLayout(QFormLayout *layout, int row = -1);
    QFormLayout *formLayout() const;

    /*!
     * Registers \a text under \a label with at most \a maxLength characters per language
     * and builds its row in the current display. A label registered already keeps its row
     * and takes the new text and length.
     */
    void addText(const QString &label, const Text &text, int maxLength);
    /*! Replaces the working copy under \a label; ignored for an unknown label. */
    void setText(const QString &label, const Text &text);
    /*! The working copy under \a label; an empty Text for an unknown label. */
    Text text(const QString &label) const;
    QStringList labels() const;

    /*!
     * Shows every text in all languages; each text is first given the languages it lacks
     * (Text::convertToMultilingual()).
     */
    void setMultilingual();
    /*! Shows every text in \a language only; each text keeps only that language. */
    void setMonolingual(int language);
    bool isMultilingual() const;
    /*! The language of the monolingual display. */
    int monolingualLanguage() const;

    void setReadOnly(bool readOnly);
    bool isReadOnly() const;

    /*! Removes every row and text. */
    void clear();

    /*! The line edits of all rows, in form order; owned by the form's widget. */
    QList<QLineEdit *> lineEdits() const;

Q_SIGNALS:
    /*! Emitted once per edit the user makes in any of the line edits; never for program changes. */
    void modified();

private:
    TextWidgetProviderPrivate *const d;
    Q_DISABLE_COPY_MOVE(TextWidgetProvider)
};
