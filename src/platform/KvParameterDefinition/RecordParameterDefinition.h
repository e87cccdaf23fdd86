#pragma once

#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <KvMultilingual/ParameterText.h>

#include <QtCore/QList>

class RecordParameterDefinitionPrivate;

/*!
 * A parameter made of named elements, each with a setup and a default value of its own.
 * Elements are numbered 0 to elementCount() - 1 without gaps; creating or deleting an
 * element renumbers the ones behind it.
 *
 * A new definition has no elements, an empty name, no coordinates, the axis scope and an
 * empty description.
 */
class KVPARAMETERDEFINITION_EXPORT RecordParameterDefinition : public ParameterDefinition
{
public:
    RecordParameterDefinition();
    ~RecordParameterDefinition() override;

    unsigned short elementCount() const override;
    /*! The element numbers, 0 to elementCount() - 1 ascending. */
    QList<unsigned short> elementList() const;

    /*!
     * Inserts a new element as number \a element (elementCount() appends), moving the
     * elements from there on one number up. It starts with an empty name, an empty default
     * value and an empty setup, which is returned (owned by this definition). Returns null,
     * changing nothing, when \a element is above elementCount() or the record already has
     * MaxElementCount elements.
     */
    IParameterElementSetup *createElement(unsigned short element);
    /*!
     * Deletes \a element with its setup (setups handed out for it become invalid) and moves
     * the elements behind it one number down. Returns false when there is no such element.
     * The last element can be deleted too.
     */
    bool deleteElement(unsigned short element);

    /*! The name of \a element; empty when there is no such element. */
    ParameterText elementName(unsigned short element) const;
    /*! Returns false, changing nothing, when there is no such element. */
    bool setElementName(unsigned short element, const ParameterText &name);

    /*! The setup of \a element; null when there is no such element. */
    IParameterElementSetup *queryElementSetup(unsigned short element) override;

private:
    RecordParameterDefinitionPrivate *dFunc() const;
};
