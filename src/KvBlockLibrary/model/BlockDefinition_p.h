#pragma once

#include "BlockDefinition.h"
#include "BlockSkin.h"
#include "LocalBlockContainer.h"

#include <KvCodeEditor/BlockCode.h>
#include <KvCodeEditor/LibraryBlockDefinitionSubWindow.h>

#include <QtCore/QHash>
#include <QtCore/QPair>
#include <QtCore/QPointer>

#include <memory>

// Names of the streams and storages of a version's own storage.
namespace VersionStorage {
inline const QString InfoStream = QStringLiteral("Info.ini");
inline const QString CodeStream = QStringLiteral("Code.txt");
inline const QString InterfaceStorage = QStringLiteral("Interface");
inline const QString SkinStream = QStringLiteral("DefaultSkin");
inline const QString ImagesStorage = QStringLiteral("Images");
inline const QString WizardStorage = QStringLiteral("Wizard");
inline const QString WizardStream = QStringLiteral("Definition.txt");
inline const QString DescriptionStream = QStringLiteral("Description");
} // namespace VersionStorage

// Template settings of a definition; created on first write or when loading finds a wizard.
struct TemplateInfo
{
    quint8 flags = 0; // copied by cloneFrom, no meaning of its own here
    bool global = false;
    bool exclusive = false;
    unsigned int targetAccessLevelRead = 0;
    unsigned int targetAccessLevelWrite = 0;
    QByteArray wizardDefinition; // qCompress'ed
};

class BlockDefinitionPrivate : public QObject
{
    Q_OBJECT

public:
    BlockDefinitionPrivate(BlockDefinition *definition, Block *block, unsigned int version);
    ~BlockDefinitionPrivate() override;

    TemplateInfo *templateInfo();
    // Stores the pin and forwards its changes, as createPin does.
    void adoptPin(BlockPin *pin);
    // Code text, list images and wizard definition are held qCompress'ed; these convert.
    static QByteArray compressed(const QByteArray &data);
    static QByteArray uncompressed(const QByteArray &compressed);

    bool load(FileStorageView *storage);
    void save(FileStorageView *storage);
    // The version's own streams and storages, without its local blocks, with the given code
    // text: the stored form and the comparison value differ only in those two.
    void writeVersion(FileStorageView *storage, const QByteArray &code) const;
    void writeInfo(FileStorageView *storage) const;
    void writeInterface(FileStorageView *storage) const;
    void writeImages(FileStorageView *storage) const;
    void readInfo(const class TypedIniReader &reader, bool *infoFound);
    void readTemplate(const class TypedIniReader &reader);
    void readInterface(FileStorageView *storage);
    void readImages(FileStorageView *storage);
    void readWizard(FileStorageView *storage);
    void writeParameters(FileStorageView *storage) const;
    void readParameters(FileStorageView *storage);
    void readParameterLevels(FileStorageView *storage);
    // Every key of the parameter map, sorted by number and then family.
    QList<QPair<unsigned int, unsigned int>> parameterKeys() const;
    void invokeCode(const char *method) const;

    Block *block;
    unsigned int version;
    QByteArray smallListImage;
    QByteArray largeListImage;
    QString smallListImageName;
    QString largeListImageName;
    unsigned int accessLevelRead = 0;
    unsigned int accessLevelWrite = 0;
    QByteArray parameterGroup;
    bool showModified = false;
    QByteArray descriptionText;
    BlockLibrary *localBlockLibrary = nullptr;
    // (family, number) -> owned parameter definition
    QHash<QPair<unsigned int, unsigned int>, ParameterDefinition *> parameterDefinitions;
    eRuntimeMembership runtimeMembership = eRuntimeMembershipStandard;
    QHash<int, BlockPin *> pins;
    QByteArray codeText;
    unsigned int codeTextVersion = 0;
    unsigned int maxUsedSystemBlock = 0;
    QPointer<BlockCode> code;
    QByteArray codeTextForCompareCrc;
    QPointer<LibraryBlockDefinitionSubWindow> editSubWindow;
    BlockSkin defaultSkin;
    LocalBlockContainer localContainer;
    QHash<QString, QString> localSubstitutions;
    QList<QObject *> registeredInstances;
    BlockDefinition *const q;
    std::unique_ptr<TemplateInfo> templateData;
    mutable std::unique_ptr<BlockInstantiationData> instantiationData;

public slots:
    void onBlockCodeChanged();
    void onSubLibraryModifiedChanged(bool modified);

signals:
    // Forwarded to the public object's changed().
    void changed();
};
