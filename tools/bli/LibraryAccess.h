#pragma once

#include <KvBlockLibrary/BlockLibraryContainer.h>

#include <QtCore/QHash>
#include <QtCore/QString>

#include <memory>

class Block;
class BlockDefinition;
class BlockLibrary;
class FileStorageView;
class FileView;

namespace Bli {

// A plain editable container whose load and save the tool drives itself, so that the file
// stays open beside the model: several commands look at the raw storage of what they show.
class ToolContainer : public BlockLibraryContainer
{
    Q_OBJECT

public:
    using BlockLibraryContainer::BlockLibraryContainer;
    bool isLocalContainer() const override { return false; }
    using BlockLibraryContainer::load;
    using BlockLibraryContainer::save;
};

/*
 * A block-library file opened and loaded for one command. The file stays open until the
 * object goes; nothing is written unless commit() is called, so read-only commands never
 * change the file. Construction throws Failure for a missing file, a file that is not a
 * storage file, and a storage file that holds no block library.
 */
class OpenedLibrary
{
public:
    enum class Load {
        Everything,  // the storage must hold a block library, which is loaded
        StorageOnly, // the storage must hold a block library, which is not loaded
        Raw,         // any storage file
    };

    explicit OpenedLibrary(const QString &path, Load load = Load::Everything);
    ~OpenedLibrary();
    OpenedLibrary(const OpenedLibrary &) = delete;
    OpenedLibrary &operator=(const OpenedLibrary &) = delete;

    QString path() const { return m_path; }
    // Owned here. Null unless everything was loaded.
    ToolContainer *container() const { return m_container.get(); }
    BlockLibrary *library() const;
    // The root of the raw storage tree; owned here.
    FileStorageView *root() const { return m_root.get(); }

    // BLOCK as the user wrote it: an identifier, else a short name. An identifier wins over
    // another block's equal short name; a short name that several blocks share is refused.
    // Throws Failure when nothing matches, unless required is false: then null.
    Block *findBlock(const QString &text, bool required = true) const;
    // VERSION as the user wrote it ("2" or "V2"); throws Failure for an unknown version.
    static BlockDefinition *findVersion(const Block *block, const QString &text);

    // The storage a top-level block was loaded from; null when there is none.
    FileStorageView *blockStorage(const Block *block) const;
    // The storage of a version of a top-level block; null when there is none.
    FileStorageView *versionStorage(const BlockDefinition *definition) const;

    // Commits what was written through root() and closes the file; throws Failure when the
    // commit fails (the file on disk is then unchanged).
    void commit();

private:
    QString m_path;
    std::unique_ptr<FileView> m_file;
    std::unique_ptr<FileStorageView> m_root;
    std::unique_ptr<ToolContainer> m_container;
};

// The storage names of a "Blocks" storage by the identifier the loader reads from each, in
// the loader's way: "Content.txt" maps storage names of user blocks to identifiers, every
// other storage is named after its identifier. Where two storages give one identifier the
// later one is kept, as the loader keeps the later block.
QHash<QString, QString> storageNamesByIdentifier(FileStorageView *blocks);
// The identifier the loader reads from a storage of "Blocks"; content is that storage's
// parsed "Content.txt" (see contentMap()).
QString identifierOfStorage(const QHash<QByteArray, QString> &content, bool hasContent, const QString &storageName);
// "Content.txt" of a "Blocks" storage as the loader reads it; *present tells whether the
// stream exists.
QHash<QByteArray, QString> contentMap(FileStorageView *blocks, bool *present);

// The block an identifier denotes, in the library's own spelling: a UUID in any spelling QUuid
// reads as a lower-case braced UUID, a numbered kind as its prefix and the decimal number
// without leading zeros. Spellings the library would take as different blocks ("{D8…}" and
// "d8…", "StandardBlock_0100" and "StandardBlock_100") give one result. Empty for text that
// is no block identifier, or that holds white space or control characters.
QString canonicalIdentifier(const QString &identifier);

// Whether the storage lists a stream or a sub-storage of that exact name.
bool containsStream(const FileStorageView *storage, const QString &name);
bool containsStorage(const FileStorageView *storage, const QString &name);

} // namespace Bli
