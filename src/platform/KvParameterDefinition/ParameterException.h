#pragma once

#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <QtCore/QSharedDataPointer>
#include <QtCore/QString>

#include <exception>

class ParameterExceptionData;

/*!
 * The error this module raises inside itself when a stored definition text turns out to be
 * damaged, with a message that names what was wrong.
 *
 * No exported function lets one escape: the loader catches every exception and answers
 * with null or false. The class is public so that code built on the module can name the
 * module's errors in the same terms. Copying never throws.
 */
class KVPARAMETERDEFINITION_EXPORT ParameterException : public std::exception
{
public:
    explicit ParameterException(const QString &message);
    ParameterException(const ParameterException &other) noexcept;
    ParameterException &operator=(const ParameterException &other) noexcept;
    ~ParameterException() override;

    /*! What was wrong, in English, for logs and tests. */
    QString message() const;
    /*! The message as UTF-8; valid as long as this exception lives. */
    const char *what() const noexcept override;

private:
    QSharedDataPointer<ParameterExceptionData> d;
};
