#pragma once

#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/kvparameterdefinition_export.h>

class SimpleParameterDefinitionPrivate;

/*!
 * A parameter that is one value, or an array of equal elements: all elements share one
 * element setup; each has a default value of its own.
 *
 * A new definition has one element with an empty setup and an empty default value, an
 * empty name, no coordinates, the axis scope and an empty description.
 */
class KVPARAMETERDEFINITION_EXPORT SimpleParameterDefinition : public ParameterDefinition
{
public:
    SimpleParameterDefinition();
    ~SimpleParameterDefinition() override;

    /*! 1 for a single value, the array size for an array. */
    unsigned short elementCount() const override;
    /*!
     * Makes the parameter an array of \a count elements (1: a single value). Added
     * elements get empty default values, removed ones take theirs along; the shared setup
     * stays. Returns false, changing nothing, for 0 or more than MaxElementCount.
     */
    bool setElementCount(unsigned short count);

    /*! The shared setup for every \a element below elementCount(); null otherwise. */
    IParameterElementSetup *queryElementSetup(unsigned short element) override;

private:
    SimpleParameterDefinitionPrivate *dFunc() const;
};
