#include "BlockDefinition.h"
#include "BlockDefinition_p.h"

#include "Block.h"
#include "BlockInstantiationData.h"
#include "BlockLibrary.h"
#include "BlockLibraryContainer.h"
#include "BlockPin.h"

#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvSystem/System.h>
#include <LxUtilities/StreamType.h>

#include <QtCore/QFile>
#include <QtCore/QMetaMethod>
#include <QtCore/QMutex>
#include <QtCore/QSignalBlocker>

#include <algorithm>

namespace {

unsigned int currentLevel()
{
    return System::instance()->currentAccessLevel();
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

QByteArray BlockDefinitionPrivate::uncompressed(const QByteArray &compressed)
{
    return compressed.isEmpty() ? QByteArray() : qUncompress(compressed);
}

QByteArray BlockDefinitionPrivate::compressed(const QByteArray &data)
{
    if (data.isEmpty())
        return QByteArray();
    // qCompress allocates for the worst case and only shrinks the size, not the allocation:
    // without squeezing, a payload held compressed would still take its uncompressed room.
    QByteArray result = qCompress(data);
    result.squeeze();
    return result;
}

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

void BlockDefinitionPrivate::onSubLibraryModifiedChanged(bool)
{
    emit changed();
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
    return BlockDefinitionPrivate::uncompressed(d->codeText);
}

void BlockDefinition::setCodeText(QByteArray text)
{
    StreamType type;
    type.setStreamData(text);
    if (type.contains(QStringLiteral("code"))) {
        d->codeTextVersion = type.version(QStringLiteral("code"));
        d->codeText = BlockDefinitionPrivate::compressed(text);
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
    const QByteArray stored = BlockDefinitionPrivate::uncompressed(d->smallListImage);
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
    return BlockDefinitionPrivate::uncompressed(d->largeListImage);
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
    const QByteArray packed = BlockDefinitionPrivate::compressed(data);
    if (d->smallListImage == packed && d->smallListImageName == name)
        return;
    d->smallListImage = packed;
    d->smallListImageName = name;
    emit changed();
}

void BlockDefinition::setLargeListImage(const QString &name, const QByteArray &data)
{
    const QByteArray packed = BlockDefinitionPrivate::compressed(data);
    if (d->largeListImage == packed && d->largeListImageName == name)
        return;
    d->largeListImage = packed;
    d->largeListImageName = name;
    emit changed();
}

QByteArray BlockDefinition::wizardDefinition() const
{
    return d->templateData ? BlockDefinitionPrivate::uncompressed(d->templateData->wizardDefinition) : QByteArray();
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
