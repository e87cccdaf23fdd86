#pragma once

#include "ParameterDefinition.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>

class ParameterElementSetup;

class ParameterDefinitionPrivate
{
public:
    enum Kind { Simple, Record };

    explicit ParameterDefinitionPrivate(Kind kind)
        : kind(kind)
    {
    }
    virtual ~ParameterDefinitionPrivate();

    static ParameterDefinitionPrivate *get(ParameterDefinition *q) { return q->d; }
    static const ParameterDefinitionPrivate *get(const ParameterDefinition *q) { return q->d; }

    // Replaces the content (everything but owner and version) by a deep copy of other's,
    // which must be of the same kind.
    virtual void assignContent(const ParameterDefinitionPrivate &other) = 0;
    // Copies what both kinds have: name, coordinates, global flag and description.
    void assignCommonContent(const ParameterDefinitionPrivate &other);

    // The setup of an element for code that only reads; null when there is no such element.
    virtual const ParameterElementSetup *elementSetup(unsigned short element) const = 0;
    virtual unsigned short elementCount() const = 0;

    const Kind kind;
    ParameterText name;
    QList<ParameterCoordinate> coordinates; // valid ones only, at most MaxCoordinateCount
    bool global = false;
    QString description;
    QPointer<QObject> owner; // not owned; QPointer so that a destroyed owner reads null
    unsigned int version = 0;
};
