#include "ParameterException.h"
#include "ParameterException_p.h"

ParameterException::ParameterException(const QString &message)
    : d(new ParameterExceptionData)
{
    d->message = message;
    d->utf8 = message.toUtf8();
}

ParameterException::ParameterException(const ParameterException &other) noexcept = default;
ParameterException &ParameterException::operator=(const ParameterException &other) noexcept = default;
ParameterException::~ParameterException() = default;

QString ParameterException::message() const
{
    return d->message;
}

const char *ParameterException::what() const noexcept
{
    return d->utf8.constData();
}
