// check: everything in a library file that loading skips, and that saving the loaded library
// would therefore drop. The walk follows the loader's rules entry by entry; a stream or
// storage the loader never looks at, or looks at and refuses, is one problem. Stored names are
// parsed by the loaders' own functions, so that check and load cannot disagree on them.
#include "Commands.h"
#include "LibraryAccess.h"
#include "Presentation.h"
#include "StoredNames_p.h"
#include "TypedIni_p.h"

#include <KvBlockLibrary/BlockType.h>
#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/ParameterDefinitionLoader.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxUtilities/StreamType.h>

#include <QtCore/QJsonArray>
#include <QtCore/QSet>

#include <algorithm>
#include <memory>

namespace Bli {

namespace {

struct Problem
{
    QString path;
    QString reason;
};

QStringList sorted(QStringList names)
{
    std::sort(names.begin(), names.end());
    return names;
}

// Why a typed stream is refused, or empty when it is accepted as the kind.
QString refusal(const QByteArray &data, const QString &kind)
{
    StreamType type;
    type.setStreamData(data);
    if (type.kind().isEmpty())
        return QStringLiteral("refused: no type line, expected \"%1\"").arg(kind);
    if (!type.contains(kind))
        return QStringLiteral("refused: type \"%1\", expected \"%2\"").arg(type.kind(), kind);
    if (type.version(kind) != 0)
        return QStringLiteral("refused: version %1 of \"%2\", only 0 is read").arg(type.version(kind)).arg(kind);
    return QString();
}

using StoredNames::Number;

bool isNumber(const QString &name)
{
    unsigned int number = 0;
    return StoredNames::decimal(name, &number) == Number::Valid;
}

class Checker
{
public:
    QList<Problem> problems;

    void library(FileStorageView *root)
    {
        for (const QString &name : sorted(root->streamNames())) {
            if (name != QLatin1String("Info.ini"))
                unknownStream(QString(), name);
        }
        for (const QString &name : sorted(root->storageNames())) {
            if (name == QLatin1String("Blocks"))
                blocks(root->storage(name), QStringLiteral("Blocks/"));
            else if (name == QLatin1String("Groupsegments"))
                groupSegments(root->storage(name), QStringLiteral("Groupsegments/"));
            else
                unknownStorage(QString(), name);
        }
    }

private:
    void add(const QString &path, const QString &reason) { problems << Problem { path, reason }; }
    void unknownStream(const QString &prefix, const QString &name)
    {
        add(prefix + escapeName(name), QStringLiteral("unknown stream, not read"));
    }
    void unknownStorage(const QString &prefix, const QString &name)
    {
        add(prefix + escapeName(name) + QLatin1Char('/'), QStringLiteral("unknown storage, not read"));
    }
    // Everything below a storage that holds nothing the loader reads.
    void onlyKnown(FileStorageView *storage, const QString &prefix, const QStringList &streams,
                   const QStringList &storages)
    {
        for (const QString &name : sorted(storage->streamNames())) {
            if (!streams.contains(name))
                unknownStream(prefix, name);
        }
        for (const QString &name : sorted(storage->storageNames())) {
            if (!storages.contains(name))
                unknownStorage(prefix, name);
        }
    }

    void groupSegments(FileStorageView *segments, const QString &prefix)
    {
        onlyKnown(segments, prefix, {}, segments->storageNames());
        for (const QString &name : sorted(segments->storageNames())) {
            const QString path = prefix + escapeName(name) + QLatin1Char('/');
            if (!isNumber(name)) {
                add(path, QStringLiteral("not a segment number, not read"));
                continue;
            }
            FileStorageView *segment = segments->storage(name);
            onlyKnown(segment, path, { QStringLiteral("Info.ini") }, {});
            const QByteArray info = segment->readStream(QStringLiteral("Info.ini"));
            const QString refused = refusal(info, QStringLiteral("groupsegment"));
            if (!refused.isEmpty()) {
                add(path + QStringLiteral("Info.ini"), refused);
                continue;
            }
            TypedIniReader reader;
            if (reader.setData(info, QStringLiteral("groupsegment")) && !reader.hasSection("Names"))
                add(path + QStringLiteral("Info.ini"), QStringLiteral("no [Names] section, segment not read"));
        }
    }

    void blocks(FileStorageView *blocks, const QString &prefix)
    {
        onlyKnown(blocks, prefix, { QStringLiteral("Content.txt") }, blocks->storageNames());
        bool hasContent = false;
        const QHash<QByteArray, QString> content = contentMap(blocks, &hasContent);
        // The loader inserts in the storage's order; a later block of one identifier hides
        // the earlier one.
        const QStringList names = blocks->storageNames();
        QHash<QString, QString> firstStorage;
        // Identifiers of other spellings that denote one block (older imports wrote them).
        QHash<QString, QPair<QString, QString>> byBlock;
        for (const QString &name : names) {
            const QString path = prefix + escapeName(name) + QLatin1Char('/');
            const QString identifier = identifierOfStorage(content, hasContent, name);
            if (!BlockType::isValid(identifier)) {
                add(path, QStringLiteral("identifier %1 is of no block kind, block not read").arg(quoted(identifier)));
                continue;
            }
            if (!block(blocks->storage(name), path))
                continue;
            const auto earlier = firstStorage.constFind(identifier);
            if (earlier != firstStorage.cend()) {
                add(*earlier, QStringLiteral("hidden by %1, which holds the same block %2")
                                      .arg(path, identifier));
            }
            firstStorage.insert(identifier, path);
            const QString canonical = canonicalIdentifier(identifier);
            const auto same = byBlock.constFind(canonical.isEmpty() ? identifier : canonical);
            if (same != byBlock.cend() && same->first != identifier) {
                add(path, QStringLiteral("identifier %1 denotes the same block as %2 in %3")
                              .arg(quoted(identifier), quoted(same->first), same->second));
            } else if (same == byBlock.cend()) {
                byBlock.insert(canonical.isEmpty() ? identifier : canonical, qMakePair(identifier, path));
            }
        }
    }

    // False when the block is not read at all.
    bool block(FileStorageView *storage, const QString &prefix)
    {
        if (!containsStream(storage, QStringLiteral("Info.ini"))) {
            add(prefix, QStringLiteral("no Info.ini, block not read"));
            return false;
        }
        const QString refused = refusal(storage->readStream(QStringLiteral("Info.ini")), QStringLiteral("block"));
        if (!refused.isEmpty()) {
            add(prefix + QStringLiteral("Info.ini"), refused + QStringLiteral(", block not read"));
            return false;
        }
        QSet<unsigned int> versions;
        for (const QString &name : storage->storageNames()) {
            const QString path = prefix + escapeName(name) + QLatin1Char('/');
            unsigned int number = 0;
            const Number match = StoredNames::versionStorage(name, &number);
            if (match == Number::NoMatch) {
                unknownStorage(prefix, name);
                continue;
            }
            if (match == Number::OutOfRange) {
                add(path, QStringLiteral("version number out of range, not read"));
                continue;
            }
            if (versions.contains(number)) {
                add(path, QStringLiteral("a second storage of version %1, not read").arg(number));
                continue;
            }
            versions.insert(number);
            version(storage->storage(name), path);
        }
        onlyKnown(storage, prefix, { QStringLiteral("Info.ini") }, storage->storageNames());
        return true;
    }

    void version(FileStorageView *storage, const QString &prefix)
    {
        if (!containsStream(storage, QStringLiteral("Info.ini"))) {
            add(prefix, QStringLiteral("no Info.ini, version loads empty"));
            return;
        }
        const QString refused = refusal(storage->readStream(QStringLiteral("Info.ini")), QStringLiteral("blockversion"));
        if (!refused.isEmpty()) {
            add(prefix + QStringLiteral("Info.ini"),
                refused + QStringLiteral(", pins, code, images and parameters of the version not read"));
            if (containsStorage(storage, QStringLiteral("Blocks")))
                blocks(storage->storage(QStringLiteral("Blocks")), prefix + QStringLiteral("Blocks/"));
            return;
        }
        onlyKnown(storage, prefix,
                  { QStringLiteral("Info.ini"), QStringLiteral("Code.txt"), QStringLiteral("Description") },
                  { QStringLiteral("Interface"), QStringLiteral("Images"), QStringLiteral("Parameter"),
                    QStringLiteral("ParameterLevel"), QStringLiteral("KsbBinaries"), QStringLiteral("ParameterValues"),
                    QStringLiteral("Wizard"), QStringLiteral("Blocks") });

        if (containsStream(storage, QStringLiteral("Code.txt"))) {
            // Code is taken in any version of its type line; the version is the code's own.
            const QByteArray code = storage->readStream(QStringLiteral("Code.txt"));
            StreamType type;
            type.setStreamData(code);
            if (!code.isEmpty() && !type.contains(QStringLiteral("code")))
                add(prefix + QStringLiteral("Code.txt"), refusal(code, QStringLiteral("code")));
        }
        const auto sub = [&](const QString &name, void (Checker::*check)(FileStorageView *, const QString &)) {
            if (containsStorage(storage, name))
                (this->*check)(storage->storage(name), prefix + name + QLatin1Char('/'));
        };
        sub(QStringLiteral("Interface"), &Checker::interface);
        sub(QStringLiteral("Images"), &Checker::images);
        sub(QStringLiteral("Parameter"), &Checker::parameters);
        sub(QStringLiteral("ParameterLevel"), &Checker::parameterLevels);
        sub(QStringLiteral("KsbBinaries"), &Checker::binaries);
        sub(QStringLiteral("ParameterValues"), &Checker::parameterValues);
        sub(QStringLiteral("Wizard"), &Checker::wizard);
        sub(QStringLiteral("Blocks"), &Checker::blocks);
    }

    void interface(FileStorageView *storage, const QString &prefix)
    {
        onlyKnown(storage, prefix, storage->streamNames(), {});
        QSet<int> pins;
        for (const QString &name : storage->streamNames()) {
            const QString path = prefix + escapeName(name);
            const QByteArray data = storage->readStream(name);
            if (name == QLatin1String("DefaultSkin")) {
                const QString refused = refusal(data, QStringLiteral("blockskin"));
                if (!refused.isEmpty())
                    add(path, refused);
                continue;
            }
            int number = 0;
            const Number match = StoredNames::pinStream(name, &number);
            if (match == Number::NoMatch) {
                unknownStream(prefix, name);
            } else if (match == Number::OutOfRange) {
                add(path, QStringLiteral("pin number out of range, not read"));
            } else if (pins.contains(number)) {
                add(path, QStringLiteral("a second stream of pin %1, not read").arg(number));
            } else {
                const QString refused = refusal(data, QStringLiteral("pin"));
                if (!refused.isEmpty())
                    add(path, refused);
                else
                    pins.insert(number);
            }
        }
    }

    void images(FileStorageView *storage, const QString &prefix)
    {
        onlyKnown(storage, prefix, storage->streamNames(), {});
        QHash<StoredNames::ListImage, QString> taken;
        for (const QString &name : storage->streamNames()) {
            QString suffix;
            const StoredNames::ListImage base = StoredNames::listImage(name, &suffix);
            if (base == StoredNames::ListImage::None) {
                add(prefix + escapeName(name), QStringLiteral("not a list image (IconLarge or IconSmall, .png or .bmp), not read"));
                continue;
            }
            // The last of several candidates in the storage's order is the one kept.
            if (taken.contains(base))
                add(prefix + escapeName(taken.value(base)), QStringLiteral("replaced by %1 when read").arg(name));
            taken.insert(base, name);
        }
    }

    static bool readable(const QByteArray &text)
    {
        std::unique_ptr<ParameterDefinition> definition(ParameterDefinitionLoader::createAndLoadParameterDefinition(text));
        return definition != nullptr;
    }

    void parameters(FileStorageView *storage, const QString &prefix)
    {
        onlyKnown(storage, prefix, {}, storage->storageNames());
        for (const QString &name : sorted(storage->storageNames())) {
            const QString path = prefix + escapeName(name) + QLatin1Char('/');
            if (!isNumber(name)) {
                add(path, QStringLiteral("not a parameter number, not read"));
                continue;
            }
            FileStorageView *parameter = storage->storage(name);
            onlyKnown(parameter, path, parameter->streamNames(), {});
            bool general = false;
            for (const QString &stream : sorted(parameter->streamNames())) {
                const QString streamPath = path + escapeName(stream);
                unsigned int family = 0;
                const Number familyMatch = StoredNames::familyDefinitionStream(stream, &family);
                if (stream == QLatin1String("General.ini")) {
                    general = readable(parameter->readStream(stream));
                    if (!general)
                        add(streamPath, QStringLiteral("unreadable parameter definition, not read"));
                } else if (familyMatch != Number::NoMatch) {
                    if (familyMatch == Number::OutOfRange)
                        add(streamPath, QStringLiteral("family number out of range, not read"));
                    else if (!readable(parameter->readStream(stream)))
                        add(streamPath, QStringLiteral("unreadable parameter definition, not read"));
                } else if (StoredNames::isUnreadFamilyDefinitionStream(stream)) {
                    add(streamPath, QStringLiteral("family definition without \".ini\", not read back"));
                } else if (stream != QLatin1String("Description.html")) {
                    unknownStream(path, stream);
                }
            }
            if (containsStream(parameter, QStringLiteral("Description.html")) && !general)
                add(path + QStringLiteral("Description.html"), QStringLiteral("no general definition to describe, not read"));
        }
    }

    // The sections the loader takes from parameter levels and values.
    void familySections(const TypedIniReader &reader, const QString &path, const QByteArray &key)
    {
        for (const QByteArray &section : reader.sectionNames()) {
            unsigned int family = 0;
            const QString name = QString::fromLatin1(section);
            const bool known = section == "General" || StoredNames::familySection(section, &family) == Number::Valid;
            if (!known)
                add(path, QStringLiteral("section [%1] not read").arg(name));
            else if (!key.isEmpty() && !reader.contains(section, key))
                add(path, QStringLiteral("section [%1] without %2, not read").arg(name, QString::fromLatin1(key)));
        }
    }

    void parameterLevels(FileStorageView *storage, const QString &prefix)
    {
        onlyKnown(storage, prefix, storage->streamNames(), {});
        for (const QString &name : sorted(storage->streamNames())) {
            const QString path = prefix + escapeName(name);
            if (StoredNames::levelStreamParameter(name).isEmpty()) {
                add(path, QStringLiteral("not a parameter name, not read"));
                continue;
            }
            const QByteArray data = storage->readStream(name);
            const QString refused = refusal(data, QStringLiteral("parameterlevel"));
            if (!refused.isEmpty()) {
                add(path, refused);
                continue;
            }
            TypedIniReader reader;
            if (reader.setData(data, QStringLiteral("parameterlevel")))
                familySections(reader, path, QByteArray());
        }
    }

    void binaries(FileStorageView *storage, const QString &prefix)
    {
        onlyKnown(storage, prefix, {}, storage->storageNames());
        for (const QString &name : sorted(storage->storageNames())) {
            const QString path = prefix + escapeName(name) + QLatin1Char('/');
            if (!isNumber(name)) {
                add(path, QStringLiteral("not a binary number, not read"));
                continue;
            }
            FileStorageView *binary = storage->storage(name);
            onlyKnown(binary, path, binary->streamNames(), {});
            for (const QString &stream : sorted(binary->streamNames())) {
                unsigned int family = 0;
                if (stream != QLatin1String("General.bin")
                    && StoredNames::familyBinaryStream(stream, &family) != Number::Valid)
                    add(path + escapeName(stream), QStringLiteral("not General.bin or Family_<n>.bin, not read"));
            }
        }
    }

    void parameterValues(FileStorageView *storage, const QString &prefix)
    {
        onlyKnown(storage, prefix, storage->streamNames(), {});
        const QString orderPath = prefix + QStringLiteral("order.txt");
        if (!containsStream(storage, QStringLiteral("order.txt"))) {
            if (!storage->streamNames().isEmpty())
                add(prefix, QStringLiteral("no order.txt, no parameter value read"));
            return;
        }
        const QByteArray order = storage->readStream(QStringLiteral("order.txt"));
        const QString refused = refusal(order, QStringLiteral("order"));
        if (!refused.isEmpty()) {
            add(orderPath, refused + QStringLiteral(", no parameter value read"));
            return;
        }
        const QStringList orderList = StoredNames::orderedStreams(order);
        const QSet<QString> listed(orderList.cbegin(), orderList.cend());
        for (const QString &name : sorted(storage->streamNames())) {
            if (name == QLatin1String("order.txt"))
                continue;
            const QString path = prefix + escapeName(name);
            if (!listed.contains(name)) {
                add(path, QStringLiteral("not listed in order.txt, not read"));
                continue;
            }
            const QByteArray data = storage->readStream(name);
            const QString valueRefused = refusal(data, QStringLiteral("parametervalue"));
            if (!valueRefused.isEmpty()) {
                add(path, valueRefused);
                continue;
            }
            TypedIniReader reader;
            if (reader.setData(data, QStringLiteral("parametervalue")))
                familySections(reader, path, "Value");
        }
    }

    void wizard(FileStorageView *storage, const QString &prefix)
    {
        onlyKnown(storage, prefix, { QStringLiteral("Definition.txt") }, {});
    }
};

} // namespace

int runCheck(const Invocation &invocation)
{
    OpenedLibrary opened(invocation.argument(0), OpenedLibrary::Load::StorageOnly);
    Checker checker;
    checker.library(opened.root());
    const QList<Problem> &problems = checker.problems;

    if (invocation.json) {
        QJsonArray array;
        for (const Problem &problem : problems) {
            QJsonObject object;
            object.insert(QStringLiteral("path"), problem.path);
            object.insert(QStringLiteral("reason"), problem.reason);
            array.append(object);
        }
        QJsonObject object;
        object.insert(QStringLiteral("file"), opened.path());
        object.insert(QStringLiteral("problems"), array);
        printJson(object);
    } else {
        for (const Problem &problem : problems)
            printLine(QStringLiteral("%1: %2").arg(problem.path, problem.reason));
        if (problems.isEmpty())
            printLine(QStringLiteral("no problems"));
        else
            printLine(QStringLiteral("%1 %2; a re-save would lose what is listed")
                              .arg(problems.size())
                              .arg(problems.size() == 1 ? QStringLiteral("problem") : QStringLiteral("problems")));
    }
    return problems.isEmpty() ? ExitSuccess : ExitFinding;
}

} // namespace Bli
