#include "TypedIni_p.h"

#include <KvMultilingual/Text.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxUtilities/IniParser.h>
#include <LxUtilities/StreamType.h>

#include "StoredNames_p.h"

#include <limits>

namespace {

const QByteArray ByteOrderMark("\xEF\xBB\xBF");
const QByteArray LineEnd("\r\n");

template<typename Number>
QByteArray joinNumbers(const QList<Number> &values)
{
    QByteArray joined;
    for (int i = 0; i < values.size(); ++i) {
        if (i)
            joined += ',';
        joined += QByteArray::number(values.at(i), 10);
    }
    return joined;
}

} // namespace

TypedIniWriter::TypedIniWriter(const QString &kind, unsigned int version, TextEncoding encoding)
    : m_encoding(encoding)
{
    if (encoding == TextEncoding::Utf8)
        m_lines.append(ByteOrderMark);
    m_lines.append(";type=\"" + kind.toLatin1() + "\" version=\"" + QByteArray::number(version) + '"');
    m_lines.append(QByteArray());
}

void TypedIniWriter::beginSection(const QByteArray &name)
{
    if (m_inSection)
        m_lines.append(QByteArray());
    m_lines.append('[' + name + ']');
    m_inSection = true;
}

QByteArray TypedIniWriter::encode(const QString &value) const
{
    // A line break in a value would end its line, and what follows would read as keys and
    // sections of their own: a name could rewrite other fields. Each break (CR LF, CR or LF)
    // is written as one space, so that every stream reads back key for key.
    if (value.contains(QLatin1Char('\n')) || value.contains(QLatin1Char('\r'))) {
        QString flat = value;
        flat.replace(QLatin1String("\r\n"), QLatin1String(" "));
        flat.replace(QLatin1Char('\r'), QLatin1Char(' '));
        flat.replace(QLatin1Char('\n'), QLatin1Char(' '));
        return encode(flat);
    }
    return m_encoding == TextEncoding::Utf8 ? value.toUtf8() : value.toLatin1();
}

void TypedIniWriter::addText(const QByteArray &key, const QString &value)
{
    m_lines.append(key + '=' + encode(value));
}

void TypedIniWriter::addNumber(const QByteArray &key, qint64 value)
{
    m_lines.append(key + '=' + QByteArray::number(value, 10));
}

void TypedIniWriter::addUnsigned(const QByteArray &key, quint64 value)
{
    m_lines.append(key + '=' + QByteArray::number(value, 10));
}

void TypedIniWriter::addFlag(const QByteArray &key, bool value)
{
    m_lines.append(key + (value ? "=1" : "=0"));
}

void TypedIniWriter::addNumberList(const QByteArray &key, const QList<int> &values)
{
    m_lines.append(key + '=' + joinNumbers(values));
}

void TypedIniWriter::addNumberList(const QByteArray &key, const QList<unsigned int> &values)
{
    m_lines.append(key + '=' + joinNumbers(values));
}

void TypedIniWriter::addLanguages(const Text &text)
{
    const QList<int> languages = text.textLanguages();
    for (int language : languages)
        addText(QByteArray::number(language), text.text(language));
}

void TypedIniWriter::addRawLine(const QByteArray &line)
{
    m_lines.append(line);
}

QByteArray TypedIniWriter::data() const
{
    QByteArray result;
    qsizetype size = 0;
    for (const QByteArray &line : m_lines)
        size += line.size() + LineEnd.size();
    result.reserve(size);
    for (const QByteArray &line : m_lines) {
        result += line;
        result += LineEnd;
    }
    return result;
}

void TypedIniWriter::write(FileStorageView *storage, const QString &streamName) const
{
    storage->writeStream(streamName, data());
}

TypedIniReader::TypedIniReader() = default;
TypedIniReader::~TypedIniReader() = default;

bool TypedIniReader::open(const FileStorageView *storage, const QString &streamName, const QString &kind)
{
    if (!hasStream(storage, streamName))
        return false;
    return setData(storage->readStream(streamName), kind);
}

bool TypedIniReader::setData(const QByteArray &data, const QString &kind)
{
    StreamType type;
    type.setStreamData(data);
    m_parser.reset();
    if (!type.contains(kind) || type.version(kind) != 0)
        return false;
    m_parser = std::make_unique<LxIniParser::IniParser>();
    m_parser->setIniText(data);
    return true;
}

void TypedIniReader::setForceUtf8(bool force)
{
    m_forceUtf8 = force;
}

LxIniParser::IniSection *TypedIniReader::section(const QByteArray &name) const
{
    return m_parser ? m_parser->section(name) : nullptr;
}

bool TypedIniReader::hasSection(const QByteArray &name) const
{
    return section(name) != nullptr;
}

QList<QByteArray> TypedIniReader::sectionNames() const
{
    return m_parser ? m_parser->allSectionNames() : QList<QByteArray>();
}

QList<QByteArray> TypedIniReader::keys(const QByteArray &name) const
{
    LxIniParser::IniSection *s = section(name);
    return s ? s->keys() : QList<QByteArray>();
}

bool TypedIniReader::contains(const QByteArray &name, const QByteArray &key) const
{
    LxIniParser::IniSection *s = section(name);
    return s && s->contains(key);
}

QByteArray TypedIniReader::rawValue(const QByteArray &name, const QByteArray &key) const
{
    LxIniParser::IniSection *s = section(name);
    return s ? s->value(key) : QByteArray();
}

QString TypedIniReader::decode(const QByteArray &bytes) const
{
    if (m_forceUtf8 || (m_parser && !m_parser->latin1Encoded()))
        return QString::fromUtf8(bytes);
    return QString::fromLatin1(bytes);
}

bool TypedIniReader::text(const QByteArray &name, const QByteArray &key, QString *value) const
{
    if (!contains(name, key))
        return false;
    *value = decode(rawValue(name, key));
    return true;
}

bool TypedIniReader::number(const QByteArray &name, const QByteArray &key, int *value) const
{
    if (!contains(name, key))
        return false;
    bool ok = false;
    const long converted = rawValue(name, key).toLong(&ok, 10);
    if (!ok || converted < std::numeric_limits<int>::min() || converted > std::numeric_limits<int>::max())
        return false;
    *value = static_cast<int>(converted);
    return true;
}

bool TypedIniReader::unsignedNumber(const QByteArray &name, const QByteArray &key, unsigned int *value) const
{
    if (!contains(name, key))
        return false;
    bool ok = false;
    const unsigned long converted = rawValue(name, key).toULong(&ok, 10);
    // A number that does not fit is skipped like one that does not parse, rather than cut to
    // its low bits, which would read as another, valid value.
    if (!ok || converted > std::numeric_limits<unsigned int>::max())
        return false;
    *value = static_cast<unsigned int>(converted);
    return true;
}

QList<int> TypedIniReader::numberList(const QByteArray &name, const QByteArray &key) const
{
    QList<int> values;
    const QByteArray raw = rawValue(name, key);
    if (raw.isEmpty())
        return values;
    for (const QByteArray &piece : raw.split(',')) {
        bool ok = false;
        const long converted = piece.toLong(&ok, 10);
        if (ok && converted >= std::numeric_limits<int>::min() && converted <= std::numeric_limits<int>::max())
            values.append(static_cast<int>(converted));
    }
    return values;
}

QList<unsigned int> TypedIniReader::unsignedList(const QByteArray &name, const QByteArray &key) const
{
    QList<unsigned int> values;
    const QByteArray raw = rawValue(name, key);
    if (raw.isEmpty())
        return values;
    for (const QByteArray &piece : raw.split(',')) {
        bool ok = false;
        const unsigned long converted = piece.toULong(&ok, 10);
        if (ok && converted <= std::numeric_limits<unsigned int>::max())
            values.append(static_cast<unsigned int>(converted));
    }
    return values;
}

bool TypedIniReader::languages(const QByteArray &name, Text *value) const
{
    LxIniParser::IniSection *s = section(name);
    if (!s)
        return false;
    Text result;
    const QList<QByteArray> languageKeys = s->keys();
    for (const QByteArray &key : languageKeys) {
        bool ok = false;
        const int language = key.toInt(&ok, 10);
        if (ok)
            result.setText(language, decode(s->value(key)));
    }
    *value = result;
    return true;
}

bool hasStream(const FileStorageView *storage, const QString &name)
{
    return storage->streamNames().contains(name);
}

bool hasStorage(const FileStorageView *storage, const QString &name)
{
    return storage->storageNames().contains(name);
}

QList<NumberedStorage> numberedStorages(FileStorageView *parent, const QString &name)
{
    QList<NumberedStorage> result;
    if (!hasStorage(parent, name))
        return result;
    FileStorageView *storage = parent->storage(name);
    const QStringList names = storage->storageNames();
    for (const QString &childName : names) {
        unsigned int number = 0;
        if (StoredNames::decimal(childName, &number) == StoredNames::Number::Valid)
            result.append(NumberedStorage{number, storage->storage(childName)});
    }
    return result;
}
