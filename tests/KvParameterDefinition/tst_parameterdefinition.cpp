// Parameter definitions as the block library uses them: the saver's text loads back to the same
// content and bytes, the stored form is fixed, the loader refuses (never throws on) every text
// that is no definition, and clones are independent copies.
#include <KvParameterDefinition/IParameterElementSetup.h>
#include <KvParameterDefinition/ParameterDefinitionLoader.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvParameterDefinition/ParameterProperty.h>
#include <KvParameterDefinition/RecordParameterDefinition.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>

#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QSharedPointer>
#include <QtTest/QTest>

#include <limits>
#include <memory>

using DefinitionPointer = QSharedPointer<ParameterDefinition>;
Q_DECLARE_METATYPE(DefinitionPointer)

namespace {

const QByteArray Header("\xEF\xBB\xBF\r\n;type=\"parameterdefinition\" version=\"0\"\r\n");

QByteArray save(ParameterDefinition *definition)
{
    return ParameterDefinitionSaver::saveParameterDefinition(definition);
}

DefinitionPointer load(const QByteArray &text)
{
    return DefinitionPointer(ParameterDefinitionLoader::createAndLoadParameterDefinition(text));
}

Text text(const QList<QPair<int, QString>> &languages)
{
    Text result;
    for (const auto &entry : languages)
        result.setText(entry.first, entry.second);
    return result;
}

// The first difference between the contents of two definitions, read through the public API
// only, so that a saver and a loader that drop the same thing cannot hide it; empty when there
// is none. Owner and version are not content.
QString difference(ParameterDefinition *a, ParameterDefinition *b)
{
    if (!a || !b)
        return a == b ? QString() : QStringLiteral("null");
    RecordParameterDefinition *ra = a->queryRecordParameterDefinition();
    RecordParameterDefinition *rb = b->queryRecordParameterDefinition();
    if (!ra != !rb || a->elementCount() != b->elementCount() || a->isGlobalParameter() != b->isGlobalParameter()
        || a->defaultCoordinates() != b->defaultCoordinates() || a->descriptionText() != b->descriptionText()
        || !(a->name() == b->name()))
        return QStringLiteral("definition");
    for (unsigned short e = 0; e < a->elementCount(); ++e) {
        IParameterElementSetup *sa = a->queryElementSetup(e);
        IParameterElementSetup *sb = b->queryElementSetup(e);
        if (a->elementDefaultValue(e) != b->elementDefaultValue(e) || (ra && !(ra->elementName(e) == rb->elementName(e)))
            || sa->propertyIds() != sb->propertyIds())
            return QStringLiteral("element %1").arg(e);
        for (int id : sa->propertyIds()) {
            if (!(sa->property(id) == sb->property(id)))
                return QStringLiteral("element %1 property %2").arg(e).arg(id);
        }
    }
    return QString();
}

ParameterText parameterText(const QString &shortText, const QString &longText)
{
    return ParameterText(text({{1, shortText}}), text({{1, longText}, {2, longText + QStringLiteral(" (en)")}}));
}

// Every property type, each with the values whose stored form is easy to get wrong; under
// numbers 1, 2, ... of a setup.
void fillEdgeValues(IParameterElementSetup *setup)
{
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
    for (int i = 0; i < values.size(); ++i)
        setup->setProperty(i + 1, ParameterProperty(values.at(i)));
}

// A valid text of each kind, exactly as the saver writes it; every reject row changes one
// of them in one place.
const QByteArray SimpleText = Header
    + "\r\n[Definition]\r\nKind=simple\r\nElementCount=2\r\nGlobal=0\r\nCoordinates=P12\r\n"
      "Description=d\\nx\\\\y\\rz \xC3\xA4\xF0\x9F\x98\x80\\uD83D|\\uDE00\\uD83D\r\n"
      "\r\n[LongName]\r\n1=Name\r\n"
      "\r\n[Element_0]\r\nDefault=1\r\nProperty_5=int:3\r\nProperty_6=double:0.5\r\nProperty_8=bytes:00ff\r\n"
      "Property_9=bool:1\r\n"
      "\r\n[Element_1]\r\nDefault=2\r\n";
// What SimpleText's description holds: escapes, UTF-8 for a surrogate pair, lone surrogates escaped.
const QString SimpleDescription = QStringLiteral("d\nx\\y\rz ä\U0001F600") + QChar(0xD83D) + QLatin1Char('|')
    + QChar(0xDE00) + QChar(0xD83D);

const QByteArray RecordText = Header
    + "\r\n[Definition]\r\nKind=record\r\nElementCount=2\r\nGlobal=1\r\nCoordinates=P123,A12\r\n"
      "Description=<p>a</p>\\n<p>b\\\\c</p>\r\n"
      "\r\n[ShortName]\r\n1=Achse\r\n"
      "\r\n[LongName]\r\n1=Achsdaten\r\n2=Axis data\r\n"
      "\r\n[Element_0]\r\nDefault=7\r\nProperty_13=bool:0\r\nProperty_18=ptext:\r\nProperty_31=uint:2000\r\n"
      "Property_40=ptextmap:1,2\r\nProperty_41=text:\r\nProperty_111=string:x=1\r\n"
      "\r\n[Element_0.ShortName]\r\n1=E\r\n"
      "\r\n[Element_0.Property_18.LongName]\r\n1=Lang\r\n"
      "\r\n[Element_0.Property_40.2.ShortName]\r\n1=Zwei\r\n"
      "\r\n[Element_0.Property_41]\r\n1=T\r\n"
      "\r\n[Element_1]\r\nDefault=\r\n";

} // namespace

class tst_ParameterDefinition : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data()
    {
        QTest::addColumn<DefinitionPointer>("definition");

        QTest::newRow("simple-new") << DefinitionPointer(new SimpleParameterDefinition);
        QTest::newRow("record-new") << DefinitionPointer(new RecordParameterDefinition);
        {
            auto *definition = new SimpleParameterDefinition;
            definition->setName(ParameterText(text({{1, ""}}), Text()));
            definition->setDescriptionText(QStringLiteral("\\"));
            QVERIFY(definition->setElementCount(3));
            definition->setElementDefaultValue(0, QStringLiteral("5"));
            definition->setElementDefaultValue(2, QStringLiteral("a\nb"));
            IParameterElementSetup *setup = definition->queryElementSetup(0);
            fillEdgeValues(setup);
            setup->setProperty(-2, ParameterProperty(1.5));
            setup->setProperty(std::numeric_limits<int>::max(), ParameterProperty(true));
            setup->setProperty(3, ParameterProperty()); // an invalid value removes the property
            QTest::newRow("array-edge-values") << DefinitionPointer(definition);
        }
        {
            // The largest array with the most coordinates: the model keeps what the loader accepts.
            auto *definition = new SimpleParameterDefinition;
            QVERIFY(!definition->setElementCount(ParameterDefinition::MaxElementCount + 1));
            QVERIFY(definition->setElementCount(ParameterDefinition::MaxElementCount));
            definition->setElementDefaultValue(ParameterDefinition::MaxElementCount - 1, QStringLiteral("last"));
            QList<ParameterCoordinate> coordinates{ParameterCoordinate(QStringLiteral("x"))};
            for (unsigned int i = 0; i < 40; ++i)
                coordinates.append(ParameterCoordinate(QChar('P'), i * 2500));
            definition->setDefaultCoordinates(coordinates);
            QCOMPARE(definition->defaultCoordinates().size(), ParameterDefinition::MaxCoordinateCount);
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
                fillEdgeValues(setup);
                setup->setProperty(100, ParameterProperty(int(i)));
                definition->setElementName(i, parameterText(QStringLiteral("e%1").arg(i), QStringLiteral("Element %1").arg(i)));
                definition->setElementDefaultValue(i, QString::number(i * 10));
            }
            QVERIFY(definition->createElement(1)); // without properties and names, between the others
            QTest::newRow("record-edge-values") << DefinitionPointer(definition);
        }
    }

    void roundTrip()
    {
        QFETCH(DefinitionPointer, definition);

        const QByteArray saved = save(definition.data());
        const DefinitionPointer loaded = load(saved);
        QVERIFY2(loaded, saved.left(2000).constData());
        QCOMPARE(difference(loaded.data(), definition.data()), QString());
        QCOMPARE(save(loaded.data()), saved);
    }

    // Both texts are exactly what the saver writes: the stored form older libraries rely on.
    void exactText()
    {
        for (const QByteArray &text : {SimpleText, RecordText})
            QCOMPARE(save(load(text).data()), text);
        QCOMPARE(load(SimpleText)->descriptionText(), SimpleDescription);
    }

    void rejects_data()
    {
        QTest::addColumn<QByteArray>("base");
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");

        const auto row = [](const char *name, const QByteArray &base, const QByteArray &from, const QByteArray &to) {
            QTest::newRow(name) << base << from << to;
        };
        const QByteArray s = SimpleText;
        const QByteArray r = RecordText;
        row("other-kind", s, "type=\"parameterdefinition\"", "type=\"block\"");
        row("other-version", s, "version=\"0\"", "version=\"1\"");
        row("no-byte-order-mark", s, "\xEF\xBB\xBF\r\n", {});
        row("definition-missing", s, "[Definition]", "[Definitions]");
        row("unknown-definition-key", s, "Global=0\r\n", "Global=0\r\nColour=red\r\n");
        row("kind-unknown", s, "Kind=simple", "Kind=array");
        row("count-missing", s, "ElementCount=2\r\n", {});
        row("count-leading-zero", s, "ElementCount=2", "ElementCount=02");
        row("count-above-limit", r, "ElementCount=2", "ElementCount=16001");
        row("count-zero-simple", s, "ElementCount=2\r\n", "ElementCount=0\r\n");
        row("count-above-sections", s, "ElementCount=2", "ElementCount=3");
        row("count-below-sections", s, "ElementCount=2", "ElementCount=1");
        row("global-two", s, "Global=0", "Global=2");
        row("coordinate-lower-case", s, "Coordinates=P12", "Coordinates=p12");
        row("coordinates-too-many", s, "Coordinates=P12", QByteArray("Coordinates=P12") + QByteArray(",P1").repeated(32));
        row("element-default-missing", s, "Default=2\r\n", {});
        row("element-unknown-key", s, "Default=1\r\n", "Default=1\r\nUnit=mm\r\n");
        row("simple-setup-beyond-element-0", s, "Default=2\r\n", "Default=2\r\nProperty_5=int:3\r\n");
        row("simple-element-name", s, "[Element_1]", "[Element_0.ShortName]\r\n1=x\r\n\r\n[Element_1]");
        row("unknown-section", s, "[Element_1]", "[Extras]\r\n\r\n[Element_1]");
        row("property-number-not-a-number", s, "Property_5=", "Property_x=");
        row("property-without-type", s, "Property_5=int:3", "Property_5=3");
        row("property-unknown-type", s, "Property_5=int:3", "Property_5=float:3");
        row("int-too-big", s, "Property_5=int:3", "Property_5=int:2147483648");
        row("ulonglong-overflow", s, "Property_5=int:3", "Property_5=ulonglong:18446744073709551616");
        row("double-trailing-zero", s, "double:0.5", "double:0.50");
        row("bool-word", s, "bool:1", "bool:true");
        row("bytes-upper-case", s, "bytes:00ff", "bytes:00FF");
        row("bytes-odd-digits", s, "bytes:00ff", "bytes:00f");
        row("string-invalid-escape", s, "Property_5=int:3", "Property_5=string:\\x");
        row("text-with-payload", r, "Property_41=text:", "Property_41=text:T");
        row("map-keys-descending", r, "ptextmap:1,2", "ptextmap:2,1");
        row("map-section-key-not-listed", r, "Property_40.2.", "Property_40.3.");
        row("text-section-without-property", r, "[Element_0.Property_41]", "[Element_0.Property_42]");
        row("text-section-of-other-type", r, "Property_41=text:", "Property_41=string:");
        row("ptext-section-unknown-name", r, "Property_18.LongName", "Property_18.MidName");
        row("section-too-deep", r, "[Element_0.Property_40.2.ShortName]", "[Element_0.Property_40.2.ShortName.x]");
        row("language-not-a-number", s, "1=Name", "de=Name");
        row("escape-unknown", s, "d\\nx", "d\\qx");
        row("escape-lone-backslash-at-end", s, "\\uD83D\r\n", "\\uD83D\\\r\n");
        row("escape-not-a-surrogate", s, "d\\nx", "\\u0041");
        row("escape-of-a-pair", s, "d\\nx", "\\uD83D\\uDE00");
        row("invalid-utf8", s, "1=Name", "1=N\xC3(me");
    }

    void rejects()
    {
        QFETCH(QByteArray, base);
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);

        // Both bases are definitions; a row that does not change its base proves nothing.
        QVERIFY(load(base));
        QVERIFY2(base.contains(from), from.constData());
        QByteArray text = base;
        text.replace(from, to);

        QVERIFY(!load(text));
        // Loading into an existing definition fails too and leaves it as it was.
        const DefinitionPointer target = load(base);
        QVERIFY(!ParameterDefinitionLoader::loadParameterDefinition(target.data(), text));
        QCOMPARE(save(target.data()), base);
    }

    // The library copies a version's parameter definitions by cloning them: a clone has the
    // content, owner and version of its original, and changing its elements leaves the original.
    void cloneIsIndependent()
    {
        for (const QByteArray &stored : {SimpleText, RecordText}) {
            auto owner = std::make_unique<QObject>();
            const DefinitionPointer original = load(stored);
            original->setOwner(owner.get());
            original->setVersion(3);
            std::unique_ptr<ParameterDefinition> clone(ParameterDefinition::createClone(original.data()));
            QCOMPARE(difference(clone.get(), original.data()), QString());
            QCOMPARE(clone->owner(), owner.get());
            QCOMPARE(clone->version(), 3u);
            clone->queryElementSetup(0)->setProperty(5, ParameterProperty(99));
            clone->queryElementSetup(1)->setProperty(6, ParameterProperty(1));
            clone->setElementDefaultValue(1, QStringLiteral("changed"));
            if (RecordParameterDefinition *record = clone->queryRecordParameterDefinition()) {
                record->setElementName(0, parameterText("c", "c"));
                record->deleteElement(1);
                record->createElement(0);
            } else {
                clone->querySimpleParameterDefinition()->setElementCount(7);
            }
            QCOMPARE(save(original.data()), stored);
            // The owner is not owned: once it is gone, neither definition points to it.
            owner.reset();
            QVERIFY(!original->owner() && !clone->owner());
        }
        QCOMPARE(ParameterDefinition::createClone(nullptr), nullptr);
    }
};

QTEST_GUILESS_MAIN(tst_ParameterDefinition)
#include "tst_parameterdefinition.moc"
