#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Bli {

// Exit codes of every command: 0 success, 1 a finding (check found problems, diff found
// differences), 2 usage or I/O error.
enum ExitCode {
    ExitSuccess = 0,
    ExitFinding = 1,
    ExitError = 2,
};

// What the command line asked for: the command, its positional arguments and the options.
struct Invocation
{
    QString command;
    QStringList arguments;
    bool json = false;
    bool replace = false;
    bool force = false;

    QString argument(int index) const { return arguments.value(index); }
};

// Raised by a command that cannot go on; main() prints the message as the one line on
// stderr and exits with ExitError. Messages name the file or the argument and the cause.
struct Failure
{
    QString message;
};

} // namespace Bli
