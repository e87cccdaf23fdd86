#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <vector>

class FileStorageView;

// A deterministic tree shaped like a block library: "Blocks" holds one storage per block,
// each with 12 streams (9 of 50-300 bytes, 2 of 1-4 KB, 1 of 2-20 KB).
namespace KvBench {

struct LibraryTree
{
    struct Stream
    {
        QString name;
        QByteArray data;
    };
    struct Block
    {
        QString name;
        std::vector<Stream> streams;
    };

    static LibraryTree generate(int blocks, quint64 seed = 1);

    // Writes the tree below root through the storage views.
    void write(FileStorageView *root) const;
    // Writes the tree as directories and files below directory.
    bool writeDirectories(const QString &directory) const;

    qint64 storageCount() const { return qint64(blocks.size()) + 1; }
    qint64 streamCount() const;
    qint64 byteCount() const;

    std::vector<Block> blocks;
};

} // namespace KvBench
