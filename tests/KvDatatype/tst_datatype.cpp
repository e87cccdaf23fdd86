#include <KvDatatype/DatatypeProvider.h>
#include <KvDatatype/SimpleType.h>

#include <QtTest/QTest>

class DatatypeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void codesAreStable();
};

// Codes are stored in files: a line of this list must never change. Lookups by code and by
// name (regardless of case) find the same types; unknown ones yield the unknown type, code 0.
void DatatypeTest::codesAreStable()
{
    const DatatypeProvider *provider = DatatypeProvider::instance();
    QStringList types;
    for (int code = 0; code < 24; ++code) {
        const SimpleType type = provider->simpleType(tSimpleType(code));
        QCOMPARE(provider->simpleTypeByShortName(type.shortName().toLower()), type);
        QCOMPARE(provider->contains(tSimpleType(code)), code < 23);
        QCOMPARE(provider->simpleTypeList().value(code, provider->simpleType(0)), type); // dense, in code order
        types << QStringLiteral("%1 %2 %3 %4 %5").arg(int(type.code())).arg(type.shortName(), type.name()).arg(type.kind()).arg(type.size());
    }
    QCOMPARE(provider->simpleTypeByShortName(QStringLiteral("FLOAT")).code(), tSimpleType(0));
    QCOMPARE(types, QStringList({ "0 ? Unbekannt 6 0", "1 BOOL Boolescher Wert 0 1",
                                  "2 SINT Ganzzahl 8 Bit mit Vorzeichen 1 1", "3 USINT Ganzzahl 8 Bit ohne Vorzeichen 1 1",
                                  "4 INT Ganzzahl 16 Bit mit Vorzeichen 1 2", "5 UINT Ganzzahl 16 Bit ohne Vorzeichen 1 2",
                                  "6 DINT Ganzzahl 32 Bit mit Vorzeichen 1 4", "7 UDINT Ganzzahl 32 Bit ohne Vorzeichen 1 4",
                                  "8 LINT Ganzzahl 64 Bit mit Vorzeichen 1 8", "9 ULINT Ganzzahl 64 Bit ohne Vorzeichen 1 8",
                                  "10 BYTE Bitfolge 8 Bit 1 1", "11 WORD Bitfolge 16 Bit 1 2", "12 DWORD Bitfolge 32 Bit 1 4",
                                  "13 LWORD Bitfolge 64 Bit 1 8", "14 REAL Gleitkommazahl 32 Bit 2 4", "15 LREAL Gleitkommazahl 64 Bit 2 8",
                                  "16 TIME Zeitdauer 3 4", "17 ADDRESS Speicheradresse 1 4", "18 STRING Zeichenkette 4 0",
                                  "19 DATE Datum 3 4", "20 TIME_OF_DAY Tageszeit 3 4", "21 DATE_AND_TIME Datum und Uhrzeit 3 8",
                                  "22 STRUCT Struktur 5 0", "0 ? Unbekannt 6 0" }));
}

QTEST_GUILESS_MAIN(DatatypeTest)
#include "tst_datatype.moc"
