#pragma once

#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <QtCore/QList>

class ParameterDefinition;

/*!
 * Gives access to parameter definitions by device family and parameter number, for the
 * parameter editors and checks that should not know who holds the definitions.
 */
class KVPARAMETERDEFINITION_EXPORT ParameterDefinitionProvider
{
public:
    virtual ~ParameterDefinitionProvider();

    /*! The numbers of the parameters that \a family sees, ascending. */
    virtual QList<unsigned int> parameterDefinitionList(unsigned int family) = 0;
    /*! The definition of parameter \a number in \a family; null when there is none. It
        stays owned by the provider. */
    virtual ParameterDefinition *parameterDefinition(unsigned int family, unsigned int number) const = 0;

protected:
    ParameterDefinitionProvider() = default;

private:
    Q_DISABLE_COPY_MOVE(ParameterDefinitionProvider)
};
