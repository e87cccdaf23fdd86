#include "FallbackBlockContainer.h"
#include "FallbackBlockContainer_p.h"

#include "Block.h"
#include "BlockLibrary.h"

FallbackBlockContainerPrivate::FallbackBlockContainerPrivate(FallbackBlockContainer *container)
    : QObject(container)
    , q(container)
{
}

FallbackBlockContainer::FallbackBlockContainer(QObject *parent)
    : BlockLibraryContainer(parent)
    , dFallback(new FallbackBlockContainerPrivate(this))
{
}

FallbackBlockContainer::~FallbackBlockContainer() = default;

bool FallbackBlockContainer::readOnly() const
{
    return true;
}

QString FallbackBlockContainer::identifier()
{
    return QStringLiteral("fallback");
}

bool FallbackBlockContainer::isLocalContainer() const
{
    return false;
}

void FallbackBlockContainer::insert(Block *block)
{
    if (!block || !block->isUserBlock())
        return;
    if (library()->containsBlock(block->identifier()))
        return;
    // A block that cannot be written whole gets no copy rather than an incomplete one.
    const QByteArray contents = block->saveContents();
    if (contents.isEmpty())
        return;
    Block *copy = Block::createBlock(block->identifier());
    if (!copy)
        return;
    copy->setFallbackBlock();
    // A complete copy through the serialised form; a copy that fails to load is kept anyway.
    (void)copy->loadContents(contents);
    library()->insertBlock(copy);
}

void FallbackBlockContainer::clear()
{
    BlockLibrary *blocks = library();
    const bool wasBlocked = blocks->blockSignals(true);
    const QList<QString> identifiers = blocks->blockIdentifiers();
    for (const QString &identifier : identifiers) {
        Block *block = blocks->block(identifier);
        if (block && block->instanceCount() == 0) {
            Block *removed = blocks->removeBlock(identifier);
            removed->deleteLater();
        }
    }
    blocks->blockSignals(wasBlocked);
}
