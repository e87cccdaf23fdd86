#pragma once

#include <KvBlockLibrary/PlausibilityRule.h>

struct PdoPlausibilityRulePrivate;

/*
 * A parameter that may only be written while the drive's enable is off must not be mapped
 * into a PDO; "PdoMapping", "EnableOff" and "WriteLevel" must all be present.
 *
 * The message is kept the rule's own way: a passing check sets it to "Unzulässiges
 * PDO-Mapping", a failing check leaves whatever the last passing check left.
 */
class KVBLOCKLIBRARY_EXPORT PdoPlausibilityRule : public PlausibilityRule
{
public:
    PdoPlausibilityRule();

    void setProperties(PlausibilityProperties *properties) override;
    void evaluate() override;
    bool isValid() override;
    QString message() override;
    virtual ~PdoPlausibilityRule();

private:
    PdoPlausibilityRulePrivate *const d;
    Q_DISABLE_COPY(PdoPlausibilityRule)
};
