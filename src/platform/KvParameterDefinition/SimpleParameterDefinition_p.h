#pragma once

#include "ParameterDefinition_p.h"
#include "ParameterElementSetup_p.h"

#include <QtCore/QStringList>

class SimpleParameterDefinitionPrivate : public ParameterDefinitionPrivate
{
public:
    SimpleParameterDefinitionPrivate();

    void assignContent(const ParameterDefinitionPrivate &other) override;
    const ParameterElementSetup *elementSetup(unsigned short element) const override;
    unsigned short elementCount() const override;

    ParameterElementSetup setup; // shared by all elements
    // One default value per element: its size is the element count, never 0.
    QStringList defaultValues;
};
