#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

class BlockPropertiesSupportPrivate;
class PlausibilityEvaluator;

/*
 * The current values of the parameter properties being edited in one properties dialog,
 * by their keys ("PdoMapping", "EnableOff", ...), and the plausibility of the whole.
 * The views publish every value they edit here; the evaluator always reads the live table.
 */
class KVBLOCKLIBRARY_EXPORT BlockPropertiesSupport : public QObject
{
    Q_OBJECT

public:
    explicit BlockPropertiesSupport(QObject *parent = nullptr);
    ~BlockPropertiesSupport() override;

    // Inserts or replaces the value, then emits plausibilityChanged() with the result of
    // the last evaluation: a new value only counts once checkPlausibility() runs again.
    void setProperty(const QString &key, const QVariant &value);
    QVariant property(const QString &key) const;
    // Owned by the support; never null.
    PlausibilityEvaluator *evaluator() const;

signals:
    // Emitted once by every checkPlausibility() and every setProperty().
    void plausibilityChanged(bool valid);

public slots:
    // Evaluates the table, then emits plausibilityChanged() with the result.
    void checkPlausibility();

private:
    friend class BlockPropertiesSupportPrivate;
    BlockPropertiesSupportPrivate *const d;
};
