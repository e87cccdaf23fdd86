#pragma once

#include <KvMultilingual/kvmultilingual_export.h>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPair>
#include <QtCore/QString>

class QWidget;
class LanguageManagerPrivate;

/*!
 * The languages the suite offers texts in, the language the user reads (current) and the
 * language that stands in for a missing one (fallback).
 *
 * One instance per process, created on first use and owned by the library. Out of the box
 * the languages are 1 "Deutsch", 2 "Englisch" and 3 "Französisch"; current and fallback
 * language are 1. Hosts and tests replace the list with setLanguages().
 * Use it from the GUI thread only.
 */
class KVMULTILINGUAL_EXPORT LanguageManager : public QObject
{
    Q_OBJECT

public:
    /*! What askForMonolingualLanguage() returns when the user cancels: all bits set. */
    static constexpr unsigned int Cancelled = 0xFFFFFFFFu;

    /*! The process-wide instance; never null. */
    static LanguageManager *instance();

    /*! The language numbers in ascending order; never empty. */
    QList<int> languageList() const;
    /*! The display name of \a language; empty for a language not in the list. */
    QString languageName(int language) const;
    bool containsLanguage(int language) const;

    int currentLanguage() const;
    /*! Ignored for a language not in the list. */
    void setCurrentLanguage(int language);

    int fallbackLanguage() const;
    /*! Ignored for a language not in the list. */
    void setFallbackLanguage(int language);

    /*!
     * Replaces the languages by \a languages (number and display name; the order does not
     * matter, a repeated number keeps its last name). An empty list is refused. A current
     * or fallback language that is no longer listed moves to the lowest listed language.
     */
    void setLanguages(const QList<QPair<int, QString>> &languages);

    /*!
     * Asks the user, in a modal dialog over \a parent, which language a text about to
     * become monolingual shall keep. The current language is preselected. Returns the
     * chosen language number, or Cancelled.
     */
    unsigned int askForMonolingualLanguage(QWidget *parent);

Q_SIGNALS:
    /*! Emitted by setCurrentLanguage() and setLanguages() when the current language changes. */
    void currentLanguageChanged(int language);
    /*! Emitted by setFallbackLanguage() and setLanguages() when the fallback language changes. */
    void fallbackLanguageChanged(int language);
    /*! Emitted by setLanguages() when the numbers or names differ from before; once per call. */
    void languagesChanged();

private:
    LanguageManager();
    ~LanguageManager() override;
    Q_DISABLE_COPY_MOVE(LanguageManager)

    LanguageManagerPrivate *const d;
};
