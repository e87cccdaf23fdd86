#pragma once

#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/kvblocklibrary_export.h>
#include <KvDatatype/SimpleType.h>
#include <KvMultilingual/Text.h>

#include <QtWidgets/QTreeWidget>

class BlockDefinition;
class BlockSkinPinListPrivate;
class BlockSkinPinPropertiesView;

/*
 * The pins of one function (inputs or outputs) of a block definition, in the order in
 * which the definition's default skin draws them, with the columns "Kurzname", "Datentyp"
 * and "Reihenfolge".
 *
 * The list is a working copy: edits go into its items only, and the definition, its pins
 * and the skin's pin order change only in updateBlockDefinition(). Two lists (one per
 * function) share one details pane and one counter for new pin identifiers.
 */
class KVBLOCKLIBRARY_EXPORT BlockSkinPinList : public QTreeWidget
{
    Q_OBJECT

public:
    explicit BlockSkinPinList(QWidget *parent = nullptr);
    ~BlockSkinPinList() override;

    // 1 input, 2 output; also sets up the columns, sorting and the current-item tracking.
    void setPinFunction(int function);
    // Not owned; runs updateView().
    void setBlockDefinition(BlockDefinition *definition);
    // The shared details pane; not owned. Its edits reach every list connected to it, and
    // each list acts on the identifiers it holds.
    void setPropertiesView(BlockSkinPinPropertiesView *view);

signals:
    // Emitted by createNewPin() with the identifier the next new pin will get.
    void nextNewPinIdentifierChanged(qint32 value);

public slots:
    void updateView();
    void updateBlockDefinition();
    // Only stored: a read-only list ignores createNewPin().
    void setReadOnly(bool readOnly);
    void convertToMultilingual();
    void convertToMonolingual(int language);
    void createNewPin();
    // Deletes the current item; the order keeps its identifier.
    void deleteSelectedPin();
    void setNextNewPinIdentifier(qint32 value);

protected:
    // A list that gets the focus shows its current pin in the shared pane.
    void focusInEvent(QFocusEvent *event) override;

private slots:
    void showCurrentItemProperties();
    void onShortNameChanged(qint32 identifier, QString value);
    void onNameChanged(qint32 identifier, Text value);
    void onFunctionTypeChanged(qint32 identifier, eBlockPinFunction value);
    void onDatatypeChanged(qint32 identifier, tSimpleType value);
    void onPositionChanged(qint32 identifier, int position);
    void setItemPinIsActive(qint32 identifier);
    void deletePin(qint32 identifier);

private:
    friend class BlockSkinPinListPrivate;
    BlockSkinPinListPrivate *const d;
};
