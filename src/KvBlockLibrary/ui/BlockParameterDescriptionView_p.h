#pragma once

#include "BlockParameterDescriptionView.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>

class ParameterDefinition;

namespace Ui {
class BlockParameterDescriptionView;
}

class BlockParameterDescriptionViewPrivate : public QObject
{
    Q_OBJECT

public:
    BlockParameterDescriptionViewPrivate(BlockParameterDescriptionView *q, BlockDefinition *definition,
                                         unsigned int family, unsigned int parameterNumber, bool readOnly);
    ~BlockParameterDescriptionViewPrivate() override;

    // Looked up anew on every use: the definition may have dropped the parameter meanwhile.
    ParameterDefinition *parameter() const;

    Ui::BlockParameterDescriptionView *const ui;
    QPointer<BlockDefinition> definition;
    const unsigned int family;
    const unsigned int parameterNumber;
    const bool readOnly;
    BlockParameterDescriptionView *const q;
};
