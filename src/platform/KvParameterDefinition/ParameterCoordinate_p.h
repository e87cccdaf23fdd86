#pragma once

#include <QtCore/QSharedData>
#include <QtCore/QString>

class ParameterCoordinateData : public QSharedData
{
public:
    QString text; // the accepted text form; empty for an invalid coordinate
};
