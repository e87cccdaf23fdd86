#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

class BlockInstantiationDataPrivate;
class FileStorageView;

/*
 * What the suite needs to place a block version on a device: the binaries loaded into the
 * drive for it (by number) and the property values of its target parameters, each either
 * for one device family or general (family 0xFFFFFFFF). Lookups prefer the family entry
 * and fall back to the general one. The data only grows; nothing is ever removed.
 */
class KVBLOCKLIBRARY_EXPORT BlockInstantiationData
{
public:
    static constexpr unsigned int GeneralFamily = 0xFFFFFFFFu;

    BlockInstantiationData();
    ~BlockInstantiationData();

    void setFamilyKsbBinary(unsigned int family, unsigned int number, const QByteArray &binary);
    void setGeneralKsbBinary(unsigned int number, const QByteArray &binary);
    // Binary numbers in order of first setting that have a binary for family or generally.
    QList<unsigned int> ksbBinaries(unsigned int family);
    QByteArray ksbBinary(unsigned int family, unsigned int number);

    void setFamilyParameterProperty(unsigned int family, QString parameter, int property, QString value);
    void setGeneralParameterProperty(QString parameter, int property, QString value);
    // Parameter names in order of first setting that have a value for family or generally.
    QList<QString> targetParameter(unsigned int family);
    // Property numbers with a value for family, then those with a general value only; the
    // order within each group is unspecified.
    QList<int> targetParameterPropertyNumbers(unsigned int family, const QString &parameter);
    QString targetParameterPropertyValue(unsigned int family, QString const &parameter, int property);

    // Reads "KsbBinaries" and "ParameterValues" of a version storage; absent or malformed
    // entries are skipped.
    void loadKsbBinaries(FileStorageView *versionStorage);
    void loadParameterValues(FileStorageView *versionStorage);

private:
    BlockInstantiationDataPrivate *const d;
    Q_DISABLE_COPY(BlockInstantiationData)
};
