#include "ParameterElementSetup_p.h"

ParameterElementSetup::~ParameterElementSetup() = default;

ParameterElementSetup *ParameterElementSetup::clone() const
{
    auto *copy = new ParameterElementSetup;
    copy->properties = properties;
    return copy;
}

bool ParameterElementSetup::hasProperty(int id) const
{
    return properties.contains(id);
}

ParameterProperty ParameterElementSetup::property(int id) const
{
    return properties.value(id);
}

void ParameterElementSetup::setProperty(int id, const ParameterProperty &value)
{
    if (value.isValid())
        properties.insert(id, value);
    else
        properties.remove(id);
}

bool ParameterElementSetup::removeProperty(int id)
{
    return properties.remove(id) > 0;
}

QList<int> ParameterElementSetup::propertyIds() const
{
    return properties.keys();
}
