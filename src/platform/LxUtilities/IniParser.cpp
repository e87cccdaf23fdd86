#include "IniParser.h"

#include <QtCore/QHash>

namespace LxIniParser {

// Keys and values in file order. Typed streams hold a handful of keys per section, for which
// a linear scan beats hashing every key; a section that grows beyond SmallSection keys (only
// damaged or hostile text does) gets a hash index, so that parsing stays linear.
class IniSectionPrivate
{
public:
    static constexpr qsizetype SmallSection = 16;

    qsizetype find(QByteArrayView key) const
    {
        if (!index.isEmpty())
            return index.value(key.toByteArray(), -1);
        for (qsizetype i = 0; i < keys.size(); ++i) {
            if (keys.at(i) == key)
                return i;
        }
        return -1;
    }

    QByteArray name;
    QList<QByteArray> keys;
    QList<QByteArray> values;
    QHash<QByteArray, qsizetype> index;
};

IniSection::IniSection(const QByteArray &name)
    : d(new IniSectionPrivate)
{
    d->name = name;
}

IniSection::~IniSection()
{
    delete d;
}

QByteArray IniSection::name() const
{
    return d->name;
}

QList<QByteArray> IniSection::keys() const
{
    return d->keys;
}

bool IniSection::contains(const QByteArray &key) const
{
    return d->find(key) >= 0;
}

QByteArray IniSection::value(const QByteArray &key) const
{
    const qsizetype i = d->find(key);
    return i < 0 ? QByteArray() : d->values.at(i);
}

void IniSection::setValue(const QByteArray &key, const QByteArray &value)
{
    const qsizetype i = d->find(key);
    if (i >= 0) {
        d->values[i] = value;
        return;
    }
    d->keys.append(key);
    d->values.append(value);
    if (!d->index.isEmpty()) {
        d->index.insert(key, d->keys.size() - 1);
    } else if (d->keys.size() > IniSectionPrivate::SmallSection) {
        for (qsizetype k = 0; k < d->keys.size(); ++k)
            d->index.insert(d->keys.at(k), k);
    }
}

// Sections in file order, found the same way as keys: by a scan while there are few, by a
// hash index beyond that.
class IniParserPrivate
{
public:
    void reset()
    {
        qDeleteAll(sections);
        sections.clear();
        names.clear();
        index.clear();
        latin1 = true;
    }

    IniSection *find(QByteArrayView name) const
    {
        if (!index.isEmpty())
            return index.value(name.toByteArray());
        for (qsizetype i = 0; i < names.size(); ++i) {
            if (names.at(i) == name)
                return sections.at(i);
        }
        return nullptr;
    }

    void add(const QByteArray &name, IniSection *section)
    {
        names.append(name);
        sections.append(section);
        if (!index.isEmpty()) {
            index.insert(name, section);
        } else if (names.size() > IniSectionPrivate::SmallSection) {
            for (qsizetype i = 0; i < names.size(); ++i)
                index.insert(names.at(i), sections.at(i));
        }
    }

    QList<IniSection *> sections;
    QList<QByteArray> names;
    QHash<QByteArray, IniSection *> index;
    bool latin1 = true;
};

IniParser::IniParser()
    : d(new IniParserPrivate)
{
}

IniParser::~IniParser()
{
    d->reset();
    delete d;
}

void IniParser::setIniText(const QByteArray &text)
{
    d->reset();
    static const QByteArray byteOrderMark("\xEF\xBB\xBF");
    d->latin1 = !text.startsWith(byteOrderMark);

    IniSection *current = nullptr;
    qsizetype start = d->latin1 ? 0 : byteOrderMark.size();
    while (start < text.size()) {
        qsizetype end = text.indexOf('\n', start);
        if (end < 0)
            end = text.size();
        QByteArrayView line(text.constData() + start, end - start);
        start = end + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.isEmpty() || line.front() == ';')
            continue;

        if (line.front() == '[') {
            const qsizetype close = line.indexOf(']');
            if (close < 0) {
                current = nullptr;
                continue;
            }
            const QByteArrayView name = line.sliced(1, close - 1).trimmed();
            current = d->find(name);
            if (!current) {
                current = new IniSection(name.toByteArray());
                d->add(name.toByteArray(), current);
            }
            continue;
        }

        const qsizetype equals = line.indexOf('=');
        if (!current || equals < 0)
            continue;
        const QByteArray key = line.first(equals).trimmed().toByteArray();
        if (key.isEmpty())
            continue;
        current->setValue(key, line.sliced(equals + 1).toByteArray());
    }
}

IniSection *IniParser::section(QByteArray name)
{
    return d->find(name);
}

QList<QByteArray> IniParser::allSectionNames() const
{
    return d->names;
}

bool IniParser::latin1Encoded() const
{
    return d->latin1;
}

} // namespace LxIniParser
