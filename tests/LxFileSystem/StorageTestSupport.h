#pragma once

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

// Helpers shared by the storage file tests and their helper program.
namespace StorageTestSupport {

using Streams = QList<QPair<QString, QByteArray>>;
using RootView = std::unique_ptr<FileStorageView>;

// An in-memory storage file and its root view (destroyed first, as it must be).
struct Scratch
{
    Scratch();
    FileView file;
    RootView root;
};

// Writes a deterministic tree shaped like a block library: a root info stream and
// "Blocks" with `blocks` storages, each with an info stream and a version storage of
// several streams of 50 bytes to 20 KB. Different seeds give different contents (and a
// few different names), the same seed always the same tree.
void writeLibraryTree(FileStorageView *root, quint32 seed, int blocks);

// The text lines (StorageTreeText::lines) of writeLibraryTree(seed, blocks).
QStringList libraryTreeLines(quint32 seed, int blocks);

// Creates the file with those streams, or with writeLibraryTree(seed, blocks); returns the
// error of create() or close(), "" on success.
QString createFile(const QString &path, const Streams &streams);
QString createFile(const QString &path, quint32 seed, int blocks);

// The tree lines of the file, or one line saying why it cannot be opened or closed.
QStringList treeOf(const QString &path);

// The answer of PRAGMA integrity_check on the file, "ok" when it is sound.
QString integrityCheck(const QString &path);

QByteArray fileContents(const QString &path);
bool writeFile(const QString &path, const QByteArray &bytes);

// Runs one SQL script on the file with SQLite directly; returns SQLite's error or "".
QString execSql(const QString &path, const QString &sql);
// The rows of a query, read-only, each row's columns joined by spaces (NULL as "") and trimmed.
QStringList query(const QString &path, const QByteArray &sql);

// Overwrites the root page of the named index with zeros: the tables stay readable, the
// file no longer passes SQLite's checks.
bool breakIndex(const QString &path, const char *index);

} // namespace StorageTestSupport
