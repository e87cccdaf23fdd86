#pragma once

// A plain editable container (type 256) whose protected storage operations are opened, so
// that tests, fuzz targets and benchmarks load and save it on storages they open themselves,
// as a library file does within its own load() and save().

#include <KvBlockLibrary/BlockLibraryContainer.h>

class EditableContainer : public BlockLibraryContainer
{
public:
    EditableContainer() { setType(256); }
    bool isLocalContainer() const override { return false; }
    using BlockLibraryContainer::load;
    using BlockLibraryContainer::save;
};
