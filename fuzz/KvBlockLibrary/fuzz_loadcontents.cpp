// Block::loadContents on arbitrary input. The first byte picks how the rest is offered:
//   0: as the contents text itself (hexadecimal of compressed storage bytes, or anything);
//   1: as the serialised storage bytes, wrapped the way saveContents wraps them, so that
//      the fuzzer reaches the storage decoder and the block reader without learning zlib.
// A block that loads is saved again and must load from its own contents.
#include <KvBlockLibrary/Block.h>

#include <QtCore/QCoreApplication>

#include <cstdint>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static QCoreApplication application(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const QByteArray payload(reinterpret_cast<const char *>(data + 1), static_cast<qsizetype>(size - 1));
    const QByteArray contents = (data[0] & 1) ? qCompress(payload, 1).toHex() : payload;

    std::unique_ptr<Block> block(Block::createUserBlock());
    if (!block->loadContents(contents))
        return 0;
    const QByteArray again = block->saveContents();
    std::unique_ptr<Block> copy(Block::createBlock(block->identifier()));
    if (!copy->loadContents(again))
        std::abort();
    if (copy->versions() != block->versions() || copy->shortName() != block->shortName())
        std::abort();
    return 0;
}
