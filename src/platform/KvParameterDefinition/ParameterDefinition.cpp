#include "ParameterDefinition.h"
#include "ParameterDefinition_p.h"

#include "RecordParameterDefinition.h"
#include "RecordParameterDefinition_p.h"
#include "SimpleParameterDefinition.h"
#include "SimpleParameterDefinition_p.h"

ParameterDefinitionPrivate::~ParameterDefinitionPrivate() = default;

void ParameterDefinitionPrivate::assignCommonContent(const ParameterDefinitionPrivate &other)
{
    name = other.name;
    coordinates = other.coordinates;
    global = other.global;
    description = other.description;
}

ParameterDefinition::ParameterDefinition(ParameterDefinitionPrivate &dd)
    : d(&dd)
{
}

ParameterDefinition::~ParameterDefinition()
{
    delete d;
}

ParameterDefinition *ParameterDefinition::createClone(ParameterDefinition *definition)
{
    if (!definition)
        return nullptr;
    ParameterDefinition *copy = nullptr;
    if (definition->isSimpleParameterDefinition())
        copy = new SimpleParameterDefinition;
    else
        copy = new RecordParameterDefinition;
    copy->d->assignContent(*definition->d);
    copy->d->owner = definition->d->owner;
    copy->d->version = definition->d->version;
    return copy;
}

bool ParameterDefinition::isSimpleParameterDefinition() const
{
    return d->kind == ParameterDefinitionPrivate::Simple;
}

bool ParameterDefinition::isRecordParameterDefinition() const
{
    return d->kind == ParameterDefinitionPrivate::Record;
}

// The kind in the private matches the class: only the two subclasses construct a private.
SimpleParameterDefinition *ParameterDefinition::querySimpleParameterDefinition()
{
    return isSimpleParameterDefinition() ? static_cast<SimpleParameterDefinition *>(this) : nullptr;
}

const SimpleParameterDefinition *ParameterDefinition::querySimpleParameterDefinition() const
{
    return isSimpleParameterDefinition() ? static_cast<const SimpleParameterDefinition *>(this) : nullptr;
}

RecordParameterDefinition *ParameterDefinition::queryRecordParameterDefinition()
{
    return isRecordParameterDefinition() ? static_cast<RecordParameterDefinition *>(this) : nullptr;
}

const RecordParameterDefinition *ParameterDefinition::queryRecordParameterDefinition() const
{
    return isRecordParameterDefinition() ? static_cast<const RecordParameterDefinition *>(this) : nullptr;
}

QString ParameterDefinition::elementDefaultValue(unsigned short element) const
{
    if (isSimpleParameterDefinition())
        return static_cast<const SimpleParameterDefinitionPrivate *>(d)->defaultValues.value(element);
    const auto &elements = static_cast<const RecordParameterDefinitionPrivate *>(d)->elements;
    return element < elements.size() ? elements[element].defaultValue : QString();
}

bool ParameterDefinition::setElementDefaultValue(unsigned short element, const QString &value)
{
    if (isSimpleParameterDefinition()) {
        QStringList &values = static_cast<SimpleParameterDefinitionPrivate *>(d)->defaultValues;
        if (element >= values.size())
            return false;
        values[element] = value;
        return true;
    }
    auto &elements = static_cast<RecordParameterDefinitionPrivate *>(d)->elements;
    if (element >= elements.size())
        return false;
    elements[element].defaultValue = value;
    return true;
}

RecordParameterDefinition *ParameterDefinition::convert() const
{
    auto *record = new RecordParameterDefinition;
    auto *rd = static_cast<RecordParameterDefinitionPrivate *>(ParameterDefinitionPrivate::get(record));
    if (isRecordParameterDefinition()) {
        rd->assignContent(*d);
    } else {
        rd->assignCommonContent(*d);
        const auto *sd = static_cast<const SimpleParameterDefinitionPrivate *>(d);
        for (const QString &value : sd->defaultValues)
            rd->appendElement(ParameterText(), value, sd->setup);
    }
    rd->owner = d->owner;
    rd->version = d->version;
    return record;
}

SimpleParameterDefinition *ParameterDefinition::convert(unsigned short element) const
{
    const ParameterElementSetup *setup = d->elementSetup(element);
    if (!setup)
        return nullptr;
    auto *simple = new SimpleParameterDefinition;
    auto *sd = static_cast<SimpleParameterDefinitionPrivate *>(ParameterDefinitionPrivate::get(simple));
    sd->assignCommonContent(*d);
    sd->setup.properties = setup->properties;
    sd->defaultValues = QStringList{elementDefaultValue(element)};
    sd->owner = d->owner;
    sd->version = d->version;
    return simple;
}

ParameterText ParameterDefinition::name() const
{
    return d->name;
}

void ParameterDefinition::setName(const ParameterText &name)
{
    d->name = name;
}

QList<ParameterCoordinate> ParameterDefinition::defaultCoordinates() const
{
    return d->coordinates;
}

void ParameterDefinition::setDefaultCoordinates(const QList<ParameterCoordinate> &coordinates)
{
    QList<ParameterCoordinate> kept;
    for (const ParameterCoordinate &coordinate : coordinates) {
        if (kept.size() == MaxCoordinateCount)
            break;
        if (coordinate.isValid())
            kept.append(coordinate);
    }
    d->coordinates = kept;
}

bool ParameterDefinition::isGlobalParameter() const
{
    return d->global;
}

void ParameterDefinition::setGlobalParameter(bool global)
{
    d->global = global;
}

QString ParameterDefinition::descriptionText() const
{
    return d->description;
}

void ParameterDefinition::setDescriptionText(const QString &text)
{
    d->description = text;
}

QObject *ParameterDefinition::owner() const
{
    return d->owner.data();
}

void ParameterDefinition::setOwner(QObject *owner)
{
    d->owner = owner;
}

unsigned int ParameterDefinition::version() const
{
    return d->version;
}

void ParameterDefinition::setVersion(unsigned int version)
{
    d->version = version;
}
