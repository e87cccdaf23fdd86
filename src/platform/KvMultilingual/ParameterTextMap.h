#pragma once

#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/kvmultilingual_export.h>

#include <QtCore/QList>
#include <QtCore/QMetaType>
#include <QtCore/QSharedDataPointer>

class ParameterTextMapData;

/*!
 * ParameterTexts by number: the element names of a record parameter by element index,
 * or the texts of a choice parameter by choice value.
 *
 * Keys are signed 64-bit so that both element indexes and any choice value of a 32-bit
 * signed or unsigned parameter fit. Keys iterate in ascending order. Implicitly shared.
 */
class KVMULTILINGUAL_EXPORT ParameterTextMap
{
public:
    ParameterTextMap();
    ParameterTextMap(const ParameterTextMap &other);
    ParameterTextMap(ParameterTextMap &&other) noexcept;
    ParameterTextMap &operator=(const ParameterTextMap &other);
    ParameterTextMap &operator=(ParameterTextMap &&other) noexcept;
    ~ParameterTextMap();

    void swap(ParameterTextMap &other) noexcept { d.swap(other.d); }

    bool operator==(const ParameterTextMap &other) const;
    bool operator!=(const ParameterTextMap &other) const { return !(*this == other); }

    /*! Stores \a text under \a key, replacing what the key held. */
    void insert(qint64 key, const ParameterText &text);
    /*! The text under \a key; an empty ParameterText when the key is absent. */
    ParameterText value(qint64 key) const;
    bool contains(qint64 key) const;
    /*! Removes \a key; returns whether it was present. */
    bool remove(qint64 key);
    void clear();

    /*! The keys in ascending order. */
    QList<qint64> keys() const;
    qsizetype count() const;
    bool isEmpty() const;

    /*! ParameterText::convertToMonolingual(\a language) on every entry. */
    void convertToMonolingual(int language);
    /*! ParameterText::convertToMultilingual() on every entry. */
    void convertToMultilingual();

private:
    QSharedDataPointer<ParameterTextMapData> d;
};

/*! Writes the entries in ascending key order. */
KVMULTILINGUAL_EXPORT QDataStream &operator<<(QDataStream &stream, const ParameterTextMap &map);
/*! Reads what operator<< wrote; on a damaged stream \a map is left unchanged. */
KVMULTILINGUAL_EXPORT QDataStream &operator>>(QDataStream &stream, ParameterTextMap &map);

Q_DECLARE_METATYPE(ParameterTextMap)
