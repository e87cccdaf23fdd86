#pragma once

#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <QtCore/QChar>
#include <QtCore/QMetaType>
#include <QtCore/QSharedDataPointer>
#include <QtCore/QString>

class ParameterCoordinateData;

/*!
 * Where a parameter sits in a drive's parameter tables: an area letter and a number,
 * written as text such as "P123" (parameter area P, number 123) or "A12".
 *
 * The text form is one capital letter A to Z followed by 1 to MaxDigits decimal digits,
 * nothing else (no blanks, no sign). The digits are kept as written, so that toText()
 * gives back exactly the accepted text: "P012" and "P12" have the same number() but are
 * different coordinates, because the drive's tables show them as written.
 *
 * A coordinate made from any other text is invalid: isValid() is false, toText() is empty,
 * area() is the null character and number() is 0. All invalid coordinates are equal.
 * Implicitly shared.
 */
class KVPARAMETERDEFINITION_EXPORT ParameterCoordinate
{
public:
    /*! Parameter numbers of a drive have at most five decimal digits. */
    static constexpr int MaxDigits = 5;

    /*! An invalid coordinate. */
    ParameterCoordinate();
    /*! The coordinate written as \a text; invalid unless \a text has the form above. */
    explicit ParameterCoordinate(const QString &text);
    /*!
     * The coordinate of \a number in \a area, written without leading zeros; invalid when
     * \a area is not a letter A to Z or \a number has more than MaxDigits digits.
     */
    ParameterCoordinate(QChar area, unsigned int number);
    ParameterCoordinate(const ParameterCoordinate &other);
    ParameterCoordinate(ParameterCoordinate &&other) noexcept;
    ParameterCoordinate &operator=(const ParameterCoordinate &other);
    ParameterCoordinate &operator=(ParameterCoordinate &&other) noexcept;
    ~ParameterCoordinate();

    /*! The same as the text constructor. */
    static ParameterCoordinate fromText(const QString &text);

    /*! Equal when both are invalid or both have the same text. */
    bool operator==(const ParameterCoordinate &other) const;
    bool operator!=(const ParameterCoordinate &other) const { return !(*this == other); }

    bool isValid() const;
    /*! The area letter; the null character when invalid. */
    QChar area() const;
    /*! The number the digits spell; 0 when invalid. */
    unsigned int number() const;
    /*! The text form exactly as accepted; empty when invalid. */
    QString toText() const;

private:
    QSharedDataPointer<ParameterCoordinateData> d;
};

Q_DECLARE_METATYPE(ParameterCoordinate)
