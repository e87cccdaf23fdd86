// bli: inspect, check, compare and edit block-library files (*.bli) from a shell.
#include "Commands.h"

#include <QtCore/QCoreApplication>
#include <QtGui/QGuiApplication>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

using namespace Bli;

struct CommandEntry
{
    const char *name;
    int (*run)(const Invocation &);
    int minArguments;
    int maxArguments;
    bool drawsImages; // needs a QGuiApplication for fonts and painting
    const char *synopsis;
};

const CommandEntry commands[] = {
    { "demo", runDemo, 1, 1, true, "demo FILE [--force]" },
    { "info", runInfo, 1, 1, false, "info FILE [--json]" },
    { "tree", runTree, 1, 1, false, "tree FILE [--json]" },
    { "show", runShow, 2, 3, false, "show FILE BLOCK [VERSION] [--json]" },
    { "crc", runCrc, 1, 3, false, "crc FILE [BLOCK [VERSION]] [--json]" },
    { "diff", runDiff, 2, 2, false, "diff A B [--json]" },
    { "export", runExport, 2, 2, false, "export FILE BLOCK" },
    { "import", runImport, 1, 2, false, "import FILE [BLOCK] [--replace] < CONTENTS" },
    { "check", runCheck, 1, 1, false, "check FILE [--json]" },
    { "dump", runDump, 1, 2, false, "dump FILE [PATH] [--json]" },
    { "render", runRender, 4, 4, true, "render FILE BLOCK VERSION OUT.png [--force]" },
};

void printUsage(FILE *to)
{
    std::fprintf(to, "usage: bli COMMAND ARGUMENTS...\n");
    for (const CommandEntry &command : commands)
        std::fprintf(to, "       bli %s\n", command.synopsis);
    std::fprintf(to, "BLOCK is an identifier or a short name; VERSION a number (2 or V2).\n"
                     "Exit codes: 0 success, 1 a finding (check, diff), 2 usage or I/O error.\n");
}

// Qt's own diagnostics (missing runtime directories, font fallbacks) are not the tool's
// output; they go to stderr only when BLI_DEBUG is set, so that an error stays one line.
void messageHandler(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    static const bool debug = qEnvironmentVariableIsSet("BLI_DEBUG");
    if (debug || type == QtCriticalMsg || type == QtFatalMsg)
        std::fprintf(stderr, "bli: qt: %s\n", message.toLocal8Bit().constData());
}

int fail(const QString &message)
{
    // One line whatever the message holds: a file name or a damaged file's text may carry
    // line breaks and other control characters.
    QString line = message;
    for (QChar &c : line) {
        if (c.category() == QChar::Other_Control)
            c = QLatin1Char(' ');
    }
    std::fprintf(stderr, "bli: %s\n", line.toLocal8Bit().constData());
    return ExitError;
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(messageHandler);
    // Options may stand anywhere; "--" ends them, for file names that start with "-".
    Invocation invocation;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (!optionsEnded && argument == QLatin1String("--")) {
            optionsEnded = true;
        } else if (!optionsEnded && (argument == QLatin1String("--help") || argument == QLatin1String("-h"))) {
            printUsage(stdout);
            return ExitSuccess;
        } else if (!optionsEnded && argument == QLatin1String("--json")) {
            invocation.json = true;
        } else if (!optionsEnded && argument == QLatin1String("--replace")) {
            invocation.replace = true;
        } else if (!optionsEnded && argument == QLatin1String("--force")) {
            invocation.force = true;
        } else if (!optionsEnded && argument.startsWith(QLatin1Char('-')) && argument.size() > 1) {
            return fail(QStringLiteral("unknown option %1 (see bli --help)").arg(argument));
        } else if (invocation.command.isEmpty()) {
            invocation.command = argument;
        } else {
            invocation.arguments << argument;
        }
    }
    if (invocation.command.isEmpty())
        return fail(QStringLiteral("no command (see bli --help)"));

    const CommandEntry *entry = nullptr;
    for (const CommandEntry &command : commands) {
        if (invocation.command == QLatin1String(command.name))
            entry = &command;
    }
    if (!entry)
        return fail(QStringLiteral("unknown command %1 (see bli --help)").arg(invocation.command));
    const int count = int(invocation.arguments.size());
    if (count < entry->minArguments || count > entry->maxArguments)
        return fail(QStringLiteral("usage: bli %1").arg(QLatin1String(entry->synopsis)));
    const bool jsonCommand = std::strstr(entry->synopsis, "--json") != nullptr;
    if (invocation.json && !jsonCommand)
        return fail(QStringLiteral("%1 has no --json output").arg(invocation.command));
    if (invocation.replace && invocation.command != QLatin1String("import"))
        return fail(QStringLiteral("--replace belongs to import"));
    if (invocation.force && invocation.command != QLatin1String("demo") && invocation.command != QLatin1String("render"))
        return fail(QStringLiteral("--force belongs to demo and render"));

    // Drawing needs fonts and so a GUI application; the tool never shows a window, so it
    // draws offscreen wherever it runs. Everything else makes do with a core application.
    std::unique_ptr<QCoreApplication> application;
    if (entry->drawsImages) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }

    try {
        const int code = entry->run(invocation);
        std::fflush(stdout);
        return code;
    } catch (const Failure &failure) {
        std::fflush(stdout);
        return fail(failure.message);
    }
}
