#include <KvDatatype/DatatypeProvider.h>
#include <KvDatatype/SimpleType.h>

#include <QtTest/QTest>

class DatatypeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stableCodes_data();
    void stableCodes();
    void listIsDenseAndOrdered();
    void undefinedCodeYieldsUnknown_data();
    void undefinedCodeYieldsUnknown();
    void byShortName_data();
    void byShortName();
    void pinTypes();
};

void DatatypeTest::stableCodes_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("shortName");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("kind");
    QTest::addColumn<unsigned int>("size");

    // Codes are stored in files: a row of this table must never change.
    const auto row = [](int code, const char *shortName, const char *name, eSimpleTypeKind kind,
                        unsigned int size) {
        QTest::newRow(shortName) << code << QString::fromUtf8(shortName) << QString::fromUtf8(name)
                                 << int(kind) << size;
    };
    row(0, "?", "Unbekannt", eSimpleTypeKindUnknown, 0);
    row(1, "BOOL", "Boolescher Wert", eSimpleTypeKindBoolean, 1);
    row(2, "SINT", "Ganzzahl 8 Bit mit Vorzeichen", eSimpleTypeKindInteger, 1);
    row(3, "USINT", "Ganzzahl 8 Bit ohne Vorzeichen", eSimpleTypeKindInteger, 1);
    row(4, "INT", "Ganzzahl 16 Bit mit Vorzeichen", eSimpleTypeKindInteger, 2);
    row(5, "UINT", "Ganzzahl 16 Bit ohne Vorzeichen", eSimpleTypeKindInteger, 2);
    row(6, "DINT", "Ganzzahl 32 Bit mit Vorzeichen", eSimpleTypeKindInteger, 4);
    row(7, "UDINT", "Ganzzahl 32 Bit ohne Vorzeichen", eSimpleTypeKindInteger, 4);
    row(8, "LINT", "Ganzzahl 64 Bit mit Vorzeichen", eSimpleTypeKindInteger, 8);
    row(9, "ULINT", "Ganzzahl 64 Bit ohne Vorzeichen", eSimpleTypeKindInteger, 8);
    row(10, "BYTE", "Bitfolge 8 Bit", eSimpleTypeKindInteger, 1);
    row(11, "WORD", "Bitfolge 16 Bit", eSimpleTypeKindInteger, 2);
    row(12, "DWORD", "Bitfolge 32 Bit", eSimpleTypeKindInteger, 4);
    row(13, "LWORD", "Bitfolge 64 Bit", eSimpleTypeKindInteger, 8);
    row(14, "REAL", "Gleitkommazahl 32 Bit", eSimpleTypeKindFloat, 4);
    row(15, "LREAL", "Gleitkommazahl 64 Bit", eSimpleTypeKindFloat, 8);
    row(16, "TIME", "Zeitdauer", eSimpleTypeKindTime, 4);
    row(17, "ADDRESS", "Speicheradresse", eSimpleTypeKindInteger, 4);
    row(18, "STRING", "Zeichenkette", eSimpleTypeKindString, 0);
    row(19, "DATE", "Datum", eSimpleTypeKindTime, 4);
    row(20, "TIME_OF_DAY", "Tageszeit", eSimpleTypeKindTime, 4);
    row(21, "DATE_AND_TIME", "Datum und Uhrzeit", eSimpleTypeKindTime, 8);
    row(22, "STRUCT", "Struktur", eSimpleTypeKindStructured, 0);
}

void DatatypeTest::stableCodes()
{
    QFETCH(int, code);
    QFETCH(QString, shortName);
    QFETCH(QString, name);
    QFETCH(int, kind);
    QFETCH(unsigned int, size);

    const DatatypeProvider *provider = DatatypeProvider::instance();
    QVERIFY(provider->contains(tSimpleType(code)));
    const SimpleType type = provider->simpleType(tSimpleType(code));
    QCOMPARE(int(type.code()), code);
    QCOMPARE(type.shortName(), shortName);
    QCOMPARE(type.name(), name);
    QCOMPARE(int(type.kind()), kind);
    QCOMPARE(type.size(), size);
}

void DatatypeTest::listIsDenseAndOrdered()
{
    const QList<SimpleType> types = DatatypeProvider::instance()->simpleTypeList();
    QCOMPARE(types.size(), 23);
    for (qsizetype i = 0; i < types.size(); ++i)
        QCOMPARE(int(types.at(i).code()), int(i));
}

void DatatypeTest::undefinedCodeYieldsUnknown_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("first-undefined") << 23;
    QTest::newRow("highest") << 255;
}

void DatatypeTest::undefinedCodeYieldsUnknown()
{
    QFETCH(int, code);
    const DatatypeProvider *provider = DatatypeProvider::instance();
    QVERIFY(!provider->contains(tSimpleType(code)));
    const SimpleType type = provider->simpleType(tSimpleType(code));
    QCOMPARE(int(type.code()), 0);
    QCOMPARE(type.shortName(), QStringLiteral("?"));
}

void DatatypeTest::byShortName_data()
{
    QTest::addColumn<QString>("shortName");
    QTest::addColumn<int>("code");

    QTest::newRow("exact") << "UDINT" << 7;
    QTest::newRow("lower-case") << "lreal" << 15;
    QTest::newRow("underscores") << "Time_Of_Day" << 20;
    QTest::newRow("unknown") << "FLOAT" << 0;
    QTest::newRow("empty") << "" << 0;
}

void DatatypeTest::byShortName()
{
    QFETCH(QString, shortName);
    QFETCH(int, code);
    QCOMPARE(int(DatatypeProvider::instance()->simpleTypeByShortName(shortName).code()), code);
}

void DatatypeTest::pinTypes()
{
    // The filter a pin editor applies: scalar kinds with a fixed size, without the address.
    QList<int> offered;
    QList<int> scalarWithSize;
    for (const SimpleType &type : DatatypeProvider::instance()->simpleTypeList()) {
        if (type.kind() < eSimpleTypeKindString && type.size() != 0) {
            scalarWithSize << type.code();
            if (type.code() != eSimpleTypeAddress)
                offered << type.code();
        }
    }
    QCOMPARE(offered, (QList<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 19, 20, 21}));
    // Kind and size alone would let the address through; the explicit exclusion is needed.
    QVERIFY(scalarWithSize.contains(eSimpleTypeAddress));
}

QTEST_GUILESS_MAIN(DatatypeTest)
#include "tst_datatype.moc"
