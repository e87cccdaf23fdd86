#include "LibraryAccess.h"

#include "Invocation.h"
#include "StoredNames_p.h"
#include "TypedIni_p.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockType.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QUuid>

#include <cstdio>
#include <unistd.h>

namespace Bli {

namespace {

const QString BlocksStorage = QStringLiteral("Blocks");

// Shows how far a load has come, on stderr and only when stderr is a terminal: scripts and
// pipelines get clean output. Nothing is shown for loads that end within half a second.
class LoadProgress
{
public:
    LoadProgress(const QString &path, qsizetype total)
        : m_path(path), m_total(total), m_enabled(::isatty(STDERR_FILENO) == 1)
    {
        m_timer.start();
    }

    ~LoadProgress()
    {
        if (m_shown) {
            std::fprintf(stderr, "\r\033[K");
            std::fflush(stderr);
        }
    }

    bool enabled() const { return m_enabled; }

    void blockLoaded()
    {
        ++m_loaded;
        const qint64 elapsed = m_timer.elapsed();
        if (elapsed < 500 || elapsed - m_lastShown < 100)
            return;
        m_lastShown = elapsed;
        m_shown = true;
        std::fprintf(stderr, "\rbli: loading %s: %lld of %lld blocks", qPrintable(m_path),
                     static_cast<long long>(m_loaded), static_cast<long long>(m_total));
        std::fflush(stderr);
    }

private:
    QString m_path;
    qsizetype m_total;
    qsizetype m_loaded = 0;
    bool m_enabled;
    bool m_shown = false;
    qint64 m_lastShown = 0;
    QElapsedTimer m_timer;
};

} // namespace

bool containsStream(const FileStorageView *storage, const QString &name)
{
    return storage->streamNames().contains(name);
}

bool containsStorage(const FileStorageView *storage, const QString &name)
{
    return storage->storageNames().contains(name);
}

QHash<QByteArray, QString> contentMap(FileStorageView *blocks, bool *present)
{
    QHash<QByteArray, QString> names;
    *present = containsStream(blocks, QStringLiteral("Content.txt"));
    if (!*present)
        return names;
    const QList<QByteArray> lines = blocks->readStream(QStringLiteral("Content.txt")).split('\r');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.trimmed().split(',');
        names.insert(fields.first(), QString::fromUtf8(fields.last()));
    }
    return names;
}

QString identifierOfStorage(const QHash<QByteArray, QString> &content, bool hasContent, const QString &storageName)
{
    if (hasContent) {
        const auto it = content.constFind(storageName.toLatin1());
        if (it != content.cend())
            return *it;
    }
    return storageName;
}

QString canonicalIdentifier(const QString &identifier)
{
    for (const QChar c : identifier) {
        if (c.isSpace() || c.category() == QChar::Other_Control)
            return QString();
    }
    using Classifier = bool (*)(const QString &, unsigned int *);
    static const QList<QPair<Classifier, QString>> numbered {
        { &BlockType::isIdentifierSystem, QStringLiteral("SystemBlock_") },
        { &BlockType::isIdentifierStandard, QStringLiteral("StandardBlock_") },
        { &BlockType::isIdentifierTemplate, QStringLiteral("TemplateBlock_") },
        { &BlockType::isIdentifierTool, QStringLiteral("ToolBlock_") },
        { &BlockType::isIdentifierMagic, QStringLiteral("MagicBlock_") },
    };
    for (const auto &[classify, prefix] : numbered) {
        if (!classify(identifier, nullptr))
            continue;
        // A number beyond the range would read as 0 and so denote another block.
        const QStringView digits = QStringView(identifier).mid(prefix.size());
        bool ok = digits.isEmpty();
        const unsigned int number = ok ? 0 : digits.toUInt(&ok, 10);
        return ok ? prefix + QString::number(number) : QString();
    }
    if (BlockType::isIdentifierRoot(identifier))
        return identifier;
    if (BlockType::isIdentifierUser(identifier))
        return QUuid(identifier).toString(QUuid::WithBraces);
    return QString();
}

QHash<QString, QString> storageNamesByIdentifier(FileStorageView *blocks)
{
    bool hasContent = false;
    const QHash<QByteArray, QString> content = contentMap(blocks, &hasContent);
    QHash<QString, QString> result;
    const QStringList names = blocks->storageNames();
    for (const QString &name : names)
        result.insert(identifierOfStorage(content, hasContent, name), name);
    return result;
}

OpenedLibrary::OpenedLibrary(const QString &path, Load load)
    : m_path(path)
{
    const QFileInfo info(path);
    if (!info.exists())
        throw Failure { QStringLiteral("%1: no such file").arg(path) };
    if (info.isDir())
        throw Failure { QStringLiteral("%1: is a directory").arg(path) };

    m_file = std::make_unique<FileView>();
    m_file->open(path);
    if (!m_file->isOpen()) {
        const QString what = load == Load::Raw ? QStringLiteral("cannot open") : QStringLiteral("not a block library");
        throw Failure { QStringLiteral("%1: %2: %3").arg(path, what, m_file->errorString()) };
    }
    m_root.reset(m_file->createRootView());
    if (load == Load::Raw)
        return;

    TypedIniReader description;
    if (!description.open(m_root.get(), QStringLiteral("Info.ini"), QStringLiteral("blocklibrary")))
        throw Failure { QStringLiteral("%1: not a block library: no library description").arg(path) };
    if (!containsStorage(m_root.get(), BlocksStorage))
        throw Failure { QStringLiteral("%1: not a block library: no \"Blocks\" storage").arg(path) };
    if (load == Load::StorageOnly)
        return;

    m_container = std::make_unique<ToolContainer>();
    LoadProgress progress(path, m_root->storage(BlocksStorage)->storageNames().size());
    if (progress.enabled()) {
        // The library announces each inserted block once while it loads.
        QObject::connect(m_container->library(), &BlockLibrary::contentsChanged, m_container.get(),
                         [&progress] { progress.blockLoaded(); });
    }
    const bool loaded = m_container->load(m_root.get());
    QObject::disconnect(m_container->library(), &BlockLibrary::contentsChanged, m_container.get(), nullptr);
    if (!loaded)
        throw Failure { QStringLiteral("%1: not a block library").arg(path) };
}

OpenedLibrary::~OpenedLibrary()
{
    // The model goes before the views and the views before the file; an open file that is
    // destroyed discards whatever was written.
    m_container.reset();
    m_root.reset();
}

BlockLibrary *OpenedLibrary::library() const
{
    return m_container ? m_container->library() : nullptr;
}

Block *OpenedLibrary::findBlock(const QString &text, bool required) const
{
    BlockLibrary *blocks = library();
    if (Block *block = blocks->block(text))
        return block;
    QStringList matches;
    const QList<QString> identifiers = blocks->blockIdentifiers();
    for (const QString &identifier : identifiers) {
        if (blocks->block(identifier)->shortName() == text)
            matches << identifier;
    }
    if (matches.size() > 1) {
        throw Failure { QStringLiteral("%1: short name \"%2\" is ambiguous (%3); give the identifier")
                                .arg(m_path, text, matches.join(QStringLiteral(", "))) };
    }
    if (matches.isEmpty() && !required)
        return nullptr;
    if (matches.isEmpty())
        throw Failure { QStringLiteral("%1: no block \"%2\"").arg(m_path, text) };
    return blocks->block(matches.first());
}

BlockDefinition *OpenedLibrary::findVersion(const Block *block, const QString &text)
{
    QString digits = text;
    if (digits.startsWith(QLatin1Char('V')))
        digits.remove(0, 1);
    bool ok = false;
    const unsigned int number = digits.toUInt(&ok, 10);
    BlockDefinition *definition = ok ? block->blockDefinition(number) : nullptr;
    if (!definition) {
        QStringList versions;
        const QList<unsigned int> numbers = block->versions();
        for (unsigned int version : numbers)
            versions << QString::number(version);
        throw Failure { QStringLiteral("%1: no version \"%2\" (versions: %3)")
                                .arg(block->identifier(), text,
                                     versions.isEmpty() ? QStringLiteral("none") : versions.join(QStringLiteral(", "))) };
    }
    return definition;
}

FileStorageView *OpenedLibrary::blockStorage(const Block *block) const
{
    FileStorageView *blocks = m_root->storage(BlocksStorage);
    const QString name = storageNamesByIdentifier(blocks).value(block->identifier());
    return name.isEmpty() ? nullptr : blocks->storage(name);
}

FileStorageView *OpenedLibrary::versionStorage(const BlockDefinition *definition) const
{
    FileStorageView *storage = blockStorage(definition->block());
    if (!storage)
        return nullptr;
    // The block loads the first storage of a number ("V2" or "V02") and skips the others.
    const QStringList names = storage->storageNames();
    for (const QString &name : names) {
        unsigned int number = 0;
        if (StoredNames::versionStorage(name, &number) == StoredNames::Number::Valid && number == definition->version())
            return storage->storage(name);
    }
    return nullptr;
}

// A save that finds another process's commit in between fails here: the engine never writes
// over a commit it did not see, and bli refuses rather than retries, because the other
// process may have changed what this one decided on (an import's "exists" check).
void OpenedLibrary::commit()
{
    m_container.reset();
    m_root.reset();
    m_file->close();
    if (m_file->hasError())
        throw Failure { QStringLiteral("%1: not saved: %2").arg(m_path, m_file->errorString()) };
}

} // namespace Bli
