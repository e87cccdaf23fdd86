#pragma once

#include "ParameterProperty.h"

#include <QtCore/QSharedData>
#include <QtCore/QVariant>

class ParameterPropertyData : public QSharedData
{
public:
    ParameterProperty::eType type = ParameterProperty::eTypeInvalid;
    // Holds exactly the C++ type that belongs to `type` (qint32 for eTypeInt, ...), so
    // every reader can rely on it without converting.
    QVariant value;
};
