// kvbench: runs the registered benchmark scenarios and checks their targets.
//   kvbench [--repeat N] [--dir PATH] [--list] [SCENARIO...]
// Exit code 0 when every reported target was met, 1 when one was missed, 2 on usage errors.
#include "Scenario.h"

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextStream>
#include <QtWidgets/QApplication>

#include <cstdio>
#include <memory>

namespace KvBench {

std::vector<Scenario> &scenarios()
{
    static std::vector<Scenario> registry;
    return registry;
}

namespace {

class RunContext final : public Context
{
public:
    RunContext(const Scenario &scenario, const QString &baseDirectory, int repetitions)
        : m_scenario(scenario), m_repetitions(repetitions),
          m_directory(baseDirectory.isEmpty() ? QDir::tempPath() + QStringLiteral("/kvbench-XXXXXX")
                                              : baseDirectory + QStringLiteral("/kvbench-XXXXXX"))
    {
    }

    bool isValid() const { return m_directory.isValid(); }
    bool missed() const { return m_missed; }

    QString workDirectory() const override { return m_directory.path(); }
    int repetitions() const override { return m_repetitions; }

    void report(const QString &line) override
    {
        std::printf("%s: %s\n", qPrintable(m_scenario.name), qPrintable(line));
        std::fflush(stdout);
    }

    void reportRatio(const QString &name, double value, double limit) override
    {
        const bool ok = value <= limit;
        m_missed = m_missed || !ok;
        report(QStringLiteral("%1 = %2 (target <= %3) %4")
                       .arg(name)
                       .arg(value, 0, 'f', 2)
                       .arg(limit, 0, 'f', 2)
                       .arg(ok ? QStringLiteral("ok") : QStringLiteral("MISSED")));
    }

private:
    const Scenario &m_scenario;
    const int m_repetitions;
    QTemporaryDir m_directory;
    bool m_missed = false;
};

int usage(const char *message)
{
    std::fprintf(stderr, "kvbench: %s\nusage: kvbench [--repeat N] [--dir PATH] [--list] [SCENARIO...]\n", message);
    return 2;
}

} // namespace
} // namespace KvBench

int main(int argc, char **argv)
{
    // Some scenarios build widgets; they are never shown on a screen, so a machine without
    // a display measures them as well as one with.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    auto &all = KvBench::scenarios();
    std::sort(all.begin(), all.end(), [](const auto &a, const auto &b) { return a.name < b.name; });

    int repetitions = 3;
    QString directory;
    QStringList wanted;
    const QStringList arguments = app.arguments().mid(1);
    for (int i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--list")) {
            for (const auto &scenario : all)
                std::printf("%-20s %s\n", qPrintable(scenario.name), qPrintable(scenario.description));
            return 0;
        } else if (argument == QLatin1String("--repeat") && i + 1 < arguments.size()) {
            bool ok = false;
            repetitions = arguments.at(++i).toInt(&ok);
            if (!ok || repetitions < 1)
                return KvBench::usage("--repeat needs a positive number");
        } else if (argument == QLatin1String("--dir") && i + 1 < arguments.size()) {
            directory = arguments.at(++i);
        } else if (argument.startsWith(QLatin1Char('-'))) {
            return KvBench::usage("unknown option");
        } else {
            wanted << argument;
        }
    }
    for (const QString &name : wanted) {
        if (std::none_of(all.begin(), all.end(), [&](const auto &s) { return s.name == name; }))
            return KvBench::usage(qPrintable(QStringLiteral("no scenario named %1").arg(name)));
    }

    bool missed = false;
    for (const auto &scenario : all) {
        if (!wanted.isEmpty() && !wanted.contains(scenario.name))
            continue;
        KvBench::RunContext context(scenario, directory, repetitions);
        if (!context.isValid())
            return KvBench::usage("cannot create a work directory");
        if (!scenario.run(context)) {
            context.report(QStringLiteral("FAILED"));
            missed = true;
        }
        missed = missed || context.missed();
    }
    return missed ? 1 : 0;
}
