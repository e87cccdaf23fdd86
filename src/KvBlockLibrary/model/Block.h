#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

class BlockDefinition;
class BlockLibrary;
class BlockPrivate;
class FileStorageView;

/*
 * One function block with all its versions. The identifier, fixed at creation, tells the
 * block's kind (see BlockType). Versions are BlockDefinition objects numbered from 0; the
 * block owns them as Qt children.
 *
 * Blocks are made only through createBlock(), createUserBlock() and cloneUserBlock(), and
 * are used on the user-interface thread.
 */
class KVBLOCKLIBRARY_EXPORT Block : public QObject
{
    Q_OBJECT

public:
    ~Block() override;

    // Null unless the identifier is of one of the block kinds. The caller owns the block.
    [[nodiscard]] static Block *createBlock(const QString &identifier);
    // A new user block with a fresh braced UUID identifier. The caller owns the block.
    [[nodiscard]] static Block *createUserBlock();
    // A new user block with the contents (not the identity) of source. The caller owns it.
    [[nodiscard]] static Block *cloneUserBlock(const Block *source);

    QString identifier() const;

    Text name() const;
    void setName(const Text &name);          // emits nothing
    QString shortName() const;
    void setShortName(const QString &shortName); // emits nothing
    QString groupPath() const;
    // Emits groupChanged() on every call, also when the value is unchanged.
    void setGroupPath(const QString &groupPath);

    // The library that holds the block; not owned. Set by the library itself.
    BlockLibrary *ownerLibrary() const;
    void setOwnerLibrary(BlockLibrary *library);

    // Set once by the fallback container for its copies; it is never cleared.
    bool isFallbackBlock() const;
    void setFallbackBlock();

    // False for the families listed as invisible when the block was loaded.
    bool visibleForFamily(unsigned int family) const;
    // Whether versions are shown to the user: not for tool, system and local blocks.
    bool versionVisible() const;

    bool isSystemBlock() const;
    bool isStandardBlock() const;
    bool isTemplateBlock() const;
    bool isToolBlock() const;
    bool isMagicBlock() const;
    bool isRootBlock() const;
    // A user identifier in a local container.
    bool isLocalBlock() const;
    // Deliberately everything that is neither local nor of a fixed kind, including
    // identifiers of no kind at all.
    bool isUserBlock() const;
    // The number in the identifier; 0 for blocks of another kind.
    unsigned int systemBlockNumber() const;
    unsigned int standardBlockNumber() const;
    unsigned int templateBlockNumber() const;
    unsigned int toolBlockNumber() const;
    unsigned int magicBlockNumber() const;

    // Version numbers in ascending order.
    QList<unsigned int> versions() const;
    BlockDefinition *blockDefinition(unsigned int version) const;
    // A new empty version under that number (owned by the block); emits changed(). The
    // number must not exist yet: an existing definition would become unreachable.
    BlockDefinition *createDefinition(unsigned int version);
    // A new empty version one above the highest (0 for the first); emits changed().
    // Null, changing nothing, when the highest version is already 4294967295.
    BlockDefinition *createDefinition();
    // A copy of that version as a new highest version. Asks the user first when the source
    // is not the highest version; null when declined, when there is no such version, or when
    // the highest version is 4294967295.
    BlockDefinition *createDefinitionClone(unsigned int version);
    // Deletes the version, if there is one; emits changed() in every case.
    void deleteDefinition(unsigned int version);
    // Deletes every version; emits nothing.
    void clear();
    // Replaces names and versions by copies of source's; keeps identifier, group path,
    // invisible families, fallback flag and owner. Emits changed() once per copied version.
    void cloneFrom(const Block *source);

    unsigned int instanceCount() const;
    bool allowDelete() const;

    // Reads the block from its storage: "Info.ini" and one "V<n>" storage per version.
    // False, with nothing changed, when "Info.ini" is missing or of another kind or version.
    [[nodiscard]] bool load(FileStorageView *storage);
    void save(FileStorageView *storage);
    void saveForCompareCrc(FileStorageView *storage) const;
    // The block as lower-case hexadecimal text of its compressed storage; empty when the block
    // cannot be written whole (local blocks nested deeper than a storage holds).
    QByteArray saveContents();
    [[nodiscard]] bool loadContents(const QByteArray &contents);

signals:
    // A version was created, copied or deleted, or changed inside.
    void changed();
    // setGroupPath() was called, or loading set the group path.
    void groupChanged();

private:
    explicit Block(const QString &identifier);
    void saveInfo(FileStorageView *storage) const;

    BlockPrivate *const d;
    Q_DISABLE_COPY(Block)
};
