#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtWidgets/QWidget>

class BlockDefinition;
class BlockDefinitionDescriptionViewPrivate;

/*
 * The "Beschreibung" page of a block definition: the descriptions of the block's other
 * versions as a rendered history, and an editor for this version's own description.
 * The definition changes only in updateBlockDefinition(), and only when the user edited
 * the description.
 */
class KVBLOCKLIBRARY_EXPORT BlockDefinitionDescriptionView : public QWidget
{
    Q_OBJECT

public:
    // definition is not owned.
    BlockDefinitionDescriptionView(BlockDefinition *definition, bool readOnly, QWidget *parent = nullptr);
    ~BlockDefinitionDescriptionView() override;

public slots:
    void updateView();
    void updateBlockDefinition();

private:
    friend class BlockDefinitionDescriptionViewPrivate;
    BlockDefinitionDescriptionViewPrivate *const d;
};
