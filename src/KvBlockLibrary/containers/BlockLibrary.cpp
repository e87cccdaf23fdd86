#include "BlockLibrary.h"
#include "BlockLibrary_p.h"

#include "Block.h"
#include "BlockLibraryContainer.h"
#include "BlockType.h"
#include "TypedIni_p.h"

#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QSet>
#include <QtCore/QSignalBlocker>

#include <algorithm>
#include <utility>

namespace {

const QString BlocksStorage = QStringLiteral("Blocks");
const QString ContentStream = QStringLiteral("Content.txt");

} // namespace

BlockLibraryPrivate::BlockLibraryPrivate(BlockLibrary *library, BlockLibraryContainer *container)
    : q(library)
    , container(container)
{
    connect(this, &BlockLibraryPrivate::contentsChanged, q, &BlockLibrary::contentsChanged);
    connect(this, &BlockLibraryPrivate::groupsChanged, q, &BlockLibrary::groupsChanged);
}

void BlockLibraryPrivate::addToGroup(Entry &entry, const QString &identifier)
{
    Group &group = groups[entry.groupPath];
    if (group.identifiers.isEmpty()) {
        orderedGroupPaths.insert(entry.groupPath);
        groupPathListValid = false;
    }
    entry.groupPosition = group.identifiers.size();
    group.identifiers.append(identifier);
    group.sortedValid = false;
}

void BlockLibraryPrivate::removeFromGroup(const Entry &entry)
{
    const auto group = groups.find(entry.groupPath);
    if (group == groups.end())
        return;
    const QString last = group->identifiers.takeLast();
    if (entry.groupPosition < group->identifiers.size()) {
        group->identifiers[entry.groupPosition] = last;
        blocks.find(IdentifierKey(last))->groupPosition = entry.groupPosition;
    }
    group->sortedValid = false;
    if (group->identifiers.isEmpty()) {
        orderedGroupPaths.erase(entry.groupPath);
        groups.erase(group);
        groupPathListValid = false;
    }
}

Block *BlockLibraryPrivate::take(const QString &identifier)
{
    const auto entry = blocks.find(IdentifierKey(identifier));
    if (entry == blocks.end())
        return nullptr;
    Block *block = entry->block;
    const qsizetype position = entry->position;
    removeFromGroup(*entry);
    blocks.erase(entry);
    Block *last = ordered.takeLast();
    if (last != block) {
        ordered[position] = last;
        blocks.find(IdentifierKey(last->identifier()))->position = position;
    }
    return block;
}

BlockLibrary::BlockLibrary(BlockLibraryContainer *container)
    : QObject(container)
    , d(new BlockLibraryPrivate(this, container))
{
}

BlockLibrary::~BlockLibrary()
{
    delete d;
}

BlockLibraryContainer *BlockLibrary::container() const
{
    return d->container;
}

bool BlockLibrary::readOnly() const
{
    return d->container && d->container->readOnly();
}

void BlockLibrary::insertBlock(Block *block)
{
    if (!block)
        return;
    const QString identifier = block->identifier();
    const QString groupPath = block->groupPath();
    BlockLibraryPrivate::Entry &entry = d->blocks[IdentifierKey(identifier)];
    if (entry.block) {
        // A block replaced under its identifier stays a connected child, but is no longer listed.
        d->removeFromGroup(entry);
        d->ordered[entry.position] = block;
    } else {
        entry.position = d->ordered.size();
        d->ordered.append(block);
    }
    entry.block = block;
    entry.groupPath = groupPath;
    d->addToGroup(entry, identifier);
    block->setOwnerLibrary(this);
    block->setParent(this);
    emit d->contentsChanged();
    // The filing is brought up to date before groupsChanged() goes out, so that listeners
    // list the new grouping.
    BlockLibraryPrivate *const p = d;
    connect(block, &Block::groupChanged, d, [p, block, identifier] {
        const auto filed = p->blocks.find(IdentifierKey(identifier));
        if (filed != p->blocks.end() && filed->block == block && filed->groupPath != block->groupPath()) {
            p->removeFromGroup(*filed);
            filed->groupPath = block->groupPath();
            p->addToGroup(*filed, identifier);
        }
        emit p->groupsChanged();
    });
    connect(block, &Block::changed, d, &BlockLibraryPrivate::contentsChanged);
}

Block *BlockLibrary::removeBlock(const QString &identifier)
{
    Block *block = d->take(identifier);
    if (!block)
        return nullptr;
    block->setOwnerLibrary(nullptr);
    block->setParent(nullptr);
    if (!signalsBlocked())
        emit d->contentsChanged();
    disconnect(block, nullptr, d, nullptr);
    return block;
}

Block *BlockLibrary::block(const QString &identifier) const
{
    const auto entry = d->blocks.constFind(IdentifierKey(identifier));
    return entry == d->blocks.cend() ? nullptr : entry->block;
}

bool BlockLibrary::containsBlock(const QString &identifier) const
{
    return d->blocks.contains(IdentifierKey(identifier));
}

QList<QString> BlockLibrary::blockIdentifiers() const
{
    QList<QString> identifiers;
    identifiers.reserve(d->blocks.size());
    for (auto it = d->blocks.cbegin(); it != d->blocks.cend(); ++it)
        identifiers.append(it.key().identifier);
    std::sort(identifiers.begin(), identifiers.end());
    return identifiers;
}

QList<QString> BlockLibrary::blockIdentifiers(const QString &groupPath) const
{
    const auto group = d->groups.find(groupPath);
    if (group == d->groups.end())
        return QList<QString>();
    if (!group->sortedValid) {
        group->sorted = group->identifiers;
        std::sort(group->sorted.begin(), group->sorted.end());
        group->sortedValid = true;
    }
    return group->sorted;
}

QList<QString> BlockLibrary::groupPaths() const
{
    if (!d->groupPathListValid) {
        d->groupPathList = QList<QString>(d->orderedGroupPaths.cbegin(), d->orderedGroupPaths.cend());
        d->groupPathListValid = true;
    }
    return d->groupPathList;
}

unsigned int BlockLibrary::allBlocksInstanceCount() const
{
    unsigned int count = 0;
    for (const Block *block : std::as_const(d->ordered))
        count += block->instanceCount();
    return count;
}

void BlockLibrary::clear()
{
    if (d->ordered.isEmpty())
        return;
    {
        const QSignalBlocker blocker(d);
        const QList<Block *> blocks = std::exchange(d->ordered, QList<Block *>());
        d->blocks.clear();
        d->groups.clear();
        d->orderedGroupPaths.clear();
        d->groupPathListValid = false;
        QSet<QObject *> detached;
        detached.reserve(blocks.size());
        for (Block *block : blocks) {
            block->setOwnerLibrary(nullptr);
            disconnect(block, nullptr, d, nullptr);
            detached.insert(block);
        }
        // Deleted in the order of the library's children, so that each leaves from the front of
        // the child list: a block leaving from elsewhere costs a search of the whole list, and
        // clearing a large library would take quadratic time.
        const QObjectList children = this->children();
        for (QObject *child : children) {
            if (detached.remove(child))
                delete child;
        }
        qDeleteAll(detached);
    }
    emit d->contentsChanged();
}

bool BlockLibrary::load(FileStorageView *root)
{
    if (!hasStorage(root, BlocksStorage))
        return false;
    FileStorageView *blocks = root->storage(BlocksStorage);

    // Storage names of user blocks map to their identifiers; other blocks are stored under
    // their own identifiers.
    QHash<QByteArray, QString> names;
    const bool hasMap = hasStream(blocks, ContentStream);
    if (hasMap) {
        const QList<QByteArray> lines = blocks->readStream(ContentStream).split('\r');
        for (const QByteArray &rawLine : lines) {
            const QList<QByteArray> fields = rawLine.trimmed().split(',');
            names.insert(fields.first(), QString::fromUtf8(fields.last()));
        }
    }

    const QStringList storageNames = blocks->storageNames();
    for (const QString &name : storageNames) {
        QString identifier = name;
        if (hasMap) {
            auto it = names.constFind(name.toLatin1());
            if (it != names.cend())
                identifier = *it;
        }
        Block *block = Block::createBlock(identifier);
        if (!block)
            continue;
        if (!block->load(blocks->storage(name))) {
            delete block;
            continue;
        }
        insertBlock(block);
    }
    return true;
}

template<typename SaveBlock>
void BlockLibraryPrivate::saveBlocks(FileStorageView *root, SaveBlock saveBlock)
{
    FileStorageView *blocksStorage = root->storage(BlocksStorage);
    QByteArray content;
    int counter = 0;
    const QList<QString> identifiers = q->blockIdentifiers();
    for (const QString &identifier : identifiers) {
        Block *block = q->block(identifier);
        if (!block)
            continue;
        QString storageName = identifier;
        // User identifiers (braces, hyphens) are never used as storage names.
        if (BlockType::isIdentifierUser(identifier)) {
            storageName = QStringLiteral("Number_%1").arg(counter++);
            content += storageName.toUtf8() + ',' + identifier.toUtf8() + '\r';
        }
        saveBlock(block, blocksStorage->storage(storageName));
    }
    blocksStorage->writeStream(ContentStream, content);
}

void BlockLibrary::save(FileStorageView *root)
{
    d->saveBlocks(root, [](Block *block, FileStorageView *storage) { block->save(storage); });
}

void BlockLibrary::saveForCompareCrc(FileStorageView *root)
{
    d->saveBlocks(root, [](Block *block, FileStorageView *storage) { block->saveForCompareCrc(storage); });
}
