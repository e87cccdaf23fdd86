#include "BlockPropertiesSupport.h"
#include "BlockPropertiesSupport_p.h"

#include "PlausibilityEvaluator.h"

BlockPropertiesSupportPrivate::BlockPropertiesSupportPrivate(BlockPropertiesSupport *q)
    : QObject(q)
    , properties(std::make_unique<QHash<QString, QVariant>>())
    , q(q)
    , evaluator(new PlausibilityEvaluator(q))
{
    // The evaluator keeps the table's address, so it always sees the current values.
    evaluator->setProperties(properties.get());
}

BlockPropertiesSupport::BlockPropertiesSupport(QObject *parent)
    : QObject(parent)
    , d(new BlockPropertiesSupportPrivate(this))
{
}

BlockPropertiesSupport::~BlockPropertiesSupport() = default;

void BlockPropertiesSupport::setProperty(const QString &key, const QVariant &value)
{
    d->properties->insert(key, value);
    Q_EMIT plausibilityChanged(d->evaluator->isPlausible());
}

QVariant BlockPropertiesSupport::property(const QString &key) const
{
    return d->properties->value(key);
}

PlausibilityEvaluator *BlockPropertiesSupport::evaluator() const
{
    return d->evaluator;
}

void BlockPropertiesSupport::checkPlausibility()
{
    d->evaluator->evaluate();
    Q_EMIT plausibilityChanged(d->evaluator->isPlausible());
}
