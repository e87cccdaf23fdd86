#include "DefinitionText.h"

#include <KvParameterDefinition/IParameterElementSetup.h>
#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/ParameterProperty.h>
#include <KvParameterDefinition/RecordParameterDefinition.h>

#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <cstring>

namespace DefinitionText {

static QString quote(const QString &text)
{
    QString out = QStringLiteral("\"");
    for (QChar c : text) {
        if (c.unicode() < 0x20 || c == QLatin1Char('"') || c == QLatin1Char('\\') || c.isSurrogate())
            out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out + QLatin1Char('"');
}

static QString textText(const Text &text)
{
    QStringList parts;
    for (int language : text.textLanguages())
        parts.append(QString::number(language) + QLatin1Char(':') + quote(text.text(language)));
    return QLatin1Char('{') + parts.join(QLatin1Char(',')) + QLatin1Char('}');
}

static QString parameterTextText(const ParameterText &text)
{
    return QStringLiteral("short %1 long %2")
        .arg(textText(text.multilingualShortText()), textText(text.multilingualLongText()));
}

static QString propertyText(const ParameterProperty &property)
{
    const QVariant value = property.value();
    switch (property.type()) {
    case ParameterProperty::eTypeInvalid:
        return QStringLiteral("invalid");
    case ParameterProperty::eTypeBool:
        return QStringLiteral("bool %1").arg(value.toBool());
    case ParameterProperty::eTypeInt:
        return QStringLiteral("int %1").arg(value.toInt());
    case ParameterProperty::eTypeUInt:
        return QStringLiteral("uint %1").arg(value.toUInt());
    case ParameterProperty::eTypeLongLong:
        return QStringLiteral("longlong %1").arg(value.toLongLong());
    case ParameterProperty::eTypeULongLong:
        return QStringLiteral("ulonglong %1").arg(value.toULongLong());
    case ParameterProperty::eTypeDouble: {
        const double number = value.toDouble();
        quint64 bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        if (number != number) // every NaN prints alike: the format keeps NaN, not its payload
            bits = 0x7ff8000000000000ull;
        return QStringLiteral("double %1").arg(bits, 16, 16, QLatin1Char('0'));
    }
    case ParameterProperty::eTypeString:
        return QStringLiteral("string ") + quote(value.toString());
    case ParameterProperty::eTypeByteArray:
        return QStringLiteral("bytes ") + QString::fromLatin1(value.toByteArray().toHex());
    case ParameterProperty::eTypeText:
        return QStringLiteral("text ") + textText(property.asText());
    case ParameterProperty::eTypeParameterText:
        return QStringLiteral("ptext ") + parameterTextText(property.asParameterText());
    case ParameterProperty::eTypeParameterTextMap: {
        const ParameterTextMap map = property.asParameterTextMap();
        QStringList entries;
        for (qint64 key : map.keys())
            entries.append(QString::number(key) + QStringLiteral(" => ") + parameterTextText(map.value(key)));
        return QStringLiteral("ptextmap [") + entries.join(QStringLiteral("; ")) + QLatin1Char(']');
    }
    }
    return QStringLiteral("?");
}

QStringList lines(ParameterDefinition *definition)
{
    QStringList out;
    if (!definition)
        return {QStringLiteral("null")};
    const bool record = definition->isRecordParameterDefinition();
    out << (record ? QStringLiteral("kind record") : QStringLiteral("kind simple"));
    out << QStringLiteral("elements %1").arg(definition->elementCount());
    out << QStringLiteral("global %1").arg(definition->isGlobalParameter());
    QStringList coordinates;
    for (const ParameterCoordinate &coordinate : definition->defaultCoordinates())
        coordinates << coordinate.toText();
    out << QStringLiteral("coordinates ") + coordinates.join(QLatin1Char(','));
    out << QStringLiteral("description ") + quote(definition->descriptionText());
    out << QStringLiteral("name ") + parameterTextText(definition->name());
    for (unsigned short element = 0; element < definition->elementCount(); ++element) {
        QString line = QStringLiteral("element %1 default %2").arg(element).arg(quote(definition->elementDefaultValue(element)));
        if (record)
            line += QStringLiteral(" name ") + parameterTextText(definition->queryRecordParameterDefinition()->elementName(element));
        out << line;
        // The elements of a simple definition share one setup: print it once.
        if (!record && element > 0)
            continue;
        IParameterElementSetup *setup = definition->queryElementSetup(element);
        for (int id : setup->propertyIds())
            out << QStringLiteral("element %1 property %2 %3").arg(element).arg(id).arg(propertyText(setup->property(id)));
    }
    return out;
}

} // namespace DefinitionText
