#pragma once

#include "FileStorageView.h"
#include "StorageTree_p.h"

#include <QtCore/QPointer>

#include <map>
#include <memory>
#include <unordered_map>

class FileStorageViewPrivate
{
public:
    // A view that is not backed by a file: every operation does nothing.
    FileStorageViewPrivate() = default;
    FileStorageViewPrivate(StorageNodePtr node, std::shared_ptr<StorageSession> session)
        : node(std::move(node)), session(std::move(session))
    {
    }
    virtual ~FileStorageViewPrivate() = default;

    // Whether the view still shows its file's tree (the file is open and the storage was
    // not removed).
    bool isLive() const { return node && session && session->active && !node->detached; }
    // Whether a write that would change the tree (wouldChange) may go ahead. Writes to
    // read-only files are refused and remembered, so that close() can tell the caller.
    bool beginWrite(bool wouldChange);

    StorageNodePtr node;
    std::shared_ptr<StorageSession> session;
    // Views handed out by storage(), as QObject children: those of storages in the tree by
    // storage (a view holds its storage, so the key stays unique), those standing in for
    // storages that could not be created by name. A view whose storage was removed stays
    // alive and is replaced when the name is asked for again.
    std::unordered_map<const StorageNode *, QPointer<FileStorageView>> childViews;
    std::map<QString, QPointer<FileStorageView>> placeholderViews;
    // Readers mostly go through names in order: the next lookup tries the successor of the
    // last one first.
    std::map<QString, StorageNodePtr>::iterator lastChild;
    quint64 lastChildGeneration = ~quint64(0);
    qsizetype lastStream = -1;
};
