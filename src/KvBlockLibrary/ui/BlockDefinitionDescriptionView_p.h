#pragma once

#include "BlockDefinitionDescriptionView.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>

namespace Ui {
class BlockDefinitionDescriptionView;
}

class BlockDefinitionDescriptionViewPrivate : public QObject
{
    Q_OBJECT

public:
    BlockDefinitionDescriptionViewPrivate(BlockDefinitionDescriptionView *q, BlockDefinition *definition, bool readOnly);
    ~BlockDefinitionDescriptionViewPrivate() override;

    QString historyHtml() const;

    Ui::BlockDefinitionDescriptionView *const ui;
    QPointer<BlockDefinition> definition;
    const bool readOnly;
    BlockDefinitionDescriptionView *const q;
};
