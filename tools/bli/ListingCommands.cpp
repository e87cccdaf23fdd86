// info, tree and show: what a library holds, from the whole file down to one version.
#include "Commands.h"
#include "LibraryAccess.h"
#include "Presentation.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvParameterDefinition/IParameterElementSetup.h>
#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/RecordParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QRegularExpression>
#include <QtGui/QImage>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace Bli {

namespace {

constexpr unsigned int General = BlockDefinition::GeneralFamily;

struct StorageTotals
{
    qint64 storages = 0;
    qint64 streams = 0;
    qint64 bytes = 0;
};

void addUp(FileStorageView *storage, StorageTotals *totals)
{
    ++totals->storages;
    const QStringList streams = storage->streamNames();
    for (const QString &name : streams) {
        ++totals->streams;
        totals->bytes += storage->readStream(name).size();
    }
    const QStringList storages = storage->storageNames();
    for (const QString &name : storages)
        addUp(storage->storage(name), totals);
}

QString yesNo(bool value)
{
    return value ? QStringLiteral("yes") : QStringLiteral("no");
}

// "RAMP \"Rampe für Sollwerte\"": what a listing prints for a block after kind and number.
QString blockHead(const Block *block)
{
    return QStringLiteral("%1 %2 %3 %4")
            .arg(kindName(block), numberOrIdentifier(block), shortNameField(block->shortName()),
                 quoted(block->name().text()));
}

QJsonObject blockSummary(const Block *block)
{
    QJsonObject object;
    object.insert(QStringLiteral("identifier"), block->identifier());
    object.insert(QStringLiteral("kind"), kindName(block));
    object.insert(QStringLiteral("number"), blockNumber(block));
    object.insert(QStringLiteral("shortName"), block->shortName());
    object.insert(QStringLiteral("name"), textToJson(block->name()));
    object.insert(QStringLiteral("groupPath"), block->groupPath());
    return object;
}

// ---- info ------------------------------------------------------------------------------

struct Census
{
    std::map<QString, int> kinds;
    int versions = 0;
    int localBlocks = 0;
    int parameterDefinitionBlocks = 0;
};

void countBlocks(const BlockLibrary *library, Census *census, bool local)
{
    const QList<QString> identifiers = library->blockIdentifiers();
    for (const QString &identifier : identifiers) {
        const Block *block = library->block(identifier);
        if (local)
            ++census->localBlocks;
        else
            ++census->kinds[kindName(block)];
        bool parameterDefinitions = false;
        const QList<unsigned int> versions = block->versions();
        for (unsigned int version : versions) {
            const BlockDefinition *definition = block->blockDefinition(version);
            ++census->versions;
            parameterDefinitions = parameterDefinitions || definition->isParameterDefinitionBlock();
            countBlocks(definition->localBlockLibrary(), census, true);
        }
        if (parameterDefinitions && !local)
            ++census->parameterDefinitionBlocks;
    }
}

} // namespace

int runInfo(const Invocation &invocation)
{
    OpenedLibrary opened(invocation.argument(0));
    ToolContainer *container = opened.container();
    Census census;
    countBlocks(opened.library(), &census, false);
    StorageTotals totals;
    addUp(opened.root(), &totals);
    totals.storages -= 1; // the root is no storage of its own
    const qint64 fileSize = QFileInfo(opened.path()).size();
    const QHash<unsigned int, Text> groupNames = container->groupNames();
    QList<unsigned int> segments = groupNames.keys();
    std::sort(segments.begin(), segments.end());
    const int blockCount = int(opened.library()->blockIdentifiers().size());

    if (invocation.json) {
        QJsonObject kinds;
        for (const auto &[kind, count] : census.kinds)
            kinds.insert(kind, count);
        QJsonObject names;
        for (unsigned int segment : segments)
            names.insert(QString::number(segment), textToJson(groupNames.value(segment)));
        QJsonObject root;
        root.insert(QStringLiteral("file"), opened.path());
        root.insert(QStringLiteral("size"), fileSize);
        root.insert(QStringLiteral("identifier"), container->identifier());
        root.insert(QStringLiteral("name"), textToJson(container->name()));
        root.insert(QStringLiteral("type"), qint64(container->type()));
        root.insert(QStringLiteral("readOnly"), container->readOnly());
        root.insert(QStringLiteral("blocks"), blockCount);
        root.insert(QStringLiteral("kinds"), kinds);
        root.insert(QStringLiteral("versions"), census.versions);
        root.insert(QStringLiteral("localBlocks"), census.localBlocks);
        root.insert(QStringLiteral("parameterDefinitionBlocks"), census.parameterDefinitionBlocks);
        root.insert(QStringLiteral("groupPaths"), QJsonArray::fromStringList(opened.library()->groupPaths()));
        root.insert(QStringLiteral("groupNames"), names);
        root.insert(QStringLiteral("storages"), totals.storages);
        root.insert(QStringLiteral("streams"), totals.streams);
        root.insert(QStringLiteral("streamBytes"), totals.bytes);
        printJson(root);
        return ExitSuccess;
    }

    QStringList kinds;
    for (const QString &kind : kindNames()) {
        const auto it = census.kinds.find(kind);
        if (it != census.kinds.end())
            kinds << QStringLiteral("%1 %2").arg(it->second).arg(kind);
    }
    QStringList lines;
    lines << QStringLiteral("file: %1").arg(opened.path());
    lines << QStringLiteral("size: %1 bytes").arg(fileSize);
    lines << QStringLiteral("identifier: %1").arg(container->identifier());
    lines << QStringLiteral("name: %1").arg(quoted(container->name().text()));
    lines << QStringLiteral("type: %1").arg(container->type());
    lines << QStringLiteral("read-only: %1").arg(yesNo(container->readOnly()));
    lines << QStringLiteral("blocks: %1 (%2)").arg(blockCount).arg(kinds.join(QStringLiteral(", ")));
    lines << QStringLiteral("versions: %1").arg(census.versions);
    lines << QStringLiteral("local blocks: %1").arg(census.localBlocks);
    lines << QStringLiteral("parameter-definition blocks: %1").arg(census.parameterDefinitionBlocks);
    lines << QStringLiteral("group paths: %1").arg(opened.library()->groupPaths().size());
    for (unsigned int segment : segments)
        lines << QStringLiteral("group segment %1: %2").arg(segment).arg(quoted(groupNames.value(segment).text()));
    lines << QStringLiteral("storage: %1 storages, %2 streams, %3 bytes")
                     .arg(totals.storages)
                     .arg(totals.streams)
                     .arg(totals.bytes);
    printLines(lines);
    return ExitSuccess;
}

// ---- tree ------------------------------------------------------------------------------

namespace {

// One group of the tree: the blocks whose group path ends here and the groups below.
struct GroupNode
{
    QString segment;
    QString path;
    QList<Block *> blocks;
    std::map<QString, GroupNode> children;
};

// Numbered segments in numeric order, others after them by text.
QList<const GroupNode *> orderedChildren(const GroupNode &node)
{
    QList<const GroupNode *> children;
    for (const auto &entry : node.children)
        children << &entry.second;
    std::sort(children.begin(), children.end(), [](const GroupNode *a, const GroupNode *b) {
        bool aNumber = false, bNumber = false;
        const qulonglong aValue = a->segment.toULongLong(&aNumber);
        const qulonglong bValue = b->segment.toULongLong(&bNumber);
        if (aNumber != bNumber)
            return aNumber;
        if (aNumber && aValue != bValue)
            return aValue < bValue;
        return a->segment < b->segment;
    });
    return children;
}

void blockLines(const Block *block, int depth, QStringList *lines);

void versionLines(const Block *block, int depth, QStringList *lines)
{
    const QString indent(2 * depth, QLatin1Char(' '));
    const QList<unsigned int> versions = block->versions();
    for (unsigned int version : versions) {
        *lines << indent + QStringLiteral("V%1").arg(version);
        const BlockLibrary *local = block->blockDefinition(version)->localBlockLibrary();
        const QList<Block *> localBlocks = sortedBlocks(local, local->blockIdentifiers());
        for (const Block *localBlock : localBlocks)
            blockLines(localBlock, depth + 1, lines);
    }
}

void blockLines(const Block *block, int depth, QStringList *lines)
{
    *lines << QString(2 * depth, QLatin1Char(' ')) + blockHead(block);
    versionLines(block, depth + 1, lines);
}

QJsonObject blockTreeJson(const Block *block)
{
    QJsonObject object = blockSummary(block);
    QJsonArray versions;
    const QList<unsigned int> numbers = block->versions();
    for (unsigned int number : numbers) {
        const BlockLibrary *local = block->blockDefinition(number)->localBlockLibrary();
        QJsonArray localBlocks;
        const QList<Block *> blocks = sortedBlocks(local, local->blockIdentifiers());
        for (const Block *localBlock : blocks)
            localBlocks.append(blockTreeJson(localBlock));
        QJsonObject version;
        version.insert(QStringLiteral("version"), qint64(number));
        version.insert(QStringLiteral("localBlocks"), localBlocks);
        versions.append(version);
    }
    object.insert(QStringLiteral("versions"), versions);
    return object;
}

void groupLines(const GroupNode &node, const QHash<unsigned int, Text> &names, int depth, QStringList *lines)
{
    for (const Block *block : node.blocks)
        blockLines(block, depth, lines);
    const QList<const GroupNode *> children = orderedChildren(node);
    for (const GroupNode *child : children) {
        *lines << QString(2 * depth, QLatin1Char(' ')) + segmentName(child->segment, names) + QLatin1Char('/');
        groupLines(*child, names, depth + 1, lines);
    }
}

QJsonObject groupJson(const GroupNode &node, const QHash<unsigned int, Text> &names)
{
    QJsonObject object;
    if (!node.path.isEmpty()) {
        object.insert(QStringLiteral("segment"), node.segment);
        object.insert(QStringLiteral("name"), segmentName(node.segment, names));
        object.insert(QStringLiteral("path"), node.path);
    }
    QJsonArray blocks;
    for (const Block *block : node.blocks)
        blocks.append(blockTreeJson(block));
    object.insert(QStringLiteral("blocks"), blocks);
    QJsonArray groups;
    const QList<const GroupNode *> children = orderedChildren(node);
    for (const GroupNode *child : children)
        groups.append(groupJson(*child, names));
    object.insert(QStringLiteral("groups"), groups);
    return object;
}

} // namespace

int runTree(const Invocation &invocation)
{
    OpenedLibrary opened(invocation.argument(0));
    BlockLibrary *library = opened.library();
    GroupNode root;
    const QList<Block *> blocks = sortedBlocks(library, library->blockIdentifiers());
    for (Block *block : blocks) {
        GroupNode *node = &root;
        const QStringList segments = groupSegments(block->groupPath());
        for (const QString &segment : segments) {
            GroupNode &child = node->children[segment];
            child.segment = segment;
            child.path = node->path.isEmpty() ? segment : node->path + QLatin1Char('/') + segment;
            node = &child;
        }
        node->blocks << block;
    }
    const QHash<unsigned int, Text> names = opened.container()->groupNames();
    if (invocation.json) {
        QJsonObject object = groupJson(root, names);
        object.insert(QStringLiteral("file"), opened.path());
        printJson(object);
        return ExitSuccess;
    }
    QStringList lines;
    groupLines(root, names, 0, &lines);
    printLines(lines);
    return ExitSuccess;
}

// ---- show ------------------------------------------------------------------------------

namespace {

// The device families a version storage mentions anywhere: the model answers per family
// but cannot list the families it holds.
QList<unsigned int> familiesOf(FileStorageView *version)
{
    std::set<unsigned int> families;
    if (!version)
        return {};
    static const QRegularExpression familyName(QStringLiteral("^Family_(\\d+)(\\.\\w+)?$"));
    const auto collect = [&](const QString &name) {
        const QRegularExpressionMatch match = familyName.match(name);
        bool ok = false;
        const unsigned int family = match.hasMatch() ? match.captured(1).toUInt(&ok, 10) : 0;
        if (ok && family != General)
            families.insert(family);
    };
    for (const QString &area : { QStringLiteral("Parameter"), QStringLiteral("KsbBinaries") }) {
        if (!containsStorage(version, area))
            continue;
        FileStorageView *storage = version->storage(area);
        const QStringList numbers = storage->storageNames();
        for (const QString &number : numbers) {
            const QStringList streams = storage->storage(number)->streamNames();
            for (const QString &stream : streams)
                collect(stream);
        }
    }
    // Families of parameter values and levels are INI sections; a section header line is
    // enough to know the family.
    static const QRegularExpression sectionLine(QStringLiteral("^\\[(Family_\\d+)\\]\\s*$"),
                                                QRegularExpression::MultilineOption);
    for (const QString &area : { QStringLiteral("ParameterValues"), QStringLiteral("ParameterLevel") }) {
        if (!containsStorage(version, area))
            continue;
        FileStorageView *storage = version->storage(area);
        const QStringList streams = storage->streamNames();
        for (const QString &stream : streams) {
            const QString text = QString::fromLatin1(storage->readStream(stream));
            QRegularExpressionMatchIterator it = sectionLine.globalMatch(text);
            while (it.hasNext())
                collect(it.next().captured(1));
        }
    }
    return QList<unsigned int>(families.begin(), families.end());
}

QString imageLine(const QString &name, const QByteArray &data)
{
    if (data.isEmpty())
        return QStringLiteral("none");
    const QImage image = QImage::fromData(data);
    const QString size = image.isNull() ? QStringLiteral("not readable")
                                        : QStringLiteral("%1x%2").arg(image.width()).arg(image.height());
    return QStringLiteral("%1, %2 bytes, %3").arg(name.isEmpty() ? QStringLiteral("default") : name).arg(data.size()).arg(size);
}

QString pinLine(const BlockPin *pin)
{
    return QStringLiteral("%1 %2 %3 %4")
            .arg(pin->identifier())
            .arg(shortNameField(pin->shortName()), datatypeName(pin->datatype()), quoted(pin->name().text()));
}

QJsonObject pinJson(const BlockPin *pin)
{
    QJsonObject object;
    object.insert(QStringLiteral("number"), pin->identifier());
    object.insert(QStringLiteral("shortName"), pin->shortName());
    object.insert(QStringLiteral("datatype"), datatypeName(pin->datatype()));
    object.insert(QStringLiteral("datatypeCode"), int(pin->datatype()));
    object.insert(QStringLiteral("function"), int(pin->function()));
    object.insert(QStringLiteral("name"), textToJson(pin->name()));
    return object;
}

QString parameterKind(ParameterDefinition *definition)
{
    if (definition->isRecordParameterDefinition())
        return QStringLiteral("record[%1]").arg(definition->elementCount());
    if (definition->elementCount() > 1)
        return QStringLiteral("array[%1]").arg(definition->elementCount());
    return QStringLiteral("simple");
}

QString propertiesText(IParameterElementSetup *setup)
{
    QStringList properties;
    if (setup) {
        const QList<int> ids = setup->propertyIds();
        for (int id : ids)
            properties << QStringLiteral("%1=%2").arg(id).arg(quoted(setup->property(id).asString()));
    }
    return properties.join(QLatin1Char(' '));
}

struct ParameterEntry
{
    unsigned int family;
    unsigned int number;
    ParameterDefinition *definition;
};

// The entries of the parameter map: every general one, and the family ones the families
// of the version storage bring in beside them.
QList<ParameterEntry> parameterEntries(BlockDefinition *definition, const QList<unsigned int> &families)
{
    QList<ParameterEntry> entries;
    const QList<unsigned int> general = definition->parameterDefinitionList(General);
    for (unsigned int number : general)
        entries << ParameterEntry { General, number, definition->parameterDefinition(General, number) };
    for (unsigned int family : families) {
        const QList<unsigned int> numbers = definition->parameterDefinitionList(family);
        for (unsigned int number : numbers) {
            ParameterDefinition *own = definition->parameterDefinition(family, number);
            if (own && own != definition->parameterDefinition(General, number))
                entries << ParameterEntry { family, number, own };
        }
    }
    std::sort(entries.begin(), entries.end(), [](const ParameterEntry &a, const ParameterEntry &b) {
        // The general definition of a number first, then the families in order.
        const auto key = [](const ParameterEntry &entry) {
            return std::make_tuple(entry.number, entry.family != General, entry.family);
        };
        return key(a) < key(b);
    });
    return entries;
}

struct ShowData
{
    QStringList lines;
    QJsonObject json;
};

void showParameters(BlockDefinition *definition, const QList<unsigned int> &families, ShowData *out)
{
    QJsonArray parameters;
    const QList<ParameterEntry> entries = parameterEntries(definition, families);
    if (!entries.isEmpty())
        out->lines << QStringLiteral("parameters:");
    for (const ParameterEntry &entry : entries) {
        ParameterDefinition *parameter = entry.definition;
        QStringList coordinates;
        const QList<ParameterCoordinate> defaultCoordinates = parameter->defaultCoordinates();
        for (const ParameterCoordinate &coordinate : defaultCoordinates)
            coordinates << coordinate.toText();
        out->lines << QStringLiteral("  %1 %2 %3 %4 %5 at %6, %7")
                              .arg(entry.number)
                              .arg(familyName(entry.family), parameterKind(parameter),
                                   shortNameField(parameter->name().multilingualShortText().text()),
                                   quoted(parameter->name().multilingualLongText().text()),
                                   coordinates.isEmpty() ? QStringLiteral("-") : coordinates.join(QLatin1Char(',')),
                                   parameter->isGlobalParameter() ? QStringLiteral("global") : QStringLiteral("per axis"));
        QJsonArray elements;
        RecordParameterDefinition *record = parameter->queryRecordParameterDefinition();
        // The elements of an array share one setup: one line shows it.
        const unsigned short shown = record ? parameter->elementCount() : 1;
        for (unsigned short element = 0; element < shown; ++element) {
            IParameterElementSetup *setup = parameter->queryElementSetup(element);
            QStringList defaults;
            if (record) {
                defaults << parameter->elementDefaultValue(element);
            } else {
                for (unsigned short i = 0; i < parameter->elementCount(); ++i)
                    defaults << parameter->elementDefaultValue(i);
            }
            const QString name = record ? quoted(record->elementName(element).multilingualLongText().text()) + QLatin1Char(' ') : QString();
            out->lines << QStringLiteral("    element %1 %2default %3 properties %4")
                                  .arg(record ? QString::number(element) : QStringLiteral("*"), name,
                                       quoted(defaults.join(QLatin1Char(','))), propertiesText(setup));
            QJsonObject properties;
            if (setup) {
                const QList<int> ids = setup->propertyIds();
                for (int id : ids)
                    properties.insert(QString::number(id), setup->property(id).asString());
            }
            QJsonObject object;
            if (record)
                object.insert(QStringLiteral("name"), textToJson(record->elementName(element).multilingualLongText()));
            object.insert(QStringLiteral("defaults"), QJsonArray::fromStringList(defaults));
            object.insert(QStringLiteral("properties"), properties);
            elements.append(object);
        }
        QJsonObject object;
        object.insert(QStringLiteral("number"), qint64(entry.number));
        object.insert(QStringLiteral("family"), familyToJson(entry.family));
        object.insert(QStringLiteral("kind"), parameter->isRecordParameterDefinition()
                                                      ? QStringLiteral("record")
                                                      : (parameter->elementCount() > 1 ? QStringLiteral("array")
                                                                                       : QStringLiteral("simple")));
        object.insert(QStringLiteral("elementCount"), parameter->elementCount());
        object.insert(QStringLiteral("shortName"), textToJson(parameter->name().multilingualShortText()));
        object.insert(QStringLiteral("name"), textToJson(parameter->name().multilingualLongText()));
        object.insert(QStringLiteral("coordinates"), QJsonArray::fromStringList(coordinates));
        object.insert(QStringLiteral("global"), parameter->isGlobalParameter());
        object.insert(QStringLiteral("description"), parameter->descriptionText());
        object.insert(QStringLiteral("elements"), elements);
        parameters.append(object);
    }
    out->json.insert(QStringLiteral("parameters"), parameters);
}

void showInstantiation(BlockDefinition *definition, const QList<unsigned int> &families, ShowData *out)
{
    BlockInstantiationData *data = definition->instantiationData();
    QList<unsigned int> all { General };
    all += families;
    QJsonArray binaries;
    QJsonArray values;
    QStringList lines;
    for (unsigned int family : all) {
        const QList<unsigned int> numbers = data->ksbBinaries(family);
        for (unsigned int number : numbers) {
            const QByteArray binary = data->ksbBinary(family, number);
            // A family shows only what it does not take from the general entries.
            if (family != General && binary == data->ksbBinary(General, number)
                    && data->ksbBinaries(General).contains(number))
                continue;
            lines << QStringLiteral("  binary %1 %2: %3 bytes").arg(number).arg(familyName(family)).arg(binary.size());
            QJsonObject object;
            object.insert(QStringLiteral("number"), qint64(number));
            object.insert(QStringLiteral("family"), familyToJson(family));
            object.insert(QStringLiteral("size"), binary.size());
            binaries.append(object);
        }
    }
    for (unsigned int family : all) {
        const QList<QString> parameters = data->targetParameter(family);
        for (const QString &parameter : parameters) {
            QList<int> properties = data->targetParameterPropertyNumbers(family, parameter);
            std::sort(properties.begin(), properties.end());
            for (int property : properties) {
                const QString value = data->targetParameterPropertyValue(family, parameter, property);
                if (family != General
                        && data->targetParameterPropertyNumbers(General, parameter).contains(property)
                        && value == data->targetParameterPropertyValue(General, parameter, property))
                    continue;
                lines << QStringLiteral("  parameter %1 property %2 %3: %4")
                                 .arg(parameter)
                                 .arg(property)
                                 .arg(familyName(family), quoted(value));
                QJsonObject object;
                object.insert(QStringLiteral("parameter"), parameter);
                object.insert(QStringLiteral("property"), property);
                object.insert(QStringLiteral("family"), familyToJson(family));
                object.insert(QStringLiteral("value"), value);
                values.append(object);
            }
        }
    }
    if (!lines.isEmpty())
        out->lines << QStringLiteral("instantiation:") << lines;
    QJsonObject object;
    object.insert(QStringLiteral("binaries"), binaries);
    object.insert(QStringLiteral("parameterProperties"), values);
    out->json.insert(QStringLiteral("instantiation"), object);
}

void showVersion(const OpenedLibrary &opened, BlockDefinition *definition, ShowData *out)
{
    QStringList &lines = out->lines;
    QJsonObject &json = out->json;
    const QByteArray crc = definition->compareCrc32Value();
    lines << QStringLiteral("version: %1").arg(definition->version());
    lines << QStringLiteral("comparison value: %1").arg(QString::fromLatin1(crc));
    lines << QStringLiteral("access levels: read %1, write %2")
                     .arg(definition->accessLevelRead())
                     .arg(definition->accessLevelWrite());
    QStringList flags;
    const auto flag = [&](bool set, const QString &name) {
        if (set)
            flags << name;
        json.insert(name, set);
    };
    flag(definition->isVisible(), QStringLiteral("visible"));
    flag(definition->isWritable(), QStringLiteral("writable"));
    flag(definition->isStepInAllowed(), QStringLiteral("stepIn"));
    flag(definition->allowDelete(), QStringLiteral("deletable"));
    flag(definition->isParameterDefinitionBlock(), QStringLiteral("parameterDefinitions"));
    flag(definition->isGlobalTemplate(), QStringLiteral("globalTemplate"));
    flag(definition->isExclusiveTemplate(), QStringLiteral("exclusiveTemplate"));
    lines << QStringLiteral("flags: %1").arg(flags.isEmpty() ? QStringLiteral("none") : flags.join(QStringLiteral(", ")));
    lines << QStringLiteral("template: target levels read %1, write %2, parameter group %3")
                     .arg(definition->templateTargetAccessLevelRead())
                     .arg(definition->templateTargetAccessLevelWrite())
                     .arg(quoted(QString::fromLatin1(definition->parameterGroup())));
    lines << QStringLiteral("runtime membership: %1").arg(int(definition->runtimeMembership()));
    const QByteArray code = definition->codeText();
    lines << QStringLiteral("code: version %1, %2 bytes").arg(definition->codeTextVersion()).arg(code.size());
    lines << QStringLiteral("description: %1 bytes").arg(definition->descriptionText().size());
    lines << QStringLiteral("wizard: %1 bytes").arg(definition->wizardDefinition().size());
    lines << QStringLiteral("small image: %1").arg(imageLine(definition->smallListImageName(), definition->smallListImage()));
    lines << QStringLiteral("large image: %1").arg(imageLine(definition->largeListImageName(), definition->largeListImage()));
    json.insert(QStringLiteral("version"), qint64(definition->version()));
    json.insert(QStringLiteral("comparisonValue"), QString::fromLatin1(crc));
    json.insert(QStringLiteral("accessLevelRead"), qint64(definition->accessLevelRead()));
    json.insert(QStringLiteral("accessLevelWrite"), qint64(definition->accessLevelWrite()));
    json.insert(QStringLiteral("templateTargetAccessLevelRead"), qint64(definition->templateTargetAccessLevelRead()));
    json.insert(QStringLiteral("templateTargetAccessLevelWrite"), qint64(definition->templateTargetAccessLevelWrite()));
    json.insert(QStringLiteral("parameterGroup"), QString::fromLatin1(definition->parameterGroup()));
    json.insert(QStringLiteral("runtimeMembership"), int(definition->runtimeMembership()));
    json.insert(QStringLiteral("codeVersion"), qint64(definition->codeTextVersion()));
    json.insert(QStringLiteral("codeSize"), code.size());
    json.insert(QStringLiteral("description"), QString::fromUtf8(definition->descriptionText()));
    json.insert(QStringLiteral("wizardSize"), definition->wizardDefinition().size());
    json.insert(QStringLiteral("smallImage"), definition->smallListImageName());
    json.insert(QStringLiteral("smallImageSize"), definition->smallListImage().size());
    json.insert(QStringLiteral("largeImage"), definition->largeListImageName());
    json.insert(QStringLiteral("largeImageSize"), definition->largeListImage().size());

    const BlockSkin *skin = definition->defaultSkin();
    const QSizeF size = skin->size();
    const QSizeF minimum = skin->minimumSize();
    lines << QStringLiteral("skin: %1x%2 grid units (minimum %3x%4)")
                     .arg(size.width())
                     .arg(size.height())
                     .arg(minimum.width())
                     .arg(minimum.height());
    QJsonObject skinJson;
    skinJson.insert(QStringLiteral("width"), size.width());
    skinJson.insert(QStringLiteral("height"), size.height());
    skinJson.insert(QStringLiteral("minimumWidth"), minimum.width());
    skinJson.insert(QStringLiteral("minimumHeight"), minimum.height());
    json.insert(QStringLiteral("skin"), skinJson);

    const auto pins = [&](const QString &title, const QList<int> &numbers) {
        QJsonArray array;
        lines << title + QLatin1Char(':');
        for (int number : numbers) {
            if (const BlockPin *pin = definition->pin(number)) {
                lines << QStringLiteral("  ") + pinLine(pin);
                array.append(pinJson(pin));
            } else {
                lines << QStringLiteral("  %1 (no such pin)").arg(number);
            }
        }
        json.insert(title, array);
    };
    pins(QStringLiteral("inputs"), skin->inputPins());
    pins(QStringLiteral("outputs"), skin->outputPins());

    const QList<unsigned int> families = familiesOf(opened.versionStorage(definition));
    showParameters(definition, families, out);
    showInstantiation(definition, families, out);

    QJsonArray localBlocks;
    const BlockLibrary *local = definition->localBlockLibrary();
    const QList<Block *> blocks = sortedBlocks(local, local->blockIdentifiers());
    if (!blocks.isEmpty())
        lines << QStringLiteral("local blocks:");
    for (const Block *block : blocks) {
        QStringList versions;
        const QList<unsigned int> numbers = block->versions();
        for (unsigned int number : numbers)
            versions << QStringLiteral("V%1").arg(number);
        lines << QStringLiteral("  %1 %2").arg(blockHead(block), versions.join(QLatin1Char(' ')));
        QJsonObject object = blockSummary(block);
        QJsonArray versionArray;
        for (unsigned int number : numbers)
            versionArray.append(qint64(number));
        object.insert(QStringLiteral("versions"), versionArray);
        localBlocks.append(object);
    }
    json.insert(QStringLiteral("localBlocks"), localBlocks);
}

} // namespace

int runShow(const Invocation &invocation)
{
    OpenedLibrary opened(invocation.argument(0));
    Block *block = opened.findBlock(invocation.argument(1));
    const QList<unsigned int> versions = block->versions();
    if (versions.isEmpty() && invocation.arguments.size() < 3)
        throw Failure { QStringLiteral("%1: has no versions").arg(block->identifier()) };
    BlockDefinition *definition = invocation.arguments.size() > 2
            ? OpenedLibrary::findVersion(block, invocation.argument(2))
            : block->blockDefinition(versions.last());

    ShowData version;
    showVersion(opened, definition, &version);

    QStringList versionList;
    for (unsigned int number : versions)
        versionList << QString::number(number);
    if (invocation.json) {
        QJsonObject object = blockSummary(block);
        QJsonArray versionArray;
        for (unsigned int number : versions)
            versionArray.append(qint64(number));
        object.insert(QStringLiteral("versions"), versionArray);
        object.insert(QStringLiteral("shown"), version.json);
        printJson(object);
        return ExitSuccess;
    }

    QStringList lines;
    lines << QStringLiteral("block: %1").arg(block->identifier());
    lines << QStringLiteral("kind: %1").arg(kindName(block));
    lines << QStringLiteral("short name: %1").arg(shortNameField(block->shortName()));
    const Text name = block->name();
    const QList<int> languages = name.textLanguages();
    for (int language : languages)
        lines << QStringLiteral("name %1: %2").arg(language).arg(quoted(name.text(language)));
    lines << QStringLiteral("group path: %1").arg(quoted(block->groupPath()));
    lines << QStringLiteral("versions: %1").arg(versionList.join(QStringLiteral(", ")));
    lines << version.lines;
    printLines(lines);
    return ExitSuccess;
}

} // namespace Bli
