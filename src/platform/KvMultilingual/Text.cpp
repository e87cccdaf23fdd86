#include "Text.h"
#include "Text_p.h"

#include "LanguageManager.h"

#include <QtCore/QDataStream>
#include <QtCore/QDebug>

#include <algorithm>
#include <utility>

// Registered when the library loads, so that QMetaType::fromName("Text") and queued
// connections work before any Text has been put into a QVariant.
static void registerTextMetaType()
{
    qRegisterMetaType<Text>();
}
Q_CONSTRUCTOR_FUNCTION(registerTextMetaType)

namespace {

// Every empty text shares one data, so that the many objects that start with an empty name
// allocate nothing until a language is set.
const QSharedDataPointer<TextData> &emptyTextData()
{
    static const QSharedDataPointer<TextData> empty(new TextData);
    return empty;
}

} // namespace

Text::Text()
    : d(emptyTextData())
{
}

Text::Text(int language, const QString &text)
    : d(new TextData)
{
    d->texts.append({language, text});
}

Text::Text(const Text &other) = default;
Text::Text(Text &&other) noexcept = default;
Text &Text::operator=(const Text &other) = default;
Text &Text::operator=(Text &&other) noexcept = default;
Text::~Text() = default;

bool Text::operator==(const Text &other) const
{
    if (d == other.d)
        return true;
    const QList<TextData::Entry> &mine = d->texts;
    const QList<TextData::Entry> &theirs = other.d->texts;
    return std::equal(mine.cbegin(), mine.cend(), theirs.cbegin(), theirs.cend(),
                      [](const TextData::Entry &a, const TextData::Entry &b) {
                          return a.language == b.language && a.text == b.text;
                      });
}

void Text::setText(int language, const QString &text)
{
    const TextData *data = d.constData();
    const qsizetype index = data->lowerBound(language);
    const bool stored = data->holdsAt(index, language);
    if (stored && data->texts.at(index).text == text)
        return; // leaves a shared text shared

    if (stored)
        d->texts[index].text = text;
    else
        d->texts.insert(index, {language, text});
}

QString Text::text(int language) const
{
    const QList<TextData::Entry> &texts = d->texts;
    if (texts.isEmpty())
        return QString();
    if (const QString *stored = d->find(language))
        return *stored;
    if (const QString *fallback = d->find(LanguageManager::instance()->fallbackLanguage()))
        return *fallback;
    return texts.constFirst().text;
}

QString Text::text() const
{
    return text(LanguageManager::instance()->currentLanguage());
}

QList<int> Text::textLanguages() const
{
    QList<int> languages;
    languages.reserve(d->texts.size());
    for (const TextData::Entry &entry : d->texts)
        languages.append(entry.language);
    return languages;
}

bool Text::hasText(int language) const
{
    return d->find(language) != nullptr;
}

bool Text::isEmpty() const
{
    return d->texts.isEmpty();
}

void Text::removeText(int language)
{
    const qsizetype index = d.constData()->lowerBound(language);
    if (!d.constData()->holdsAt(index, language))
        return;
    if (d.constData()->texts.size() == 1)
        d = emptyTextData();
    else
        d->texts.remove(index);
}

void Text::removeAll()
{
    if (!d->texts.isEmpty())
        d = emptyTextData();
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
    d->texts.append({language, kept});
}

void Text::convertToMultilingual()
{
    const QList<int> languages = LanguageManager::instance()->languageList();
    // Read every missing language from the unchanged text first: filling in one language
    // must not change what the next one falls back to.
    QList<TextData::Entry> added;
    for (int language : languages) {
        if (!d->find(language))
            added.append({language, text(language)});
    }
    if (added.isEmpty())
        return;
    for (const TextData::Entry &entry : std::as_const(added))
        setText(entry.language, entry.text);
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
