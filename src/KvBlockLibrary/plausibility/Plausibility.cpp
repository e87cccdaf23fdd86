#include "MemoryAllocationPlausibilityRule.h"
#include "PdoPlausibilityRule.h"
#include "PlausibilityEvaluator.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

struct PdoPlausibilityRulePrivate
{
    PlausibilityProperties *properties = nullptr;
    bool valid = true;
    QString message;
};

PdoPlausibilityRule::PdoPlausibilityRule()
    : d(new PdoPlausibilityRulePrivate)
{
}

PdoPlausibilityRule::~PdoPlausibilityRule()
{
    delete d;
}

void PdoPlausibilityRule::setProperties(PlausibilityProperties *properties)
{
    d->properties = properties;
}

void PdoPlausibilityRule::evaluate()
{
    const PlausibilityProperties *properties = d->properties;
    const QString pdoMapping = QStringLiteral("PdoMapping");
    const QString enableOff = QStringLiteral("EnableOff");
    d->valid = true;
    if (!isPresent(properties, pdoMapping) || !isPresent(properties, enableOff)
        || !isPresent(properties, QStringLiteral("WriteLevel"))) {
        d->valid = false;
    } else if (properties->value(pdoMapping).toBool() && properties->value(enableOff).toBool()) {
        d->valid = false;
    }
    // This rule's message is set by a passing check and left alone by a failing one; the
    // dialog relies on exactly this.
    if (d->valid) {
        d->message.clear();
        if (d->message.isEmpty())
            d->message = QCoreApplication::translate("PdoPlausibilityRule", "Unzulässiges PDO-Mapping");
    }
}

bool PdoPlausibilityRule::isValid()
{
    return d->valid;
}

QString PdoPlausibilityRule::message()
{
    return d->message;
}

class MemoryAllocationPlausibilityRulePrivate : public QObject
{
public:
    PlausibilityProperties *properties = nullptr;
    bool valid = true;
    QString message;
};

MemoryAllocationPlausibilityRule::MemoryAllocationPlausibilityRule()
    : d(new MemoryAllocationPlausibilityRulePrivate)
{
}

MemoryAllocationPlausibilityRule::~MemoryAllocationPlausibilityRule()
{
    delete d;
}

void MemoryAllocationPlausibilityRule::setProperties(PlausibilityProperties *properties)
{
    d->properties = properties;
}

void MemoryAllocationPlausibilityRule::evaluate()
{
    const PlausibilityProperties *properties = d->properties;
    // "NoWrite" is part of the rule's inputs but decides nothing.
    (void)isPresent(properties, QStringLiteral("NoWrite"));
    d->valid = isPresent(properties, QStringLiteral("WriteLevel")) && isPresent(properties, QStringLiteral("SaveInKT"));
    if (d->valid)
        d->message.clear();
    else if (d->message.isEmpty())
        d->message = QCoreApplication::translate("MemoryAllocationPlausibilityRule", "Inkonsistenter Speichertyp");
}

bool MemoryAllocationPlausibilityRule::isValid()
{
    return d->valid;
}

QString MemoryAllocationPlausibilityRule::message()
{
    return d->message;
}

class PlausibilityEvaluatorPrivate : public QObject
{
public:
    explicit PlausibilityEvaluatorPrivate(QObject *parent)
        : QObject(parent)
    {
    }

    PlausibilityProperties *properties = nullptr;
    QList<PlausibilityRule *> rules;
    QStringList messages;
    bool plausible = false;
    // The evaluator owns the rules it creates and destroys them through their own types.
    std::vector<std::unique_ptr<PdoPlausibilityRule>> pdoRules;
    std::vector<std::unique_ptr<MemoryAllocationPlausibilityRule>> memoryRules;
};

PlausibilityEvaluator::PlausibilityEvaluator(QObject *parent)
    : QObject(parent)
    , d(new PlausibilityEvaluatorPrivate(this))
{
}

PlausibilityEvaluator::~PlausibilityEvaluator()
{
    delete d;
}

void PlausibilityEvaluator::setProperties(PlausibilityProperties *properties)
{
    d->properties = properties;
    d->pdoRules.push_back(std::make_unique<PdoPlausibilityRule>());
    d->memoryRules.push_back(std::make_unique<MemoryAllocationPlausibilityRule>());
    PlausibilityRule *pdo = d->pdoRules.back().get();
    PlausibilityRule *memory = d->memoryRules.back().get();
    pdo->setProperties(properties);
    memory->setProperties(properties);
    d->rules.append(pdo);
    d->rules.append(memory);
}

void PlausibilityEvaluator::evaluate()
{
    d->messages.clear();
    d->plausible = true;
    for (PlausibilityRule *rule : std::as_const(d->rules)) {
        rule->evaluate();
        if (!rule->isValid()) {
            d->messages.append(rule->message());
            d->plausible = false;
        }
    }
}

bool PlausibilityEvaluator::isPlausible()
{
    return d->plausible;
}

QString PlausibilityEvaluator::lastMessage()
{
    return d->messages.isEmpty() ? QString() : d->messages.last();
}
