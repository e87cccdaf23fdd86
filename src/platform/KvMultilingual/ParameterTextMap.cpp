#include "ParameterTextMap.h"
#include "ParameterTextMap_p.h"

#include <QtCore/QDataStream>

static void registerParameterTextMapMetaType()
{
    qRegisterMetaType<ParameterTextMap>();
}
Q_CONSTRUCTOR_FUNCTION(registerParameterTextMapMetaType)

ParameterTextMap::ParameterTextMap()
    : d(new ParameterTextMapData)
{
}

ParameterTextMap::ParameterTextMap(const ParameterTextMap &other) = default;
ParameterTextMap::ParameterTextMap(ParameterTextMap &&other) noexcept = default;
ParameterTextMap &ParameterTextMap::operator=(const ParameterTextMap &other) = default;
ParameterTextMap &ParameterTextMap::operator=(ParameterTextMap &&other) noexcept = default;
ParameterTextMap::~ParameterTextMap() = default;

bool ParameterTextMap::operator==(const ParameterTextMap &other) const
{
    return d == other.d || d->texts == other.d->texts;
}

void ParameterTextMap::insert(qint64 key, const ParameterText &text)
{
    d->texts.insert(key, text);
}

ParameterText ParameterTextMap::value(qint64 key) const
{
    return d->texts.value(key);
}

bool ParameterTextMap::contains(qint64 key) const
{
    return d->texts.contains(key);
}

bool ParameterTextMap::remove(qint64 key)
{
    if (!d->texts.contains(key))
        return false;
    d->texts.remove(key);
    return true;
}

void ParameterTextMap::clear()
{
    if (!d->texts.isEmpty())
        d->texts.clear();
}

QList<qint64> ParameterTextMap::keys() const
{
    return d->texts.keys();
}

qsizetype ParameterTextMap::count() const
{
    return d->texts.size();
}

bool ParameterTextMap::isEmpty() const
{
    return d->texts.isEmpty();
}

void ParameterTextMap::convertToMonolingual(int language)
{
    for (ParameterText &text : d->texts)
        text.convertToMonolingual(language);
}

void ParameterTextMap::convertToMultilingual()
{
    for (ParameterText &text : d->texts)
        text.convertToMultilingual();
}

QDataStream &operator<<(QDataStream &stream, const ParameterTextMap &map)
{
    const QList<qint64> keys = map.keys();
    stream << quint32(keys.size());
    for (qint64 key : keys)
        stream << key << map.value(key);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, ParameterTextMap &map)
{
    quint32 count = 0;
    stream >> count;
    ParameterTextMap result;
    for (quint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        qint64 key = 0;
        ParameterText text;
        stream >> key >> text;
        if (stream.status() == QDataStream::Ok)
            result.insert(key, text);
    }
    if (stream.status() == QDataStream::Ok)
        map = result;
    return stream;
}
