#pragma once

#include "Text.h"

#include <QtCore/QSharedData>

class ParameterTextData : public QSharedData
{
public:
    Text shortText;
    Text longText;
};
