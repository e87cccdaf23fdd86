#include "ParameterDefinitionFormat_p.h"

#include "ParameterException.h"
#include "RecordParameterDefinition.h"
#include "RecordParameterDefinition_p.h"
#include "SimpleParameterDefinition.h"
#include "SimpleParameterDefinition_p.h"

#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <LxUtilities/IniParser.h>
#include <LxUtilities/StreamType.h>

#include <QtCore/QLocale>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace ParameterDefinitionFormat {

const QString Kind = QStringLiteral("parameterdefinition");

namespace {

const QByteArray ByteOrderMark("\xEF\xBB\xBF");
const QByteArray LineEnd("\r\n");

const QByteArray DefinitionSection("Definition");
const QByteArray ShortNameSection("ShortName");
const QByteArray LongNameSection("LongName");
const QByteArray ElementPrefix("Element_");
const QByteArray PropertyPrefix("Property_");

const QByteArray KindKey("Kind");
const QByteArray ElementCountKey("ElementCount");
const QByteArray GlobalKey("Global");
const QByteArray CoordinatesKey("Coordinates");
const QByteArray DescriptionKey("Description");
const QByteArray DefaultKey("Default");

const QByteArray SimpleKind("simple");
const QByteArray RecordKind("record");

struct TypeTag
{
    ParameterProperty::eType type;
    const char *tag;
};

const TypeTag TypeTags[] = {
    {ParameterProperty::eTypeBool, "bool"},
    {ParameterProperty::eTypeInt, "int"},
    {ParameterProperty::eTypeUInt, "uint"},
    {ParameterProperty::eTypeLongLong, "longlong"},
    {ParameterProperty::eTypeULongLong, "ulonglong"},
    {ParameterProperty::eTypeDouble, "double"},
    {ParameterProperty::eTypeString, "string"},
    {ParameterProperty::eTypeByteArray, "bytes"},
    {ParameterProperty::eTypeText, "text"},
    {ParameterProperty::eTypeParameterText, "ptext"},
    {ParameterProperty::eTypeParameterTextMap, "ptextmap"},
};

[[noreturn]] void fail(const QString &message)
{
    throw ParameterException(message);
}

QString quoted(const QByteArray &bytes)
{
    // Messages quote input bytes; keep them short and printable.
    return QLatin1Char('"') + QString::fromUtf8(bytes.left(40)) + QLatin1Char('"');
}

// ---- writing ----------------------------------------------------------------------------

QByteArray propertyKey(int id)
{
    return PropertyPrefix + QByteArray::number(id);
}

QByteArray encodeProperty(const ParameterProperty &property)
{
    QByteArray tag;
    for (const TypeTag &entry : TypeTags) {
        if (entry.type == property.type())
            tag = entry.tag;
    }
    Q_ASSERT(!tag.isEmpty()); // setups keep valid properties only
    const QVariant value = property.value();
    QByteArray payload;
    switch (property.type()) {
    case ParameterProperty::eTypeBool:
        payload = value.toBool() ? "1" : "0";
        break;
    case ParameterProperty::eTypeInt:
    case ParameterProperty::eTypeLongLong:
        payload = QByteArray::number(value.toLongLong());
        break;
    case ParameterProperty::eTypeUInt:
    case ParameterProperty::eTypeULongLong:
        payload = QByteArray::number(value.toULongLong());
        break;
    case ParameterProperty::eTypeDouble:
        payload = formatDouble(value.toDouble());
        break;
    case ParameterProperty::eTypeString:
        payload = escape(value.toString());
        break;
    case ParameterProperty::eTypeByteArray:
        payload = value.toByteArray().toHex();
        break;
    case ParameterProperty::eTypeParameterTextMap: {
        QByteArrayList keys;
        for (qint64 key : property.asParameterTextMap().keys())
            keys.append(QByteArray::number(key));
        payload = keys.join(',');
        break;
    }
    case ParameterProperty::eTypeText:
    case ParameterProperty::eTypeParameterText:
    case ParameterProperty::eTypeInvalid:
        break;
    }
    return tag + ':' + payload;
}

class Writer
{
public:
    void section(const QByteArray &name)
    {
        out += LineEnd + '[' + name + ']' + LineEnd;
    }

    void entry(const QByteArray &key, const QByteArray &value)
    {
        out += key + '=' + value + LineEnd;
    }

    void textSection(const QByteArray &name, const Text &text)
    {
        if (text.isEmpty())
            return;
        section(name);
        for (int language : text.textLanguages())
            entry(QByteArray::number(language), escape(text.text(language)));
    }

    // prefix is empty or ends with ".".
    void parameterTextSections(const QByteArray &prefix, const ParameterText &text)
    {
        textSection(prefix + ShortNameSection, text.multilingualShortText());
        textSection(prefix + LongNameSection, text.multilingualLongText());
    }

    void element(int index, const QString &defaultValue, const ParameterText *name,
                 const ParameterElementSetup *setup)
    {
        const QByteArray elementName = ElementPrefix + QByteArray::number(index);
        section(elementName);
        entry(DefaultKey, escape(defaultValue));
        if (setup) {
            for (auto it = setup->properties.cbegin(); it != setup->properties.cend(); ++it)
                entry(propertyKey(it.key()), encodeProperty(it.value()));
        }
        if (name)
            parameterTextSections(elementName + '.', *name);
        if (!setup)
            return;
        for (auto it = setup->properties.cbegin(); it != setup->properties.cend(); ++it) {
            const QByteArray propertySection = elementName + '.' + propertyKey(it.key());
            const ParameterProperty &property = it.value();
            switch (property.type()) {
            case ParameterProperty::eTypeText:
                textSection(propertySection, property.asText());
                break;
            case ParameterProperty::eTypeParameterText:
                parameterTextSections(propertySection + '.', property.asParameterText());
                break;
            case ParameterProperty::eTypeParameterTextMap: {
                const ParameterTextMap map = property.asParameterTextMap();
                for (qint64 key : map.keys())
                    parameterTextSections(propertySection + '.' + QByteArray::number(key) + '.', map.value(key));
                break;
            }
            default:
                break;
            }
        }
    }

    QByteArray out;
};

// ---- reading ----------------------------------------------------------------------------

// The canonical decimal forms: what QByteArray::number() writes, nothing else.
qint64 parseSigned(const QByteArray &text, qint64 min, qint64 max, const char *what)
{
    bool ok = false;
    const qint64 value = text.toLongLong(&ok, 10);
    if (!ok || QByteArray::number(value) != text || value < min || value > max)
        fail(QStringLiteral("%1 is not a valid %2").arg(quoted(text), QLatin1String(what)));
    return value;
}

quint64 parseUnsigned(const QByteArray &text, quint64 max, const char *what)
{
    bool ok = false;
    const quint64 value = text.toULongLong(&ok, 10);
    if (!ok || QByteArray::number(value) != text || value > max)
        fail(QStringLiteral("%1 is not a valid %2").arg(quoted(text), QLatin1String(what)));
    return value;
}

int parseInt(const QByteArray &text, const char *what)
{
    return int(parseSigned(text, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), what));
}

double parseDouble(const QByteArray &text)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || formatDouble(value) != text)
        fail(QStringLiteral("%1 is not a valid double").arg(quoted(text)));
    return value;
}

QByteArray parseHex(const QByteArray &text)
{
    for (char c : text) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            fail(QStringLiteral("%1 is not lower-case hexadecimal").arg(quoted(text)));
    }
    if (text.size() % 2 != 0)
        fail(QStringLiteral("%1 has an odd number of hexadecimal digits").arg(quoted(text)));
    return QByteArray::fromHex(text);
}

ParameterProperty parseProperty(const QByteArray &text)
{
    const qsizetype colon = text.indexOf(':');
    if (colon < 0)
        fail(QStringLiteral("property value %1 has no type").arg(quoted(text)));
    const QByteArray tag = text.left(colon);
    const QByteArray payload = text.mid(colon + 1);
    ParameterProperty::eType type = ParameterProperty::eTypeInvalid;
    for (const TypeTag &entry : TypeTags) {
        if (tag == entry.tag)
            type = entry.type;
    }
    switch (type) {
    case ParameterProperty::eTypeBool:
        if (payload != "0" && payload != "1")
            fail(QStringLiteral("%1 is not a valid bool").arg(quoted(payload)));
        return ParameterProperty(QVariant(payload == "1"));
    case ParameterProperty::eTypeInt:
        return ParameterProperty(QVariant(qint32(parseSigned(payload, std::numeric_limits<qint32>::min(),
                                                             std::numeric_limits<qint32>::max(), "int"))));
    case ParameterProperty::eTypeUInt:
        return ParameterProperty(QVariant(quint32(parseUnsigned(payload, std::numeric_limits<quint32>::max(), "uint"))));
    case ParameterProperty::eTypeLongLong:
        return ParameterProperty(QVariant(qint64(parseSigned(payload, std::numeric_limits<qint64>::min(),
                                                             std::numeric_limits<qint64>::max(), "longlong"))));
    case ParameterProperty::eTypeULongLong:
        return ParameterProperty(QVariant(quint64(parseUnsigned(payload, std::numeric_limits<quint64>::max(), "ulonglong"))));
    case ParameterProperty::eTypeDouble:
        return ParameterProperty(QVariant(parseDouble(payload)));
    case ParameterProperty::eTypeString:
        return ParameterProperty(QVariant(unescape(payload)));
    case ParameterProperty::eTypeByteArray:
        return ParameterProperty(QVariant(parseHex(payload)));
    case ParameterProperty::eTypeText:
    case ParameterProperty::eTypeParameterText:
        // The texts follow in sections of their own.
        if (!payload.isEmpty())
            fail(QStringLiteral("%1 property has a payload").arg(QString::fromLatin1(tag)));
        return type == ParameterProperty::eTypeText ? ParameterProperty(QVariant::fromValue(Text()))
                                                    : ParameterProperty(QVariant::fromValue(ParameterText()));
    case ParameterProperty::eTypeParameterTextMap: {
        ParameterTextMap map;
        if (!payload.isEmpty()) {
            bool first = true;
            qint64 previous = 0;
            for (const QByteArray &item : payload.split(',')) {
                const qint64 key = parseSigned(item, std::numeric_limits<qint64>::min(),
                                               std::numeric_limits<qint64>::max(), "map key");
                if (!first && key <= previous)
                    fail(QStringLiteral("map keys %1 are not strictly ascending").arg(quoted(payload)));
                map.insert(key, ParameterText());
                previous = key;
                first = false;
            }
        }
        return ParameterProperty(QVariant::fromValue(map));
    }
    case ParameterProperty::eTypeInvalid:
        break;
    }
    fail(QStringLiteral("unknown property type %1").arg(quoted(tag)));
}

Text parseText(LxIniParser::IniSection *section)
{
    Text text;
    for (const QByteArray &key : section->keys())
        text.setText(parseInt(key, "language"), unescape(section->value(key)));
    return text;
}

bool isNameSection(const QByteArray &name)
{
    return name == ShortNameSection || name == LongNameSection;
}

void assignName(ParameterText *text, const QByteArray &which, const Text &value)
{
    if (which == ShortNameSection)
        text->setMultilingualShortText(value);
    else
        text->setMultilingualLongText(value);
}

class Reader
{
public:
    explicit Reader(LxIniParser::IniParser &parser)
        : parser(parser)
    {
    }

    ParameterDefinition *read()
    {
        readDefinition();
        const QList<QByteArray> names = parser.allSectionNames();
        // Element sections first, so that the text sections of their properties find them.
        for (const QByteArray &name : names) {
            const QList<QByteArray> path = name.split('.');
            if (path.size() == 1 && path.front().startsWith(ElementPrefix))
                readElement(name, elementIndex(path.front()));
        }
        for (size_t i = 0; i < elements.size(); ++i) {
            if (!elements[i].present)
                fail(QStringLiteral("section Element_%1 is missing").arg(i));
        }
        for (const QByteArray &name : names)
            readOtherSection(name);
        return build();
    }

private:
    struct Element
    {
        bool present = false;
        QString defaultValue;
        ParameterText name;
        QMap<int, ParameterProperty> properties;
    };

    LxIniParser::IniSection *requiredSection(const QByteArray &name)
    {
        LxIniParser::IniSection *section = parser.section(name);
        if (!section)
            fail(QStringLiteral("section %1 is missing").arg(QString::fromLatin1(name)));
        return section;
    }

    static QByteArray requiredValue(LxIniParser::IniSection *section, const QByteArray &key)
    {
        if (!section->contains(key))
            fail(QStringLiteral("key %1 is missing in section %2")
                     .arg(QString::fromLatin1(key), QString::fromLatin1(section->name())));
        return section->value(key);
    }

    void readDefinition()
    {
        LxIniParser::IniSection *section = requiredSection(DefinitionSection);
        for (const QByteArray &key : section->keys()) {
            if (key != KindKey && key != ElementCountKey && key != GlobalKey && key != CoordinatesKey
                && key != DescriptionKey)
                fail(QStringLiteral("unknown key %1 in section Definition").arg(quoted(key)));
        }

        const QByteArray kind = requiredValue(section, KindKey);
        if (kind == SimpleKind)
            record = false;
        else if (kind == RecordKind)
            record = true;
        else
            fail(QStringLiteral("unknown kind %1").arg(quoted(kind)));

        const quint64 count = parseUnsigned(requiredValue(section, ElementCountKey),
                                            ParameterDefinition::MaxElementCount, "element count");
        if (!record && count == 0)
            fail(QStringLiteral("a simple definition has at least one element"));
        elements.resize(count);

        const QByteArray globalFlag = requiredValue(section, GlobalKey);
        if (globalFlag != "0" && globalFlag != "1")
            fail(QStringLiteral("%1 is not a valid global flag").arg(quoted(globalFlag)));
        global = globalFlag == "1";

        const QByteArray coordinateList = section->value(CoordinatesKey);
        if (!coordinateList.isEmpty()) {
            const QList<QByteArray> items = coordinateList.split(',');
            if (items.size() > ParameterDefinition::MaxCoordinateCount)
                fail(QStringLiteral("more than %1 coordinates").arg(ParameterDefinition::MaxCoordinateCount));
            for (const QByteArray &item : items) {
                const ParameterCoordinate coordinate(QString::fromLatin1(item));
                if (!coordinate.isValid() || coordinate.toText().toLatin1() != item)
                    fail(QStringLiteral("%1 is not a valid coordinate").arg(quoted(item)));
                coordinates.append(coordinate);
            }
        }

        description = unescape(section->value(DescriptionKey));
    }

    unsigned short elementIndex(const QByteArray &token) const
    {
        const quint64 index = parseUnsigned(token.mid(ElementPrefix.size()), 0xFFFFu, "element number");
        if (index >= elements.size())
            fail(QStringLiteral("section %1 lies beyond the element count %2")
                     .arg(QString::fromLatin1(token)).arg(elements.size()));
        return static_cast<unsigned short>(index);
    }

    // Elements of a simple definition share the setup kept in element 0.
    bool holdsSetup(unsigned short index) const
    {
        return record || index == 0;
    }

    void readElement(const QByteArray &name, unsigned short index)
    {
        LxIniParser::IniSection *section = parser.section(name);
        Element &element = elements[index];
        element.present = true;
        element.defaultValue = unescape(requiredValue(section, DefaultKey));
        for (const QByteArray &key : section->keys()) {
            if (key == DefaultKey)
                continue;
            if (!key.startsWith(PropertyPrefix) || !holdsSetup(index))
                fail(QStringLiteral("unexpected key %1 in section %2").arg(quoted(key), QString::fromLatin1(name)));
            const int id = parseInt(key.mid(PropertyPrefix.size()), "property number");
            element.properties.insert(id, parseProperty(section->value(key)));
        }
    }

    ParameterProperty &existingProperty(Element &element, const QByteArray &token, ParameterProperty::eType type,
                                        const QByteArray &sectionName)
    {
        if (!token.startsWith(PropertyPrefix))
            fail(QStringLiteral("unknown section %1").arg(quoted(sectionName)));
        const int id = parseInt(token.mid(PropertyPrefix.size()), "property number");
        auto it = element.properties.find(id);
        if (it == element.properties.end() || it->type() != type)
            fail(QStringLiteral("section %1 belongs to no property of its type").arg(quoted(sectionName)));
        return *it;
    }

    void readOtherSection(const QByteArray &name)
    {
        const QList<QByteArray> path = name.split('.');
        if (path.size() == 1) {
            if (name == DefinitionSection || name.startsWith(ElementPrefix))
                return; // read already
            if (!isNameSection(name))
                fail(QStringLiteral("unknown section %1").arg(quoted(name)));
            assignName(&parameterName, name, parseText(parser.section(name)));
            return;
        }
        if (!path.front().startsWith(ElementPrefix) || path.size() > 4)
            fail(QStringLiteral("unknown section %1").arg(quoted(name)));
        const unsigned short index = elementIndex(path.front());
        Element &element = elements[index];
        const Text text = parseText(parser.section(name));

        if (path.size() == 2 && isNameSection(path.at(1))) {
            if (!record)
                fail(QStringLiteral("elements of a simple definition have no names"));
            assignName(&element.name, path.at(1), text);
        } else if (path.size() == 2) {
            ParameterProperty &property = existingProperty(element, path.at(1), ParameterProperty::eTypeText, name);
            property = ParameterProperty(QVariant::fromValue(text));
        } else if (path.size() == 3 && isNameSection(path.at(2))) {
            ParameterProperty &property =
                existingProperty(element, path.at(1), ParameterProperty::eTypeParameterText, name);
            ParameterText value = property.asParameterText();
            assignName(&value, path.at(2), text);
            property = ParameterProperty(QVariant::fromValue(value));
        } else if (path.size() == 4 && isNameSection(path.at(3))) {
            ParameterProperty &property =
                existingProperty(element, path.at(1), ParameterProperty::eTypeParameterTextMap, name);
            ParameterTextMap map = property.asParameterTextMap();
            // Let go of the property's reference first, so that the insert below does not
            // copy the whole map for each of its sections.
            property = ParameterProperty();
            const qint64 key = parseSigned(path.at(2), std::numeric_limits<qint64>::min(),
                                           std::numeric_limits<qint64>::max(), "map key");
            if (!map.contains(key))
                fail(QStringLiteral("section %1 names a key the map does not list").arg(quoted(name)));
            ParameterText value = map.value(key);
            assignName(&value, path.at(3), text);
            map.insert(key, value);
            property = ParameterProperty(QVariant::fromValue(map));
        } else {
            fail(QStringLiteral("unknown section %1").arg(quoted(name)));
        }
    }

    ParameterDefinition *build()
    {
        std::unique_ptr<ParameterDefinition> definition;
        if (record) {
            auto *recordDefinition = new RecordParameterDefinition;
            definition.reset(recordDefinition);
            auto *rd = static_cast<RecordParameterDefinitionPrivate *>(
                ParameterDefinitionPrivate::get(definition.get()));
            for (const Element &element : elements) {
                ParameterElementSetup setup;
                setup.properties = element.properties;
                rd->appendElement(element.name, element.defaultValue, setup);
            }
        } else {
            definition.reset(new SimpleParameterDefinition);
            auto *sd = static_cast<SimpleParameterDefinitionPrivate *>(
                ParameterDefinitionPrivate::get(definition.get()));
            sd->setup.properties = elements.front().properties;
            sd->defaultValues.clear();
            for (const Element &element : elements)
                sd->defaultValues.append(element.defaultValue);
        }
        ParameterDefinitionPrivate *dd = ParameterDefinitionPrivate::get(definition.get());
        dd->name = parameterName;
        dd->coordinates = coordinates;
        dd->global = global;
        dd->description = description;
        return definition.release();
    }

    LxIniParser::IniParser &parser;
    bool record = false;
    bool global = false;
    QList<ParameterCoordinate> coordinates;
    QString description;
    ParameterText parameterName;
    std::vector<Element> elements;
};

} // namespace

QByteArray formatDouble(double value)
{
    if (value == 0.0 && std::signbit(value))
        return QByteArrayLiteral("-0");
    return QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
}

QByteArray escape(const QString &text)
{
    QByteArray out;
    out.reserve(text.size());
    qsizetype plainStart = 0;
    auto flushPlain = [&](qsizetype end) {
        if (end > plainStart)
            out += QStringView(text).mid(plainStart, end - plainStart).toUtf8();
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const char16_t u = c.unicode();
        QByteArray escaped;
        if (u == '\\') {
            escaped = "\\\\";
        } else if (u == '\n') {
            escaped = "\\n";
        } else if (u == '\r') {
            escaped = "\\r";
        } else if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            ++i; // a well-formed pair: plain UTF-8
            continue;
        } else if (c.isSurrogate()) {
            escaped = "\\u" + QByteArray::number(u, 16).toUpper();
        } else {
            continue;
        }
        flushPlain(i);
        out += escaped;
        plainStart = i + 1;
    }
    flushPlain(text.size());
    return out;
}

QString unescape(const QByteArray &bytes)
{
    QString text;
    text.reserve(bytes.size());
    qsizetype plainStart = 0;
    qsizetype i = 0;
    while (i < bytes.size()) {
        if (bytes.at(i) != '\\') {
            ++i;
            continue;
        }
        // A backslash is ASCII, so it never splits a UTF-8 sequence.
        text += QString::fromUtf8(bytes.constData() + plainStart, i - plainStart);
        if (i + 1 >= bytes.size())
            fail(QStringLiteral("text ends in a lone backslash"));
        const char kind = bytes.at(i + 1);
        if (kind == '\\') {
            text += QLatin1Char('\\');
            i += 2;
        } else if (kind == 'n') {
            text += QLatin1Char('\n');
            i += 2;
        } else if (kind == 'r') {
            text += QLatin1Char('\r');
            i += 2;
        } else if (kind == 'u' && i + 6 <= bytes.size()) {
            bool ok = false;
            const ushort unit = bytes.mid(i + 2, 4).toUShort(&ok, 16);
            if (!ok || !QChar::isSurrogate(unit))
                fail(QStringLiteral("%1 is not an escaped surrogate").arg(quoted(bytes.mid(i, 6))));
            text += QChar(unit);
            i += 6;
        } else {
            fail(QStringLiteral("unknown escape %1").arg(quoted(bytes.mid(i, 2))));
        }
        plainStart = i;
    }
    text += QString::fromUtf8(bytes.constData() + plainStart, bytes.size() - plainStart);
    // Whatever the writer would not have written this way (invalid UTF-8, a raw carriage
    // return, an escaped pair of surrogates, lower-case digits) is not a stored text.
    if (escape(text) != bytes)
        fail(QStringLiteral("text %1 is not in its stored form").arg(quoted(bytes)));
    return text;
}

QByteArray save(const ParameterDefinition &definition)
{
    const ParameterDefinitionPrivate *d = ParameterDefinitionPrivate::get(&definition);
    Writer writer;
    writer.out = ByteOrderMark + LineEnd;
    writer.out += ";type=\"" + Kind.toLatin1() + "\" version=\"" + QByteArray::number(Version) + '"' + LineEnd;

    writer.section(DefinitionSection);
    writer.entry(KindKey, definition.isRecordParameterDefinition() ? RecordKind : SimpleKind);
    writer.entry(ElementCountKey, QByteArray::number(d->elementCount()));
    writer.entry(GlobalKey, d->global ? "1" : "0");
    QByteArrayList coordinateTexts;
    for (const ParameterCoordinate &coordinate : d->coordinates)
        coordinateTexts.append(coordinate.toText().toLatin1());
    writer.entry(CoordinatesKey, coordinateTexts.join(','));
    writer.entry(DescriptionKey, escape(d->description));
    writer.parameterTextSections(QByteArray(), d->name);

    if (definition.isRecordParameterDefinition()) {
        const auto *rd = static_cast<const RecordParameterDefinitionPrivate *>(d);
        int index = 0;
        for (const auto &element : rd->elements)
            writer.element(index++, element.defaultValue, &element.name, element.setup.get());
    } else {
        const auto *sd = static_cast<const SimpleParameterDefinitionPrivate *>(d);
        for (int index = 0; index < sd->defaultValues.size(); ++index)
            writer.element(index, sd->defaultValues.at(index), nullptr, index == 0 ? &sd->setup : nullptr);
    }
    return writer.out;
}

ParameterDefinition *load(const QByteArray &text)
{
    StreamType type;
    type.setStreamData(text);
    if (!type.contains(Kind) || type.version(Kind) != Version)
        fail(QStringLiteral("not a parameter definition of format version %1").arg(Version));
    LxIniParser::IniParser parser;
    parser.setIniText(text);
    if (parser.latin1Encoded())
        fail(QStringLiteral("the text does not begin with the UTF-8 byte order mark"));
    return Reader(parser).read();
}

} // namespace ParameterDefinitionFormat
