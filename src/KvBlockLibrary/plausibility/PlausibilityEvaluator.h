#pragma once

#include <KvBlockLibrary/PlausibilityRule.h>

#include <QtCore/QObject>

class PlausibilityEvaluatorPrivate;

/*
 * Runs the rules, PDO mapping first and memory allocation second, over one property table
 * and tells whether the whole is plausible. Every rule runs, also after one failed; the
 * last message collected is the one to show, so the memory rule's wins when both fail.
 */
class KVBLOCKLIBRARY_EXPORT PlausibilityEvaluator : public QObject
{
    Q_OBJECT

public:
    explicit PlausibilityEvaluator(QObject *parent);
    ~PlausibilityEvaluator() override;

    // Remembers the table (not owned) and creates the rules over it. Called once, right
    // after construction: a second call would add a second pair of rules.
    void setProperties(PlausibilityProperties *properties);
    void evaluate();
    // The result of the last evaluate(); false before the first.
    bool isPlausible();
    // The last message the last evaluate() collected; empty when there is none.
    QString lastMessage();

private:
    PlausibilityEvaluatorPrivate *const d;
};
