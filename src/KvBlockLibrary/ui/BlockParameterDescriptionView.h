#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtWidgets/QWidget>

class BlockDefinition;
class BlockParameterDescriptionViewPrivate;

/*
 * The "Beschreibung" page of a parameter-definition block: the HTML description of the one
 * parameter the page is made for (the definition of that number which a device family
 * sees, or the general one). The parameter changes only in updateBlockDefinition(), and
 * only when the user edited the description.
 */
class KVBLOCKLIBRARY_EXPORT BlockParameterDescriptionView : public QWidget
{
    Q_OBJECT

public:
    // definition is not owned. Runs updateView().
    BlockParameterDescriptionView(BlockDefinition *definition, unsigned int family, unsigned int parameterNumber,
                                  bool readOnly, QWidget *parent = nullptr);
    ~BlockParameterDescriptionView() override;

public slots:
    void updateView();
    // Writes an edited description into the parameter and announces the block definition
    // as changed; an untouched or read-only page writes nothing.
    void updateBlockDefinition();

private:
    friend class BlockParameterDescriptionViewPrivate;
    BlockParameterDescriptionViewPrivate *const d;
};
