#include "ParameterCoordinate.h"
#include "ParameterCoordinate_p.h"

static bool isAreaLetter(QChar c)
{
    return c >= QLatin1Char('A') && c <= QLatin1Char('Z');
}

static bool isCoordinateText(const QString &text)
{
    if (text.size() < 2 || text.size() > 1 + ParameterCoordinate::MaxDigits)
        return false;
    if (!isAreaLetter(text.front()))
        return false;
    for (qsizetype i = 1; i < text.size(); ++i) {
        // Only ASCII digits: QChar::isDigit() would also take other scripts' digits.
        if (text.at(i) < QLatin1Char('0') || text.at(i) > QLatin1Char('9'))
            return false;
    }
    return true;
}

ParameterCoordinate::ParameterCoordinate()
    : d(new ParameterCoordinateData)
{
}

ParameterCoordinate::ParameterCoordinate(const QString &text)
    : d(new ParameterCoordinateData)
{
    if (isCoordinateText(text))
        d->text = text;
}

ParameterCoordinate::ParameterCoordinate(QChar area, unsigned int number)
    : d(new ParameterCoordinateData)
{
    const QString digits = QString::number(number);
    if (isAreaLetter(area) && digits.size() <= MaxDigits)
        d->text = area + digits;
}

ParameterCoordinate::ParameterCoordinate(const ParameterCoordinate &other) = default;
ParameterCoordinate::ParameterCoordinate(ParameterCoordinate &&other) noexcept = default;
ParameterCoordinate &ParameterCoordinate::operator=(const ParameterCoordinate &other) = default;
ParameterCoordinate &ParameterCoordinate::operator=(ParameterCoordinate &&other) noexcept = default;
ParameterCoordinate::~ParameterCoordinate() = default;

ParameterCoordinate ParameterCoordinate::fromText(const QString &text)
{
    return ParameterCoordinate(text);
}

bool ParameterCoordinate::operator==(const ParameterCoordinate &other) const
{
    return d == other.d || d->text == other.d->text;
}

bool ParameterCoordinate::isValid() const
{
    return !d->text.isEmpty();
}

QChar ParameterCoordinate::area() const
{
    return isValid() ? d->text.front() : QChar();
}

unsigned int ParameterCoordinate::number() const
{
    // At most five digits: the value always fits.
    return isValid() ? QStringView(d->text).mid(1).toUInt() : 0u;
}

QString ParameterCoordinate::toText() const
{
    return d->text;
}
