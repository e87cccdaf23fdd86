#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QSharedData>
#include <QtCore/QString>

class ParameterExceptionData : public QSharedData
{
public:
    QString message;
    QByteArray utf8; // what() hands out a pointer into this; kept beside the message
};
