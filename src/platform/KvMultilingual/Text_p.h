#pragma once

#include <QtCore/QList>
#include <QtCore/QSharedData>
#include <QtCore/QString>

#include <algorithm>

class TextData : public QSharedData
{
public:
    struct Entry
    {
        int language;
        QString text;
    };

    // A library holds hundreds of thousands of texts (every pin has a name), nearly all in one
    // or two languages: a short list sorted by language costs a fraction of a map's nodes, and
    // keeps textLanguages() and the stream form ascending.
    QList<Entry> texts;

    // The place of language in texts: where it is stored, or where it would go.
    qsizetype lowerBound(int language) const
    {
        return std::lower_bound(texts.cbegin(), texts.cend(), language,
                                [](const Entry &entry, int wanted) { return entry.language < wanted; })
                - texts.cbegin();
    }
    bool holdsAt(qsizetype index, int language) const
    {
        return index < texts.size() && texts.at(index).language == language;
    }
    const QString *find(int language) const
    {
        const qsizetype index = lowerBound(language);
        return holdsAt(index, language) ? &texts.at(index).text : nullptr;
    }
};

Q_DECLARE_TYPEINFO(TextData::Entry, Q_RELOCATABLE_TYPE);
