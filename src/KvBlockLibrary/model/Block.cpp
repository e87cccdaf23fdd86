#include "Block.h"
#include "Block_p.h"

#include "BlockDefinition.h"
#include "BlockLibrary.h"
#include "BlockLibraryContainer.h"
#include "BlockType.h"
#include "StoredNames_p.h"
#include "TypedIni_p.h"

#include <KvSystem/System.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QUuid>
#include <QtWidgets/QMessageBox>

#include <algorithm>
#include <limits>
#include <memory>

#include <zlib.h>

namespace {

const QString InfoStream = QStringLiteral("Info.ini");
const QString BlockKind = QStringLiteral("block");

// A block's contents text may come from anywhere (clipboard, other programs). Above this
// size the decompressed storage is refused rather than allocated: no real block comes near it.
constexpr qsizetype MaxContentsSize = 256 * 1024 * 1024;

// qUncompress with a hard cap on what it produces. qCompress output starts with the
// uncompressed size (four bytes, big-endian) followed by a zlib stream; the size is only a
// claim, checked against the cap and what deflate can reach, and the stream is inflated into
// exactly that room: a stream that would grow beyond it, or ends short of it, is refused.
// A small text therefore cannot make us allocate or inflate more than MaxContentsSize,
// whatever it claims. Null on any failure.
QByteArray boundedUncompress(const QByteArray &compressed)
{
    if (compressed.size() < 5)
        return QByteArray();
    const quint32 claimed = (quint32(quint8(compressed.at(0))) << 24) | (quint32(quint8(compressed.at(1))) << 16)
        | (quint32(quint8(compressed.at(2))) << 8) | quint32(quint8(compressed.at(3)));
    // Deflate cannot expand data by more than about 1032:1; a larger claim is a lie.
    if (claimed == 0 || claimed > MaxContentsSize || quint64(claimed) > quint64(compressed.size()) * 1032 + 64)
        return QByteArray();

    QByteArray out(qsizetype(claimed), Qt::Uninitialized);
    z_stream stream = {};
    if (inflateInit(&stream) != Z_OK)
        return QByteArray();
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(compressed.constData() + 4));
    stream.avail_in = uInt(compressed.size() - 4);
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = uInt(claimed);
    const int result = inflate(&stream, Z_FINISH);
    const bool complete = result == Z_STREAM_END && stream.total_out == claimed;
    inflateEnd(&stream);
    return complete ? out : QByteArray();
}

// Stricter than QByteArray::fromHex, which skips what is not a hex digit: a contents text with
// blanks or an odd length is damaged, and guessing its bytes would load something else.
bool isHexText(const QByteArray &text)
{
    if (text.size() % 2)
        return false;
    return std::all_of(text.cbegin(), text.cend(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    });
}

} // namespace

BlockPrivate::BlockPrivate(Block *block)
    : QObject(block)
    , q(block)
{
    name.setText(1, QString());
    connect(this, &BlockPrivate::groupChanged, q, &Block::groupChanged);
    connect(this, &BlockPrivate::changed, q, &Block::changed);
}

void BlockPrivate::insertDefinition(BlockDefinition *definition)
{
    versions.insert(definition->version(), definition);
    connect(definition, &BlockDefinition::changed, this, &BlockPrivate::changed);
}

void BlockPrivate::removeDefinition(BlockDefinition *definition)
{
    disconnect(definition, nullptr, this, nullptr);
    disconnect(this, nullptr, definition, nullptr);
    disconnect(definition, nullptr, q, nullptr);
    disconnect(q, nullptr, definition, nullptr);
    delete definition;
}

Block::Block(const QString &identifier)
    : d(new BlockPrivate(this))
{
    d->identifier = identifier;
}

Block::~Block()
{
    // Versions are Qt children; they go with the block after this body runs.
    delete d;
}

Block *Block::createBlock(const QString &identifier)
{
    if (!BlockType::isValid(identifier))
        return nullptr;
    return new Block(identifier);
}

Block *Block::createUserBlock()
{
    return new Block(QUuid::createUuid().toString(QUuid::WithBraces));
}

Block *Block::cloneUserBlock(const Block *source)
{
    Block *block = createUserBlock();
    block->cloneFrom(source);
    return block;
}

QString Block::identifier() const
{
    return d->identifier;
}

Text Block::name() const
{
    return d->name;
}

void Block::setName(const Text &name)
{
    d->name = name;
}

QString Block::shortName() const
{
    return d->shortName;
}

void Block::setShortName(const QString &shortName)
{
    d->shortName = shortName;
}

QString Block::groupPath() const
{
    return d->groupPath;
}

void Block::setGroupPath(const QString &groupPath)
{
    d->groupPath = groupPath;
    emit d->groupChanged();
}

BlockLibrary *Block::ownerLibrary() const
{
    return d->ownerLibrary;
}

void Block::setOwnerLibrary(BlockLibrary *library)
{
    d->ownerLibrary = library;
}

bool Block::isFallbackBlock() const
{
    return d->fallback;
}

void Block::setFallbackBlock()
{
    d->fallback = true;
}

bool Block::visibleForFamily(unsigned int family) const
{
    return !d->invisibleForFamilies.contains(family);
}

bool Block::versionVisible() const
{
    return !isToolBlock() && !isSystemBlock() && !isLocalBlock();
}

bool Block::isSystemBlock() const
{
    return BlockType::isIdentifierSystem(d->identifier, nullptr);
}

bool Block::isStandardBlock() const
{
    return BlockType::isIdentifierStandard(d->identifier, nullptr);
}

bool Block::isTemplateBlock() const
{
    return BlockType::isIdentifierTemplate(d->identifier, nullptr);
}

bool Block::isToolBlock() const
{
    return BlockType::isIdentifierTool(d->identifier, nullptr);
}

bool Block::isMagicBlock() const
{
    return BlockType::isIdentifierMagic(d->identifier, nullptr);
}

bool Block::isRootBlock() const
{
    return BlockType::isIdentifierRoot(d->identifier);
}

bool Block::isLocalBlock() const
{
    if (!BlockType::isIdentifierUser(d->identifier))
        return false;
    if (!d->ownerLibrary || !d->ownerLibrary->container())
        return false;
    return d->ownerLibrary->container()->isLocalContainer();
}

bool Block::isUserBlock() const
{
    if (BlockType::isIdentifierUser(d->identifier) && d->ownerLibrary && d->ownerLibrary->container()
        && d->ownerLibrary->container()->isLocalContainer()) {
        return false;
    }
    if (isRootBlock() || isStandardBlock() || isTemplateBlock() || isSystemBlock() || isToolBlock()
        || isMagicBlock()) {
        return false;
    }
    return true;
}

unsigned int Block::systemBlockNumber() const
{
    unsigned int number = 0;
    BlockType::isIdentifierSystem(d->identifier, &number);
    return number;
}

unsigned int Block::standardBlockNumber() const
{
    unsigned int number = 0;
    BlockType::isIdentifierStandard(d->identifier, &number);
    return number;
}

unsigned int Block::templateBlockNumber() const
{
    unsigned int number = 0;
    BlockType::isIdentifierTemplate(d->identifier, &number);
    return number;
}

unsigned int Block::toolBlockNumber() const
{
    unsigned int number = 0;
    BlockType::isIdentifierTool(d->identifier, &number);
    return number;
}

unsigned int Block::magicBlockNumber() const
{
    unsigned int number = 0;
    BlockType::isIdentifierMagic(d->identifier, &number);
    return number;
}

QList<unsigned int> Block::versions() const
{
    QList<unsigned int> numbers = d->versions.keys();
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

BlockDefinition *Block::blockDefinition(unsigned int version) const
{
    return d->versions.value(version);
}

BlockDefinition *Block::createDefinition(unsigned int version)
{
    auto *definition = new BlockDefinition(this, version);
    d->insertDefinition(definition);
    emit d->changed();
    return definition;
}

BlockDefinition *Block::createDefinition()
{
    const QList<unsigned int> numbers = versions();
    // One above the highest would wrap to 0 and replace the first version.
    if (!numbers.isEmpty() && numbers.last() == std::numeric_limits<unsigned int>::max())
        return nullptr;
    return createDefinition(numbers.isEmpty() ? 0 : numbers.last() + 1);
}

BlockDefinition *Block::createDefinitionClone(unsigned int version)
{
    const QList<unsigned int> numbers = versions();
    // No number is left above the highest: nothing to ask about.
    if (numbers.isEmpty() || numbers.last() == std::numeric_limits<unsigned int>::max())
        return nullptr;
    if (version != numbers.last()) {
        QMessageBox box(QMessageBox::Warning, BlockPrivate::tr("Bausteinversion erstellen"),
                        BlockPrivate::tr("Es wird nicht die höchste Version in eine neue Version dupliziert."),
                        QMessageBox::Ok | QMessageBox::Cancel, System::instance()->mainWindow());
        box.setDefaultButton(QMessageBox::NoButton);
        if (box.exec() != QMessageBox::Ok)
            return nullptr;
    }
    BlockDefinition *source = d->versions.value(version);
    if (!source)
        return nullptr;
    BlockDefinition *copy = createDefinition();
    copy->cloneFrom(source);
    return copy;
}

void Block::deleteDefinition(unsigned int version)
{
    if (BlockDefinition *definition = d->versions.take(version))
        d->removeDefinition(definition);
    emit d->changed();
}

void Block::clear()
{
    const QList<unsigned int> numbers = d->versions.keys();
    for (unsigned int number : numbers)
        d->removeDefinition(d->versions.take(number));
}

void Block::cloneFrom(const Block *source)
{
    clear();
    d->shortName = source->d->shortName;
    d->name = source->d->name;
    const QList<unsigned int> numbers = source->versions();
    for (unsigned int number : numbers) {
        auto *definition = new BlockDefinition(this, number);
        d->versions.insert(definition->version(), definition);
        // Connected only after the copy, so that each version announces itself once.
        definition->cloneFrom(source->blockDefinition(number));
        connect(definition, &BlockDefinition::changed, d, &BlockPrivate::changed);
        emit d->changed();
    }
}

unsigned int Block::instanceCount() const
{
    unsigned int count = 0;
    for (const BlockDefinition *definition : std::as_const(d->versions))
        count += definition->instanceCount();
    return count;
}

bool Block::allowDelete() const
{
    return std::all_of(d->versions.cbegin(), d->versions.cend(),
                       [](const BlockDefinition *definition) { return definition->allowDelete(); });
}

void Block::saveInfo(FileStorageView *storage) const
{
    TypedIniWriter writer(BlockKind, 0, TextEncoding::Utf8);
    writer.beginSection("Info");
    writer.addText("ShortName", d->shortName);
    writer.addText("GroupPath", d->groupPath);
    // The invisible families are read but deliberately not written back.
    writer.beginSection("Names");
    writer.addLanguages(d->name);
    writer.write(storage, InfoStream);
}

void Block::save(FileStorageView *storage)
{
    const QList<unsigned int> numbers = versions();
    for (unsigned int number : numbers)
        d->versions.value(number)->save(storage->storage(QStringLiteral("V%1").arg(number)));
    saveInfo(storage);
}

void Block::saveForCompareCrc(FileStorageView *storage) const
{
    const QList<unsigned int> numbers = versions();
    for (unsigned int number : numbers)
        d->versions.value(number)->saveForCompareCrc(storage->storage(QStringLiteral("V%1").arg(number)));
    saveInfo(storage);
}

bool Block::load(FileStorageView *storage)
{
    TypedIniReader reader;
    if (!reader.open(storage, InfoStream, BlockKind))
        return false;
    reader.setForceUtf8(true);

    if (reader.hasSection("Info")) {
        reader.text("Info", "ShortName", &d->shortName);
        QString groupPath;
        if (reader.text("Info", "GroupPath", &groupPath)) {
            d->groupPath = groupPath;
            emit d->groupChanged();
        }
        if (reader.contains("Info", "InvisibleForFamilies")) {
            const QList<unsigned int> families = reader.unsignedList("Info", "InvisibleForFamilies");
            for (unsigned int family : families) {
                if (!d->invisibleForFamilies.contains(family))
                    d->invisibleForFamilies.append(family);
            }
        }
    }
    Text name;
    if (reader.languages("Names", &name))
        setName(name);

    const QStringList storageNames = storage->storageNames();
    for (const QString &storageName : storageNames) {
        // A number beyond the range, or one met twice (V2 and V02), would make an existing
        // version unreachable: such storages are skipped, where overwriting would lose the
        // version already read.
        unsigned int number = 0;
        if (StoredNames::versionStorage(storageName, &number) != StoredNames::Number::Valid
            || d->versions.contains(number))
            continue;
        (void)createDefinition(number)->load(storage->storage(storageName));
    }
    return true;
}

QByteArray Block::saveContents()
{
    FileView file;
    file.create(QString());
    if (!file.isOpen())
        return QByteArray();
    QByteArray serialised;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        save(root.get());
        serialised = root->toByteArray();
    }
    file.close();
    // Local blocks nested deeper than a storage holds are not written whole: no text at all
    // rather than one that loads without the deepest blocks.
    if (file.hasError())
        return QByteArray();
    return qCompress(serialised, 9).toHex();
}

bool Block::loadContents(const QByteArray &contents)
{
    if (!isHexText(contents))
        return false;
    const QByteArray serialised = boundedUncompress(QByteArray::fromHex(contents));
    if (serialised.isEmpty())
        return false;

    FileView file;
    file.create(QString());
    if (!file.isOpen())
        return false;
    bool loaded = false;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        if (root->fromByteArray(serialised))
            loaded = load(root.get());
    }
    file.close();
    return loaded;
}
