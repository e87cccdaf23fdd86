#pragma once

#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <QtCore/QMetaType>
#include <QtCore/QSharedDataPointer>
#include <QtCore/QString>
#include <QtCore/QVariant>

class ParameterPropertyData;
class ParameterText;
class ParameterTextMap;
class Text;

/*!
 * The value of one numbered property of a parameter element: a limit, a unit, a level,
 * a flag, a text. The module attaches no meaning to the numbers; the editors and the
 * drive do.
 *
 * A property keeps one of a fixed set of types (eType), so that its stored text gives
 * back the same type and value. Made from a QVariant, the value is sorted in as follows:
 * - bool: eTypeBool;
 * - signed integers up to 32 bits (int, short, signed char, char): eTypeInt;
 * - unsigned integers up to 32 bits (uint, ushort, uchar): eTypeUInt;
 * - 64-bit integers (qlonglong, and long where it has 64 bits): eTypeLongLong,
 *   (qulonglong, unsigned long where 64 bits): eTypeULongLong;
 * - double and float: eTypeDouble;
 * - QString and QChar: eTypeString; QByteArray: eTypeByteArray;
 * - Text, ParameterText, ParameterTextMap: their own types;
 * - an invalid QVariant: eTypeInvalid (no value);
 * - any other type that converts to QString (dates, URLs, ...): eTypeString with that text;
 *   the rest: eTypeInvalid.
 *
 * Implicitly shared and cheap to copy.
 */
class KVPARAMETERDEFINITION_EXPORT ParameterProperty
{
public:
    /*! The types a property value can have. The numbers never change meaning. */
    enum eType {
        eTypeInvalid = 0,
        eTypeBool = 1,
        eTypeInt = 2, //!< qint32
        eTypeUInt = 3, //!< quint32
        eTypeLongLong = 4, //!< qint64
        eTypeULongLong = 5, //!< quint64
        eTypeDouble = 6,
        eTypeString = 7,
        eTypeByteArray = 8,
        eTypeText = 9,
        eTypeParameterText = 10,
        eTypeParameterTextMap = 11,
    };

    /*! No value (eTypeInvalid). */
    ParameterProperty();
    /*! The value of \a value, sorted into a type as the class comment says. */
    explicit ParameterProperty(const QVariant &value);
    ParameterProperty(const ParameterProperty &other);
    ParameterProperty(ParameterProperty &&other) noexcept;
    ParameterProperty &operator=(const ParameterProperty &other);
    ParameterProperty &operator=(ParameterProperty &&other) noexcept;
    ~ParameterProperty();

    /*!
     * Equal when type and value are equal. Doubles compare by value, except that every NaN
     * equals every NaN and 0.0 differs from -0.0 (they are stored differently).
     */
    bool operator==(const ParameterProperty &other) const;
    bool operator!=(const ParameterProperty &other) const { return !(*this == other); }

    eType type() const;
    bool isValid() const;

    /*! The value as a QVariant of the type's C++ type; an invalid QVariant without value. */
    QVariant value() const;

    /*!
     * The value as text for display and for reading numbers back:
     * bool "1" or "0"; integers in decimal; doubles in the shortest form that reads back
     * the same ("0.1", "1e+20", "nan", "inf", "-inf"); strings as they are; byte arrays in
     * lower-case hexadecimal; Text in the current language; ParameterText its long text in
     * the current language; ParameterTextMap "key=long text" entries joined by ", " in
     * ascending key order; empty without value.
     */
    QString asString() const;
    /*! The value as an integer: bools 1 or 0, numbers when they fit, strings that spell one
        in decimal; 0 and *ok false otherwise. */
    qint64 asLongLong(bool *ok = nullptr) const;
    /*! asLongLong() when it fits an int; 0 and *ok false otherwise. */
    int asInt(bool *ok = nullptr) const;
    /*! True for a true bool and for a number or a decimal string other than 0. */
    bool asBool() const;
    /*! The value as a double: numbers and strings that spell one; 0 and *ok false otherwise. */
    double asDouble(bool *ok = nullptr) const;
    /*! The stored Text; an empty Text for other types. */
    Text asText() const;
    /*! The stored ParameterText; an empty one for other types. */
    ParameterText asParameterText() const;
    /*! The stored ParameterTextMap; an empty one for other types. */
    ParameterTextMap asParameterTextMap() const;

private:
    QSharedDataPointer<ParameterPropertyData> d;
};

Q_DECLARE_METATYPE(ParameterProperty)
