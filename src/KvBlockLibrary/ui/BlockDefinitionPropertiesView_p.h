#pragma once

#include "BlockDefinitionPropertiesView.h"

#include <KvMultilingual/TextWidgetProvider.h>

#include <QtCore/QObject>

class Block;

namespace Ui {
class BlockDefinitionPropertiesView;
}

class BlockDefinitionPropertiesViewPrivate : public QObject
{
    Q_OBJECT

public:
    explicit BlockDefinitionPropertiesViewPrivate(BlockDefinitionPropertiesView *q);
    ~BlockDefinitionPropertiesViewPrivate() override;

    QString nameLabel() const;
    void fillAccessLevels();
    void applyReadOnly();
    void placeNameEditsInTabOrder();

    Ui::BlockDefinitionPropertiesView *const ui;
    Block *block = nullptr;
    BlockDefinition *definition = nullptr;
    TextWidgetProvider nameProvider;
    bool readOnly = false;
    BlockDefinitionPropertiesView *const q;
};
