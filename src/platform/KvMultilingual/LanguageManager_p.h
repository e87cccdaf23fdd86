#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>

class LanguageManagerPrivate
{
public:
    // Ordered by number so that languageList() comes out ascending.
    QMap<int, QString> languages;
    int currentLanguage = 1;
    int fallbackLanguage = 1;
};
