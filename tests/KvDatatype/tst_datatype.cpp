#include <KvDatatype/DatatypeProvider.h>
#include <KvDatatype/SimpleType.h>

#include <QtTest/QTest>

class DatatypeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stableCodes_data();
    void stableCodes();
    void lookups();
};

void DatatypeTest::stableCodes_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("shortName");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("kind");
    QTest::addColumn<unsigned int>("size");

    // Codes are stored in files: a row of this table must never change.
    const auto row = [](int code, const char *shortName, const char *name, eSimpleTypeKind kind, unsigned int size) {
        QTest::newRow(shortName) << code << QString::fromUtf8(shortName) << QString::fromUtf8(name) << int(kind) << size;
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
    QCOMPARE(int(provider->simpleTypeList().at(code).code()), code); // the list is dense and in code order
}

void DatatypeTest::lookups()
{
    const DatatypeProvider *provider = DatatypeProvider::instance();
    QCOMPARE(provider->simpleTypeList().size(), 23);
    // Undefined codes yield the unknown type.
    for (int code : {23, 255}) {
        QVERIFY(!provider->contains(tSimpleType(code)));
        QCOMPARE(provider->simpleType(tSimpleType(code)).shortName(), QStringLiteral("?"));
    }
    // Short names match regardless of case; unknown names yield the unknown type.
    QCOMPARE(int(provider->simpleTypeByShortName(QStringLiteral("lreal")).code()), 15);
    QCOMPARE(int(provider->simpleTypeByShortName(QStringLiteral("Time_Of_Day")).code()), 20);
    QCOMPARE(int(provider->simpleTypeByShortName(QStringLiteral("FLOAT")).code()), 0);
    QCOMPARE(int(provider->simpleTypeByShortName(QString()).code()), 0);
}

QTEST_GUILESS_MAIN(DatatypeTest)
#include "tst_datatype.moc"
