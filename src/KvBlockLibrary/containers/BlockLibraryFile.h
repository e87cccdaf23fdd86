#pragma once

#include <KvBlockLibrary/BlockLibraryContainer.h>

class BlockLibraryFilePrivate;

/*
 * A container kept in a block-library file (*.bli). load() and save() open and close the
 * file within the call; no file handle is kept. A library file is editable (type 256).
 * The user is asked before a modified library closes, and for a path when it has none.
 */
class KVBLOCKLIBRARY_EXPORT BlockLibraryFile : public BlockLibraryContainer
{
    Q_OBJECT

public:
    explicit BlockLibraryFile(QObject *parent = nullptr);
    ~BlockLibraryFile() override;

    QString filePath() const;
    // False, with path and contents unchanged, when the file cannot be opened; false with
    // the new path when it opens but holds no valid library.
    [[nodiscard]] bool load(const QString &path);
    // Rewrites the whole file. With an empty path the user is asked for one. On failure
    // (cancelled, cannot open or create, cannot commit) a message tells the user, false is
    // returned, the file on disk is unchanged and the library stays modified.
    bool save(const QString &path);

    // The stored name, else the file name, else "new".
    Text name() override;
    bool isLocalContainer() const override;
    bool prepareClose() override;
    void saveRequested() override;

    // Why the last load() or save() failed; empty after a success.
    QString errorString() const;

private:
    BlockLibraryFilePrivate *dFile() const;
};
