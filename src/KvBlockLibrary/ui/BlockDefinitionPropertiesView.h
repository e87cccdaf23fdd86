#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtWidgets/QWidget>

class BlockDefinition;
class BlockDefinitionPropertiesViewPrivate;

/*
 * The "Eigenschaften" page of an ordinary block definition: kind, number, short name and
 * multilingual name of the block, version, access levels, one or all languages, and the
 * input and output pins with a details pane.
 *
 * updateView() copies the model into the widgets; updateBlockDefinition() copies the
 * widgets back and is meant for the accepted() signal of the hosting dialog. Nothing
 * reaches the model before that.
 */
class KVBLOCKLIBRARY_EXPORT BlockDefinitionPropertiesView : public QWidget
{
    Q_OBJECT

public:
    explicit BlockDefinitionPropertiesView(QWidget *parent = nullptr);
    ~BlockDefinitionPropertiesView() override;

    // Not owned; the view shows the definition's block too. Runs updateView().
    void setBlockDefinition(BlockDefinition *definition);
    // Runs updateView().
    void setReadOnly(bool readOnly);

public slots:
    void updateView();
    void updateBlockDefinition();

private slots:
    void lingualChanged(int index);

private:
    friend class BlockDefinitionPropertiesViewPrivate;
    BlockDefinitionPropertiesViewPrivate *const d;
};
