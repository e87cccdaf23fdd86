#pragma once

#include <QtCore/QStringList>

class Block;
class BlockDefinition;
class BlockLibrary;

// The stored form of a model object: the object is saved into a fresh in-memory storage and
// listed as StorageTreeText::lines() lists a tree. Comparing two of these compares everything
// the object writes, so a test never walks fields one by one. A library writes its "Blocks"
// storage below the given root; a block or a definition writes into the storage itself.
namespace StoredForm {

QStringList of(Block *block);
QStringList of(BlockDefinition *definition);
QStringList of(BlockLibrary *library);

} // namespace StoredForm
