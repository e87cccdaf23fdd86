#pragma once

#include "StorageTree_p.h"

#include <QtCore/QByteArray>

#include <functional>

// The byte form of one storage subtree: CBOR, tagged as self-describing CBOR (55799), an
// array of the format marker, the format version and the storage. A storage is an array of
// two maps, name to stream bytes and name to storage, with names in ascending order. A name
// is a text string, or, when it is not well-formed UTF-16 (an unpaired surrogate), a byte
// string holding its UTF-16LE code units.
namespace StorageTreeCodec {

constexpr char kMarker[] = "LxStorageTree";
constexpr quint64 kVersion = 1;

// bytesOf gives the bytes of each stream (streams may still be in their file).
QByteArray encode(const StorageNode &node, const std::function<QByteArray(const StorageStream &)> &bytesOf);

// Decodes data into a new, unattached node whose subtree would sit at depth, so that the
// result never nests deeper than LxFileSystemLimits::kMaxDepth. Returns null when data is
// not exactly one well-formed encoding.
StorageNodePtr decode(const QByteArray &data, int depth);

} // namespace StorageTreeCodec
