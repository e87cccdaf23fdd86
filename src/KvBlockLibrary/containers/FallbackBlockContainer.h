#pragma once

#include <KvBlockLibrary/BlockLibraryContainer.h>

class Block;
class FallbackBlockContainerPrivate;

/*
 * Keeps copies of user blocks that a project uses but that no open library supplies any
 * more, so that their instances keep a definition. Always read-only and called "fallback";
 * editable in the sense of its type, so it tracks modification and saves.
 */
class KVBLOCKLIBRARY_EXPORT FallbackBlockContainer : public BlockLibraryContainer
{
    Q_OBJECT

public:
    explicit FallbackBlockContainer(QObject *parent = nullptr);
    ~FallbackBlockContainer() override;

    bool readOnly() const override;
    QString identifier() override;
    bool isLocalContainer() const override;

    // Adds a copy of a user block unless one of that identifier is there already. The given
    // block is not changed and stays with its owner. Null and non-user blocks are ignored.
    void insert(Block *block);
    // Removes the copies that no instance uses, without marking the container modified.
    // They are deleted later, from the event loop, as a caller may still be inside one.
    void clear();

    using BlockLibraryContainer::load;
    using BlockLibraryContainer::save;

private:
    // A Qt child of this container.
    FallbackBlockContainerPrivate *const dFallback;
};
