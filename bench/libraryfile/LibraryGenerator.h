#pragma once

#include "EditableContainer.h"

#include <QtCore/QString>

class BlockLibrary;
class FileStorageView;

namespace KvBench {

// The scenarios load and save this container on storages they open themselves.
using FileContainer = EditableContainer;

// Writes the container into a new storage file at path; false when that fails.
bool saveToNewFile(FileContainer *container, const QString &path);

/*
 * Fills a library with blocks shaped like those of real libraries, the same on every run for
 * a seed: 1 to 3 versions per block, 4 to 12 pins, two PNG list images of 1 to 4 KB, code
 * of 2 to 20 KB, an HTML description; 30 % are parameter-definition blocks (numbers from
 * 200000, with simple, array and record definitions), 10 % other standard blocks, the rest
 * user blocks; 5 % of the blocks carry local blocks in one of their versions.
 */
void generateLibrary(BlockLibrary *library, int blocks, quint64 seed = 1);

// A file holding a generated library of that many blocks; written once per process and
// kept until it ends. Empty when it cannot be written.
QString generatedLibraryFile(int blocks);

} // namespace KvBench
