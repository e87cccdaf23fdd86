#include "IniParser.h"

#include <QtCore/QHash>

namespace LxIniParser {

class IniSectionPrivate
{
public:
    QByteArray name;
    QList<QByteArray> keys;
    QHash<QByteArray, QByteArray> values;
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
    return d->values.contains(key);
}

QByteArray IniSection::value(const QByteArray &key) const
{
    return d->values.value(key);
}

void IniSection::setValue(const QByteArray &key, const QByteArray &value)
{
    auto it = d->values.find(key);
    if (it == d->values.end()) {
        d->keys.append(key);
        d->values.insert(key, value);
    } else {
        *it = value;
    }
}

class IniParserPrivate
{
public:
    void reset()
    {
        qDeleteAll(sections);
        sections.clear();
        names.clear();
        latin1 = true;
    }

    QHash<QByteArray, IniSection *> sections;
    QList<QByteArray> names;
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
            const QByteArray name = line.sliced(1, close - 1).trimmed().toByteArray();
            current = d->sections.value(name);
            if (!current) {
                current = new IniSection(name);
                d->sections.insert(name, current);
                d->names.append(name);
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
    return d->sections.value(name);
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
