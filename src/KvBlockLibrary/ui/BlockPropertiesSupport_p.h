#pragma once

#include "BlockPropertiesSupport.h"

#include <QtCore/QHash>
#include <QtCore/QObject>

#include <memory>

class BlockPropertiesSupportPrivate : public QObject
{
    Q_OBJECT

public:
    explicit BlockPropertiesSupportPrivate(BlockPropertiesSupport *q);

    const std::unique_ptr<QHash<QString, QVariant>> properties;
    BlockPropertiesSupport *const q;
    PlausibilityEvaluator *const evaluator; // child of the support
};
