#pragma once

#include "IParameterElementSetup.h"

#include <QtCore/QMap>

/*
 * The module's only element setup: the properties in a map by number, so that they list
 * (and are saved) in ascending order. Copies are deep; definitions copy setups when they
 * are cloned or converted.
 */
class ParameterElementSetup final : public IParameterElementSetup
{
public:
    ParameterElementSetup() = default;
    ~ParameterElementSetup() override;

    ParameterElementSetup *clone() const;
    bool operator==(const ParameterElementSetup &other) const { return properties == other.properties; }

    bool hasProperty(int id) const override;
    ParameterProperty property(int id) const override;
    void setProperty(int id, const ParameterProperty &value) override;
    bool removeProperty(int id) override;
    QList<int> propertyIds() const override;

    // Only valid properties are kept (see setProperty()).
    QMap<int, ParameterProperty> properties;
};
