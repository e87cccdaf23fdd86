// The stored text of parameter definitions: round trips, the exact bytes, escaping, and
// texts the loader must refuse.
#include "DefinitionText.h"

#include <KvParameterDefinition/IParameterElementSetup.h>
#include <KvParameterDefinition/ParameterDefinitionLoader.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvParameterDefinition/ParameterProperty.h>
#include <KvParameterDefinition/RecordParameterDefinition.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>

#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <QtTest/QTest>

#include <limits>
#include <memory>

Q_DECLARE_METATYPE(DefinitionPointer)

static const QByteArray Header("\xEF\xBB\xBF\r\n;type=\"parameterdefinition\" version=\"0\"\r\n");

static QByteArray save(ParameterDefinition *definition)
{
    return ParameterDefinitionSaver::saveParameterDefinition(definition);
}

static DefinitionPointer load(const QByteArray &text)
{
    return DefinitionPointer(ParameterDefinitionLoader::createAndLoadParameterDefinition(text));
}

static Text text(const QList<QPair<int, QString>> &languages)
{
    Text result;
    for (const auto &entry : languages)
        result.setText(entry.first, entry.second);
    return result;
}

static ParameterText parameterText(const QString &shortText, const QString &longText)
{
    return ParameterText(text({{1, shortText}}), text({{1, longText}, {2, longText + QStringLiteral(" (en)")}}));
}

// One value of every property type a setup can hold.
static QList<QVariant> everyPropertyType()
{
    ParameterTextMap map;
    map.insert(-5, parameterText("neg", "Negativ"));
    map.insert(3, parameterText("drei", "Drei"));
    return {QVariant(true), QVariant(qint32(-7)), QVariant(quint32(4000000000u)), QVariant(-(qint64(1) << 40)),
            QVariant(quint64(1) << 63), QVariant(2.5), QVariant(QStringLiteral("Wert = ä")),
            QVariant(QByteArray("\x01\x02", 2)), QVariant::fromValue(text({{1, "eins"}, {2, "one"}})),
            QVariant::fromValue(parameterText("kurz", "lang")), QVariant::fromValue(map)};
}

// Every element's setup holds every property type, under numbers 1, 2, ...
static void fillEveryPropertyType(IParameterElementSetup *setup)
{
    const QList<QVariant> values = everyPropertyType();
    for (int i = 0; i < values.size(); ++i)
        setup->setProperty(i + 1, ParameterProperty(values.at(i)));
}

class tst_ParameterDefinitionFormat : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void exactText();
    void escaping_data();
    void escaping();
    void rejects_data();
    void rejects();
    void loadIntoExisting();
};

void tst_ParameterDefinitionFormat::roundTrip_data()
{
    QTest::addColumn<DefinitionPointer>("definition");

    QTest::newRow("simple-new") << DefinitionPointer(new SimpleParameterDefinition);
    QTest::newRow("record-new") << DefinitionPointer(new RecordParameterDefinition);

    {
        // Every value whose stored form is easy to get wrong, each under a property of its own.
        const double inf = std::numeric_limits<double>::infinity();
        ParameterTextMap map;
        map.insert(std::numeric_limits<qint64>::min(), parameterText("min", "Minimum"));
        map.insert(-1, ParameterText());
        map.insert(std::numeric_limits<qint64>::max(), ParameterText(Text(), text({{1, ""}})));
        const QList<QVariant> values{
            false, std::numeric_limits<qint32>::min(), std::numeric_limits<quint32>::max(),
            std::numeric_limits<qint64>::min(), std::numeric_limits<quint64>::max(), 0.1, -0.0, 0.0,
            std::numeric_limits<double>::quiet_NaN(), inf, -inf, 5e-324, std::numeric_limits<double>::max(), 1e20,
            QString(""), QStringLiteral("a=b;c=[d]"), QStringLiteral("l1\nl2\r\nl3\r"),
            QStringLiteral("\\n is not a newline\\"), QStringLiteral("\\uD800"),
            QStringLiteral("Größe µs 日本 \U0001F600"), QString(QChar(0xD800)) + QLatin1Char('x') + QChar(0xDC00),
            QStringLiteral("  x  "), QString(QChar(0)) + QStringLiteral("\t"), QByteArray(""),
            QByteArray("\x00\xff=\n\r", 5), QVariant::fromValue(Text()), QVariant::fromValue(text({{1, QString()}})),
            QVariant::fromValue(text({{1, "eins"}, {2, "one\nline"}, {-3, "x"}})), QVariant::fromValue(ParameterText()),
            QVariant::fromValue(ParameterText(Text(), text({{2, "Speed"}}))), QVariant::fromValue(map),
            QVariant::fromValue(ParameterTextMap())};
        auto *definition = new SimpleParameterDefinition;
        for (int i = 0; i < values.size(); ++i)
            definition->queryElementSetup(0)->setProperty(i + 1, ParameterProperty(values.at(i)));
        QTest::newRow("edge-values") << DefinitionPointer(definition);
    }
    {
        auto *definition = new SimpleParameterDefinition;
        definition->setName(ParameterText(text({{1, ""}}), Text()));
        definition->setDescriptionText(QStringLiteral("\\"));
        QVERIFY(definition->setElementCount(3));
        definition->setElementDefaultValue(0, QStringLiteral("5"));
        definition->setElementDefaultValue(2, QStringLiteral("a\nb"));
        IParameterElementSetup *setup = definition->queryElementSetup(0);
        fillEveryPropertyType(setup);
        setup->setProperty(-2, ParameterProperty(1.5));
        setup->setProperty(std::numeric_limits<int>::max(), ParameterProperty(true));
        QTest::newRow("array-every-type") << DefinitionPointer(definition);
    }
    {
        auto *definition = new SimpleParameterDefinition;
        QVERIFY(definition->setElementCount(ParameterDefinition::MaxElementCount));
        definition->setElementDefaultValue(ParameterDefinition::MaxElementCount - 1, QStringLiteral("last"));
        QTest::newRow("array-largest") << DefinitionPointer(definition);
    }
    {
        auto *definition = new RecordParameterDefinition;
        definition->setName(parameterText("Pos", "Position"));
        definition->setDefaultCoordinates({ParameterCoordinate(QStringLiteral("P123")), ParameterCoordinate(QStringLiteral("A12")),
                                           ParameterCoordinate(QStringLiteral("P012"))});
        definition->setGlobalParameter(true);
        definition->setDescriptionText(QStringLiteral("<p>Zeile 1</p>\r\n<p>Zeile 2 = \\ x</p>\n"));
        for (unsigned short i = 0; i < 3; ++i) {
            IParameterElementSetup *setup = definition->createElement(i);
            QVERIFY(setup);
            fillEveryPropertyType(setup);
            setup->setProperty(5, ParameterProperty(int(i)));
            definition->setElementName(i, parameterText(QStringLiteral("e%1").arg(i), QStringLiteral("Element %1").arg(i)));
            definition->setElementDefaultValue(i, QString::number(i * 10));
        }
        // An element without properties and names between the others.
        QVERIFY(definition->createElement(1));
        QTest::newRow("record-every-type") << DefinitionPointer(definition);
    }
}

void tst_ParameterDefinitionFormat::roundTrip()
{
    QFETCH(DefinitionPointer, definition);

    const QByteArray saved = save(definition.data());
    QVERIFY(saved.startsWith(Header));
    QCOMPARE(saved.count("\r\n"), saved.count('\n')); // CRLF everywhere
    QVERIFY(saved.endsWith("\r\n"));

    const DefinitionPointer loaded = load(saved);
    QVERIFY2(loaded, saved.constData());
    QCOMPARE(DefinitionText::lines(loaded.data()), DefinitionText::lines(definition.data()));
    QCOMPARE(save(loaded.data()), saved);
}

void tst_ParameterDefinitionFormat::escaping_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<QByteArray>("stored");

    QTest::newRow("blanks") << QStringLiteral(" a ") << QByteArray(" a ");
    QTest::newRow("backslash") << QStringLiteral("a\\b") << QByteArray("a\\\\b");
    QTest::newRow("line-feed") << QStringLiteral("a\nb") << QByteArray("a\\nb");
    QTest::newRow("carriage-return") << QStringLiteral("a\rb") << QByteArray("a\\rb");
    QTest::newRow("umlaut-utf8") << QStringLiteral("ä") << QByteArray("\xC3\xA4");
    QTest::newRow("surrogate-pair-utf8") << QStringLiteral("\U0001F600") << QByteArray("\xF0\x9F\x98\x80");
    QTest::newRow("lone-high-surrogate") << QString(QChar(0xD83D)) << QByteArray("\\uD83D");
    QTest::newRow("lone-low-surrogate-after-text") << QStringLiteral("a") + QChar(0xDE00) << QByteArray("a\\uDE00");
    QTest::newRow("reversed-pair") << QString(QChar(0xDE00)) + QChar(0xD83D) << QByteArray("\\uDE00\\uD83D");
}

void tst_ParameterDefinitionFormat::escaping()
{
    QFETCH(QString, description);
    QFETCH(QByteArray, stored);

    SimpleParameterDefinition definition;
    definition.setDescriptionText(description);
    const QByteArray saved = save(&definition);
    QVERIFY2(saved.contains("\r\nDescription=" + stored + "\r\n"), saved.constData());

    const DefinitionPointer loaded = load(saved);
    QVERIFY(loaded);
    QCOMPARE(loaded->descriptionText(), description);
}

// A valid text of each kind; every reject row changes one of them in one place.
static const QByteArray SimpleText =
    "\xEF\xBB\xBF\r\n"
    ";type=\"parameterdefinition\" version=\"0\"\r\n"
    "\r\n"
    "[Definition]\r\n"
    "Kind=simple\r\n"
    "ElementCount=2\r\n"
    "Global=0\r\n"
    "Coordinates=P12\r\n"
    "Description=d\\nx\r\n"
    "\r\n"
    "[LongName]\r\n"
    "1=Name\r\n"
    "\r\n"
    "[Element_0]\r\n"
    "Default=1\r\n"
    "Property_5=int:3\r\n"
    "Property_6=double:0.5\r\n"
    "Property_8=bytes:00ff\r\n"
    "Property_9=bool:1\r\n"
    "\r\n"
    "[Element_1]\r\n"
    "Default=2\r\n";

static const QByteArray RecordText =
    "\xEF\xBB\xBF\r\n"
    ";type=\"parameterdefinition\" version=\"0\"\r\n"
    "\r\n"
    "[Definition]\r\n"
    "Kind=record\r\n"
    "ElementCount=2\r\n"
    "Global=1\r\n"
    "Coordinates=P123,A12\r\n"
    "Description=<p>a</p>\\n<p>b\\\\c</p>\r\n"
    "\r\n"
    "[ShortName]\r\n"
    "1=Achse\r\n"
    "\r\n"
    "[LongName]\r\n"
    "1=Achsdaten\r\n"
    "2=Axis data\r\n"
    "\r\n"
    "[Element_0]\r\n"
    "Default=7\r\n"
    "Property_13=bool:0\r\n"
    "Property_18=ptext:\r\n"
    "Property_31=uint:2000\r\n"
    "Property_40=ptextmap:1,2\r\n"
    "Property_41=text:\r\n"
    "Property_111=string:x=1\r\n"
    "\r\n"
    "[Element_0.ShortName]\r\n"
    "1=E\r\n"
    "\r\n"
    "[Element_0.Property_18.LongName]\r\n"
    "1=Lang\r\n"
    "\r\n"
    "[Element_0.Property_40.2.ShortName]\r\n"
    "1=Zwei\r\n"
    "\r\n"
    "[Element_0.Property_41]\r\n"
    "1=T\r\n"
    "\r\n"
    "[Element_1]\r\n"
    "Default=\r\n";

// Both texts are exactly what the saver writes for what they hold: this is the stored form
// other programs and older libraries rely on.
void tst_ParameterDefinitionFormat::exactText()
{
    for (const QByteArray &text : {SimpleText, RecordText})
        QCOMPARE(save(load(text).data()), text);
}

void tst_ParameterDefinitionFormat::rejects_data()
{
    QTest::addColumn<QByteArray>("base");
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");

    const QByteArray s = SimpleText;
    const QByteArray r = RecordText;
    QTest::newRow("other-kind") << s << QByteArray("type=\"parameterdefinition\"") << QByteArray("type=\"block\"");
    QTest::newRow("other-version") << s << QByteArray("version=\"0\"") << QByteArray("version=\"1\"");
    QTest::newRow("no-byte-order-mark") << s << QByteArray("\xEF\xBB\xBF\r\n") << QByteArray();
    QTest::newRow("definition-missing") << s << QByteArray("[Definition]") << QByteArray("[Definitions]");
    QTest::newRow("kind-unknown") << s << QByteArray("Kind=simple") << QByteArray("Kind=array");
    QTest::newRow("count-missing") << s << QByteArray("ElementCount=2\r\n") << QByteArray();
    QTest::newRow("count-leading-zero") << s << QByteArray("ElementCount=2") << QByteArray("ElementCount=02");
    QTest::newRow("count-above-limit") << r << QByteArray("ElementCount=2") << QByteArray("ElementCount=16001");
    QTest::newRow("count-zero-simple") << s << QByteArray("ElementCount=2\r\n") << QByteArray("ElementCount=0\r\n");
    QTest::newRow("count-above-sections") << s << QByteArray("ElementCount=2") << QByteArray("ElementCount=3");
    QTest::newRow("count-below-sections") << s << QByteArray("ElementCount=2") << QByteArray("ElementCount=1");
    QTest::newRow("global-two") << s << QByteArray("Global=0") << QByteArray("Global=2");
    QTest::newRow("unknown-definition-key") << s << QByteArray("Global=0\r\n") << QByteArray("Global=0\r\nColour=red\r\n");
    QTest::newRow("coordinate-empty-item") << s << QByteArray("Coordinates=P12") << QByteArray("Coordinates=P12,");
    QTest::newRow("coordinates-too-many") << s << QByteArray("Coordinates=P12")
                                          << QByteArray("Coordinates=P12") + QByteArray(",P1").repeated(32);
    QTest::newRow("element-section-missing") << s << QByteArray("[Element_1]\r\nDefault=2\r\n") << QByteArray();
    QTest::newRow("element-default-missing") << s << QByteArray("Default=2\r\n") << QByteArray();
    QTest::newRow("element-unknown-key") << s << QByteArray("Default=1\r\n") << QByteArray("Default=1\r\nUnit=mm\r\n");
    QTest::newRow("simple-setup-beyond-element-0") << s << QByteArray("Default=2\r\n") << QByteArray("Default=2\r\nProperty_5=int:3\r\n");
    QTest::newRow("simple-element-name") << s << QByteArray("[Element_1]") << QByteArray("[Element_0.ShortName]\r\n1=x\r\n\r\n[Element_1]");
    QTest::newRow("unknown-section") << s << QByteArray("[Element_1]") << QByteArray("[Extras]\r\n\r\n[Element_1]");
    QTest::newRow("property-number-not-a-number") << s << QByteArray("Property_5=") << QByteArray("Property_x=");
    QTest::newRow("property-without-type") << s << QByteArray("Property_5=int:3") << QByteArray("Property_5=3");
    QTest::newRow("property-unknown-type") << s << QByteArray("Property_5=int:3") << QByteArray("Property_5=float:3");
    QTest::newRow("int-too-big") << s << QByteArray("Property_5=int:3") << QByteArray("Property_5=int:2147483648");
    QTest::newRow("ulonglong-overflow") << s << QByteArray("Property_5=int:3") << QByteArray("Property_5=ulonglong:18446744073709551616");
    QTest::newRow("double-trailing-zero") << s << QByteArray("double:0.5") << QByteArray("double:0.50");
    QTest::newRow("double-overflow") << s << QByteArray("double:0.5") << QByteArray("double:1e400");
    QTest::newRow("bool-word") << s << QByteArray("bool:1") << QByteArray("bool:true");
    QTest::newRow("bytes-upper-case") << s << QByteArray("bytes:00ff") << QByteArray("bytes:00FF");
    QTest::newRow("bytes-odd-digits") << s << QByteArray("bytes:00ff") << QByteArray("bytes:00f");
    QTest::newRow("text-with-payload") << r << QByteArray("Property_41=text:") << QByteArray("Property_41=text:T");
    QTest::newRow("map-keys-descending") << r << QByteArray("ptextmap:1,2") << QByteArray("ptextmap:2,1");
    QTest::newRow("map-section-key-not-listed") << r << QByteArray("Property_40.2.") << QByteArray("Property_40.3.");
    QTest::newRow("text-section-without-property") << r << QByteArray("[Element_0.Property_41]") << QByteArray("[Element_0.Property_42]");
    QTest::newRow("text-section-of-other-type") << r << QByteArray("Property_41=text:") << QByteArray("Property_41=string:");
    QTest::newRow("ptext-section-unknown-name") << r << QByteArray("Property_18.LongName") << QByteArray("Property_18.MidName");
    QTest::newRow("section-too-deep") << r << QByteArray("[Element_0.Property_40.2.ShortName]") << QByteArray("[Element_0.Property_40.2.ShortName.x]");
    QTest::newRow("language-not-a-number") << s << QByteArray("1=Name") << QByteArray("de=Name");
    QTest::newRow("escape-unknown") << s << QByteArray("d\\nx") << QByteArray("d\\qx");
    QTest::newRow("escape-lone-backslash-at-end") << s << QByteArray("d\\nx") << QByteArray("dx\\");
    QTest::newRow("escape-not-a-surrogate") << s << QByteArray("d\\nx") << QByteArray("\\u0041");
    QTest::newRow("escape-short-surrogate") << s << QByteArray("d\\nx") << QByteArray("\\uD80");
    QTest::newRow("escape-of-a-pair") << s << QByteArray("d\\nx") << QByteArray("\\uD83D\\uDE00");
    QTest::newRow("raw-carriage-return") << s << QByteArray("d\\nx") << QByteArray("d\rx");
    QTest::newRow("invalid-utf8") << s << QByteArray("1=Name") << QByteArray("1=N\xC3(me");
    QTest::newRow("string-invalid-escape") << s << QByteArray("Property_5=int:3") << QByteArray("Property_5=string:\\x");
}

void tst_ParameterDefinitionFormat::rejects()
{
    QFETCH(QByteArray, base);
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, to);

    // Both bases are definitions; a row that does not change its base proves nothing.
    QVERIFY(load(base));
    QVERIFY2(base.contains(from), from.constData());
    QByteArray text = base;
    text.replace(from, to);

    QCOMPARE(DefinitionText::lines(load(text).data()), QStringList{QStringLiteral("null")});

    // Loading into an existing definition fails too and leaves it as it was.
    const DefinitionPointer target = load(base);
    const QStringList before = DefinitionText::lines(target.data());
    QVERIFY(!ParameterDefinitionLoader::loadParameterDefinition(target.data(), text));
    QCOMPARE(DefinitionText::lines(target.data()), before);
}

void tst_ParameterDefinitionFormat::loadIntoExisting()
{
    // The content is replaced whole; owner and version are not content and stay.
    QObject owner;
    SimpleParameterDefinition definition;
    definition.setOwner(&owner);
    definition.setVersion(7);
    QVERIFY(definition.setElementCount(5));
    definition.queryElementSetup(0)->setProperty(99, ParameterProperty(1));
    QVERIFY(ParameterDefinitionLoader::loadParameterDefinition(&definition, SimpleText));
    QCOMPARE(DefinitionText::lines(&definition), DefinitionText::lines(load(SimpleText).data()));
    QCOMPARE(definition.owner(), &owner);
    QCOMPARE(definition.version(), 7u);

    // A text of the other kind is refused and changes nothing.
    QVERIFY(!ParameterDefinitionLoader::loadParameterDefinition(&definition, RecordText));
    QCOMPARE(DefinitionText::lines(&definition), DefinitionText::lines(load(SimpleText).data()));
    RecordParameterDefinition record;
    QVERIFY(!ParameterDefinitionLoader::loadParameterDefinition(&record, SimpleText));
    QCOMPARE(record.elementCount(), 0);
    QVERIFY(ParameterDefinitionLoader::loadParameterDefinition(&record, RecordText));
    QCOMPARE(record.elementCount(), 2);

    QCOMPARE(save(nullptr), QByteArray());
    QVERIFY(!ParameterDefinitionLoader::loadParameterDefinition(nullptr, SimpleText));
}

QTEST_GUILESS_MAIN(tst_ParameterDefinitionFormat)
#include "tst_parameterdefinitionformat.moc"
