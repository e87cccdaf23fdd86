#pragma once

#include "SimpleType.h"

#include <QtCore/QList>

class DatatypeProviderPrivate
{
public:
    // Indexed by code: codes are dense from 0, so the code is the position in the list.
    QList<SimpleType> types;
};
