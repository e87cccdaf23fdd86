#pragma once

#include <KvDatatype/kvdatatype_export.h>

#include <QtCore/QSharedDataPointer>
#include <QtCore/QString>

/*! The code of a simple data type, as stored with every pin and parameter. */
using tSimpleType = unsigned char;

/*!
 * The codes of the simple data types. They are stored in library files and drive
 * programs, so a code never changes its meaning and is never reused.
 */
enum eSimpleTypeCode : tSimpleType {
    eSimpleTypeUnknown = 0,
    eSimpleTypeBool = 1,
    eSimpleTypeSInt = 2,
    eSimpleTypeUSInt = 3,
    eSimpleTypeInt = 4,
    eSimpleTypeUInt = 5,
    eSimpleTypeDInt = 6,
    eSimpleTypeUDInt = 7,
    eSimpleTypeLInt = 8,
    eSimpleTypeULInt = 9,
    eSimpleTypeByte = 10,
    eSimpleTypeWord = 11,
    eSimpleTypeDWord = 12,
    eSimpleTypeLWord = 13,
    eSimpleTypeReal = 14,
    eSimpleTypeLReal = 15,
    eSimpleTypeTime = 16,
    /*!
     * A memory address inside the drive. Arithmetically an unsigned 32-bit integer, but
     * only valid in the drive that computed it: system blocks pass addresses among
     * themselves, and editors of user pins must not offer the type.
     */
    eSimpleTypeAddress = 17,
    eSimpleTypeString = 18,
    eSimpleTypeDate = 19,
    eSimpleTypeTimeOfDay = 20,
    eSimpleTypeDateAndTime = 21,
    eSimpleTypeStruct = 22,
};

/*!
 * What a value of a simple type is. The kinds below eSimpleTypeKindString are the scalar
 * kinds: values of a fixed size that can flow along a connection between two pins.
 */
enum eSimpleTypeKind {
    eSimpleTypeKindBoolean = 0,
    eSimpleTypeKindInteger = 1, //!< signed and unsigned integers, bit strings, addresses
    eSimpleTypeKindFloat = 2,
    eSimpleTypeKindTime = 3, //!< durations, dates and times of day
    eSimpleTypeKindString = 4,
    eSimpleTypeKindStructured = 5,
    eSimpleTypeKindUnknown = 6,
};

class SimpleTypeData;

/*!
 * One simple data type of a drive program: its code, a descriptive name for choosing it
 * (translated), a short name for narrow columns (the type's identifier in drive programs,
 * never translated), its kind and the size of a value in bytes (0 when a value has no
 * fixed size). Implicitly shared; DatatypeProvider hands out the defined types.
 */
class KVDATATYPE_EXPORT SimpleType
{
public:
    /*! An unknown type: code 0, empty names, kind unknown, size 0. */
    SimpleType();
    SimpleType(tSimpleType code, const QString &name, const QString &shortName,
               eSimpleTypeKind kind, unsigned int size);
    SimpleType(const SimpleType &other);
    SimpleType(SimpleType &&other) noexcept;
    SimpleType &operator=(const SimpleType &other);
    SimpleType &operator=(SimpleType &&other) noexcept;
    ~SimpleType();

    bool operator==(const SimpleType &other) const;
    bool operator!=(const SimpleType &other) const { return !(*this == other); }

    tSimpleType code() const;
    QString name() const;
    QString shortName() const;
    eSimpleTypeKind kind() const;
    /*! The size of one value in bytes; 0 for values without a fixed size. */
    unsigned int size() const;

private:
    QSharedDataPointer<SimpleTypeData> d;
};
