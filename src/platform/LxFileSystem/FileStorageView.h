#pragma once

#include <LxFileSystem/lxfilesystem_export.h>

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

class FileStorageViewPrivate;

/*
 * One node of a storage file's tree: a storage holds named streams (byte strings) and named
 * sub-storages. A stream and a sub-storage may share a name; names are any QString and are
 * compared exactly.
 *
 * Ownership: a sub-storage view returned by storage() belongs to the view that returned it
 * and lives as long as that view. A root view from FileView::createRootView() belongs to the
 * caller and must be deleted before FileView::close().
 *
 * The order of the virtual operations below is part of the contract: other modules derive
 * from this class (for example an in-memory storage used for comparison values) and rely on it.
 * A view made with the public constructor is not backed by any file; subclasses override
 * every operation.
 */
class LXFILESYSTEM_EXPORT FileStorageView : public QObject
{
    Q_OBJECT

public:
    explicit FileStorageView(FileStorageView *parent = nullptr);
    ~FileStorageView() override;

    // Whether writes through this view are refused (the file was opened without write access).
    virtual bool isReadOnly() const;
    // Removes every stream and sub-storage of this storage. Sub-storage views handed out
    // earlier stay valid objects but now refer to empty, detached storages.
    virtual void clear();
    // The name under which the parent lists this storage; empty for the root.
    virtual QString name() const;
    // The names from the root down to this storage, joined by "/"; empty for the root.
    virtual QString path() const;
    virtual QStringList streamNames() const;
    virtual QStringList storageNames() const;
    // Creates or replaces the stream.
    virtual void writeStream(const QString &name, const QByteArray &data);
    // The stream's bytes; empty when there is no such stream.
    virtual QByteArray readStream(const QString &name) const;
    // The sub-storage of that name, created empty when absent; owned by this view.
    virtual FileStorageView *storage(const QString &name);
    // The whole tree below and including this storage as self-describing bytes.
    virtual QByteArray toByteArray() const;
    // Replaces the tree below this storage by the one encoded in data. Returns false and
    // leaves the tree unchanged when data is not such an encoding.
    [[nodiscard]] virtual bool fromByteArray(const QByteArray &data);
    // Removes the stream of that name, if there is one; sub-storages are not touched.
    virtual void removeStream(const QString &name);

protected:
    explicit FileStorageView(FileStorageViewPrivate &dd, FileStorageView *parent);

private:
    friend class FileView;
    friend class FileViewPrivate;
    FileStorageViewPrivate *const d;
    Q_DISABLE_COPY(FileStorageView)
};
