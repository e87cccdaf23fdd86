#pragma once

// Internal: the rules that decide whether the parameter properties being edited fit together.

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVariant>

using PlausibilityProperties = QHash<QString, QVariant>;

/*
 * One rule over a table of parameter property values (property name to value). A property
 * counts as present only when the table holds the key with a valid QVariant. Rules are
 * destroyed through their own type, never through this base.
 */
class KVBLOCKLIBRARY_EXPORT PlausibilityRule
{
public:
    // Remembers the table (not owned); it must be set before the first evaluate().
    virtual void setProperties(PlausibilityProperties *properties) = 0;
    // Checks the table and updates the result and the message.
    virtual void evaluate() = 0;
    // The result of the last evaluate(); true before the first.
    virtual bool isValid() = 0;
    virtual QString message() = 0;

protected:
    PlausibilityRule() = default;
    ~PlausibilityRule() = default;

    static bool isPresent(const PlausibilityProperties *properties, const QString &key)
    {
        const auto it = properties->constFind(key);
        return it != properties->cend() && it->isValid();
    }
};
