#pragma once

#include "FileView.h"
#include "StorageDatabase_p.h"
#include "StorageTree_p.h"

#include <memory>

class FileViewPrivate
{
public:
    // How close() saves the session.
    enum class Mode {
        Closed,
        Scratch,   // in memory only, nothing to save
        Opened,    // an existing file: write the rows that changed since open
        Replace,   // create() over an existing storage file: replace all its rows
        CreateNew, // create() where no storage file is: write a new file and move it into place
    };

    void startSession(Mode newMode, const QString &path);
    // Ends the session without saving; views left over see an empty, read-only tree.
    void discard();
    StorageFileStatus save();
    void setError(const StorageFileStatus &status, bool saving);

    Mode mode = Mode::Closed;
    QString fileName;     // as given to create() or open()
    QString absolutePath; // where the file is read and written
    StorageDatabase database;
    StorageNodePtr root;
    std::shared_ptr<StorageSession> session;
    StorageSnapshot snapshot;
    FileIdentity identity;
    bool replaceExisting = false; // CreateNew: a file (not a storage file) is at the path
    bool hasError = false;
    QString errorString;
};
