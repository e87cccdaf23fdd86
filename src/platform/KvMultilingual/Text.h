#pragma once

#include <KvMultilingual/kvmultilingual_export.h>

#include <QtCore/QList>
#include <QtCore/QMetaType>
#include <QtCore/QSharedDataPointer>
#include <QtCore/QString>

class QDataStream;
class QDebug;
class TextData;

/*!
 * A text held in one or more languages, such as the name of a block or a pin.
 *
 * Languages are the numbers LanguageManager lists. A Text stores at most one string per
 * language; which languages it stores decides its mode:
 * - empty: no language stored (a default-constructed Text);
 * - monolingual: exactly one language stored; that string stands for every language;
 * - multilingual: two or more languages stored, each with its own string.
 *
 * Reading a language that is not stored falls back, in this order, to the manager's
 * fallback language, then to the lowest stored language; only an empty Text reads as an
 * empty string for every language. A stored empty string is a text of its own and is
 * returned as it is.
 *
 * Equality compares the stored languages and their strings exactly; a null and an empty
 * QString are equal. Text is implicitly shared and cheap to copy.
 */
class KVMULTILINGUAL_EXPORT Text
{
public:
    Text();
    /*! A monolingual text: \a text stored for \a language. */
    Text(int language, const QString &text);
    Text(const Text &other);
    Text(Text &&other) noexcept;
    Text &operator=(const Text &other);
    Text &operator=(Text &&other) noexcept;
    ~Text();

    void swap(Text &other) noexcept { d.swap(other.d); }

    bool operator==(const Text &other) const;
    bool operator!=(const Text &other) const { return !(*this == other); }

    /*! Stores \a text for \a language, replacing what that language held. */
    void setText(int language, const QString &text);
    /*! The string for \a language, with the fallbacks described in the class comment. */
    QString text(int language) const;
    /*! The string for LanguageManager's current language. */
    QString text() const;
    /*! The stored languages in ascending order. */
    QList<int> textLanguages() const;
    /*! Whether \a language itself is stored (no fallback). */
    bool hasText(int language) const;
    /*! Whether no language is stored. */
    bool isEmpty() const;

    void removeText(int language);
    void removeAll();

    bool isMonolingual() const;
    bool isMultilingual() const;

    /*!
     * Keeps one string only: text(\a language), with the usual fallbacks, stored for
     * \a language. An empty Text becomes a monolingual empty string for \a language.
     */
    void convertToMonolingual(int language);
    /*!
     * Gives every language of LanguageManager::languageList() that is not stored yet the
     * string text(language) would return, so a monolingual text is copied into every
     * language. Languages stored already, also those the manager does not list, are kept.
     * With only one configured language the result stays monolingual.
     */
    void convertToMultilingual();

private:
    QSharedDataPointer<TextData> d;
};

/*! Writes the languages in ascending order with their strings. */
KVMULTILINGUAL_EXPORT QDataStream &operator<<(QDataStream &stream, const Text &text);
/*! Reads what operator<< wrote; on a damaged stream \a text is left unchanged. */
KVMULTILINGUAL_EXPORT QDataStream &operator>>(QDataStream &stream, Text &text);
KVMULTILINGUAL_EXPORT QDebug operator<<(QDebug debug, const Text &text);

Q_DECLARE_METATYPE(Text)
