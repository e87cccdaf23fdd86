// Arbitrary bytes as a storage file: open, walk, read every stream, close. Some inputs also
// change the tree before closing; a save that reports success must then read back as saved.
#include "FuzzInputFile.h"
#include "FuzzTreeWalk.h"

#include <LxFileSystem/FileView.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    FuzzInputFile::setUp("lxfs-fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (!FuzzInputFile::write(data, size))
        std::abort();
    FileView file;
    file.open(FuzzInputFile::path());
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
        again.open(FuzzInputFile::path());
        FUZZ_CHECK(again.isOpen());
        std::unique_ptr<FileStorageView> root(again.createRootView());
        FUZZ_CHECK(treeLines(root.get()) == saved);
    }
    return 0;
}
