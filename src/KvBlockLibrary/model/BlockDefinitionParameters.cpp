// The parameter definitions a version carries, by family and number, and their stored form
// under "Parameter" and "ParameterLevel".
#include "BlockDefinition.h"
#include "BlockDefinition_p.h"

#include "Block.h"
#include "BlockInstantiationData.h"
#include "StoredNames_p.h"
#include "TypedIni_p.h"

#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/ParameterDefinitionLoader.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <LxFileSystem/FileStorageView.h>

#include <algorithm>

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
