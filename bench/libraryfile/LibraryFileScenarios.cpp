// Scenarios of library files: loading, saving, comparison values, contents texts and the
// memory a load needs, each against what the storage engine alone takes for the same file.
#include "LibraryGenerator.h"
#include "../kvbench/Scenario.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryFile.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace {

using KvBench::FileContainer;

constexpr int LargeLibrary = 10000;
constexpr int SmallLibrary = 1000;

QString ms(double value)
{
    return QStringLiteral("%1 ms").arg(value, 0, 'f', 1);
}

QString mib(double bytes)
{
    return QStringLiteral("%1 MiB").arg(bytes / (1024.0 * 1024.0), 0, 'f', 1);
}

// ---- the storage engine alone ------------------------------------------------------------

struct Totals
{
    qint64 storages = 0;
    qint64 streams = 0;
    qint64 bytes = 0;
};

void readEverything(FileStorageView *storage, Totals *totals)
{
    ++totals->storages;
    for (const QString &name : storage->streamNames()) {
        totals->bytes += storage->readStream(name).size();
        ++totals->streams;
    }
    for (const QString &name : storage->storageNames())
        readEverything(storage->storage(name), totals);
}

// Open, read every stream of every storage, close: what any reader of the file must pay.
Totals engineRead(const QString &path)
{
    Totals totals;
    FileView file;
    file.open(path);
    if (!file.isOpen())
        return Totals { -1, -1, -1 };
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        readEverything(root.get(), &totals);
    }
    file.close();
    return totals;
}

// A storage tree held in memory, to be written again through the engine alone.
struct TreeNode
{
    QString name;
    std::vector<std::pair<QString, QByteArray>> streams;
    std::vector<TreeNode> children;
};

void capture(FileStorageView *storage, TreeNode *node)
{
    for (const QString &name : storage->streamNames())
        node->streams.emplace_back(name, storage->readStream(name));
    for (const QString &name : storage->storageNames()) {
        node->children.push_back(TreeNode { name, {}, {} });
        capture(storage->storage(name), &node->children.back());
    }
}

void writeTree(const TreeNode &node, FileStorageView *storage)
{
    for (const auto &[name, data] : node.streams)
        storage->writeStream(name, data);
    for (const TreeNode &child : node.children)
        writeTree(child, storage->storage(child.name));
}

bool engineWrite(const TreeNode &tree, const QString &path)
{
    FileView file;
    file.create(path);
    if (!file.isOpen())
        return false;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        writeTree(tree, root.get());
    }
    file.close();
    return !file.hasError();
}

// The byte payloads a definition holds compressed in memory (code texts and list images), as
// the file stores them, uncompressed: compressing them is a floor under every load, and
// uncompressing them one under every save, whatever the rest of the library costs.
void collectPayloads(FileStorageView *storage, std::vector<QByteArray> *payloads)
{
    const bool images = storage->name() == QLatin1String("Images");
    for (const QString &name : storage->streamNames()) {
        if (images || name == QLatin1String("Code.txt"))
            payloads->push_back(storage->readStream(name));
    }
    for (const QString &name : storage->storageNames())
        collectPayloads(storage->storage(name), payloads);
}

std::vector<QByteArray> payloadsOf(const QString &path)
{
    std::vector<QByteArray> payloads;
    FileView file;
    file.open(path);
    if (!file.isOpen())
        return payloads;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        collectPayloads(root.get(), &payloads);
    }
    file.close();
    return payloads;
}

qint64 totalSize(const std::vector<QByteArray> &arrays)
{
    qint64 bytes = 0;
    for (const QByteArray &array : arrays)
        bytes += array.size();
    return bytes;
}

// ---- the library ---------------------------------------------------------------------------

int versionCount(const BlockLibrary *library)
{
    int count = 0;
    for (const QString &identifier : library->blockIdentifiers())
        count += int(library->block(identifier)->versions().size());
    return count;
}

// The library file's own load: open, read the container, close.
double timedLoad(KvBench::Context &context, const QString &path, int expectedBlocks, bool *ok)
{
    std::unique_ptr<BlockLibraryFile> file;
    return KvBench::fastestRun(
            context.repetitions(),
            [&] {
                file = std::make_unique<BlockLibraryFile>();
                *ok = file->load(path) && file->library()->blockIdentifiers().size() == expectedBlocks && *ok;
            },
            [&] { file.reset(); });
}

// ---- memory, measured in a child process ---------------------------------------------------

qint64 statusKilobytes(const char *key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(key) + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

struct MemoryUse
{
    qint64 before = -1;  // resident set before the load, KiB
    qint64 peak = -1;    // peak resident set during the load, KiB
    qint64 after = -1;   // resident set with the library loaded and its file closed, KiB
    int reset = 0;       // whether the child could reset its peak to its current size
    int loaded = 0;
};

// Loads the file in a fork of this process. The child starts with the parent's pages and
// with the parent's free heap, which a load would reuse without growing: it first hands the
// free heap back to the system (malloc_trim) and resets its peak to its current size
// (clear_refs), so that the peak it then reaches is the load's, whatever the parent did.
MemoryUse loadInChild(const QString &path)
{
    MemoryUse use;
    int channel[2];
    if (::pipe(channel) != 0)
        return use;
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(channel[0]);
        ::malloc_trim(0);
        const int clear = ::open("/proc/self/clear_refs", O_WRONLY | O_CLOEXEC);
        use.reset = clear >= 0 && ::write(clear, "5", 1) == 1;
        if (clear >= 0)
            ::close(clear);
        use.before = statusKilobytes("VmRSS");
        {
            BlockLibraryFile file;
            use.loaded = file.load(path);
            use.peak = statusKilobytes("VmHWM");
            // What the file session freed goes back first, so that the rest is the library's.
            ::malloc_trim(0);
            use.after = statusKilobytes("VmRSS");
        }
        const ssize_t written = ::write(channel[1], &use, sizeof use);
        ::_exit(written == ssize_t(sizeof use) ? 0 : 1);
    }
    ::close(channel[1]);
    if (child > 0) {
        if (::read(channel[0], &use, sizeof use) != ssize_t(sizeof use))
            use = MemoryUse();
        int status = 0;
        ::waitpid(child, &status, 0);
    }
    ::close(channel[0]);
    return use;
}

} // namespace

KV_BENCH_SCENARIO(libraryLoad, "library-load",
                  "load of a 10,000-block library file vs. the engine reading every stream; 10,000 vs. 1,000 blocks")
{
    const QString large = KvBench::generatedLibraryFile(LargeLibrary);
    const QString small = KvBench::generatedLibraryFile(SmallLibrary);
    if (large.isEmpty() || small.isEmpty())
        return false;
    const Totals totals = engineRead(large);
    context.report(QStringLiteral("%1 blocks: file %2, %3 storages, %4 streams, %5 in streams")
                           .arg(LargeLibrary)
                           .arg(mib(QFileInfo(large).size()))
                           .arg(totals.storages)
                           .arg(totals.streams)
                           .arg(mib(totals.bytes)));
    bool ok = totals.streams > 0;
    const double engine = KvBench::fastestRun(context.repetitions(), [&] { ok = engineRead(large).bytes == totals.bytes && ok; });
    const double loadLarge = timedLoad(context, large, LargeLibrary, &ok);
    const double loadSmall = timedLoad(context, small, SmallLibrary, &ok);
    if (!ok)
        return false;
    context.report(QStringLiteral("engine open and read every stream %1, library load %2 (%3 per block)")
                           .arg(ms(engine), ms(loadLarge))
                           .arg(QStringLiteral("%1 us").arg(loadLarge * 1000 / LargeLibrary, 0, 'f', 1)));
    context.report(QStringLiteral("library load of %1 blocks %2").arg(SmallLibrary).arg(ms(loadSmall)));
    const std::vector<QByteArray> payloads = payloadsOf(large);
    std::vector<QByteArray> compressed(payloads.size());
    const double compressing = KvBench::fastestRun(context.repetitions(), [&] {
        for (size_t i = 0; i < payloads.size(); ++i)
            compressed[i] = qCompress(payloads[i], -1);
    });
    context.report(QStringLiteral("of the load, compressing the %1 code texts and images (%2) as held in memory "
                                  "alone %3, %4 times the engine read")
                           .arg(payloads.size())
                           .arg(mib(double(totalSize(payloads))), ms(compressing))
                           .arg(compressing / engine, 0, 'f', 1));
    context.reportRatio(QStringLiteral("load/engine read, 10,000 blocks"), loadLarge / engine, 2.0);
    context.reportRatio(QStringLiteral("load 10,000 blocks/load 1,000 blocks"), loadLarge / loadSmall, 11.0);
    return true;
}

KV_BENCH_SCENARIO(librarySave, "library-save",
                  "save of a 10,000-block library into a new file vs. the engine writing the same tree")
{
    const QString source = KvBench::generatedLibraryFile(LargeLibrary);
    if (source.isEmpty())
        return false;
    FileContainer container;
    TreeNode tree;
    {
        FileView file;
        file.open(source);
        if (!file.isOpen())
            return false;
        std::unique_ptr<FileStorageView> root(file.createRootView());
        if (!container.load(root.get()))
            return false;
        capture(root.get(), &tree);
    }
    const QString saved = context.workDirectory() + QStringLiteral("/saved.bli");
    const QString raw = context.workDirectory() + QStringLiteral("/raw.bli");
    bool ok = true;
    const double save = KvBench::fastestRun(
            context.repetitions(), [&] { ok = KvBench::saveToNewFile(&container, saved) && ok; },
            [&] { QFile::remove(saved); });
    const double engine = KvBench::fastestRun(
            context.repetitions(), [&] { ok = engineWrite(tree, raw) && ok; }, [&] { QFile::remove(raw); });
    if (!ok)
        return false;
    context.report(QStringLiteral("library save %1, engine write of the same tree %2, file %3")
                           .arg(ms(save), ms(engine), mib(QFileInfo(saved).size())));
    std::vector<QByteArray> payloads = payloadsOf(source);
    for (QByteArray &payload : payloads)
        payload = qCompress(payload, -1);
    qint64 uncompressedBytes = 0;
    const double uncompressing = KvBench::fastestRun(context.repetitions(), [&] {
        uncompressedBytes = 0;
        for (const QByteArray &payload : payloads)
            uncompressedBytes += qUncompress(payload).size();
    });
    context.report(QStringLiteral("of the save, uncompressing the %1 code texts and images (%2) alone %3, "
                                  "%4 times the engine write")
                           .arg(payloads.size())
                           .arg(mib(double(uncompressedBytes)), ms(uncompressing))
                           .arg(uncompressing / engine, 0, 'f', 2));
    context.reportRatio(QStringLiteral("save/engine write, 10,000 blocks"), save / engine, 2.0);
    return true;
}

KV_BENCH_SCENARIO(libraryCrc, "library-crc",
                  "comparison values of every version of a 10,000-block library vs. its load")
{
    const QString path = KvBench::generatedLibraryFile(LargeLibrary);
    if (path.isEmpty())
        return false;
    bool ok = true;
    const double load = timedLoad(context, path, LargeLibrary, &ok);
    BlockLibraryFile file;
    ok = ok && file.load(path);
    if (!ok)
        return false;
    const BlockLibrary *library = file.library();
    const QList<QString> identifiers = library->blockIdentifiers();
    int values = 0;
    const double crc = KvBench::fastestRun(context.repetitions(), [&] {
        values = 0;
        for (const QString &identifier : identifiers) {
            const Block *block = library->block(identifier);
            for (unsigned int version : block->versions())
                values += block->blockDefinition(version)->compareCrc32Value().size() == 10;
        }
    });
    if (values != versionCount(library))
        return false;
    context.report(QStringLiteral("%1 comparison values %2 (%3 per version), load %4")
                           .arg(values)
                           .arg(ms(crc))
                           .arg(QStringLiteral("%1 us").arg(crc * 1000 / values, 0, 'f', 1))
                           .arg(ms(load)));
    context.reportRatio(QStringLiteral("comparison values of every version/load"), crc / load, 1.0);
    return true;
}

KV_BENCH_SCENARIO(libraryContents, "library-contents",
                  "saveContents and loadContents of every block of a 10,000-block library")
{
    const QString path = KvBench::generatedLibraryFile(LargeLibrary);
    BlockLibraryFile file;
    if (path.isEmpty() || !file.load(path))
        return false;
    const BlockLibrary *library = file.library();
    const QList<QString> identifiers = library->blockIdentifiers();
    std::vector<QByteArray> texts(size_t(identifiers.size()));
    bool ok = true;
    // Level-9 compression makes these runs long: one timed run after the warm-up.
    const double save = KvBench::fastestRun(1, [&] {
        for (qsizetype i = 0; i < identifiers.size(); ++i)
            texts[size_t(i)] = library->block(identifiers.at(i))->saveContents();
    });
    qint64 textBytes = 0;
    for (const QByteArray &text : texts)
        textBytes += text.size();
    const double load = KvBench::fastestRun(1, [&] {
        for (qsizetype i = 0; i < identifiers.size(); ++i) {
            std::unique_ptr<Block> block(Block::createBlock(identifiers.at(i)));
            ok = block && block->loadContents(texts[size_t(i)]) && ok;
        }
    });
    if (!ok)
        return false;
    const double blocks = double(identifiers.size());
    context.report(QStringLiteral("saveContents %1 (%2 per block), loadContents %3 (%4 per block), texts %5")
                           .arg(ms(save))
                           .arg(QStringLiteral("%1 us").arg(save * 1000 / blocks, 0, 'f', 1))
                           .arg(ms(load))
                           .arg(QStringLiteral("%1 us").arg(load * 1000 / blocks, 0, 'f', 1))
                           .arg(mib(double(textBytes))));
    return true;
}

KV_BENCH_SCENARIO(libraryMemory, "library-memory",
                  "peak memory of loading a 10,000-block library vs. the size of its file")
{
    const QString path = KvBench::generatedLibraryFile(LargeLibrary);
    if (path.isEmpty())
        return false;
    const MemoryUse use = loadInChild(path);
    if (!use.loaded || use.peak < 0 || use.before < 0)
        return false;
    const double fileSize = double(QFileInfo(path).size());
    const double during = double(use.peak - use.before) * 1024.0;
    context.report(QStringLiteral("file %1; peak during the load %2 above the %3 before it, %4 held by the "
                                  "loaded library%5")
                           .arg(mib(fileSize), mib(during), mib(double(use.before) * 1024.0),
                                mib(double(use.after - use.before) * 1024.0),
                                use.reset ? QString() : QStringLiteral(" (peak not reset: an upper bound)")));
    context.reportRatio(QStringLiteral("peak during load/(1.5 x file size + 60 MiB)"),
                        during / (1.5 * fileSize + 60.0 * 1024 * 1024), 1.0);
    return true;
}
