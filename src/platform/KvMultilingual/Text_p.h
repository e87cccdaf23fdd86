#pragma once

#include <QtCore/QMap>
#include <QtCore/QSharedData>
#include <QtCore/QString>

class TextData : public QSharedData
{
public:
    // Ordered by language so that textLanguages() and the stream form come out ascending.
    QMap<int, QString> texts;
};
