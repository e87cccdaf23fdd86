#pragma once

#include <KvParameterDefinition/ParameterProperty.h>
#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <QtCore/QList>

/*!
 * The setup of one element of a parameter: its numbered properties (read and write level,
 * kind, limits, unit, default value, flags, ...), each a ParameterProperty.
 *
 * Element setups belong to their parameter definition, which hands them out through
 * queryElementSetup(); a setup stays valid until its element is deleted or its definition
 * is destroyed. The module attaches no meaning to the property numbers; any int is a
 * number. Setups cannot be created or copied outside the module.
 */
class KVPARAMETERDEFINITION_EXPORT IParameterElementSetup
{
public:
    virtual ~IParameterElementSetup();

    /*! Whether property \a id has a value. */
    virtual bool hasProperty(int id) const = 0;
    /*! The value of property \a id; an invalid ParameterProperty when it has none. */
    virtual ParameterProperty property(int id) const = 0;
    /*!
     * Sets property \a id to \a value, replacing its old value. An invalid \a value removes
     * the property, so hasProperty() is true exactly for properties with a value.
     */
    virtual void setProperty(int id, const ParameterProperty &value) = 0;
    /*! Removes property \a id; returns whether it had a value. */
    virtual bool removeProperty(int id) = 0;
    /*! The numbers of all properties with a value, ascending. */
    virtual QList<int> propertyIds() const = 0;

protected:
    IParameterElementSetup() = default;

private:
    Q_DISABLE_COPY_MOVE(IParameterElementSetup)
};
