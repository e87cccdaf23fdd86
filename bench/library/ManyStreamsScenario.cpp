// A library shaped to hurt by its size: one version whose interface holds tens of thousands of
// pins among even more streams of no meaning, as many parameter values and levels, and a
// group-segment storage with as many entries. Loading it must take time and memory in
// proportion to what it holds.
#include "../kvbench/Scenario.h"

#include "EditableContainer.h"
#include "ScratchStorage.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockSkin.h>

#include <sys/resource.h>

namespace {

long peakResidentKiB()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Writes the library into root: pins pins among 2.5 x pins meaningless streams, pins parameter
// values (listed in order.txt) and levels, and pins group segments of junk.
void writeLibrary(FileStorageView *root, int pins)
{
    root->writeStream(QStringLiteral("Info.ini"), ";type=\"blocklibrary\" version=\"0\"\r\n\r\n[Info]\r\nType=256\r\n");
    FileStorageView *block = root->storage(QStringLiteral("Blocks"))->storage(QStringLiteral("StandardBlock_5"));
    block->writeStream(QStringLiteral("Info.ini"), ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=MANY\r\n");
    FileStorageView *version = block->storage(QStringLiteral("V0"));
    version->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n");
    // Names padded to one length come in the storage's own order, so that writing them costs
    // no more than reading them will.
    FileStorageView *interface = version->storage(QStringLiteral("Interface"));
    for (int i = 0; i < pins * 5 / 2; ++i)
        interface->writeStream(QStringLiteral("Noise_%1").arg(i, 6, 10, QLatin1Char('0')), "x");
    for (int i = 1; i <= pins; ++i)
        interface->writeStream(QStringLiteral("Pin_%1.ini").arg(i, 6, 10, QLatin1Char('0')),
                               ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nDatatype=1\r\nFunction=" + QByteArray(i % 2 ? "1" : "2")
                                   + "\r\nShortName=P\r\n");
    FileStorageView *values = version->storage(QStringLiteral("ParameterValues"));
    FileStorageView *levels = version->storage(QStringLiteral("ParameterLevel"));
    QByteArray order = ";type=\"order\" version=\"0\"\r\n\r\n";
    for (int i = 0; i < pins; ++i) {
        const QString name = QStringLiteral("P%1.ini").arg(i, 6, 10, QLatin1Char('0'));
        order += name.toLatin1() + "\r\n";
        values->writeStream(name, ";type=\"parametervalue\" version=\"0\"\r\n\r\n[General]\r\nValue=1\r\n");
        levels->writeStream(name, ";type=\"parameterlevel\" version=\"0\"\r\n\r\n[General]\r\nLevelRead=2\r\n");
    }
    values->writeStream(QStringLiteral("order.txt"), order);
    FileStorageView *segments = root->storage(QStringLiteral("Groupsegments"));
    for (int i = 0; i < pins; ++i)
        segments->storage(QStringLiteral("%1").arg(i, 6, 10, QLatin1Char('0')))->writeStream(QStringLiteral("Info.ini"), "junk");
}

// Whether what loaded is what was written: every pin (and the enable pin), half of them
// inputs, the skin as tall as the inputs, and every parameter value.
bool loadedInFull(EditableContainer &container, int pins)
{
    Block *block = container.library()->block(QStringLiteral("StandardBlock_5"));
    BlockDefinition *definition = block ? block->blockDefinition(0) : nullptr;
    return definition && definition->pins().size() == pins + 1 && definition->inputPins().size() == pins / 2 + 1
        && definition->defaultSkin()->size() == QSizeF(4.0, pins / 2 + 1)
        && definition->instantiationData()->targetParameter(BlockDefinition::GeneralFamily).size() == pins;
}

struct Load
{
    double milliseconds = 0;
    long peakGrowthKiB = 0;
    bool complete = false;
};

Load measure(KvBench::Context &context, int pins)
{
    Load result;
    ScratchStorage storage;
    if (!storage.isValid())
        return result;
    writeLibrary(storage.root(), pins);
    const long before = peakResidentKiB();
    result.complete = true;
    result.milliseconds = KvBench::fastestRun(context.repetitions(), [&] {
        EditableContainer container;
        result.complete = container.load(storage.root()) && loadedInFull(container, pins) && result.complete;
    });
    result.peakGrowthKiB = peakResidentKiB() - before;
    return result;
}

} // namespace

KV_BENCH_SCENARIO(manyStreams, "many-streams",
                  "loading a version of 2,000 vs 20,000 pins, parameter values and levels among 2.5 times as many other streams")
{
    constexpr int Small = 2000;
    constexpr int Large = 20000;
    const Load small = measure(context, Small);
    const Load large = measure(context, Large);
    if (!small.complete || !large.complete)
        return false;
    context.report(QStringLiteral("%1 ms for 2,000 pins, %2 ms for 20,000; peak grew by %3 KiB for 20,000")
                           .arg(small.milliseconds, 0, 'f', 1)
                           .arg(large.milliseconds, 0, 'f', 1)
                           .arg(large.peakGrowthKiB));
    // Linear time: ten times the pins take at most about ten times as long.
    context.reportRatio(QStringLiteral("load time per pin, 20,000 vs 2,000"), (large.milliseconds / Large) / (small.milliseconds / Small), 1.5);
    // 20,000 pins are a few megabytes of objects, not hundreds.
    context.reportRatio(QStringLiteral("peak growth loading 20,000 pins, MiB"), double(large.peakGrowthKiB) / 1024.0, 128.0);
    return true;
}
