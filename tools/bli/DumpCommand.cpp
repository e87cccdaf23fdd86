// dump: the raw storage tree of any storage file, or the bytes of one stream.
#include "Commands.h"
#include "LibraryAccess.h"
#include "Presentation.h"

#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QJsonArray>

#include <algorithm>

namespace Bli {

namespace {

QStringList sorted(QStringList names)
{
    std::sort(names.begin(), names.end());
    return names;
}

// Depth first: a storage's streams, then each sub-storage followed by what it holds.
void listTree(FileStorageView *storage, const QString &prefix, QStringList *lines, QJsonArray *entries)
{
    const QStringList streams = sorted(storage->streamNames());
    for (const QString &name : streams) {
        const QString path = prefix + escapeName(name);
        const qsizetype size = storage->readStream(name).size();
        *lines << QStringLiteral("%1 %2").arg(path).arg(size);
        QJsonObject entry;
        entry.insert(QStringLiteral("path"), path);
        entry.insert(QStringLiteral("type"), QStringLiteral("stream"));
        entry.insert(QStringLiteral("size"), size);
        entries->append(entry);
    }
    const QStringList storages = sorted(storage->storageNames());
    for (const QString &name : storages) {
        const QString path = prefix + escapeName(name) + QLatin1Char('/');
        *lines << path;
        QJsonObject entry;
        entry.insert(QStringLiteral("path"), path);
        entry.insert(QStringLiteral("type"), QStringLiteral("storage"));
        entries->append(entry);
        listTree(storage->storage(name), path, lines, entries);
    }
}

} // namespace

int runDump(const Invocation &invocation)
{
    OpenedLibrary opened(invocation.argument(0), OpenedLibrary::Load::Raw);
    FileStorageView *storage = opened.root();
    QString prefix;

    // PATH names storages by "/"; its last part is a stream when one of that name exists,
    // else a storage. A trailing "/" asks for the storage where both share a name.
    const QString path = invocation.argument(1);
    if (!path.isEmpty()) {
        const bool wantsStorage = path.endsWith(QLatin1Char('/'));
        QStringList parts = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        const auto missing = [&] {
            return Failure { QStringLiteral("%1: no stream or storage %2").arg(opened.path(), path) };
        };
        for (qsizetype i = 0; i < parts.size(); ++i) {
            const QString name = unescapeName(parts.at(i));
            const bool last = i == parts.size() - 1;
            if (last && !wantsStorage && containsStream(storage, name)) {
                const QByteArray bytes = storage->readStream(name);
                if (invocation.json) {
                    QJsonObject object;
                    object.insert(QStringLiteral("path"), prefix + escapeName(name));
                    object.insert(QStringLiteral("size"), bytes.size());
                    object.insert(QStringLiteral("base64"), QString::fromLatin1(bytes.toBase64()));
                    printJson(object);
                } else {
                    printBytes(bytes);
                }
                return ExitSuccess;
            }
            if (!containsStorage(storage, name))
                throw missing();
            storage = storage->storage(name);
            prefix += escapeName(name) + QLatin1Char('/');
        }
    }

    QStringList lines;
    QJsonArray entries;
    listTree(storage, prefix, &lines, &entries);
    if (invocation.json) {
        QJsonObject object;
        object.insert(QStringLiteral("file"), opened.path());
        object.insert(QStringLiteral("path"), prefix);
        object.insert(QStringLiteral("entries"), entries);
        printJson(object);
    } else {
        printLines(lines);
    }
    return ExitSuccess;
}

} // namespace Bli
