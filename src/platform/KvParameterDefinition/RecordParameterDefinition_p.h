#pragma once

#include "ParameterDefinition_p.h"
#include "ParameterElementSetup_p.h"

#include <memory>
#include <vector>

class RecordParameterDefinitionPrivate : public ParameterDefinitionPrivate
{
public:
    struct Element
    {
        ParameterText name;
        QString defaultValue;
        // On the heap, so that a setup handed out keeps its address while other elements
        // are inserted or deleted.
        std::unique_ptr<ParameterElementSetup> setup;
    };

    RecordParameterDefinitionPrivate();

    void assignContent(const ParameterDefinitionPrivate &other) override;
    const ParameterElementSetup *elementSetup(unsigned short element) const override;
    unsigned short elementCount() const override;

    // Appends an element with a deep copy of setup.
    void appendElement(const ParameterText &name, const QString &defaultValue,
                       const ParameterElementSetup &setup);

    std::vector<Element> elements; // at most MaxElementCount
};
