#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

#include <algorithm>
#include <functional>
#include <vector>

// The scenario registry of kvbench. A scenario is a function that measures something and
// reports its figures through the context; it registers itself at start-up with
//
//   KV_BENCH_SCENARIO(storage_write, "storage-write", "what it measures") { ... return true; }
//
// in any source file of the program. `kvbench` runs every scenario in name order,
// `kvbench NAME...` the named ones, `kvbench --list` lists them.
namespace KvBench {

class Context
{
public:
    virtual ~Context() = default;
    // An empty directory for the scenario's files, removed afterwards.
    virtual QString workDirectory() const = 0;
    // How often each measurement is repeated; the fastest run counts.
    virtual int repetitions() const = 0;
    // Prints one line of results, prefixed with the scenario's name.
    virtual void report(const QString &line) = 0;
    // Reports "name = value (target <= limit) ok|MISSED"; a missed target fails the run.
    virtual void reportRatio(const QString &name, double value, double limit) = 0;
};

using ScenarioFunction = std::function<bool(Context &)>;

struct Scenario
{
    QString name;
    QString description;
    ScenarioFunction run;
};

std::vector<Scenario> &scenarios();

struct Registration
{
    Registration(const char *name, const char *description, ScenarioFunction run)
    {
        scenarios().push_back({ QString::fromUtf8(name), QString::fromUtf8(description), std::move(run) });
    }
};

// Runs body `repetitions` times after one warm-up and returns the fastest time in ms.
// prepare runs untimed before every run (for example to remove the previous run's file).
inline double fastestRun(int repetitions, const std::function<void()> &body,
                         const std::function<void()> &prepare = {})
{
    double best = 0;
    for (int run = 0; run <= repetitions; ++run) {
        if (prepare)
            prepare();
        QElapsedTimer timer;
        timer.start();
        body();
        const double elapsed = double(timer.nsecsElapsed()) / 1e6;
        if (run == 1 || (run > 1 && elapsed < best))
            best = elapsed;
    }
    return best;
}

} // namespace KvBench

#define KV_BENCH_SCENARIO(id, name, description)                                                  \
    static bool id(KvBench::Context &context);                                                    \
    static const KvBench::Registration id##_registration(name, description, id);                 \
    static bool id(KvBench::Context &context)
