#include "SimpleType.h"
#include "SimpleType_p.h"

SimpleType::SimpleType()
    : d(new SimpleTypeData)
{
}

SimpleType::SimpleType(tSimpleType code, const QString &name, const QString &shortName,
                       eSimpleTypeKind kind, unsigned int size)
    : d(new SimpleTypeData)
{
    d->code = code;
    d->name = name;
    d->shortName = shortName;
    d->kind = kind;
    d->size = size;
}

SimpleType::SimpleType(const SimpleType &other) = default;
SimpleType::SimpleType(SimpleType &&other) noexcept = default;
SimpleType &SimpleType::operator=(const SimpleType &other) = default;
SimpleType &SimpleType::operator=(SimpleType &&other) noexcept = default;
SimpleType::~SimpleType() = default;

bool SimpleType::operator==(const SimpleType &other) const
{
    return d == other.d
        || (d->code == other.d->code && d->name == other.d->name
            && d->shortName == other.d->shortName && d->kind == other.d->kind
            && d->size == other.d->size);
}

tSimpleType SimpleType::code() const
{
    return d->code;
}

QString SimpleType::name() const
{
    return d->name;
}

QString SimpleType::shortName() const
{
    return d->shortName;
}

eSimpleTypeKind SimpleType::kind() const
{
    return d->kind;
}

unsigned int SimpleType::size() const
{
    return d->size;
}
