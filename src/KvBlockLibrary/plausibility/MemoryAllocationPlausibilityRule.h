#pragma once

#include <KvBlockLibrary/PlausibilityRule.h>

class MemoryAllocationPlausibilityRulePrivate;

/*
 * The memory a parameter is kept in must be known: "WriteLevel" and "SaveInKT" must both be
 * present. A failing check carries the message "Inkonsistenter Speichertyp", a passing one
 * none.
 */
class KVBLOCKLIBRARY_EXPORT MemoryAllocationPlausibilityRule final : public PlausibilityRule
{
public:
    MemoryAllocationPlausibilityRule();
    ~MemoryAllocationPlausibilityRule();

    void setProperties(PlausibilityProperties *properties) override;
    void evaluate() override;
    bool isValid() override;
    QString message() override;

private:
    MemoryAllocationPlausibilityRulePrivate *const d;
    Q_DISABLE_COPY(MemoryAllocationPlausibilityRule)
};
