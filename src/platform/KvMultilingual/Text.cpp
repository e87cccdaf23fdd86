#include "Text.h"
#include "Text_p.h"

#include "LanguageManager.h"

#include <QtCore/QDataStream>
#include <QtCore/QDebug>

// Registered when the library loads, so that QMetaType::fromName("Text") and queued
// connections work before any Text has been put into a QVariant.
static void registerTextMetaType()
{
    qRegisterMetaType<Text>();
}
Q_CONSTRUCTOR_FUNCTION(registerTextMetaType)

Text::Text()
    : d(new TextData)
{
}

Text::Text(int language, const QString &text)
    : d(new TextData)
{
    d->texts.insert(language, text);
}

Text::Text(const Text &other) = default;
Text::Text(Text &&other) noexcept = default;
Text &Text::operator=(const Text &other) = default;
Text &Text::operator=(Text &&other) noexcept = default;
Text::~Text() = default;

bool Text::operator==(const Text &other) const
{
    return d == other.d || d->texts == other.d->texts;
}

void Text::setText(int language, const QString &text)
{
    const auto it = d->texts.constFind(language);
    if (it != d->texts.constEnd() && *it == text)
        return; // leaves a shared text shared

    d->texts.insert(language, text);
}

QString Text::text(int language) const
{
    const QMap<int, QString> &texts = d->texts;
    if (texts.isEmpty())
        return QString();
    auto it = texts.constFind(language);
    if (it != texts.constEnd())
        return *it;
    it = texts.constFind(LanguageManager::instance()->fallbackLanguage());
    if (it != texts.constEnd())
        return *it;
    return texts.constBegin().value();
}

QString Text::text() const
{
    return text(LanguageManager::instance()->currentLanguage());
}

QList<int> Text::textLanguages() const
{
    return d->texts.keys();
}

bool Text::hasText(int language) const
{
    return d->texts.contains(language);
}

bool Text::isEmpty() const
{
    return d->texts.isEmpty();
}

void Text::removeText(int language)
{
    if (d->texts.contains(language))
        d->texts.remove(language);
}

void Text::removeAll()
{
    if (!d->texts.isEmpty())
        d->texts.clear();
}

bool Text::isMonolingual() const
{
    return d->texts.size() == 1;
}

bool Text::isMultilingual() const
{
    return d->texts.size() > 1;
}

void Text::convertToMonolingual(int language)
{
    const QString kept = text(language);
    d->texts.clear();
    d->texts.insert(language, kept);
}

void Text::convertToMultilingual()
{
    const QList<int> languages = LanguageManager::instance()->languageList();
    // Read every missing language from the unchanged text first: filling in one language
    // must not change what the next one falls back to.
    QMap<int, QString> added;
    for (int language : languages) {
        if (!d->texts.contains(language))
            added.insert(language, text(language));
    }
    if (added.isEmpty())
        return;
    d->texts.insert(added);
}

QDataStream &operator<<(QDataStream &stream, const Text &text)
{
    const QList<int> languages = text.textLanguages();
    stream << quint32(languages.size());
    for (int language : languages)
        stream << qint32(language) << text.text(language);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, Text &text)
{
    quint32 count = 0;
    stream >> count;
    Text result;
    for (quint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        qint32 language = 0;
        QString string;
        stream >> language >> string;
        if (stream.status() == QDataStream::Ok)
            result.setText(language, string);
    }
    if (stream.status() == QDataStream::Ok)
        text = result;
    return stream;
}

QDebug operator<<(QDebug debug, const Text &text)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "Text(";
    const QList<int> languages = text.textLanguages();
    for (qsizetype i = 0; i < languages.size(); ++i) {
        if (i > 0)
            debug << ", ";
        debug << languages.at(i) << ": " << text.text(languages.at(i));
    }
    debug << ')';
    return debug;
}
