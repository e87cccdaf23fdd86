#pragma once

#include <KvMultilingual/Text.h>
#include <KvMultilingual/kvmultilingual_export.h>

#include <QtCore/QMetaType>
#include <QtCore/QSharedDataPointer>

class ParameterTextData;

/*!
 * The name of a drive parameter or of one of its elements: a short text (the few
 * characters a drive display or a column shows) and a long text (the full name), each a
 * multilingual Text.
 *
 * The two texts are independent; the editors keep them in the same language mode by
 * converting both together (convertToMonolingual(), convertToMultilingual()).
 * Implicitly shared and cheap to copy.
 */
class KVMULTILINGUAL_EXPORT ParameterText
{
public:
    ParameterText();
    ParameterText(const Text &shortText, const Text &longText);
    ParameterText(const ParameterText &other);
    ParameterText(ParameterText &&other) noexcept;
    ParameterText &operator=(const ParameterText &other);
    ParameterText &operator=(ParameterText &&other) noexcept;
    ~ParameterText();

    void swap(ParameterText &other) noexcept { d.swap(other.d); }

    bool operator==(const ParameterText &other) const;
    bool operator!=(const ParameterText &other) const { return !(*this == other); }

    Text multilingualShortText() const;
    void setMultilingualShortText(const Text &text);
    Text multilingualLongText() const;
    void setMultilingualLongText(const Text &text);

    /*! The short text in \a language, with Text's fallbacks. */
    QString shortText(int language) const;
    /*! The long text in \a language, with Text's fallbacks. */
    QString longText(int language) const;
    void setShortText(int language, const QString &text);
    void setLongText(int language, const QString &text);

    /*! Whether both texts are empty (no language stored in either). */
    bool isEmpty() const;

    /*! Text::convertToMonolingual(\a language) on both texts. */
    void convertToMonolingual(int language);
    /*! Text::convertToMultilingual() on both texts. */
    void convertToMultilingual();

private:
    QSharedDataPointer<ParameterTextData> d;
};

/*! Writes the short text, then the long text. */
KVMULTILINGUAL_EXPORT QDataStream &operator<<(QDataStream &stream, const ParameterText &text);
/*! Reads what operator<< wrote; on a damaged stream \a text is left unchanged. */
KVMULTILINGUAL_EXPORT QDataStream &operator>>(QDataStream &stream, ParameterText &text);
KVMULTILINGUAL_EXPORT QDebug operator<<(QDebug debug, const ParameterText &text);

Q_DECLARE_METATYPE(ParameterText)
