#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

class Block;
class BlockLibraryContainer;
class BlockLibraryPrivate;
class FileStorageView;

/*
 * The blocks of one container, by identifier. The library owns the blocks inserted into it
 * (they become its Qt children) and announces every change of its contents and of its
 * group structure. Listings are sorted by case-sensitive string order.
 */
class KVBLOCKLIBRARY_EXPORT BlockLibrary : public QObject
{
    Q_OBJECT

public:
    // A Qt child of container (not null).
    explicit BlockLibrary(BlockLibraryContainer *container);
    ~BlockLibrary() override;

    BlockLibraryContainer *container() const;
    // The container's read-only state.
    bool readOnly() const;

    // Takes ownership of block (null is ignored). An earlier block of the same identifier
    // stays a child of the library but becomes unreachable: check containsBlock() first.
    void insertBlock(Block *block);
    // Gives the block back to the caller, who then owns it; null when there is none.
    [[nodiscard]] Block *removeBlock(const QString &identifier);
    Block *block(const QString &identifier) const;
    bool containsBlock(const QString &identifier) const;
    QList<QString> blockIdentifiers() const;
    // The blocks whose group path equals groupPath exactly.
    QList<QString> blockIdentifiers(const QString &groupPath) const;
    // The distinct group paths of all blocks.
    QList<QString> groupPaths() const;
    unsigned int allBlocksInstanceCount() const;
    // Deletes every block; emits contentsChanged() once, or nothing when already empty.
    void clear();

    // The "Blocks" storage below the container's root. load() returns false without it;
    // blocks that cannot be created or loaded are skipped.
    [[nodiscard]] bool load(FileStorageView *root);
    void save(FileStorageView *root);
    void saveForCompareCrc(FileStorageView *root);

signals:
    // A block was inserted, removed or changed, or the library was cleared.
    void contentsChanged();
    // A block's group path was set.
    void groupsChanged();

private:
    BlockLibraryPrivate *const d;
    Q_DISABLE_COPY(BlockLibrary)
};
