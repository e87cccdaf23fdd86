#pragma once

#include "ParameterText.h"

#include <QtCore/QMap>
#include <QtCore/QSharedData>

class ParameterTextMapData : public QSharedData
{
public:
    QMap<qint64, ParameterText> texts;
};
