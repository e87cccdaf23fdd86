// The plausibility evaluator over a sequence of property tables: one row per rule. The
// evaluator owns and deletes its rules (the leak check of the sanitizer build sees it here).
#include "PlausibilityEvaluator.h"

#include <QtTest/QTest>

namespace {

using Step = QPair<PlausibilityProperties, QPair<bool, QString>>; // table, (plausible, last message)

PlausibilityProperties table(std::initializer_list<std::pair<const char *, QVariant>> entries)
{
    PlausibilityProperties properties;
    for (const auto &[key, value] : entries)
        properties.insert(QString::fromLatin1(key), value);
    return properties;
}

const QString Pdo = QStringLiteral("Unzulässiges PDO-Mapping");
const QString Memory = QStringLiteral("Inkonsistenter Speichertyp");

} // namespace

class tst_Plausibility : public QObject
{
    Q_OBJECT

private slots:
    void sequences_data()
    {
        QTest::addColumn<QList<Step>>("steps");

        const auto all = [](bool pdo, bool enableOff) {
            return table({{"PdoMapping", pdo}, {"EnableOff", enableOff}, {"WriteLevel", 3}, {"SaveInKT", true}});
        };
        const auto memory = [](const QVariant &saveInKt) {
            return table({{"PdoMapping", false}, {"EnableOff", false}, {"WriteLevel", 1}, {"SaveInKT", saveInKt}, {"NoWrite", true}});
        };
        // The PDO rule's message is set by a passing check only: its first failure says nothing.
        QTest::newRow("pdo-message-only-after-a-pass")
            << QList<Step>{{all(true, true), {false, QString()}}, {all(true, false), {true, QString()}},
                           {all(true, true), {false, Pdo}}};
        QTest::newRow("pdo-fails-on-a-missing-key")
            << QList<Step>{{all(false, false), {true, QString()}},
                           {table({{"PdoMapping", true}, {"WriteLevel", 2}, {"SaveInKT", 1}}), {false, Pdo}}};
        // A key counts when present with a valid value, whatever the value; "NoWrite" decides nothing.
        QTest::newRow("memory-null-counts-as-missing") << QList<Step>{{memory(QVariant()), {false, Memory}}};
        QTest::newRow("memory-false-counts-as-present") << QList<Step>{{memory(0), {true, QString()}}};
        // Every rule runs; the memory rule runs last, so its message wins.
        QTest::newRow("both-fail-memory-wins")
            << QList<Step>{{all(false, false), {true, QString()}},
                           {table({{"PdoMapping", true}, {"EnableOff", true}}), {false, Memory}}};
    }

    void sequences()
    {
        QFETCH(QList<Step>, steps);

        PlausibilityProperties properties;
        PlausibilityEvaluator evaluator(nullptr);
        evaluator.setProperties(&properties);
        // Nothing counts as plausible before the first evaluation.
        QVERIFY(!evaluator.isPlausible());
        QCOMPARE(evaluator.lastMessage(), QString());
        for (int i = 0; i < steps.size(); ++i) {
            properties = steps.at(i).first;
            evaluator.evaluate();
            QVERIFY2(evaluator.isPlausible() == steps.at(i).second.first, qPrintable(QString::number(i)));
            QCOMPARE(evaluator.lastMessage(), steps.at(i).second.second);
        }
    }
};

QTEST_GUILESS_MAIN(tst_Plausibility)
#include "tst_plausibility.moc"
