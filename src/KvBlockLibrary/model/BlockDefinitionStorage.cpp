// The stored form of a version: its storage with "Info.ini", code, pins and skin, images,
// parameters, instantiation data, wizard, description and local blocks.
#include "BlockDefinition.h"
#include "BlockDefinition_p.h"

#include "Block.h"
#include "BlockInstantiationData.h"
#include "BlockLibrary.h"
#include "BlockPin.h"
#include "StoredNames_p.h"
#include "TypedIni_p.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxUtilities/StreamType.h>

#include <QtCore/QRecursiveMutex>

namespace {

// Loading a version may load local blocks, whose versions load again: the lock is recursive.
QRecursiveMutex &loadMutex()
{
    static QRecursiveMutex mutex;
    return mutex;
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

} // namespace

using namespace VersionStorage;

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
    const QByteArray large = BlockDefinitionPrivate::uncompressed(largeListImage);
    if (!large.isEmpty())
        images->writeStream(QStringLiteral("IconLarge.") + largeListImageName, large);
    const QByteArray small = BlockDefinitionPrivate::uncompressed(smallListImage);
    if (!small.isEmpty())
        images->writeStream(QStringLiteral("IconSmall.") + smallListImageName, small);
}

void BlockDefinitionPrivate::writeVersion(FileStorageView *storage, const QByteArray &code) const
{
    writeInfo(storage);
    storage->writeStream(CodeStream, code);
    writeInterface(storage);
    writeImages(storage);
    writeParameters(storage);
    if (!descriptionText.isEmpty())
        storage->writeStream(DescriptionStream, descriptionText);
}

void BlockDefinitionPrivate::save(FileStorageView *storage)
{
    invokeCode("save");
    writeVersion(storage, q->codeText());
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
    // The default applies only to an absent key within a present [Info] section; a version
    // without the section keeps write level 0.
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
        templateInfo()->wizardDefinition = BlockDefinitionPrivate::compressed(wizard->readStream(WizardStream));
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
