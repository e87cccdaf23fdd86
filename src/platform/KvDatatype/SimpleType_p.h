#pragma once

#include "SimpleType.h"

#include <QtCore/QSharedData>

class SimpleTypeData : public QSharedData
{
public:
    tSimpleType code = eSimpleTypeUnknown;
    QString name;
    QString shortName;
    eSimpleTypeKind kind = eSimpleTypeKindUnknown;
    unsigned int size = 0;
};
