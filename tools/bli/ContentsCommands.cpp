// export and import: a block as the contents text the suite copies blocks with.
#include "Commands.h"
#include "LibraryAccess.h"
#include "Presentation.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockType.h>
#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QFile>

#include <cstdio>
#include <memory>

namespace Bli {

int runExport(const Invocation &invocation)
{
    OpenedLibrary opened(invocation.argument(0));
    Block *block = opened.findBlock(invocation.argument(1));
    const QByteArray contents = block->saveContents();
    if (contents.isEmpty())
        throw Failure { QStringLiteral("%1: cannot turn the block into text").arg(block->identifier()) };
    printBytes(contents + '\n');
    return ExitSuccess;
}

namespace {

QByteArray readStandardInput()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        throw Failure { QStringLiteral("cannot read the standard input") };
    return input.readAll().trimmed();
}

// Where the identifier goes in "Blocks": the storage it was read from, else a new one named
// the way the library names it, "Number_<n>" (listed in "Content.txt") for a user block and
// the identifier itself for the other kinds.
QString storageNameFor(FileStorageView *blocks, const QString &identifier, bool *newMapping)
{
    *newMapping = false;
    const QString existing = storageNamesByIdentifier(blocks).value(identifier);
    if (!existing.isEmpty())
        return existing;
    bool hasContent = false;
    const QHash<QByteArray, QString> content = contentMap(blocks, &hasContent);
    const QStringList names = blocks->storageNames();
    if (!BlockType::isIdentifierUser(identifier)) {
        if (names.contains(identifier) || content.contains(identifier.toLatin1()))
            throw Failure { QStringLiteral("%1: the storage name %2 is taken by another block").arg(identifier, identifier) };
        return identifier;
    }
    for (int number = 0;; ++number) {
        const QString name = QStringLiteral("Number_%1").arg(number);
        if (!names.contains(name) && !content.contains(name.toLatin1())) {
            *newMapping = true;
            return name;
        }
    }
}

} // namespace

int runImport(const Invocation &invocation)
{
    const QByteArray contents = readStandardInput();
    if (contents.isEmpty())
        throw Failure { QStringLiteral("standard input: no contents text") };

    OpenedLibrary opened(invocation.argument(0));
    BlockLibrary *library = opened.library();

    // The block keeps the identifier of the library's block it denotes, whatever the spelling
    // given; a new block gets the library's own spelling; without an identifier it becomes a
    // new user block.
    FileStorageView *blocks = opened.root()->storage(QStringLiteral("Blocks"));
    QString identifier;
    if (invocation.arguments.size() > 1) {
        const QString wanted = invocation.argument(1);
        const QString canonical = canonicalIdentifier(wanted);
        if (BlockType::isValid(wanted) || library->containsBlock(wanted)) {
            if (canonical.isEmpty())
                throw Failure { QStringLiteral("%1: not an identifier the library can hold (white space, control "
                                               "characters or a number out of range)").arg(quoted(wanted)) };
            identifier = canonical;
            const QList<QString> present = library->blockIdentifiers() + storageNamesByIdentifier(blocks).keys();
            for (const QString &other : present) {
                if (canonicalIdentifier(other) == canonical) {
                    identifier = other;
                    break;
                }
            }
        } else if (const Block *named = opened.findBlock(wanted, false)) {
            identifier = named->identifier();
        } else {
            throw Failure { QStringLiteral("%1: neither a block of %2 nor a block identifier").arg(quoted(wanted), opened.path()) };
        }
    }
    std::unique_ptr<Block> block(identifier.isEmpty() ? Block::createUserBlock() : Block::createBlock(identifier));
    identifier = block->identifier();
    if (!block->loadContents(contents))
        throw Failure { QStringLiteral("standard input: not the contents text of a block") };

    const bool exists = library->containsBlock(identifier) || storageNamesByIdentifier(blocks).contains(identifier);
    if (exists && !invocation.replace) {
        throw Failure { QStringLiteral("%1: block %2 exists; --replace overwrites it")
                                .arg(opened.path(), identifier) };
    }

    // Only this block's storage is written: every other block, and whatever the library
    // keeps but never writes itself, stays as it is in the file.
    bool newMapping = false;
    const QString name = storageNameFor(blocks, identifier, &newMapping);
    FileStorageView *storage = blocks->storage(name);
    storage->clear();
    block->save(storage);
    if (newMapping) {
        QByteArray content = blocks->readStream(QStringLiteral("Content.txt"));
        if (!content.isEmpty() && !content.endsWith('\r'))
            content += '\r';
        content += name.toUtf8() + ',' + identifier.toUtf8() + '\r';
        blocks->writeStream(QStringLiteral("Content.txt"), content);
    }
    block.reset();
    opened.commit();
    printLine(identifier);
    return ExitSuccess;
}

} // namespace Bli
