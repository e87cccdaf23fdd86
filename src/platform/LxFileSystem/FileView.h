#pragma once

#include <LxFileSystem/lxfilesystem_export.h>

#include <QtCore/QObject>
#include <QtCore/QString>

class FileStorageView;
class FileViewPrivate;

/*
 * A storage file: a tree of storages and streams kept in one file on disk, or in memory.
 *
 * Everything between create()/open() and close() is one transaction: close() commits it
 * atomically, so the file on disk holds either the old or the new tree, whatever happens to
 * the process. A commit that fails leaves the previous file byte for byte intact and is
 * reported through hasError() and errorString(). Destroying an open FileView without
 * close() discards the changes.
 *
 * A session holds its file's shared lock from create()/open() to close(): other sessions,
 * in this process or another, can read the file meanwhile, but none can commit until it
 * ends. A close() that would commit waits up to three seconds for the other sessions to end
 * and otherwise fails, leaving the file as it was.
 */
class LXFILESYSTEM_EXPORT FileView : public QObject
{
    Q_OBJECT

public:
    explicit FileView(QObject *parent = nullptr);
    ~FileView() override;

    // Creates a new, empty storage file and opens it; an existing file of that name is
    // replaced on close(). An empty path makes an in-memory scratch file.
    void create(const QString &path);
    // Opens an existing storage file. Missing files, files that are not storage files and
    // damaged files leave the view closed; a file without write permission opens read-only.
    void open(const QString &path);
    [[nodiscard]] bool isOpen() const;
    [[nodiscard]] bool isReadOnly() const;
    // The path given to create() or open(); empty for a scratch file.
    QString fileName() const;

    // A new view of the root storage, owned by the caller, to be deleted before close().
    [[nodiscard]] FileStorageView *createRootView();
    // Commits and closes. On failure nothing of this session reaches the disk and
    // hasError() is true until the next create() or open().
    void close();

    // Whether the last create(), open() or close() failed, and why (names the file and the cause).
    [[nodiscard]] bool hasError() const;
    QString errorString() const;

private:
    FileViewPrivate *const d;
    Q_DISABLE_COPY(FileView)
};
