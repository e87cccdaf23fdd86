#include "BlockDefinition.h"
#include "BlockDefinition_p.h"

#include "Block.h"
#include "BlockInstantiationData.h"
#include "BlockLibrary.h"
#include "BlockLibraryContainer.h"
#include "BlockPin.h"
#include "CodeEditorAccess.h"
#include "CrcFileStorageView.h"
#include "StoredNames_p.h"
#include "TypedIni_p.h"

#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/ParameterDefinitionLoader.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvSystem/System.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxUtilities/StreamType.h>

#include <QtCore/QMetaMethod>
#include <QtCore/QFile>
#include <QtCore/QMetaObject>
#include <QtCore/QMutex>
#include <QtCore/QRecursiveMutex>
#include <QtCore/QSignalBlocker>

#include <algorithm>

namespace {

const QString InfoStream = QStringLiteral("Info.ini");
const QString CodeStream = QStringLiteral("Code.txt");
const QString InterfaceStorage = QStringLiteral("Interface");
const QString SkinStream = QStringLiteral("DefaultSkin");
const QString ImagesStorage = QStringLiteral("Images");
const QString WizardStorage = QStringLiteral("Wizard");
const QString WizardStream = QStringLiteral("Definition.txt");
const QString DescriptionStream = QStringLiteral("Description");

// Loading a version may load local blocks, whose versions load again: the lock is recursive.
QRecursiveMutex &loadMutex()
{
    static QRecursiveMutex mutex;
    return mutex;
}

unsigned int currentLevel()
{
    return System::instance()->currentAccessLevel();
}

QByteArray uncompressed(const QByteArray &compressed)
{
    return compressed.isEmpty() ? QByteArray() : qUncompress(compressed);
}

QByteArray compressed(const QByteArray &data)
{
    if (data.isEmpty())
        return QByteArray();
    // qCompress allocates for the worst case and only shrinks the size, not the allocation:
    // without squeezing, a payload held compressed would still take its uncompressed room.
    QByteArray result = qCompress(data);
    result.squeeze();
    return result;
}

// Default icons are read once from the resources; a resource that cannot be read is tried
// again next time, since only a non-empty image is kept.
QByteArray defaultImage(const QString &resource)
{
    static QMutex mutex;
    static QHash<QString, QByteArray> cache;
    QMutexLocker locker(&mutex);
    QByteArray &image = cache[resource];
    if (image.isEmpty()) {
        QFile file(resource);
        if (file.open(QIODevice::ReadOnly))
            image = file.readAll();
    }
    return image;
}

// The text from the first type line of that kind on; empty when there is none. A version made
// from a template carries a second type line, "templateblock", that introduces its
// "[Template]" section, while the type-line reader only sees the first type line of a stream.
QByteArray fromTypeLine(const QByteArray &data, const QString &kind)
{
    qsizetype start = 0;
    while (start < data.size()) {
        qsizetype end = data.indexOf('\n', start);
        if (end < 0)
            end = data.size();
        // Only comment lines, possibly behind a byte-order mark, can be type lines.
        if (data.at(start) == ';' || data.at(start) == '\xEF') {
            StreamType type;
            type.setStreamData(data.mid(start, end - start));
            if (type.contains(kind))
                return data.mid(start);
        }
        start = end + 1;
    }
    return QByteArray();
}

QList<int> sortedPins(const QHash<int, BlockPin *> &pins, int function)
{
    QList<int> numbers;
    for (auto it = pins.cbegin(); it != pins.cend(); ++it) {
        if (function == 0 || int(it.value()->function()) == function)
            numbers.append(it.key());
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace

BlockDefinitionPrivate::BlockDefinitionPrivate(BlockDefinition *definition, Block *block, unsigned int version)
    : block(block)
    , version(version)
    , defaultSkin(definition, nullptr)
    , localContainer(definition)
    , q(definition)
{
    localBlockLibrary = localContainer.library();
    if (!block || !block->isToolBlock()) {
        auto *enable = new BlockPin(-1);
        enable->setSimpleType(1);
        enable->setFunction(eBlockPinFunctionInput);
        enable->setShortName(QStringLiteral("enable"));
        adoptPin(enable);
    }
    connect(this, &BlockDefinitionPrivate::changed, q, &BlockDefinition::changed);
    connect(&localContainer, &BlockLibraryContainer::modifiedChanged, this,
            &BlockDefinitionPrivate::onSubLibraryModifiedChanged);
}

BlockDefinitionPrivate::~BlockDefinitionPrivate()
{
    // Attached parameter definitions are owned; they are not Qt objects and would be lost.
    qDeleteAll(parameterDefinitions);
}

TemplateInfo *BlockDefinitionPrivate::templateInfo()
{
    if (!templateData)
        templateData = std::make_unique<TemplateInfo>();
    return templateData.get();
}

void BlockDefinitionPrivate::adoptPin(BlockPin *pin)
{
    // Pins are Qt children of the definition, so they go with it.
    pin->setParent(q);
    pins.insert(pin->identifier(), pin);
    // A library holds hundreds of thousands of pins. Connections by meta-method need no slot
    // object of their own, where a pointer-to-member connection allocates one each.
    static const QMetaMethod pinChanged = QMetaMethod::fromSignal(&BlockPin::changed);
    static const QMetaMethod definitionChanged = QMetaMethod::fromSignal(&BlockDefinition::changed);
    static const QMetaMethod pinsModified = QMetaMethod::fromSignal(&BlockDefinition::pinsModified);
    connect(pin, pinChanged, q, definitionChanged);
    connect(pin, pinChanged, q, pinsModified);
}

void BlockDefinitionPrivate::onBlockCodeChanged()
{
    emit changed();
}

void BlockDefinitionPrivate::onSubLibraryModifiedChanged(bool)
{
    emit changed();
}

void BlockDefinitionPrivate::invokeCode(const char *method) const
{
    if (code)
        QMetaObject::invokeMethod(code.data(), method, Qt::DirectConnection);
}

BlockDefinition::BlockDefinition(Block *block, unsigned int version)
    : QObject(block)
    , d(new BlockDefinitionPrivate(this, block, version))
{
    connect(this, &BlockDefinition::pinsModified, this, &BlockDefinition::changed);
}

BlockDefinition::~BlockDefinition()
{
    delete d;
}

Block *BlockDefinition::block() const
{
    return d->block;
}

unsigned int BlockDefinition::version() const
{
    return d->version;
}

unsigned int BlockDefinition::accessLevelRead() const
{
    return d->accessLevelRead;
}

void BlockDefinition::setAccessLevelRead(unsigned int level)
{
    d->accessLevelRead = level;
}

unsigned int BlockDefinition::accessLevelWrite() const
{
    return d->accessLevelWrite;
}

void BlockDefinition::setAccessLevelWrite(unsigned int level)
{
    d->accessLevelWrite = level;
}

unsigned int BlockDefinition::templateTargetAccessLevelRead() const
{
    return d->templateData ? d->templateData->targetAccessLevelRead : 0;
}

unsigned int BlockDefinition::templateTargetAccessLevelWrite() const
{
    return d->templateData ? d->templateData->targetAccessLevelWrite : 0;
}

void BlockDefinition::setTemplateTargetAccessLevelRead(unsigned int level)
{
    TemplateInfo *info = d->templateInfo();
    if (info->targetAccessLevelRead == level)
        return;
    info->targetAccessLevelRead = level;
    emit changed();
}

void BlockDefinition::setTemplateTargetAccessLevelWrite(unsigned int level)
{
    TemplateInfo *info = d->templateInfo();
    if (info->targetAccessLevelWrite == level)
        return;
    info->targetAccessLevelWrite = level;
    emit changed();
}

bool BlockDefinition::isGlobalTemplate() const
{
    return d->templateData && d->templateData->global;
}

bool BlockDefinition::isExclusiveTemplate() const
{
    return d->templateData && d->templateData->exclusive;
}

void BlockDefinition::setGlobalTemplate(bool global)
{
    TemplateInfo *info = d->templateInfo();
    if (info->global == global)
        return;
    info->global = global;
    emit changed();
}

void BlockDefinition::setExclusiveTemplate(bool exclusive)
{
    TemplateInfo *info = d->templateInfo();
    if (info->exclusive == exclusive)
        return;
    info->exclusive = exclusive;
    emit changed();
}

bool BlockDefinition::showModified() const
{
    return d->showModified;
}

void BlockDefinition::setShowModified(bool show)
{
    if (d->showModified == show)
        return;
    d->showModified = show;
    emit redrawRequired();
}

eRuntimeMembership BlockDefinition::runtimeMembership() const
{
    return d->runtimeMembership;
}

void BlockDefinition::setRuntimeMembership(eRuntimeMembership membership)
{
    if (d->runtimeMembership == membership)
        return;
    d->runtimeMembership = membership;
    emit changed();
}

unsigned int BlockDefinition::maxUsedSystemBlock() const
{
    return d->maxUsedSystemBlock;
}

void BlockDefinition::setMaxUsedSystemBlock(unsigned int number)
{
    if (d->maxUsedSystemBlock == number)
        return;
    d->maxUsedSystemBlock = number;
    emit changed();
}

QByteArray BlockDefinition::parameterGroup() const
{
    return d->parameterGroup;
}

bool BlockDefinition::isVisible() const
{
    return d->accessLevelRead <= currentLevel();
}

bool BlockDefinition::isWritable() const
{
    if (!d->block)
        return false;
    bool writable = false;
    if (d->block->isUserBlock() || d->block->isLocalBlock() || d->block->isRootBlock())
        writable = d->accessLevelWrite <= currentLevel();
    if (writable && d->block->ownerLibrary())
        return !d->block->ownerLibrary()->readOnly();
    return writable;
}

bool BlockDefinition::isStepInAllowed() const
{
    if (!d->block)
        return false;
    if (d->block->isUserBlock() || d->block->isStandardBlock() || d->block->isLocalBlock())
        return !isParameterDefinitionBlock() && d->accessLevelRead <= currentLevel();
    if (d->block->isRootBlock())
        return true;
    if (d->block->isMagicBlock())
        return currentLevel() > 4;
    return false;
}

bool BlockDefinition::isParameterDefinitionBlock() const
{
    return !d->parameterDefinitions.isEmpty();
}

bool BlockDefinition::allowDelete() const
{
    return d->block && d->block->isUserBlock() && d->accessLevelWrite <= currentLevel();
}

BlockPin *BlockDefinition::createPin(int number)
{
    if (d->pins.contains(number)) {
        emit pinsModified();
        return nullptr;
    }
    auto *pin = new BlockPin(number);
    d->adoptPin(pin);
    emit pinsModified();
    return pin;
}

void BlockDefinition::deletePin(int number)
{
    delete d->pins.take(number);
    emit pinsModified();
}

BlockPin *BlockDefinition::pin(int number) const
{
    return d->pins.value(number);
}

QList<int> BlockDefinition::pins() const
{
    return sortedPins(d->pins, 0);
}

QList<int> BlockDefinition::inputPins() const
{
    return sortedPins(d->pins, eBlockPinFunctionInput);
}

QList<int> BlockDefinition::outputPins() const
{
    return sortedPins(d->pins, eBlockPinFunctionOutput);
}

BlockSkin *BlockDefinition::defaultSkin() const
{
    return &d->defaultSkin;
}

QByteArray BlockDefinition::codeText() const
{
    return uncompressed(d->codeText);
}

void BlockDefinition::setCodeText(QByteArray text)
{
    StreamType type;
    type.setStreamData(text);
    if (type.contains(QStringLiteral("code"))) {
        d->codeTextVersion = type.version(QStringLiteral("code"));
        d->codeText = compressed(text);
    }
    emit changed();
}

unsigned int BlockDefinition::codeTextVersion() const
{
    return d->codeTextVersion;
}

void BlockDefinition::setCodeTextForCompareCrc(QByteArray text)
{
    d->codeTextForCompareCrc = text;
}

QByteArray BlockDefinition::codeTextForCompareCrc() const
{
    return d->codeTextForCompareCrc;
}

QByteArray BlockDefinition::descriptionText() const
{
    return d->descriptionText;
}

void BlockDefinition::setDescriptionText(QByteArray text)
{
    if (d->descriptionText == text)
        return;
    d->descriptionText = text;
    emit changed();
}

QByteArray BlockDefinition::smallListImage() const
{
    const QByteArray stored = uncompressed(d->smallListImage);
    if (!stored.isEmpty() || !d->block)
        return stored;
    if (d->block->isStandardBlock()) {
        const unsigned int number = d->block->standardBlockNumber();
        if (number >= 200000 && number <= 299999)
            return defaultImage(QStringLiteral(":/Resources/DefaultParameterDefinitionBlockIconSmall.png"));
        return QByteArray();
    }
    if (d->block->isLocalBlock())
        return defaultImage(QStringLiteral(":/Resources/DefaultLocalBlockIconSmall.png"));
    if (d->block->isUserBlock())
        return defaultImage(QStringLiteral(":/Resources/DefaultUserBlockIconSmall.png"));
    return QByteArray();
}

QByteArray BlockDefinition::largeListImage() const
{
    return uncompressed(d->largeListImage);
}

QString BlockDefinition::smallListImageName() const
{
    return d->smallListImageName;
}

QString BlockDefinition::largeListImageName() const
{
    return d->largeListImageName;
}

void BlockDefinition::setSmallListImage(const QString &name, const QByteArray &data)
{
    // qCompress is deterministic, so equal images compare equal in their stored form.
    const QByteArray packed = compressed(data);
    if (d->smallListImage == packed && d->smallListImageName == name)
        return;
    d->smallListImage = packed;
    d->smallListImageName = name;
    emit changed();
}

void BlockDefinition::setLargeListImage(const QString &name, const QByteArray &data)
{
    const QByteArray packed = compressed(data);
    if (d->largeListImage == packed && d->largeListImageName == name)
        return;
    d->largeListImage = packed;
    d->largeListImageName = name;
    emit changed();
}

QByteArray BlockDefinition::wizardDefinition() const
{
    return d->templateData ? uncompressed(d->templateData->wizardDefinition) : QByteArray();
}

QString BlockDefinition::toolTipText() const
{
    if (!d->block)
        return QString();
    QString tip = tr("%1 (%2)").arg(d->block->name().text(), QString::number(d->version));

    QByteArray description;
    if (d->version != 0) {
        if (const BlockDefinition *first = d->block->blockDefinition(0)) {
            const QByteArray firstDescription = first->descriptionText();
            if (!firstDescription.isEmpty())
                description = firstDescription + "<hr>";
        }
    }
    description += d->descriptionText;
    if (!description.isEmpty())
        tip += QStringLiteral("<br>") + QString::fromUtf8(description) + QStringLiteral("<br>");

    BlockLibrary *library = d->block->ownerLibrary();
    if (currentLevel() > 4 && library) {
        tip += QStringLiteral("<br><br>") + d->block->identifier() + QStringLiteral("<br>");
        if (BlockLibraryContainer *container = library->container()) {
            tip += tr("Bibliotheks-ID:  ") + container->identifier() + QStringLiteral("<br>");
            tip += tr("Bibliotheksname: ") + container->name().text();
        }
    }
    return tip;
}

BlockCode *BlockDefinition::code() const
{
    return d->code.data();
}

void BlockDefinition::setCode(BlockCode *code)
{
    if (d->code || !code)
        return;
    d->code = code;
    connect(code, &BlockCode::changed, d, &BlockDefinitionPrivate::onBlockCodeChanged);
}

LibraryBlockDefinitionSubWindow *BlockDefinition::editSubWindow() const
{
    return d->editSubWindow.data();
}

void BlockDefinition::setEditSubWindow(LibraryBlockDefinitionSubWindow *window)
{
    d->editSubWindow = window;
}

void CodeEditorAccess::setCode(BlockDefinition *definition, BlockCode *code)
{
    definition->setCode(code);
}

void CodeEditorAccess::setEditSubWindow(BlockDefinition *definition, LibraryBlockDefinitionSubWindow *window)
{
    definition->setEditSubWindow(window);
}

void BlockDefinition::registerInstance(QObject *instance)
{
    if (!d->registeredInstances.contains(instance))
        d->registeredInstances.append(instance);
}

void BlockDefinition::unregisterInstance(QObject *instance)
{
    d->registeredInstances.removeOne(instance);
}

unsigned int BlockDefinition::instanceCount() const
{
    return static_cast<unsigned int>(d->registeredInstances.size());
}

BlockLibrary *BlockDefinition::localBlockLibrary() const
{
    return d->localBlockLibrary;
}

Block *BlockDefinition::cloneLocalBlock(const Block *block)
{
    Block *copy = (d->block && d->block->isFallbackBlock()) ? Block::createBlock(block->identifier())
                                                            : Block::createUserBlock();
    if (!copy)
        return nullptr;
    copy->cloneFrom(block);
    d->localBlockLibrary->insertBlock(copy);
    return copy;
}

QString BlockDefinition::localSubstitutionForBlock(const QString &identifier) const
{
    return d->localSubstitutions.value(identifier);
}

BlockInstantiationData *BlockDefinition::instantiationData() const
{
    if (!d->instantiationData)
        d->instantiationData = std::make_unique<BlockInstantiationData>();
    return d->instantiationData.get();
}

void BlockDefinition::clear()
{
    // A detached code object must no longer count as a change of this definition.
    if (d->code)
        disconnect(d->code, nullptr, d, nullptr);
    d->code.clear();
    d->localContainer.clear();
    // Detaching announces each removal, as it does for any other caller.
    const auto keys = d->parameterDefinitions.keys();
    for (const auto &key : keys)
        delete detachParameterFamilyDefinition(key.first, key.second);
    const QList<int> numbers = d->pins.keys();
    for (int number : numbers)
        delete d->pins.take(number);
    emit changed();
}

void BlockDefinition::cloneFrom(const BlockDefinition *source)
{
    {
        const QSignalBlocker blocker(this);
        source->d->invokeCode("save");
        clear();

        d->runtimeMembership = source->d->runtimeMembership;
        d->codeText = source->d->codeText;
        d->codeTextVersion = source->d->codeTextVersion;
        d->smallListImage = source->d->smallListImage;
        d->smallListImageName = source->d->smallListImageName;
        d->largeListImage = source->d->largeListImage;
        d->largeListImageName = source->d->largeListImageName;
        d->accessLevelRead = source->d->accessLevelRead;
        d->accessLevelWrite = source->d->accessLevelWrite;
        d->descriptionText = source->d->descriptionText;

        // A copy of a template is never a template itself: only the flag byte and the
        // target levels travel, not "global", "exclusive" or the wizard.
        if (const TemplateInfo *sourceTemplate = source->d->templateData.get()) {
            TemplateInfo *info = d->templateInfo();
            info->flags = sourceTemplate->flags;
            info->targetAccessLevelRead = sourceTemplate->targetAccessLevelRead;
            info->targetAccessLevelWrite = sourceTemplate->targetAccessLevelWrite;
        }

        const QList<int> numbers = source->pins();
        for (int number : numbers) {
            if (BlockPin *pin = createPin(number))
                pin->cloneFrom(source->pin(number));
        }
        d->defaultSkin.cloneFrom(&source->d->defaultSkin);

        const auto keys = source->d->parameterKeys();
        for (const auto &key : keys) {
            ParameterDefinition *copy = ParameterDefinition::createClone(source->parameterDefinition(key.first, key.second));
            if (!copy)
                continue;
            copy->setVersion(d->version);
            d->parameterDefinitions.insert(key, copy);
            copy->setOwner(d->block);
        }

        // Instantiating a template gives the copy the levels the template prescribes.
        if (source->d->block && source->d->block->isTemplateBlock() && source->d->templateData) {
            d->accessLevelRead = source->d->templateData->targetAccessLevelRead;
            d->accessLevelWrite = source->d->templateData->targetAccessLevelWrite;
        }

        const QList<QString> identifiers = source->d->localBlockLibrary->blockIdentifiers();
        for (const QString &identifier : identifiers) {
            const Block *localBlock = source->d->localBlockLibrary->block(identifier);
            Block *copy = cloneLocalBlock(localBlock);
            if (copy && copy->identifier() != identifier)
                d->localSubstitutions.insert(identifier, copy->identifier());
        }
    }
    emit changed();
}

void BlockDefinition::attachParameterGeneralDefinition(unsigned int number, ParameterDefinition *definition)
{
    attachParameterFamilyDefinition(GeneralFamily, number, definition);
}

void BlockDefinition::attachParameterFamilyDefinition(unsigned int family, unsigned int number,
                                                      ParameterDefinition *definition)
{
    d->parameterDefinitions.insert(qMakePair(family, number), definition);
    if (definition)
        definition->setOwner(d->block);
    emit changed();
}

ParameterDefinition *BlockDefinition::detachParameterFamilyDefinition(unsigned int family, unsigned int number)
{
    ParameterDefinition *definition = d->parameterDefinitions.take(qMakePair(family, number));
    emit changed();
    return definition;
}

ParameterDefinition *BlockDefinition::detachParameterGeneralDefinition(unsigned int number)
{
    return detachParameterFamilyDefinition(GeneralFamily, number);
}

ParameterDefinition *BlockDefinition::parameterDefinition(unsigned int family, unsigned int number) const
{
    if (ParameterDefinition *definition = d->parameterDefinitions.value(qMakePair(family, number)))
        return definition;
    return d->parameterDefinitions.value(qMakePair(GeneralFamily, number));
}

QList<unsigned int> BlockDefinition::parameterDefinitionList(unsigned int family)
{
    QList<unsigned int> numbers;
    for (auto it = d->parameterDefinitions.cbegin(); it != d->parameterDefinitions.cend(); ++it) {
        if (it.key().first == family)
            numbers.append(it.key().second);
    }
    for (auto it = d->parameterDefinitions.cbegin(); it != d->parameterDefinitions.cend(); ++it) {
        if (it.key().first == GeneralFamily && !numbers.contains(it.key().second))
            numbers.append(it.key().second);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

QList<QPair<unsigned int, unsigned int>> BlockDefinitionPrivate::parameterKeys() const
{
    QList<QPair<unsigned int, unsigned int>> keys = parameterDefinitions.keys();
    std::sort(keys.begin(), keys.end(), [](const auto &a, const auto &b) {
        return a.second != b.second ? a.second < b.second : a.first < b.first;
    });
    return keys;
}

// ---- storage of a version -------------------------------------------------------------

void BlockDefinitionPrivate::writeInfo(FileStorageView *storage) const
{
    TypedIniWriter writer(QStringLiteral("blockversion"), 0, TextEncoding::Latin1);
    writer.beginSection("Info");
    // The stored convention: the key text less its first N characters, N being the number,
    // so that only 0 survives; no reader depends on anything else.
    writer.addRawLine(QByteArray("MaxUsedSystemBlock=").mid(qMin<quint64>(maxUsedSystemBlock, 19)));
    writer.addUnsigned("LevelVisible", accessLevelRead);
    writer.addUnsigned("LevelWrite", accessLevelWrite);
    writer.write(storage, InfoStream);
}

void BlockDefinitionPrivate::writeInterface(FileStorageView *storage) const
{
    FileStorageView *interface = storage->storage(InterfaceStorage);
    const QList<int> numbers = q->pins();
    for (int number : numbers) {
        if (number == -1)
            continue;
        const BlockPin *pin = pins.value(number);
        TypedIniWriter writer(QStringLiteral("pin"), 0, TextEncoding::Latin1);
        writer.beginSection("Pin");
        writer.addUnsigned("Datatype", pin->datatype());
        writer.addNumber("Function", pin->function());
        writer.addText("ShortName", pin->shortName());
        writer.beginSection("Names");
        writer.addLanguages(pin->name());
        writer.write(interface, QStringLiteral("Pin_%1.ini").arg(number));
    }
    TypedIniWriter skin(QStringLiteral("blockskin"), 0, TextEncoding::Latin1);
    skin.beginSection("Skin");
    skin.addNumberList("InputPinOrder", defaultSkin.inputPinOrder());
    skin.addNumberList("OutputPinOrder", defaultSkin.outputPinOrder());
    skin.write(interface, SkinStream);
}

void BlockDefinitionPrivate::writeImages(FileStorageView *storage) const
{
    FileStorageView *images = storage->storage(ImagesStorage);
    const QByteArray large = uncompressed(largeListImage);
    if (!large.isEmpty())
        images->writeStream(QStringLiteral("IconLarge.") + largeListImageName, large);
    const QByteArray small = uncompressed(smallListImage);
    if (!small.isEmpty())
        images->writeStream(QStringLiteral("IconSmall.") + smallListImageName, small);
}

void BlockDefinitionPrivate::writeParameters(FileStorageView *storage) const
{
    FileStorageView *parameters = storage->storage(QStringLiteral("Parameter"));
    // Family definitions go under "Family_<n>" without a suffix, while only "Family_<n>.ini"
    // is read back: libraries of the suite's other tools use the ".ini" form. Both stay so.
    // Sorted by family, the general definition is written last, so its description stands.
    const auto keys = parameterKeys();
    for (const auto &key : keys) {
        ParameterDefinition *definition = parameterDefinitions.value(key);
        if (!definition)
            continue;
        FileStorageView *numberStorage = parameters->storage(QString::number(key.second));
        const QString streamName = key.first == BlockDefinition::GeneralFamily
            ? QStringLiteral("General.ini")
            : QStringLiteral("Family_%1").arg(key.first);
        numberStorage->writeStream(streamName, ParameterDefinitionSaver::saveParameterDefinition(definition));
        numberStorage->writeStream(QStringLiteral("Description.html"), definition->descriptionText().toUtf8());
    }
}

void BlockDefinitionPrivate::readParameters(FileStorageView *storage)
{
    const QList<NumberedStorage> numbers = numberedStorages(storage, QStringLiteral("Parameter"));
    for (const NumberedStorage &entry : numbers) {
        const QStringList streams = entry.storage->streamNames();
        for (const QString &stream : streams) {
            const bool general = stream == QLatin1String("General.ini");
            unsigned int family = BlockDefinition::GeneralFamily;
            if (!general && StoredNames::familyDefinitionStream(stream, &family) != StoredNames::Number::Valid)
                continue;
            ParameterDefinition *definition =
                ParameterDefinitionLoader::createAndLoadParameterDefinition(entry.storage->readStream(stream));
            if (!definition)
                continue;
            definition->setVersion(version);
            // A definition already under that key would be lost: the later stream replaces it.
            delete parameterDefinitions.take(qMakePair(family, entry.number));
            q->attachParameterFamilyDefinition(family, entry.number, definition);
            if (general) {
                const QString descriptionName = QStringLiteral("Description.html");
                const QByteArray description = hasStream(entry.storage, descriptionName)
                    ? entry.storage->readStream(descriptionName)
                    : QByteArray();
                definition->setDescriptionText(QString::fromUtf8(description));
            }
        }
    }
}

void BlockDefinitionPrivate::readParameterLevels(FileStorageView *storage)
{
    if (!hasStorage(storage, QStringLiteral("ParameterLevel")))
        return;
    FileStorageView *levels = storage->storage(QStringLiteral("ParameterLevel"));
    const QStringList streams = levels->streamNames();
    for (const QString &stream : streams) {
        const QString parameter = StoredNames::levelStreamParameter(stream);
        if (parameter.isEmpty())
            continue;
        // The stream is one of those just listed: read it without looking it up again, which
        // would make a storage of many streams cost their square.
        TypedIniReader reader;
        if (!reader.setData(levels->readStream(stream), QStringLiteral("parameterlevel")))
            continue;
        const QList<QByteArray> sections = reader.sectionNames();
        for (const QByteArray &section : sections) {
            const bool general = section == "General";
            unsigned int familyNumber = BlockDefinition::GeneralFamily;
            if (!general && StoredNames::familySection(section, &familyNumber) != StoredNames::Number::Valid)
                continue;
            const QList<QPair<QByteArray, int>> properties{{"LevelRead", 5}, {"LevelWrite", 6}};
            for (const auto &[key, property] : properties) {
                if (!reader.contains(section, key))
                    continue;
                const QString value = reader.decode(reader.rawValue(section, key));
                if (general)
                    q->instantiationData()->setGeneralParameterProperty(parameter, property, value);
                else
                    q->instantiationData()->setFamilyParameterProperty(familyNumber, parameter, property, value);
            }
        }
    }
}

void BlockDefinitionPrivate::save(FileStorageView *storage)
{
    writeInfo(storage);
    invokeCode("save");
    storage->writeStream(CodeStream, q->codeText());
    writeInterface(storage);
    writeImages(storage);
    writeParameters(storage);
    if (!descriptionText.isEmpty())
        storage->writeStream(DescriptionStream, descriptionText);
    localBlockLibrary->save(storage);
}

void BlockDefinitionPrivate::readInfo(const TypedIniReader &reader, bool *infoFound)
{
    *infoFound = reader.hasSection("Info");
    if (!*infoFound)
        return;
    auto number = [&](const QByteArray &key) {
        unsigned int value = 0;
        return reader.unsignedNumber("Info", key, &value) ? value : 0u;
    };
    if (reader.contains("Info", "MaxUsedSystemBlock"))
        q->setMaxUsedSystemBlock(number("MaxUsedSystemBlock"));
    if (reader.contains("Info", "LevelVisible"))
        q->setAccessLevelRead(number("LevelVisible"));
    q->setAccessLevelWrite(reader.contains("Info", "LevelWrite") ? number("LevelWrite") : 6u);

    eRuntimeMembership membership = eRuntimeMembershipStandard;
    if (block && (block->isSystemBlock() || block->isToolBlock() || block->isMagicBlock())) {
        // The stored convention pairs the task numbers with memberships this way.
        switch (number("Tasks")) {
        case 2: membership = eRuntimeMembershipTask2; break;
        case 3: membership = eRuntimeMembershipTask3; break;
        case 4: membership = eRuntimeMembershipTask4; break;
        case 5: membership = eRuntimeMembershipStandard; break;
        default: membership = eRuntimeMembershipNone; break;
        }
    }
    q->setRuntimeMembership(membership);
}

void BlockDefinitionPrivate::readTemplate(const TypedIniReader &reader)
{
    if (!reader.hasSection("Template"))
        return;
    unsigned int level = 0;
    if (reader.contains("Template", "LevelEditOfCopy")) {
        if (!reader.unsignedNumber("Template", "LevelEditOfCopy", &level))
            level = 0;
        templateInfo()->targetAccessLevelRead = level;
        templateInfo()->targetAccessLevelWrite = level;
    }
    if (reader.contains("Template", "AvailableFor")) {
        const QByteArray availableFor = reader.rawValue("Template", "AvailableFor").toLower();
        templateInfo()->global = availableFor == "global";
        templateInfo()->exclusive = availableFor == "exklusiv";
    }
    if (reader.contains("Template", "ParameterGroup"))
        parameterGroup = reader.rawValue("Template", "ParameterGroup");
}

void BlockDefinitionPrivate::readInterface(FileStorageView *storage)
{
    if (!hasStorage(storage, InterfaceStorage))
        return;
    FileStorageView *interface = storage->storage(InterfaceStorage);
    const QStringList streams = interface->streamNames();
    for (const QString &stream : streams) {
        // Pin_2 and Pin_02 name one pin: the first stream listed is read, the other skipped.
        int number = 0;
        if (StoredNames::pinStream(stream, &number) != StoredNames::Number::Valid || pins.contains(number))
            continue;
        // Listed above: no second lookup (see readParameterLevels).
        TypedIniReader reader;
        if (!reader.setData(interface->readStream(stream), QStringLiteral("pin")))
            continue;
        BlockPin *pin = q->createPin(number);
        unsigned int datatype = 0;
        if (reader.unsignedNumber("Pin", "Datatype", &datatype) && datatype <= 0xFF)
            pin->setSimpleType(static_cast<unsigned char>(datatype));
        int function = 0;
        if (reader.number("Pin", "Function", &function))
            pin->setFunction(eBlockPinFunction(function));
        QString shortName;
        if (reader.text("Pin", "ShortName", &shortName))
            pin->setShortName(shortName);
        Text name;
        if (reader.languages("Names", &name))
            pin->setName(name);
    }
    TypedIniReader skin;
    if (skin.open(interface, SkinStream, QStringLiteral("blockskin"))) {
        if (skin.contains("Skin", "InputPinOrder"))
            defaultSkin.setInputPinOrder(skin.numberList("Skin", "InputPinOrder"));
        if (skin.contains("Skin", "OutputPinOrder"))
            defaultSkin.setOutputPinOrder(skin.numberList("Skin", "OutputPinOrder"));
    }
}

void BlockDefinitionPrivate::readImages(FileStorageView *storage)
{
    if (!hasStorage(storage, ImagesStorage))
        return;
    FileStorageView *images = storage->storage(ImagesStorage);
    const QStringList streams = images->streamNames();
    for (const QString &stream : streams) {
        // Of several candidates, the last one listed stays.
        QString suffix;
        switch (StoredNames::listImage(stream, &suffix)) {
        case StoredNames::ListImage::Large: q->setLargeListImage(suffix, images->readStream(stream)); break;
        case StoredNames::ListImage::Small: q->setSmallListImage(suffix, images->readStream(stream)); break;
        case StoredNames::ListImage::None: break;
        }
    }
}

void BlockDefinitionPrivate::readWizard(FileStorageView *storage)
{
    if (!hasStorage(storage, WizardStorage))
        return;
    FileStorageView *wizard = storage->storage(WizardStorage);
    if (hasStream(wizard, WizardStream))
        templateInfo()->wizardDefinition = compressed(wizard->readStream(WizardStream));
}

bool BlockDefinitionPrivate::load(FileStorageView *storage)
{
    if (!hasStream(storage, InfoStream))
        return false;
    QMutexLocker locker(&loadMutex());

    const QByteArray info = storage->readStream(InfoStream);
    TypedIniReader reader;
    bool infoFound = false;
    if (reader.setData(info, QStringLiteral("blockversion"))) {
        readInfo(reader, &infoFound);
        q->setCodeText(storage->readStream(CodeStream));
        readInterface(storage);
        readImages(storage);
        readParameters(storage);
        if (hasStorage(storage, QStringLiteral("KsbBinaries")))
            q->instantiationData()->loadKsbBinaries(storage);
        if (hasStorage(storage, QStringLiteral("ParameterValues")))
            q->instantiationData()->loadParameterValues(storage);
        readParameterLevels(storage);
        readWizard(storage);
        if (hasStream(storage, DescriptionStream))
            descriptionText = storage->readStream(DescriptionStream);
    }
    TypedIniReader templateReader;
    if (templateReader.setData(fromTypeLine(info, QStringLiteral("templateblock")), QStringLiteral("templateblock")))
        readTemplate(templateReader);
    (void)localBlockLibrary->load(storage);
    return infoFound;
}

bool BlockDefinition::load(FileStorageView *storage)
{
    return d->load(storage);
}

void BlockDefinition::save(FileStorageView *storage)
{
    d->save(storage);
}

void BlockDefinition::saveForCompareCrc(FileStorageView *storage) const
{
    d->invokeCode("updateDefinitionCodeTextForCompareCrc");
    storage->writeStream(CodeStream, d->codeTextForCompareCrc);
}

QByteArray BlockDefinition::compareCrc32Value()
{
    QByteArray value("00" "00000000");
    CrcFileStorageView root(nullptr);
    d->writeInfo(&root);
    d->invokeCode("updateDefinitionCodeTextForCompareCrc");
    root.writeStream(CodeStream, d->codeTextForCompareCrc);
    d->writeInterface(&root);
    d->writeImages(&root);
    d->writeParameters(&root);
    if (!d->descriptionText.isEmpty())
        root.writeStream(DescriptionStream, d->descriptionText);
    d->localBlockLibrary->saveForCompareCrc(&root);
    value = "00" + QString::fromLatin1("%1").arg(root.checksum(), 8, 16, QLatin1Char('0')).toLatin1();
    return value;
}
