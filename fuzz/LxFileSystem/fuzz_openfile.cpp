// Arbitrary bytes as a storage file: open, walk, read every stream, close. Some inputs also
// change the tree before closing; a save that reports success must then read back as saved.
#include "FuzzTreeWalk.h"

#include <LxFileSystem/FileView.h>

#include <QtCore/QFile>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <unistd.h>

namespace {

QString g_path;

bool writeInput(const uint8_t *data, size_t size)
{
    // A journal left by an earlier input belongs to other bytes; it must not meet these.
    QFile::remove(g_path + QStringLiteral("-journal"));
    QFile file(g_path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            && file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    char directory[] = "/tmp/lxfs-fuzz-XXXXXX";
    if (!mkdtemp(directory))
        std::abort();
    g_path = QString::fromLocal8Bit(directory) + QStringLiteral("/input.bli");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (!writeInput(data, size))
        std::abort();
    FileView file;
    file.open(g_path);
    if (!file.isOpen()) {
        FUZZ_CHECK(file.hasError() && !file.errorString().isEmpty());
        return 0;
    }
    // One input in eight edits the tree: the commit path meets the file as well.
    const bool edit = size > 0 && (data[size - 1] & 7) == 0;
    QStringList saved;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        treeLines(root.get());
        if (edit) {
            root->writeStream(QStringLiteral("Info.ini"), QByteArray("edited"));
            root->storage(QStringLiteral("Blocks"))->storage(QStringLiteral("New"))->writeStream(QStringLiteral("x"), "y");
            const QStringList names = root->storageNames();
            if (!names.isEmpty())
                root->storage(names.first())->clear();
            saved = treeLines(root.get());
        }
    }
    file.close();
    if (edit && !file.hasError()) {
        FileView again;
        again.open(g_path);
        FUZZ_CHECK(again.isOpen());
        std::unique_ptr<FileStorageView> root(again.createRootView());
        FUZZ_CHECK(treeLines(root.get()) == saved);
    }
    return 0;
}
