#include "MemoryAllocationPlausibilityRule.h"
#include "PdoPlausibilityRule.h"
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
    void sequences_data();
    void sequences();
    void ruleMessages();
};

void tst_Plausibility::sequences_data()
{
    QTest::addColumn<QList<Step>>("steps");

    const auto all = [](bool pdo, bool enableOff) {
        return table({{"PdoMapping", pdo}, {"EnableOff", enableOff}, {"WriteLevel", 3}, {"SaveInKT", true}});
    };
    QTest::newRow("pdo-and-enable-off-first-time")
        << QList<Step>{{all(true, true), {false, QString()}}};
    QTest::newRow("message-only-after-a-pass")
        << QList<Step>{{all(true, true), {false, QString()}},
                       {all(true, false), {true, QString()}},
                       {all(true, true), {false, Pdo}}};
    QTest::newRow("pdo-without-enable-off") << QList<Step>{{all(true, false), {true, QString()}}};
    QTest::newRow("neither") << QList<Step>{{all(false, false), {true, QString()}}};
    QTest::newRow("missing-save-in-kt")
        << QList<Step>{{table({{"PdoMapping", false}, {"EnableOff", false}, {"WriteLevel", 1}}), {false, Memory}}};
    QTest::newRow("null-save-in-kt-counts-as-missing")
        << QList<Step>{{table({{"PdoMapping", false}, {"EnableOff", false}, {"WriteLevel", 1}, {"SaveInKT", QVariant()}}),
                        {false, Memory}}};
    QTest::newRow("missing-write-level-both-fail")
        << QList<Step>{{table({{"PdoMapping", false}, {"EnableOff", false}, {"SaveInKT", true}}), {false, Memory}}};
    QTest::newRow("empty-table") << QList<Step>{{PlausibilityProperties(), {false, Memory}}};
    QTest::newRow("no-write-changes-nothing")
        << QList<Step>{{table({{"PdoMapping", false}, {"EnableOff", false}, {"WriteLevel", 1}, {"SaveInKT", 0},
                               {"NoWrite", true}}),
                        {true, QString()}}};
    QTest::newRow("memory-wins-after-pdo-passed")
        << QList<Step>{{all(false, false), {true, QString()}},
                       {table({{"PdoMapping", true}, {"EnableOff", true}}), {false, Memory}}};
    QTest::newRow("pdo-fails-alone-after-pass")
        << QList<Step>{{all(false, false), {true, QString()}},
                       {table({{"PdoMapping", true}, {"WriteLevel", 2}, {"SaveInKT", 1}}), {false, Pdo}}};
}

void tst_Plausibility::sequences()
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

void tst_Plausibility::ruleMessages()
{
    // Each rule on its own: the PDO message accompanies success, the memory message failure.
    PlausibilityProperties properties = table({{"PdoMapping", false}, {"EnableOff", false}, {"WriteLevel", 1}});
    PdoPlausibilityRule pdo;
    MemoryAllocationPlausibilityRule memory;
    pdo.setProperties(&properties);
    memory.setProperties(&properties);
    QVERIFY(pdo.isValid());
    QVERIFY(memory.isValid());
    QCOMPARE(pdo.message(), QString());

    pdo.evaluate();
    memory.evaluate();
    QVERIFY(pdo.isValid());
    QCOMPARE(pdo.message(), Pdo);
    QVERIFY(!memory.isValid());
    QCOMPARE(memory.message(), Memory);

    properties.insert(QStringLiteral("SaveInKT"), true);
    properties.remove(QStringLiteral("WriteLevel"));
    pdo.evaluate();
    QVERIFY(!pdo.isValid());
    QCOMPARE(pdo.message(), Pdo);

    properties.insert(QStringLiteral("WriteLevel"), 2);
    memory.evaluate();
    QVERIFY(memory.isValid());
    QCOMPARE(memory.message(), QString());
}

QTEST_GUILESS_MAIN(tst_Plausibility)
#include "tst_plausibility.moc"
