// Scenarios of the block library: how the time per block of insertion, group listings, the
// instance total and clearing grows from 10,000 to 100,000 blocks.
#include "../kvbench/Scenario.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>

#include <QtCore/QHash>
#include <QtCore/QObject>

#include <algorithm>
#include <ctime>
#include <functional>
#include <vector>

namespace {

// Blocks per group path: libraries grow by adding groups of about this size.
constexpr int GroupSize = 50;
// One block in this many has a registered instance.
constexpr int InstanceEvery = 10;
// Blocks made before they are inserted, one batch at a time.
constexpr int InsertBatch = 100;

class BenchContainer : public BlockLibraryContainer
{
public:
    bool isLocalContainer() const override { return false; }
};

QString groupPath(int group)
{
    return QStringLiteral("Antriebe/Gruppe %1").arg(group);
}

// Blocks first to first + number - 1 of a library of count blocks, with one version each and
// not yet in a library; the caller owns them. Consecutive blocks go to different groups, so
// that no group is filled in one run.
std::vector<Block *> makeBlocks(int first, int number, int count, QObject *instance)
{
    const int groupCount = count / GroupSize;
    std::vector<Block *> blocks;
    blocks.reserve(size_t(number));
    for (int i = first; i < first + number; ++i) {
        Block *block = Block::createUserBlock();
        block->setGroupPath(groupPath(i % groupCount));
        BlockDefinition *definition = block->createDefinition();
        if (i % InstanceEvery == 0)
            definition->registerInstance(instance);
        blocks.push_back(block);
    }
    return blocks;
}

double threadMilliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// Processor time of this thread in milliseconds for body. On a shared machine the wall clock
// also counts the time other processes hold the processor, which swamps the growth looked for.
double timed(const std::function<void()> &body)
{
    const double start = threadMilliseconds();
    body();
    return threadMilliseconds() - start;
}

// Times in milliseconds for one library; the fastest of all rounds counts.
struct Times
{
    double insert = 0;
    double plainHashInsert = 0;
    double groupListing = 0;
    double cachedGroupListing = 0;
    double groupPaths = 0;
    double instanceTotal = 0;
    double clear = 0;

    void keepFastest(const Times &other)
    {
        const auto keep = [](double &mine, double theirs) { mine = mine == 0 ? theirs : std::min(mine, theirs); };
        keep(insert, other.insert);
        keep(plainHashInsert, other.plainHashInsert);
        keep(groupListing, other.groupListing);
        keep(cachedGroupListing, other.cachedGroupListing);
        keep(groupPaths, other.groupPaths);
        keep(instanceTotal, other.instanceTotal);
        keep(clear, other.clear);
    }
};

bool measure(int count, Times *times)
{
    const int groupCount = count / GroupSize;
    QObject instance;
    BenchContainer container;
    BlockLibrary *library = container.library();

    // Blocks are inserted as loading does: each one shortly after it was made. They are made
    // in batches outside the clock and inserted batch by batch, so that the clock measures the
    // library and not the way back to blocks made long before.
    // For comparison, the same identifiers go into a plain hash of blocks under the same
    // conditions: its growth is what the machine's caches alone make of a map this size.
    QHash<QString, Block *> plainHash;
    for (int made = 0; made < count; made += InsertBatch) {
        const std::vector<Block *> batch = makeBlocks(made, std::min(InsertBatch, count - made), count, &instance);
        times->plainHashInsert += timed([&] {
            for (Block *block : batch)
                plainHash.insert(block->identifier(), block);
        });
        times->insert += timed([&] {
            for (Block *block : batch)
                library->insertBlock(block);
        });
    }
    if (library->blockIdentifiers().size() != count)
        return false;

    // The library orders a group when it is first listed after a change. Moving one block of
    // every group out and back makes the next listing such a first one.
    std::vector<Block *> oneInEachGroup;
    for (int group = 0; group < groupCount; ++group)
        oneInEachGroup.push_back(library->block(library->blockIdentifiers(groupPath(group)).first()));
    const auto regroup = [&] {
        for (Block *block : oneInEachGroup) {
            const QString path = block->groupPath();
            block->setGroupPath(QStringLiteral("elsewhere"));
            block->setGroupPath(path);
        }
    };
    qsizetype listed = 0;
    const auto listAllGroups = [&] {
        listed = 0;
        for (int group = 0; group < groupCount; ++group)
            listed += library->blockIdentifiers(groupPath(group)).size();
    };
    regroup();
    times->groupListing = timed(listAllGroups);
    if (listed != count)
        return false;
    times->cachedGroupListing = timed(listAllGroups);
    if (listed != count)
        return false;

    regroup();
    QList<QString> paths;
    times->groupPaths = timed([&] { paths = library->groupPaths(); });
    if (paths.size() != groupCount)
        return false;

    unsigned int instances = 0;
    times->instanceTotal = timed([&] { instances = library->allBlocksInstanceCount(); });
    if (instances != unsigned((count + InstanceEvery - 1) / InstanceEvery))
        return false;

    times->clear = timed([&] { library->clear(); });
    return library->blockIdentifiers().isEmpty();
}

} // namespace

KV_BENCH_SCENARIO(libraryScaling, "library-scaling",
                  "time per block of a block library's insertion, listings, instance total and clearing, 10,000 vs 100,000 blocks")
{
    constexpr int Small = 10000;
    constexpr int Large = 100000;
    // The sizes take turns, so that a busy spell of the machine does not hit one size only.
    Times small, large;
    const int rounds = std::max(context.repetitions(), 5);
    for (int round = 0; round < rounds; ++round) {
        Times smallRound, largeRound;
        if (!measure(Small, &smallRound) || !measure(Large, &largeRound))
            return false;
        small.keepFastest(smallRound);
        large.keepFastest(largeRound);
    }

    const auto report = [&](const QString &name, double Times::*figure) {
        const double smallPerBlock = small.*figure * 1000 / Small;
        const double largePerBlock = large.*figure * 1000 / Large;
        context.report(QStringLiteral("%1: %2 ms for 10,000 blocks (%3 us per block), %4 ms for 100,000 (%5 us per block)")
                               .arg(name)
                               .arg(small.*figure, 0, 'f', 3)
                               .arg(smallPerBlock, 0, 'f', 4)
                               .arg(large.*figure, 0, 'f', 3)
                               .arg(largePerBlock, 0, 'f', 4));
        return largePerBlock / smallPerBlock;
    };
    const double insert = report(QStringLiteral("insertBlock, every block"), &Times::insert);
    const double plainHash = report(QStringLiteral("QHash<QString, Block *>::insert alone, every block"), &Times::plainHashInsert);
    context.report(QStringLiteral("a plain hash of the same blocks grows %1 per block").arg(plainHash, 0, 'f', 2));
    const double listing = report(QStringLiteral("blockIdentifiers(group), every group after a change"), &Times::groupListing);
    report(QStringLiteral("blockIdentifiers(group), every group unchanged"), &Times::cachedGroupListing);
    const double paths = report(QStringLiteral("groupPaths after a change"), &Times::groupPaths);
    const double instances = report(QStringLiteral("allBlocksInstanceCount"), &Times::instanceTotal);
    report(QStringLiteral("clear, deleting every block"), &Times::clear);
    context.reportRatio(QStringLiteral("insertBlock growth per block"), insert, 1.2);
    context.reportRatio(QStringLiteral("blockIdentifiers(group) growth per block"), listing, 1.2);
    context.reportRatio(QStringLiteral("groupPaths growth per block"), paths, 1.2);
    context.reportRatio(QStringLiteral("allBlocksInstanceCount growth per block"), instances, 1.2);
    return true;
}
