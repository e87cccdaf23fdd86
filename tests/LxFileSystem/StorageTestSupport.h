#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

class FileStorageView;

// Helpers shared by the storage file tests and their helper program.
namespace StorageTestSupport {

// Writes a deterministic tree shaped like a block library: a root info stream and
// "Blocks" with `blocks` storages, each with an info stream and a version storage of
// several streams of 50 bytes to 20 KB. Different seeds give different contents (and a
// few different names), the same seed always the same tree.
void writeLibraryTree(FileStorageView *root, quint32 seed, int blocks);

// The text lines (StorageTreeText::lines) of writeLibraryTree(seed, blocks).
QStringList libraryTreeLines(quint32 seed, int blocks);

// The answer of PRAGMA integrity_check on the file, "ok" when it is sound.
QString integrityCheck(const QString &path);

QByteArray fileContents(const QString &path);

// Runs one SQL script on the file with SQLite directly; returns SQLite's error or "".
QString execSql(const QString &path, const QString &sql);

// Overwrites the root page of the named index with zeros: the tables stay readable, the
// file no longer passes SQLite's checks.
bool breakIndex(const QString &path, const char *index);

} // namespace StorageTestSupport
