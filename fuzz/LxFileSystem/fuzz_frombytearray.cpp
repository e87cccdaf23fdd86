// fromByteArray() on arbitrary bytes. Rejected input must leave the tree as it was; accepted
// input must give a tree that can be walked and whose encoding decodes to itself.
#include "FuzzTreeWalk.h"

#include <LxFileSystem/FileView.h>

#include <cstdint>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FileView file;
    file.create(QString());
    std::unique_ptr<FileStorageView> root(file.createRootView());
    root->writeStream(QStringLiteral("Info.ini"), "kept");
    FileStorageView *target = root->storage(QStringLiteral("Blocks"));
    target->storage(QStringLiteral("B1"))->writeStream(QStringLiteral("Code"), "old");
    const QStringList before = treeLines(root.get());

    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    if (!target->fromByteArray(input)) {
        FUZZ_CHECK(treeLines(root.get()) == before);
        return 0;
    }
    const QStringList decoded = treeLines(target);
    const QByteArray encoded = target->toByteArray();
    FileView other;
    other.create(QString());
    std::unique_ptr<FileStorageView> copy(other.createRootView());
    FUZZ_CHECK(copy->fromByteArray(encoded));
    FUZZ_CHECK(treeLines(copy.get()) == decoded);
    FUZZ_CHECK(copy->toByteArray() == encoded);
    return 0;
}
