#include "BlockInstantiationData.h"

#include "StoredNames_p.h"
#include "TypedIni_p.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxUtilities/StreamType.h>

#include <QtCore/QHash>
#include <QtCore/QSet>

namespace {

struct PropertyKey
{
    unsigned int family;
    QString parameter;
    int property;
    bool operator==(const PropertyKey &other) const
    {
        return family == other.family && property == other.property && parameter == other.parameter;
    }
};

size_t qHash(const PropertyKey &key, size_t seed = 0)
{
    return qHashMulti(seed, key.family, key.parameter, key.property);
}

using BinaryKey = QPair<unsigned int, unsigned int>;

} // namespace

class BlockInstantiationDataPrivate
{
public:
    explicit BlockInstantiationDataPrivate(BlockInstantiationData *data)
        : q(data)
    {
    }

    QList<unsigned int> binaryNumbers;
    QHash<BinaryKey, QByteArray> binaries;
    QList<QPair<QString, int>> propertyKeys;
    QHash<PropertyKey, QString> propertyValues;
    // Indexes of the two lists, so that a version with many parameters loads and answers in
    // time proportional to its size: the binary numbers as a set, and each parameter's
    // property numbers in first-setting order (a parameter has only a few).
    QSet<unsigned int> binaryNumberSet;
    QHash<QString, QList<int>> propertiesOfParameter;
    BlockInstantiationData *const q;
};

BlockInstantiationData::BlockInstantiationData()
    : d(new BlockInstantiationDataPrivate(this))
{
}

BlockInstantiationData::~BlockInstantiationData()
{
    delete d;
}

void BlockInstantiationData::setFamilyKsbBinary(unsigned int family, unsigned int number, const QByteArray &binary)
{
    d->binaries.insert(BinaryKey(family, number), binary);
    if (!d->binaryNumberSet.contains(number)) {
        d->binaryNumberSet.insert(number);
        d->binaryNumbers.append(number);
    }
}

void BlockInstantiationData::setGeneralKsbBinary(unsigned int number, const QByteArray &binary)
{
    setFamilyKsbBinary(GeneralFamily, number, binary);
}

QList<unsigned int> BlockInstantiationData::ksbBinaries(unsigned int family)
{
    QList<unsigned int> numbers;
    for (unsigned int number : std::as_const(d->binaryNumbers)) {
        if (d->binaries.contains(BinaryKey(family, number)) || d->binaries.contains(BinaryKey(GeneralFamily, number)))
            numbers.append(number);
    }
    return numbers;
}

QByteArray BlockInstantiationData::ksbBinary(unsigned int family, unsigned int number)
{
    auto it = d->binaries.constFind(BinaryKey(family, number));
    if (it != d->binaries.cend())
        return *it;
    return d->binaries.value(BinaryKey(GeneralFamily, number));
}

void BlockInstantiationData::setFamilyParameterProperty(unsigned int family, QString parameter, int property,
                                                        QString value)
{
    d->propertyValues.insert(PropertyKey{family, parameter, property}, value);
    QList<int> &properties = d->propertiesOfParameter[parameter];
    if (!properties.contains(property)) {
        properties.append(property);
        d->propertyKeys.append(qMakePair(parameter, property));
    }
}

void BlockInstantiationData::setGeneralParameterProperty(QString parameter, int property, QString value)
{
    setFamilyParameterProperty(GeneralFamily, parameter, property, value);
}

QList<QString> BlockInstantiationData::targetParameter(unsigned int family)
{
    QList<QString> parameters;
    QSet<QString> listed;
    for (const auto &[parameter, property] : std::as_const(d->propertyKeys)) {
        if (listed.contains(parameter))
            continue;
        if (d->propertyValues.contains(PropertyKey{family, parameter, property})
            || d->propertyValues.contains(PropertyKey{GeneralFamily, parameter, property})) {
            parameters.append(parameter);
            listed.insert(parameter);
        }
    }
    return parameters;
}

QList<int> BlockInstantiationData::targetParameterPropertyNumbers(unsigned int family, const QString &parameter)
{
    // Each property number of the parameter is known once; its value decides the group.
    QList<int> familyNumbers;
    QList<int> generalNumbers;
    const QList<int> properties = d->propertiesOfParameter.value(parameter);
    for (int property : properties) {
        if (d->propertyValues.contains(PropertyKey{family, parameter, property}))
            familyNumbers.append(property);
        else if (d->propertyValues.contains(PropertyKey{GeneralFamily, parameter, property}))
            generalNumbers.append(property);
    }
    return familyNumbers + generalNumbers;
}

QString BlockInstantiationData::targetParameterPropertyValue(unsigned int family, QString const &parameter,
                                                             int property)
{
    auto it = d->propertyValues.constFind(PropertyKey{family, parameter, property});
    if (it != d->propertyValues.cend())
        return *it;
    return d->propertyValues.value(PropertyKey{GeneralFamily, parameter, property});
}

void BlockInstantiationData::loadKsbBinaries(FileStorageView *versionStorage)
{
    const QList<NumberedStorage> numbers = numberedStorages(versionStorage, QStringLiteral("KsbBinaries"));
    for (const NumberedStorage &entry : numbers) {
        const QStringList streams = entry.storage->streamNames();
        for (const QString &stream : streams) {
            unsigned int family = 0;
            if (StoredNames::familyBinaryStream(stream, &family) == StoredNames::Number::Valid)
                setFamilyKsbBinary(family, entry.number, entry.storage->readStream(stream));
            else if (stream == QLatin1String("General.bin"))
                setGeneralKsbBinary(entry.number, entry.storage->readStream(stream));
        }
    }
}

void BlockInstantiationData::loadParameterValues(FileStorageView *versionStorage)
{
    if (!hasStorage(versionStorage, QStringLiteral("ParameterValues")))
        return;
    FileStorageView *values = versionStorage->storage(QStringLiteral("ParameterValues"));
    if (!hasStream(values, QStringLiteral("order.txt")))
        return;
    const QByteArray order = values->readStream(QStringLiteral("order.txt"));
    StreamType orderType;
    orderType.setStreamData(order);
    if (!orderType.contains(QStringLiteral("order")) || orderType.version(QStringLiteral("order")) != 0)
        return;

    // Looked up once: an order of many lines must not list the storage for each of them.
    const QStringList streamList = values->streamNames();
    const QSet<QString> streams(streamList.cbegin(), streamList.cend());
    const QStringList listed = StoredNames::orderedStreams(order);
    for (const QString &streamName : listed) {
        const QString parameter = streamName.section(QLatin1Char('.'), 0, 0);
        TypedIniReader reader;
        if (!streams.contains(streamName)
            || !reader.setData(values->readStream(streamName), QStringLiteral("parametervalue")))
            continue;
        const QList<QByteArray> sections = reader.sectionNames();
        for (const QByteArray &section : sections) {
            if (!reader.contains(section, "Value"))
                continue;
            const QString value = reader.decode(reader.rawValue(section, "Value"));
            unsigned int family = 0;
            if (StoredNames::familySection(section, &family) == StoredNames::Number::Valid)
                setFamilyParameterProperty(family, parameter, 109, value);
            else if (section == "General")
                setGeneralParameterProperty(parameter, 109, value);
        }
    }
}
