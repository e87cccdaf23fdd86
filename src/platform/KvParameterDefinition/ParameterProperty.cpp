#include "ParameterProperty.h"
#include "ParameterProperty_p.h"

#include "ParameterDefinitionFormat_p.h"

#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QStringList>

#include <cmath>
#include <limits>

static void registerParameterPropertyMetaType()
{
    qRegisterMetaType<ParameterProperty>();
}
Q_CONSTRUCTOR_FUNCTION(registerParameterPropertyMetaType)

// Sorts a QVariant into one of the property types and converts it to that type's C++ type.
static void assignFromVariant(ParameterPropertyData *data, const QVariant &value)
{
    using T = ParameterProperty;
    const int id = value.metaType().id();
    switch (id) {
    case QMetaType::UnknownType:
        return;
    case QMetaType::Bool:
        data->type = T::eTypeBool;
        data->value = QVariant(value.toBool());
        return;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::SChar:
    case QMetaType::Char:
        data->type = T::eTypeInt;
        data->value = QVariant(qint32(value.toInt()));
        return;
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::UChar:
        data->type = T::eTypeUInt;
        data->value = QVariant(quint32(value.toUInt()));
        return;
    case QMetaType::LongLong:
        data->type = T::eTypeLongLong;
        data->value = QVariant(qint64(value.toLongLong()));
        return;
    case QMetaType::ULongLong:
        data->type = T::eTypeULongLong;
        data->value = QVariant(quint64(value.toULongLong()));
        return;
    case QMetaType::Long:
        if (sizeof(long) == sizeof(qint64)) {
            data->type = T::eTypeLongLong;
            data->value = QVariant(qint64(value.toLongLong()));
        } else {
            data->type = T::eTypeInt;
            data->value = QVariant(qint32(value.toInt()));
        }
        return;
    case QMetaType::ULong:
        if (sizeof(unsigned long) == sizeof(quint64)) {
            data->type = T::eTypeULongLong;
            data->value = QVariant(quint64(value.toULongLong()));
        } else {
            data->type = T::eTypeUInt;
            data->value = QVariant(quint32(value.toUInt()));
        }
        return;
    case QMetaType::Double:
    case QMetaType::Float:
        data->type = T::eTypeDouble;
        data->value = QVariant(value.toDouble());
        return;
    case QMetaType::QString:
    case QMetaType::QChar:
        data->type = T::eTypeString;
        data->value = QVariant(value.toString());
        return;
    case QMetaType::QByteArray:
        data->type = T::eTypeByteArray;
        data->value = QVariant(value.toByteArray());
        return;
    default:
        break;
    }
    if (id == qMetaTypeId<Text>()) {
        data->type = T::eTypeText;
        data->value = value;
    } else if (id == qMetaTypeId<ParameterText>()) {
        data->type = T::eTypeParameterText;
        data->value = value;
    } else if (id == qMetaTypeId<ParameterTextMap>()) {
        data->type = T::eTypeParameterTextMap;
        data->value = value;
    } else if (value.canConvert<QString>()) {
        data->type = T::eTypeString;
        data->value = QVariant(value.toString());
    }
}

ParameterProperty::ParameterProperty()
    : d(new ParameterPropertyData)
{
}

ParameterProperty::ParameterProperty(const QVariant &value)
    : d(new ParameterPropertyData)
{
    assignFromVariant(d.data(), value);
}

ParameterProperty::ParameterProperty(const ParameterProperty &other) = default;
ParameterProperty::ParameterProperty(ParameterProperty &&other) noexcept = default;
ParameterProperty &ParameterProperty::operator=(const ParameterProperty &other) = default;
ParameterProperty &ParameterProperty::operator=(ParameterProperty &&other) noexcept = default;
ParameterProperty::~ParameterProperty() = default;

bool ParameterProperty::operator==(const ParameterProperty &other) const
{
    if (d == other.d)
        return true;
    if (d->type != other.d->type)
        return false;
    switch (d->type) {
    case eTypeInvalid:
        return true;
    case eTypeBool:
        return d->value.toBool() == other.d->value.toBool();
    case eTypeInt:
    case eTypeLongLong:
        return d->value.toLongLong() == other.d->value.toLongLong();
    case eTypeUInt:
    case eTypeULongLong:
        return d->value.toULongLong() == other.d->value.toULongLong();
    case eTypeDouble: {
        const double a = d->value.toDouble();
        const double b = other.d->value.toDouble();
        if (std::isnan(a) || std::isnan(b))
            return std::isnan(a) && std::isnan(b);
        return a == b && std::signbit(a) == std::signbit(b);
    }
    case eTypeString:
        return d->value.toString() == other.d->value.toString();
    case eTypeByteArray:
        return d->value.toByteArray() == other.d->value.toByteArray();
    case eTypeText:
        return asText() == other.asText();
    case eTypeParameterText:
        return asParameterText() == other.asParameterText();
    case eTypeParameterTextMap:
        return asParameterTextMap() == other.asParameterTextMap();
    }
    return false;
}

ParameterProperty::eType ParameterProperty::type() const
{
    return d->type;
}

bool ParameterProperty::isValid() const
{
    return d->type != eTypeInvalid;
}

QVariant ParameterProperty::value() const
{
    return d->value;
}

QString ParameterProperty::asString() const
{
    switch (d->type) {
    case eTypeInvalid:
        return QString();
    case eTypeBool:
        return d->value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case eTypeInt:
    case eTypeLongLong:
        return QString::number(d->value.toLongLong());
    case eTypeUInt:
    case eTypeULongLong:
        return QString::number(d->value.toULongLong());
    case eTypeDouble:
        return QString::fromLatin1(ParameterDefinitionFormat::formatDouble(d->value.toDouble()));
    case eTypeString:
        return d->value.toString();
    case eTypeByteArray:
        return QString::fromLatin1(d->value.toByteArray().toHex());
    case eTypeText:
        return asText().text();
    case eTypeParameterText:
        return asParameterText().multilingualLongText().text();
    case eTypeParameterTextMap: {
        const ParameterTextMap map = asParameterTextMap();
        QStringList entries;
        for (qint64 key : map.keys())
            entries.append(QString::number(key) + QLatin1Char('=') + map.value(key).multilingualLongText().text());
        return entries.join(QLatin1String(", "));
    }
    }
    return QString();
}

qint64 ParameterProperty::asLongLong(bool *ok) const
{
    bool converted = false;
    qint64 result = 0;
    switch (d->type) {
    case eTypeBool:
        converted = true;
        result = d->value.toBool() ? 1 : 0;
        break;
    case eTypeInt:
    case eTypeLongLong:
        converted = true;
        result = d->value.toLongLong();
        break;
    case eTypeUInt:
    case eTypeULongLong: {
        const quint64 value = d->value.toULongLong();
        converted = value <= quint64(std::numeric_limits<qint64>::max());
        result = converted ? qint64(value) : 0;
        break;
    }
    case eTypeDouble: {
        const double value = d->value.toDouble();
        // 2^63 is the first double beyond qint64; the range check also refuses NaN.
        converted = value >= -9223372036854775808.0 && value < 9223372036854775808.0
            && std::trunc(value) == value;
        result = converted ? qint64(value) : 0;
        break;
    }
    case eTypeString:
        result = d->value.toString().toLongLong(&converted, 10);
        break;
    default:
        break;
    }
    if (ok)
        *ok = converted;
    return result;
}

int ParameterProperty::asInt(bool *ok) const
{
    bool converted = false;
    const qint64 value = asLongLong(&converted);
    converted = converted && value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
    if (ok)
        *ok = converted;
    return converted ? int(value) : 0;
}

bool ParameterProperty::asBool() const
{
    switch (d->type) {
    case eTypeBool:
        return d->value.toBool();
    case eTypeDouble:
        return d->value.toDouble() != 0.0;
    case eTypeUInt:
    case eTypeULongLong:
        return d->value.toULongLong() != 0;
    default:
        return asLongLong() != 0;
    }
}

double ParameterProperty::asDouble(bool *ok) const
{
    bool converted = true;
    double result = 0.0;
    switch (d->type) {
    case eTypeBool:
        result = d->value.toBool() ? 1.0 : 0.0;
        break;
    case eTypeInt:
    case eTypeLongLong:
        result = double(d->value.toLongLong());
        break;
    case eTypeUInt:
    case eTypeULongLong:
        result = double(d->value.toULongLong());
        break;
    case eTypeDouble:
        result = d->value.toDouble();
        break;
    case eTypeString:
        result = d->value.toString().toDouble(&converted);
        break;
    default:
        converted = false;
        break;
    }
    if (ok)
        *ok = converted;
    return converted ? result : 0.0;
}

Text ParameterProperty::asText() const
{
    return d->type == eTypeText ? d->value.value<Text>() : Text();
}

ParameterText ParameterProperty::asParameterText() const
{
    return d->type == eTypeParameterText ? d->value.value<ParameterText>() : ParameterText();
}

ParameterTextMap ParameterProperty::asParameterTextMap() const
{
    return d->type == eTypeParameterTextMap ? d->value.value<ParameterTextMap>() : ParameterTextMap();
}
