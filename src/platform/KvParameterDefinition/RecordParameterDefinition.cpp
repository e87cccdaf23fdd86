#include "RecordParameterDefinition.h"
#include "RecordParameterDefinition_p.h"

RecordParameterDefinitionPrivate::RecordParameterDefinitionPrivate()
    : ParameterDefinitionPrivate(Record)
{
}

void RecordParameterDefinitionPrivate::assignContent(const ParameterDefinitionPrivate &other)
{
    Q_ASSERT(kind == other.kind);
    assignCommonContent(other);
    const auto &source = static_cast<const RecordParameterDefinitionPrivate &>(other);
    std::vector<Element> copies;
    copies.reserve(source.elements.size());
    for (const Element &element : source.elements)
        copies.push_back(Element{element.name, element.defaultValue,
                                 std::unique_ptr<ParameterElementSetup>(element.setup->clone())});
    elements.swap(copies);
}

const ParameterElementSetup *RecordParameterDefinitionPrivate::elementSetup(unsigned short element) const
{
    return element < elements.size() ? elements[element].setup.get() : nullptr;
}

unsigned short RecordParameterDefinitionPrivate::elementCount() const
{
    return static_cast<unsigned short>(elements.size());
}

void RecordParameterDefinitionPrivate::appendElement(const ParameterText &name, const QString &defaultValue,
                                                     const ParameterElementSetup &setup)
{
    Q_ASSERT(elements.size() < ParameterDefinition::MaxElementCount);
    elements.push_back(Element{name, defaultValue, std::unique_ptr<ParameterElementSetup>(setup.clone())});
}

RecordParameterDefinition::RecordParameterDefinition()
    : ParameterDefinition(*new RecordParameterDefinitionPrivate)
{
}

RecordParameterDefinition::~RecordParameterDefinition() = default;

RecordParameterDefinitionPrivate *RecordParameterDefinition::dFunc() const
{
    return static_cast<RecordParameterDefinitionPrivate *>(d);
}

unsigned short RecordParameterDefinition::elementCount() const
{
    return dFunc()->elementCount();
}

QList<unsigned short> RecordParameterDefinition::elementList() const
{
    QList<unsigned short> list;
    const unsigned short count = elementCount();
    list.reserve(count);
    for (unsigned short element = 0; element < count; ++element)
        list.append(element);
    return list;
}

IParameterElementSetup *RecordParameterDefinition::createElement(unsigned short element)
{
    auto &elements = dFunc()->elements;
    if (element > elements.size() || elements.size() >= MaxElementCount)
        return nullptr;
    auto setup = std::make_unique<ParameterElementSetup>();
    ParameterElementSetup *created = setup.get();
    elements.insert(elements.begin() + element,
                    RecordParameterDefinitionPrivate::Element{ParameterText(), QString(), std::move(setup)});
    return created;
}

bool RecordParameterDefinition::deleteElement(unsigned short element)
{
    auto &elements = dFunc()->elements;
    if (element >= elements.size())
        return false;
    elements.erase(elements.begin() + element);
    return true;
}

ParameterText RecordParameterDefinition::elementName(unsigned short element) const
{
    const auto &elements = dFunc()->elements;
    return element < elements.size() ? elements[element].name : ParameterText();
}

bool RecordParameterDefinition::setElementName(unsigned short element, const ParameterText &name)
{
    auto &elements = dFunc()->elements;
    if (element >= elements.size())
        return false;
    elements[element].name = name;
    return true;
}

IParameterElementSetup *RecordParameterDefinition::queryElementSetup(unsigned short element)
{
    auto &elements = dFunc()->elements;
    return element < elements.size() ? elements[element].setup.get() : nullptr;
}
