#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QStringList>

class FileStorageView;

// Test helpers that turn storage trees into text and back, so that one QCOMPARE shows where
// two trees differ.
namespace StorageTreeText {

// Every storage below view and every stream, one sorted line each:
//   storage Blocks/B1/V0
//   stream Blocks/B1/Info.ini 312 sha1:8f3c0a17d2e94b61
//   stream Info.ini 5 68656c6c6f
// Streams of up to 16 bytes show their bytes in hex, longer ones the start of their SHA-1.
// In names, '/', '\', control characters, surrogates and non-ASCII characters appear as
// \uXXXX, so that every name prints on one line and paths stay unambiguous.
QStringList lines(FileStorageView *view);

// Writes streams given by slash-separated paths ("Blocks/B1/Info.ini"), creating the
// storages on the way.
void write(FileStorageView *root, const QList<QPair<QString, QByteArray>> &streams);

} // namespace StorageTreeText
