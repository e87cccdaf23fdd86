// Arbitrary storage trees (in the storage engine's byte form) as a library container's
// root: the container's "Info.ini", group segments and "Blocks" are read, what was loaded
// is used, saved into a fresh storage and read back. What loading accepted once must load
// again from its own saved form with the same blocks and versions. The first save may drop
// what the library writes but does not read back (family parameter definitions under the
// name they are written with), so comparison values must hold from the second round on.
#include "FuzzLibraryWalk.h"

#include "EditableContainer.h"

#include <cstdint>
#include <memory>

namespace {

// An editable container whose storage is whatever tree the input encodes.
using TreeContainer = EditableContainer;

// Block identifiers with their versions, and with comparison values when asked, in a fixed order.
QStringList fingerprint(BlockLibrary *library, bool withValues)
{
    QStringList lines;
    for (const QString &identifier : library->blockIdentifiers()) {
        Block *block = library->block(identifier);
        for (unsigned int version : block->versions()) {
            QString line = identifier + QLatin1Char(' ') + QString::number(version);
            if (withValues)
                line += QLatin1Char(' ') + QString::fromLatin1(block->blockDefinition(version)->compareCrc32Value());
            lines.append(line);
        }
    }
    lines.sort();
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    startGuiApplication(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ScratchStorage input;
    FUZZ_CHECK(input.isValid());
    if (!input.root()->fromByteArray(QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size))))
        return 0;
    TreeContainer container;
    if (!container.load(input.root()))
        return 0;
    useLibrary(container.library());

    // A stored type below 255 makes the container fixed, and a fixed container saves nothing
    // by design; the round trip is about the blocks, so it is made editable first.
    container.setType(256);
    ScratchStorage saved;
    FUZZ_CHECK(saved.isValid());
    container.save(saved.root());
    TreeContainer again;
    FUZZ_CHECK(again.load(saved.root()));
    FUZZ_CHECK(fingerprint(again.library(), false) == fingerprint(container.library(), false));

    ScratchStorage savedAgain;
    FUZZ_CHECK(savedAgain.isValid());
    again.save(savedAgain.root());
    TreeContainer third;
    FUZZ_CHECK(third.load(savedAgain.root()));
    FUZZ_CHECK(fingerprint(third.library(), true) == fingerprint(again.library(), true));
    return 0;
}
