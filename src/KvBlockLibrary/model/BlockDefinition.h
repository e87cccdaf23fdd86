#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>
#include <KvParameterDefinition/ParameterDefinitionProvider.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>

class Block;
class BlockCode;
class BlockDefinitionPrivate;
class BlockInstantiationData;
class BlockLibrary;
class BlockPin;
class BlockSkin;
class FileStorageView;
class LibraryBlockDefinitionSubWindow;
class ParameterDefinition;

// The runtime group a block's code runs in. Stored and returned, without further meaning here.
enum eRuntimeMembership : quint32 {
    eRuntimeMembershipNone = 0,
    eRuntimeMembershipStandard = 1,
    eRuntimeMembershipTask2 = 2,
    eRuntimeMembershipTask3 = 3,
    eRuntimeMembershipTask4 = 4,
};

/*
 * One version of a block: its pins, default skin, list images, code text, description,
 * access levels, template settings, parameter definitions, instantiation data and the
 * library of local blocks its code uses.
 *
 * A definition is a Qt child of its block. It owns its pins, skin, local blocks, attached
 * parameter definitions and instantiation data; it does not own its block, code object, edit window or the
 * registered instances. Used on the user-interface thread.
 */
class KVBLOCKLIBRARY_EXPORT BlockDefinition : public QObject, public ParameterDefinitionProvider
{
    Q_OBJECT

public:
    // An empty definition parented to block. Non-tool blocks get the enable pin (-1).
    BlockDefinition(Block *block, unsigned int version);
    ~BlockDefinition() override;

    Block *block() const;
    unsigned int version() const;

    // Unless said otherwise, the setters below emit their signal once, and only on a change.
    // Plain fields: these two setters emit nothing.
    unsigned int accessLevelRead() const;
    void setAccessLevelRead(unsigned int level);
    unsigned int accessLevelWrite() const;
    void setAccessLevelWrite(unsigned int level);

    // Template settings; the getters answer 0 / false until a setter or loading creates them.
    // A setter creates them also when it leaves the value as it was.
    unsigned int templateTargetAccessLevelRead() const;
    unsigned int templateTargetAccessLevelWrite() const;
    void setTemplateTargetAccessLevelRead(unsigned int level);  // emits changed()
    void setTemplateTargetAccessLevelWrite(unsigned int level); // emits changed()
    bool isGlobalTemplate() const;
    bool isExclusiveTemplate() const;
    void setGlobalTemplate(bool global);       // emits changed()
    void setExclusiveTemplate(bool exclusive); // emits changed()

    bool showModified() const;
    void setShowModified(bool show); // emits redrawRequired(), not changed()
    eRuntimeMembership runtimeMembership() const;
    void setRuntimeMembership(eRuntimeMembership membership); // emits changed()
    unsigned int maxUsedSystemBlock() const;
    void setMaxUsedSystemBlock(unsigned int number); // emits changed()
    // Set only by loading.
    QByteArray parameterGroup() const;

    // Against the current user's access level (System).
    bool isVisible() const;
    bool isWritable() const;
    bool isStepInAllowed() const;
    bool isParameterDefinitionBlock() const;
    bool allowDelete() const;

    // A new pin under that number, owned by the definition; null (and the existing pin
    // kept) when the number is taken. Emits pinsModified() in both cases.
    BlockPin *createPin(int number);
    // Deletes the pin, if there is one; emits pinsModified() in every case.
    void deletePin(int number);
    BlockPin *pin(int number) const;
    // Pin numbers in ascending order (the enable pin, -1, first), all or by function.
    QList<int> pins() const;
    QList<int> inputPins() const;
    QList<int> outputPins() const;
    BlockSkin *defaultSkin() const;

    QByteArray codeText() const;
    // Takes the text only when it carries a "code" type line, whose version becomes the
    // code text version; otherwise the previous text stays. Emits changed() in both cases.
    void setCodeText(QByteArray text);
    unsigned int codeTextVersion() const;
    // The code text the comparison value is computed from; set by the code object. Emits nothing.
    void setCodeTextForCompareCrc(QByteArray text);
    QByteArray codeTextForCompareCrc() const;

    QByteArray descriptionText() const;
    void setDescriptionText(QByteArray text); // emits changed()

    // The stored small image, or the default icon of the block's kind when none is stored.
    QByteArray smallListImage() const;
    QByteArray largeListImage() const;
    QString smallListImageName() const;
    QString largeListImageName() const;
    // name is the image's format suffix ("png", "bmp"). Emit changed().
    void setSmallListImage(const QString &name, const QByteArray &data);
    void setLargeListImage(const QString &name, const QByteArray &data);
    QByteArray wizardDefinition() const;
    QString toolTipText() const;

    // Weak references: they read null once the object is gone.
    BlockCode *code() const;
    LibraryBlockDefinitionSubWindow *editSubWindow() const;

    // Objects that use this definition; not owned, no duplicates.
    void registerInstance(QObject *instance);
    void unregisterInstance(QObject *instance);
    unsigned int instanceCount() const;

    // The library of local blocks; owned by the definition.
    BlockLibrary *localBlockLibrary() const;
    // A local copy of block in this version's local library; null when it cannot be made.
    Block *cloneLocalBlock(const Block *block);
    // The identifier under which a local block of the clone source lives here; empty when none.
    QString localSubstitutionForBlock(const QString &identifier) const;

    // The family number that stands for every device family.
    static constexpr unsigned int GeneralFamily = 0xFFFFFFFFu;

    // Parameter definitions by (family, number); the definition takes ownership and makes
    // the block the parameter definition's owner. An entry under the same key is replaced
    // without being deleted: detach it first. Emit changed().
    void attachParameterGeneralDefinition(unsigned int number, ParameterDefinition *definition);
    void attachParameterFamilyDefinition(unsigned int family, unsigned int number, ParameterDefinition *definition);
    // Removes the entry and gives its definition to the caller; null when there is none.
    // Emit changed() in both cases.
    [[nodiscard]] ParameterDefinition *detachParameterFamilyDefinition(unsigned int family, unsigned int number);
    [[nodiscard]] ParameterDefinition *detachParameterGeneralDefinition(unsigned int number);
    // The family's definition of that number, else the general one, else null. Still owned here.
    ParameterDefinition *parameterDefinition(unsigned int family, unsigned int number) const override;
    // The numbers the family sees (its own and the general ones), ascending, each once.
    QList<unsigned int> parameterDefinitionList(unsigned int family) override;

    // Created on first call, owned by the definition; never null.
    BlockInstantiationData *instantiationData() const;

    // Reads a version storage into a new definition; false without a "blockversion"
    // "Info.ini" with an "[Info]" section.
    [[nodiscard]] bool load(FileStorageView *storage);
    void save(FileStorageView *storage);
    void saveForCompareCrc(FileStorageView *storage) const;
    // "00" and eight lower-case hexadecimal digits of the CRC-32 of the version's canonical form.
    QByteArray compareCrc32Value();

    // Deletes pins, parameter definitions and local blocks and drops the code object, whose
    // changes then no longer count; keeps every other field. Emits changed().
    void clear();
    // Makes this definition an independent copy of source. Emits changed() once.
    void cloneFrom(const BlockDefinition *source);

    // Shows the properties of this version in a modal dialog over the main window; the edits
    // reach the definition (and its block's names) only when the user accepts. family chooses
    // the parameter shown for a parameter-definition block. True when the dialog was accepted.
    bool showPropertiesView(bool readOnly, unsigned int family);

signals:
    // Any content change, including every pin change.
    void changed();
    // A pin was created, deleted or changed; always followed by changed().
    void pinsModified();
    // The definition must be drawn again (setShowModified()).
    void redrawRequired();

private:
    friend class BlockDefinitionPrivate;
    friend class CodeEditorAccess;
    // Attaches the code object unless a live one is attached already.
    void setCode(BlockCode *code);
    void setEditSubWindow(LibraryBlockDefinitionSubWindow *window);

    BlockDefinitionPrivate *const d;
    Q_DISABLE_COPY(BlockDefinition)
};
