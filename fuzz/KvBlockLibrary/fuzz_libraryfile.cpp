// Arbitrary bytes as a block-library file: BlockLibraryFile::load, then everything an
// editor does with what was loaded. A refused file must say why; a loaded one is unmodified.
#include "FuzzInputFile.h"
#include "FuzzLibraryWalk.h"

#include <KvBlockLibrary/BlockLibraryFile.h>

#include <cstdint>
#include <memory>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    startGuiApplication(argc, argv);
    FuzzInputFile::setUp("kvbl-fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FUZZ_CHECK(FuzzInputFile::write(data, size));
    BlockLibraryFile file;
    if (!file.load(FuzzInputFile::path())) {
        FUZZ_CHECK(!file.errorString().isEmpty());
        return 0;
    }
    FUZZ_CHECK(!file.modified());
    useLibrary(file.library());
    return 0;
}
