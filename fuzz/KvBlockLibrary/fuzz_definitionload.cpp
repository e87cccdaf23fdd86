// Arbitrary storage trees (in the storage engine's byte form) as one version storage:
// BlockDefinition::load into a version of a standard block, of a user block and of a tool
// block (the first input byte picks which), then everything an editor does with it, and a
// save and reload that must succeed.
#include "FuzzLibraryWalk.h"

#include <cstdint>
#include <memory>

namespace {

Block *makeBlock(uint8_t selector)
{
    switch (selector % 3) {
    case 0:
        return Block::createBlock(QStringLiteral("StandardBlock_200001"));
    case 1:
        return Block::createUserBlock();
    default:
        return Block::createBlock(QStringLiteral("ToolBlock_3"));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    startGuiApplication(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    ScratchStorage input;
    FUZZ_CHECK(input.isValid());
    const QByteArray tree = QByteArray::fromRawData(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    if (!input.root()->fromByteArray(tree))
        return 0;
    std::unique_ptr<Block> block(makeBlock(data[0]));
    FUZZ_CHECK(block);
    BlockDefinition *definition = block->createDefinition(0);
    FUZZ_CHECK(definition);
    if (!definition->load(input.root()))
        return 0;
    useDefinition(definition);

    ScratchStorage saved;
    FUZZ_CHECK(saved.isValid());
    definition->save(saved.root());
    BlockDefinition *copy = block->createDefinition(1);
    FUZZ_CHECK(copy && copy->load(saved.root()));
    FUZZ_CHECK(copy->pins() == definition->pins());
    return 0;
}
