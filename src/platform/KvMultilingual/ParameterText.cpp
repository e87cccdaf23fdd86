#include "ParameterText.h"
#include "ParameterText_p.h"

#include <QtCore/QDataStream>
#include <QtCore/QDebug>

static void registerParameterTextMetaType()
{
    qRegisterMetaType<ParameterText>();
}
Q_CONSTRUCTOR_FUNCTION(registerParameterTextMetaType)

ParameterText::ParameterText()
    : d(new ParameterTextData)
{
}

ParameterText::ParameterText(const Text &shortText, const Text &longText)
    : d(new ParameterTextData)
{
    d->shortText = shortText;
    d->longText = longText;
}

ParameterText::ParameterText(const ParameterText &other) = default;
ParameterText::ParameterText(ParameterText &&other) noexcept = default;
ParameterText &ParameterText::operator=(const ParameterText &other) = default;
ParameterText &ParameterText::operator=(ParameterText &&other) noexcept = default;
ParameterText::~ParameterText() = default;

bool ParameterText::operator==(const ParameterText &other) const
{
    return d == other.d
        || (d->shortText == other.d->shortText && d->longText == other.d->longText);
}

Text ParameterText::multilingualShortText() const
{
    return d->shortText;
}

void ParameterText::setMultilingualShortText(const Text &text)
{
    if (d->shortText != text)
        d->shortText = text;
}

Text ParameterText::multilingualLongText() const
{
    return d->longText;
}

void ParameterText::setMultilingualLongText(const Text &text)
{
    if (d->longText != text)
        d->longText = text;
}

QString ParameterText::shortText(int language) const
{
    return d->shortText.text(language);
}

QString ParameterText::longText(int language) const
{
    return d->longText.text(language);
}

void ParameterText::setShortText(int language, const QString &text)
{
    d->shortText.setText(language, text);
}

void ParameterText::setLongText(int language, const QString &text)
{
    d->longText.setText(language, text);
}

bool ParameterText::isEmpty() const
{
    return d->shortText.isEmpty() && d->longText.isEmpty();
}

void ParameterText::convertToMonolingual(int language)
{
    d->shortText.convertToMonolingual(language);
    d->longText.convertToMonolingual(language);
}

void ParameterText::convertToMultilingual()
{
    d->shortText.convertToMultilingual();
    d->longText.convertToMultilingual();
}

QDataStream &operator<<(QDataStream &stream, const ParameterText &text)
{
    return stream << text.multilingualShortText() << text.multilingualLongText();
}

QDataStream &operator>>(QDataStream &stream, ParameterText &text)
{
    Text shortText;
    Text longText;
    stream >> shortText >> longText;
    if (stream.status() == QDataStream::Ok)
        text = ParameterText(shortText, longText);
    return stream;
}

QDebug operator<<(QDebug debug, const ParameterText &text)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "ParameterText(short " << text.multilingualShortText()
                    << ", long " << text.multilingualLongText() << ')';
    return debug;
}
