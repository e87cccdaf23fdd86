#include "BlockLibrary.h"
#include "BlockLibrary_p.h"

#include "Block.h"
#include "BlockLibraryContainer.h"
#include "BlockType.h"
#include "TypedIni_p.h"

#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QSignalBlocker>

#include <algorithm>
#include <set>

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

void BlockLibraryPrivate::detach(const QString &identifier, Block *block)
{
    blocks.remove(identifier);
    block->setOwnerLibrary(nullptr);
    block->setParent(nullptr);
    disconnect(block, nullptr, this, nullptr);
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
    d->blocks.insert(block->identifier(), block);
    block->setOwnerLibrary(this);
    block->setParent(this);
    emit d->contentsChanged();
    connect(block, &Block::groupChanged, d, &BlockLibraryPrivate::groupsChanged);
    connect(block, &Block::changed, d, &BlockLibraryPrivate::contentsChanged);
}

Block *BlockLibrary::removeBlock(const QString &identifier)
{
    Block *block = d->blocks.value(identifier);
    if (!block)
        return nullptr;
    d->blocks.remove(identifier);
    block->setOwnerLibrary(nullptr);
    block->setParent(nullptr);
    if (!signalsBlocked())
        emit d->contentsChanged();
    disconnect(block, nullptr, d, nullptr);
    return block;
}

Block *BlockLibrary::block(const QString &identifier) const
{
    return d->blocks.value(identifier);
}

bool BlockLibrary::containsBlock(const QString &identifier) const
{
    return d->blocks.contains(identifier);
}

QList<QString> BlockLibrary::blockIdentifiers() const
{
    QList<QString> identifiers = d->blocks.keys();
    std::sort(identifiers.begin(), identifiers.end());
    return identifiers;
}

QList<QString> BlockLibrary::blockIdentifiers(const QString &groupPath) const
{
    QList<QString> identifiers;
    for (auto it = d->blocks.cbegin(); it != d->blocks.cend(); ++it) {
        if (it.value() && it.value()->groupPath() == groupPath)
            identifiers.append(it.key());
    }
    std::sort(identifiers.begin(), identifiers.end());
    return identifiers;
}

QList<QString> BlockLibrary::groupPaths() const
{
    std::set<QString> paths;
    for (const Block *block : std::as_const(d->blocks)) {
        if (block)
            paths.insert(block->groupPath());
    }
    return QList<QString>(paths.begin(), paths.end());
}

unsigned int BlockLibrary::allBlocksInstanceCount() const
{
    unsigned int count = 0;
    for (const Block *block : std::as_const(d->blocks)) {
        if (block)
            count += block->instanceCount();
    }
    return count;
}

void BlockLibrary::clear()
{
    const QList<QString> identifiers = blockIdentifiers();
    if (identifiers.isEmpty())
        return;
    {
        const QSignalBlocker blocker(d);
        for (const QString &identifier : identifiers) {
            Block *block = d->blocks.value(identifier);
            d->detach(identifier, block);
            delete block;
        }
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
        Block *block = blocks.value(identifier);
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
