#include "LibraryTree.h"

#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QDir>
#include <QtCore/QFile>

namespace KvBench {

namespace {

// xorshift64*: fast, and the same bytes on every machine.
class Random
{
public:
    explicit Random(quint64 seed) : m_state(seed * 0x9E3779B97F4A7C15ull + 1) { }
    quint64 next()
    {
        m_state ^= m_state >> 12;
        m_state ^= m_state << 25;
        m_state ^= m_state >> 27;
        return m_state * 0x2545F4914F6CDD1Dull;
    }
    int between(int low, int high) { return low + int(next() % quint64(high - low + 1)); }

private:
    quint64 m_state;
};

QByteArray bytes(Random &random, int size)
{
    QByteArray data(size, Qt::Uninitialized);
    for (char &c : data)
        c = char(0x20 + random.next() % 95);
    return data;
}

} // namespace

LibraryTree LibraryTree::generate(int blocks, quint64 seed)
{
    static const char *const smallNames[] = { "Info.ini", "Pin0", "Pin1", "Pin2", "Pin3",
                                              "Pin4", "Pin5", "Skin.ini", "Code.ini" };
    Random random(seed);
    LibraryTree tree;
    tree.blocks.reserve(size_t(blocks));
    for (int i = 0; i < blocks; ++i) {
        Block block;
        block.name = QString::asprintf("{%08x-%04x-4%03x-8%03x-%012llx}", unsigned(random.next()),
                                       unsigned(random.next() & 0xffff), unsigned(random.next() & 0xfff),
                                       unsigned(random.next() & 0xfff), (unsigned long long)(i));
        for (const char *name : smallNames)
            block.streams.push_back({ QString::fromLatin1(name), bytes(random, random.between(50, 300)) });
        block.streams.push_back({ QStringLiteral("ListImage.png"), bytes(random, random.between(1024, 4096)) });
        block.streams.push_back({ QStringLiteral("Wizard.xml"), bytes(random, random.between(1024, 4096)) });
        block.streams.push_back({ QStringLiteral("Code.txt"), bytes(random, random.between(2048, 20480)) });
        tree.blocks.push_back(std::move(block));
    }
    return tree;
}

void LibraryTree::write(FileStorageView *root) const
{
    FileStorageView *library = root->storage(QStringLiteral("Blocks"));
    for (const Block &block : blocks) {
        FileStorageView *storage = library->storage(block.name);
        for (const Stream &stream : block.streams)
            storage->writeStream(stream.name, stream.data);
    }
}

bool LibraryTree::writeDirectories(const QString &directory) const
{
    for (const Block &block : blocks) {
        const QString path = directory + QStringLiteral("/Blocks/") + block.name;
        if (!QDir().mkpath(path))
            return false;
        for (const Stream &stream : block.streams) {
            QFile file(path + QLatin1Char('/') + stream.name);
            if (!file.open(QIODevice::WriteOnly) || file.write(stream.data) != stream.data.size())
                return false;
        }
    }
    return true;
}

qint64 LibraryTree::streamCount() const
{
    qint64 count = 0;
    for (const Block &block : blocks)
        count += qint64(block.streams.size());
    return count;
}

qint64 LibraryTree::byteCount() const
{
    qint64 count = 0;
    for (const Block &block : blocks) {
        for (const Stream &stream : block.streams)
            count += stream.data.size();
    }
    return count;
}

} // namespace KvBench
