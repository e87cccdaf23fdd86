#pragma once

#include <QtCore/QMap>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtWidgets/QWidget>

class SystemPrivate
{
public:
    // Ordered by level so that accessLevels() comes out ascending.
    QMap<unsigned int, QString> accessLevels;
    unsigned int currentAccessLevel = 7;
    int productLevel = 5;
    QPointer<QWidget> mainWindow;
};
