// The parameter-definition model: coordinates, property values, element setups, arrays and
// records, clones and conversions.
#include "DefinitionText.h"

#include <KvParameterDefinition/IParameterElementSetup.h>
#include <KvParameterDefinition/ParameterCoordinate.h>
#include <KvParameterDefinition/ParameterProperty.h>
#include <KvParameterDefinition/RecordParameterDefinition.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>

#include <KvMultilingual/LanguageManager.h>
#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QDate>
#include <QtTest/QTest>

#include <limits>
#include <memory>

static ParameterText names(const QString &shortText, const QString &longText)
{
    return ParameterText(Text(1, shortText), Text(1, longText));
}

// A record of three elements named e0..e2 with defaults d0..d2 and property 5 = index.
static std::unique_ptr<RecordParameterDefinition> threeElementRecord()
{
    auto record = std::make_unique<RecordParameterDefinition>();
    record->setName(names(QStringLiteral("R"), QStringLiteral("Record")));
    record->setDefaultCoordinates({ParameterCoordinate(QStringLiteral("P200"))});
    record->setGlobalParameter(true);
    record->setDescriptionText(QStringLiteral("<b>r</b>"));
    record->setVersion(3);
    for (unsigned short i = 0; i < 3; ++i) {
        record->createElement(i)->setProperty(5, ParameterProperty(int(i)));
        record->setElementName(i, names(QStringLiteral("e%1").arg(i), QStringLiteral("Element %1").arg(i)));
        record->setElementDefaultValue(i, QStringLiteral("d%1").arg(i));
    }
    return record;
}

// An array of four elements, element 2 defaulting to "two", sharing property 1 = true.
static std::unique_ptr<SimpleParameterDefinition> fourElementArray()
{
    auto array = std::make_unique<SimpleParameterDefinition>();
    array->setName(names(QStringLiteral("A"), QStringLiteral("Array")));
    array->setVersion(3);
    array->setElementCount(4);
    array->setElementDefaultValue(2, QStringLiteral("two"));
    array->queryElementSetup(0)->setProperty(1, ParameterProperty(true));
    return array;
}

class tst_ParameterDefinition : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void coordinateText_data();
    void coordinateText();
    void propertyFromVariant_data();
    void propertyFromVariant();
    void propertyNumbers_data();
    void propertyNumbers();
    void propertyEquality();
    void setupProperties();
    void simpleElementCount_data();
    void simpleElementCount();
    void recordCreateAndDelete();
    void defaultCoordinates();
    void cloneIsIndependent_data();
    void cloneIsIndependent();
    void convertSimpleToRecord();
    void convertToSimple_data();
    void convertToSimple();
};

void tst_ParameterDefinition::initTestCase()
{
    LanguageManager::instance()->setLanguages({{1, QStringLiteral("Deutsch")}, {2, QStringLiteral("Englisch")}});
    LanguageManager::instance()->setCurrentLanguage(2);
}

void tst_ParameterDefinition::coordinateText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QChar>("area");
    QTest::addColumn<uint>("number"); // area null: invalid

    QTest::newRow("P123") << "P123" << QChar('P') << 123u;
    QTest::newRow("one-digit") << "Z0" << QChar('Z') << 0u;
    QTest::newRow("five-digits") << "P99999" << QChar('P') << 99999u;
    QTest::newRow("leading-zero-kept") << "P012" << QChar('P') << 12u;
    for (const char *invalid : {"", "P", "123", "p12", "PP12", "P123456", "P12 ", "P-12", "P12[1]"})
        QTest::addRow("invalid \"%s\"", invalid) << invalid << QChar() << 0u;
    QTest::newRow("umlaut") << QStringLiteral("Ä12") << QChar() << 0u;
    QTest::newRow("fullwidth-digits") << QStringLiteral("P\uFF11\uFF12") << QChar() << 0u;
}

void tst_ParameterDefinition::coordinateText()
{
    QFETCH(QString, text);
    QFETCH(QChar, area);
    QFETCH(uint, number);

    const ParameterCoordinate coordinate(text);
    QCOMPARE(coordinate.isValid(), !area.isNull());
    QCOMPARE(coordinate.area(), area);
    QCOMPARE(coordinate.number(), number);
    QCOMPARE(coordinate.toText(), area.isNull() ? QString() : text);
    QCOMPARE(ParameterCoordinate::fromText(text), coordinate);
}

void tst_ParameterDefinition::propertyFromVariant_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("string");

    using P = ParameterProperty;
    QTest::newRow("short") << QVariant::fromValue(short(-7)) << int(P::eTypeInt) << "-7";
    QTest::newRow("uchar") << QVariant::fromValue(uchar(200)) << int(P::eTypeUInt) << "200";
    QTest::newRow("ulonglong") << QVariant(std::numeric_limits<quint64>::max()) << int(P::eTypeULongLong) << "18446744073709551615";
    QTest::newRow("float-widened") << QVariant(2.5f) << int(P::eTypeDouble) << "2.5";
    QTest::newRow("double-negative-zero") << QVariant(-0.0) << int(P::eTypeDouble) << "-0";
    QTest::newRow("double-big") << QVariant(1e20) << int(P::eTypeDouble) << "1e+20";
    QTest::newRow("char") << QVariant(QChar('x')) << int(P::eTypeString) << "x";
    QTest::newRow("bytes") << QVariant(QByteArray("\x01\xAB", 2)) << int(P::eTypeByteArray) << "01ab";
    QTest::newRow("date-as-string") << QVariant(QDate(2024, 2, 29)) << int(P::eTypeString) << "2024-02-29";
    QTest::newRow("text-current-language") << QVariant::fromValue(Text(2, QStringLiteral("two")))
                                           << int(P::eTypeText) << "two";
    QTest::newRow("ptext-long-text") << QVariant::fromValue(names(QStringLiteral("S"), QStringLiteral("Long")))
                                     << int(P::eTypeParameterText) << "Long";
    ParameterTextMap map;
    map.insert(1, names(QStringLiteral("E"), QStringLiteral("Ein")));
    map.insert(0, names(QStringLiteral("A"), QStringLiteral("Aus")));
    QTest::newRow("ptextmap") << QVariant::fromValue(map) << int(P::eTypeParameterTextMap) << "0=Aus, 1=Ein";
    QTest::newRow("unconvertible") << QVariant::fromValue(QList<int>{1}) << int(P::eTypeInvalid) << "";
}

void tst_ParameterDefinition::propertyFromVariant()
{
    QFETCH(QVariant, value);
    QFETCH(int, type);
    QFETCH(QString, string);

    const ParameterProperty property(value);
    QCOMPARE(int(property.type()), type);
    QCOMPARE(property.isValid(), type != ParameterProperty::eTypeInvalid);
    QCOMPARE(property.asString(), string);
    QCOMPARE(ParameterProperty(property.value()), property); // value() keeps the type
}

void tst_ParameterDefinition::propertyNumbers_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("intOk");
    QTest::addColumn<int>("intValue");
    QTest::addColumn<bool>("boolValue");

    QTest::newRow("zero") << QVariant(0) << true << 0 << false;
    QTest::newRow("uint-above-int") << QVariant(3000000000u) << false << 0 << true;
    QTest::newRow("double-integral") << QVariant(42.0) << true << 42 << true;
    QTest::newRow("double-fraction") << QVariant(0.5) << false << 0 << true;
    QTest::newRow("double-nan") << QVariant(std::numeric_limits<double>::quiet_NaN()) << false << 0 << true;
    QTest::newRow("string-zero") << QVariant(QStringLiteral("00")) << true << 0 << false;
    QTest::newRow("string-word") << QVariant(QStringLiteral("abc")) << false << 0 << false;
}

void tst_ParameterDefinition::propertyNumbers()
{
    QFETCH(QVariant, value);
    QFETCH(bool, intOk);
    QFETCH(int, intValue);
    QFETCH(bool, boolValue);

    const ParameterProperty property(value);
    bool ok = !intOk;
    QCOMPARE(property.asInt(&ok), intValue);
    QCOMPARE(ok, intOk);
    QCOMPARE(property.asBool(), boolValue);
}

void tst_ParameterDefinition::propertyEquality()
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QCOMPARE(ParameterProperty(QVariant(nan)), ParameterProperty(QVariant(-nan)));
    QVERIFY(ParameterProperty(QVariant(0.0)) != ParameterProperty(QVariant(-0.0)));
    // Same number, different types: stored differently, so not equal.
    QVERIFY(ParameterProperty(QVariant(1)) != ParameterProperty(QVariant(1u)));
    QVERIFY(ParameterProperty(QVariant(1)) != ParameterProperty(QVariant(true)));
    QVERIFY(ParameterProperty(QVariant(QStringLiteral("1"))) != ParameterProperty(QVariant(1)));
}

void tst_ParameterDefinition::setupProperties()
{
    SimpleParameterDefinition simple;
    QCOMPARE(simple.elementCount(), 1);
    IParameterElementSetup *setup = simple.queryElementSetup(0);
    setup->setProperty(111, ParameterProperty(QStringLiteral("0")));
    setup->setProperty(-4, ParameterProperty(1));
    setup->setProperty(16, ParameterProperty(4));
    QCOMPARE(setup->propertyIds(), (QList<int>{-4, 16, 111}));
    // An invalid value removes the property: hasProperty() means "has a value".
    setup->setProperty(111, ParameterProperty());
    QVERIFY(!setup->hasProperty(111));
    QCOMPARE(setup->propertyIds(), (QList<int>{-4, 16}));

    RecordParameterDefinition record;
    QCOMPARE(record.elementCount(), 0);
    QCOMPARE(record.queryElementSetup(0), nullptr);
}

void tst_ParameterDefinition::simpleElementCount_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QStringList>("defaults");

    // Starting from three elements with defaults a, b, c.
    QTest::newRow("grow") << 5 << true << QStringList{"a", "b", "c", "", ""};
    QTest::newRow("shrink") << 2 << true << QStringList{"a", "b"};
    QTest::newRow("zero-refused") << 0 << false << QStringList{"a", "b", "c"};
    QTest::newRow("largest") << int(ParameterDefinition::MaxElementCount) << true << QStringList();
    QTest::newRow("above-largest-refused") << ParameterDefinition::MaxElementCount + 1 << false << QStringList{"a", "b", "c"};
}

void tst_ParameterDefinition::simpleElementCount()
{
    QFETCH(int, count);
    QFETCH(bool, accepted);
    QFETCH(QStringList, defaults);

    SimpleParameterDefinition definition;
    QVERIFY(definition.setElementCount(3));
    for (unsigned short i = 0; i < 3; ++i)
        definition.setElementDefaultValue(i, QString(QChar('a' + i)));
    IParameterElementSetup *setup = definition.queryElementSetup(0);
    setup->setProperty(16, ParameterProperty(4));

    QCOMPARE(definition.setElementCount(static_cast<unsigned short>(count)), accepted);
    const auto expected = static_cast<unsigned short>(accepted ? count : 3);
    QCOMPARE(definition.elementCount(), expected);
    if (!defaults.isEmpty()) {
        QStringList actual;
        for (unsigned short i = 0; i < definition.elementCount(); ++i)
            actual << definition.elementDefaultValue(i);
        QCOMPARE(actual, defaults);
    }
    // One shared setup, reachable through every element and no further.
    QCOMPARE(definition.queryElementSetup(expected - 1), setup);
    QCOMPARE(definition.queryElementSetup(expected), nullptr);
    QCOMPARE(setup->property(16).asInt(), 4);
    QVERIFY(!definition.setElementDefaultValue(expected, QStringLiteral("x")));
    QCOMPARE(definition.elementDefaultValue(expected), QString());
}

void tst_ParameterDefinition::recordCreateAndDelete()
{
    std::unique_ptr<RecordParameterDefinition> record = threeElementRecord();
    IParameterElementSetup *setupOfElement2 = record->queryElementSetup(2);

    // Inserting before element 1 moves 1 and 2 up; setups keep their addresses.
    IParameterElementSetup *inserted = record->createElement(1);
    QVERIFY(inserted);
    QCOMPARE(record->elementCount(), 4);
    QCOMPARE(record->queryElementSetup(1), inserted);
    QCOMPARE(record->queryElementSetup(3), setupOfElement2);
    QCOMPARE(record->elementName(1), ParameterText());
    QCOMPARE(record->elementDefaultValue(3), QStringLiteral("d2"));

    QVERIFY(!record->createElement(5)); // beyond the end
    QVERIFY(record->createElement(4));  // appends
    QVERIFY(record->deleteElement(1));
    QVERIFY(!record->deleteElement(4));
    QStringList shortNames;
    for (unsigned short element : record->elementList())
        shortNames << record->elementName(element).shortText(1);
    QCOMPARE(shortNames, (QStringList{"e0", "e1", "e2", ""}));
    QCOMPARE(record->queryElementSetup(2), setupOfElement2);
    QCOMPARE(record->queryElementSetup(2)->property(5).asInt(), 2);

    while (record->elementCount() > 0)
        QVERIFY(record->deleteElement(0));
    QVERIFY(!record->deleteElement(0));
    QVERIFY(!record->setElementName(0, names("x", "y")));
    QCOMPARE(record->elementName(0), ParameterText());

    for (int i = 0; i < ParameterDefinition::MaxElementCount; ++i)
        QVERIFY(record->createElement(static_cast<unsigned short>(i)));
    QVERIFY(!record->createElement(0));
    QVERIFY(!record->createElement(ParameterDefinition::MaxElementCount));
    QCOMPARE(record->elementCount(), ParameterDefinition::MaxElementCount);
}

void tst_ParameterDefinition::defaultCoordinates()
{
    SimpleParameterDefinition definition;
    definition.setDefaultCoordinates({ParameterCoordinate(QStringLiteral("P12")), ParameterCoordinate(),
                                      ParameterCoordinate(QStringLiteral("x")), ParameterCoordinate(QStringLiteral("A1"))});
    QCOMPARE(definition.defaultCoordinates(),
             (QList<ParameterCoordinate>{ParameterCoordinate(QStringLiteral("P12")), ParameterCoordinate(QStringLiteral("A1"))}));

    QList<ParameterCoordinate> many;
    for (unsigned int i = 0; i < 40; ++i)
        many.append(ParameterCoordinate(QChar('P'), i));
    definition.setDefaultCoordinates(many);
    QCOMPARE(definition.defaultCoordinates(), many.mid(0, ParameterDefinition::MaxCoordinateCount));

    QCOMPARE(ParameterCoordinate(QChar('Z'), 99999).toText(), QStringLiteral("Z99999"));
    QVERIFY(!ParameterCoordinate(QChar('P'), 100000).isValid());
    QVERIFY(!ParameterCoordinate(QChar('p'), 12).isValid());
    QVERIFY(!ParameterCoordinate(QChar('1'), 12).isValid());
}

void tst_ParameterDefinition::cloneIsIndependent_data()
{
    QTest::addColumn<bool>("record");
    QTest::newRow("simple") << false;
    QTest::newRow("record") << true;
}

void tst_ParameterDefinition::cloneIsIndependent()
{
    QFETCH(bool, record);

    auto owner = std::make_unique<QObject>();
    std::unique_ptr<ParameterDefinition> original;
    if (record)
        original = threeElementRecord();
    else
        original = fourElementArray();
    original->setOwner(owner.get());
    const QStringList before = DefinitionText::lines(original.get());

    std::unique_ptr<ParameterDefinition> clone(ParameterDefinition::createClone(original.get()));
    QVERIFY(clone);
    QCOMPARE(DefinitionText::lines(clone.get()), before);
    QCOMPARE(clone->owner(), owner.get());
    QCOMPARE(clone->version(), 3u);

    // Change everything in the clone; the original must not notice.
    clone->queryElementSetup(0)->setProperty(5, ParameterProperty(99));
    clone->queryElementSetup(1)->setProperty(6, ParameterProperty(1));
    clone->setElementDefaultValue(1, QStringLiteral("changed"));
    clone->setName(names("C", "Clone"));
    clone->setDefaultCoordinates({ParameterCoordinate(QStringLiteral("A1"))});
    clone->setGlobalParameter(!clone->isGlobalParameter());
    clone->setDescriptionText(QStringLiteral("changed"));
    if (RecordParameterDefinition *cloneRecord = clone->queryRecordParameterDefinition()) {
        cloneRecord->setElementName(0, names("c", "c"));
        cloneRecord->deleteElement(2);
        cloneRecord->createElement(0);
    } else {
        clone->querySimpleParameterDefinition()->setElementCount(7);
    }
    clone->setVersion(100);
    QCOMPARE(DefinitionText::lines(original.get()), before);
    QCOMPARE(original->version(), 3u);
    QCOMPARE(ParameterDefinition::createClone(nullptr), nullptr);

    // The owner is not owned: once it is gone, neither definition points to it.
    owner.reset();
    QCOMPARE(original->owner(), nullptr);
    QCOMPARE(clone->owner(), nullptr);
}

void tst_ParameterDefinition::convertSimpleToRecord()
{
    QObject owner;
    SimpleParameterDefinition simple;
    simple.setName(names("S", "Simple"));
    simple.setDefaultCoordinates({ParameterCoordinate(QStringLiteral("P12"))});
    simple.setGlobalParameter(true);
    simple.setDescriptionText(QStringLiteral("desc"));
    simple.setOwner(&owner);
    simple.setVersion(4);
    simple.setElementCount(3);
    simple.setElementDefaultValue(0, QStringLiteral("a"));
    simple.setElementDefaultValue(2, QStringLiteral("c"));
    simple.queryElementSetup(0)->setProperty(16, ParameterProperty(4));
    const QStringList before = DefinitionText::lines(&simple);

    std::unique_ptr<RecordParameterDefinition> record(simple.convert());
    QVERIFY(record);
    QCOMPARE(DefinitionText::lines(record.get()),
             (QStringList{"kind record", "elements 3", "global 1", "coordinates P12", "description \"desc\"",
                          "name short {1:\"S\"} long {1:\"Simple\"}",
                          "element 0 default \"a\" name short {} long {}", "element 0 property 16 int 4",
                          "element 1 default \"\" name short {} long {}", "element 1 property 16 int 4",
                          "element 2 default \"c\" name short {} long {}", "element 2 property 16 int 4"}));
    QCOMPARE(record->owner(), &owner);
    QCOMPARE(record->version(), 4u);
    // Each element has a setup of its own, and the simple definition is unchanged.
    record->queryElementSetup(1)->setProperty(16, ParameterProperty(8));
    QCOMPARE(record->queryElementSetup(0)->property(16).asInt(), 4);
    QCOMPARE(DefinitionText::lines(&simple), before);

    // A record converts to a copy of itself.
    std::unique_ptr<RecordParameterDefinition> again(record->convert());
    QCOMPARE(DefinitionText::lines(again.get()), DefinitionText::lines(record.get()));
}

void tst_ParameterDefinition::convertToSimple_data()
{
    QTest::addColumn<bool>("record");
    QTest::addColumn<int>("element");
    QTest::addColumn<QStringList>("lines");

    const QStringList common{"kind simple", "elements 1", "global 1", "coordinates P200", "description \"<b>r</b>\"",
                             "name short {1:\"R\"} long {1:\"Record\"}"};
    QTest::newRow("record-first") << true << 0 << common + QStringList{"element 0 default \"d0\"", "element 0 property 5 int 0"};
    QTest::newRow("record-last") << true << 2 << common + QStringList{"element 0 default \"d2\"", "element 0 property 5 int 2"};
    QTest::newRow("record-beyond") << true << 3 << QStringList{"null"};
    QTest::newRow("array-element") << false << 2
        << QStringList{"kind simple", "elements 1", "global 0", "coordinates ", "description \"\"",
                       "name short {1:\"A\"} long {1:\"Array\"}", "element 0 default \"two\"", "element 0 property 1 bool 1"};
    QTest::newRow("array-beyond") << false << 4 << QStringList{"null"};
}

void tst_ParameterDefinition::convertToSimple()
{
    QFETCH(bool, record);
    QFETCH(int, element);
    QFETCH(QStringList, lines);

    std::unique_ptr<ParameterDefinition> source;
    if (record)
        source = threeElementRecord();
    else
        source = fourElementArray();
    const QStringList before = DefinitionText::lines(source.get());
    std::unique_ptr<SimpleParameterDefinition> simple(source->convert(static_cast<unsigned short>(element)));
    QCOMPARE(DefinitionText::lines(simple.get()), lines);
    if (simple) {
        QCOMPARE(simple->version(), 3u);
        QVERIFY(simple->queryElementSetup(0) != source->queryElementSetup(0));
    }
    QCOMPARE(DefinitionText::lines(source.get()), before);

    RecordParameterDefinition empty;
    QCOMPARE(empty.convert(0), nullptr);
}

QTEST_GUILESS_MAIN(tst_ParameterDefinition)
#include "tst_parameterdefinition.moc"
