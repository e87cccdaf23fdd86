#include "SimpleParameterDefinition.h"
#include "SimpleParameterDefinition_p.h"

SimpleParameterDefinitionPrivate::SimpleParameterDefinitionPrivate()
    : ParameterDefinitionPrivate(Simple)
    , defaultValues(QStringList{QString()})
{
}

void SimpleParameterDefinitionPrivate::assignContent(const ParameterDefinitionPrivate &other)
{
    Q_ASSERT(kind == other.kind);
    assignCommonContent(other);
    const auto &source = static_cast<const SimpleParameterDefinitionPrivate &>(other);
    setup.properties = source.setup.properties;
    defaultValues = source.defaultValues;
}

const ParameterElementSetup *SimpleParameterDefinitionPrivate::elementSetup(unsigned short element) const
{
    return element < defaultValues.size() ? &setup : nullptr;
}

unsigned short SimpleParameterDefinitionPrivate::elementCount() const
{
    return static_cast<unsigned short>(defaultValues.size());
}

SimpleParameterDefinition::SimpleParameterDefinition()
    : ParameterDefinition(*new SimpleParameterDefinitionPrivate)
{
}

SimpleParameterDefinition::~SimpleParameterDefinition() = default;

SimpleParameterDefinitionPrivate *SimpleParameterDefinition::dFunc() const
{
    return static_cast<SimpleParameterDefinitionPrivate *>(d);
}

unsigned short SimpleParameterDefinition::elementCount() const
{
    return dFunc()->elementCount();
}

bool SimpleParameterDefinition::setElementCount(unsigned short count)
{
    if (count == 0 || count > MaxElementCount)
        return false;
    dFunc()->defaultValues.resize(count);
    return true;
}

IParameterElementSetup *SimpleParameterDefinition::queryElementSetup(unsigned short element)
{
    return element < elementCount() ? &dFunc()->setup : nullptr;
}
