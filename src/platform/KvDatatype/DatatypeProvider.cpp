#include "DatatypeProvider.h"
#include "DatatypeProvider_p.h"

#include <QtCore/QCoreApplication>

static QString trType(const char *name)
{
    return QCoreApplication::translate("DatatypeProvider", name);
}

DatatypeProvider *DatatypeProvider::instance()
{
    // Function-local static: created on first use, thread-safe, destroyed at exit.
    static DatatypeProvider provider;
    return &provider;
}

DatatypeProvider::DatatypeProvider()
    : d(new DatatypeProviderPrivate)
{
    d->types = {
        {eSimpleTypeUnknown, trType("Unbekannt"), QStringLiteral("?"), eSimpleTypeKindUnknown, 0},
        {eSimpleTypeBool, trType("Boolescher Wert"), QStringLiteral("BOOL"), eSimpleTypeKindBoolean, 1},
        {eSimpleTypeSInt, trType("Ganzzahl 8 Bit mit Vorzeichen"), QStringLiteral("SINT"), eSimpleTypeKindInteger, 1},
        {eSimpleTypeUSInt, trType("Ganzzahl 8 Bit ohne Vorzeichen"), QStringLiteral("USINT"), eSimpleTypeKindInteger, 1},
        {eSimpleTypeInt, trType("Ganzzahl 16 Bit mit Vorzeichen"), QStringLiteral("INT"), eSimpleTypeKindInteger, 2},
        {eSimpleTypeUInt, trType("Ganzzahl 16 Bit ohne Vorzeichen"), QStringLiteral("UINT"), eSimpleTypeKindInteger, 2},
        {eSimpleTypeDInt, trType("Ganzzahl 32 Bit mit Vorzeichen"), QStringLiteral("DINT"), eSimpleTypeKindInteger, 4},
        {eSimpleTypeUDInt, trType("Ganzzahl 32 Bit ohne Vorzeichen"), QStringLiteral("UDINT"), eSimpleTypeKindInteger, 4},
        {eSimpleTypeLInt, trType("Ganzzahl 64 Bit mit Vorzeichen"), QStringLiteral("LINT"), eSimpleTypeKindInteger, 8},
        {eSimpleTypeULInt, trType("Ganzzahl 64 Bit ohne Vorzeichen"), QStringLiteral("ULINT"), eSimpleTypeKindInteger, 8},
        {eSimpleTypeByte, trType("Bitfolge 8 Bit"), QStringLiteral("BYTE"), eSimpleTypeKindInteger, 1},
        {eSimpleTypeWord, trType("Bitfolge 16 Bit"), QStringLiteral("WORD"), eSimpleTypeKindInteger, 2},
        {eSimpleTypeDWord, trType("Bitfolge 32 Bit"), QStringLiteral("DWORD"), eSimpleTypeKindInteger, 4},
        {eSimpleTypeLWord, trType("Bitfolge 64 Bit"), QStringLiteral("LWORD"), eSimpleTypeKindInteger, 8},
        {eSimpleTypeReal, trType("Gleitkommazahl 32 Bit"), QStringLiteral("REAL"), eSimpleTypeKindFloat, 4},
        {eSimpleTypeLReal, trType("Gleitkommazahl 64 Bit"), QStringLiteral("LREAL"), eSimpleTypeKindFloat, 8},
        {eSimpleTypeTime, trType("Zeitdauer"), QStringLiteral("TIME"), eSimpleTypeKindTime, 4},
        {eSimpleTypeAddress, trType("Speicheradresse"), QStringLiteral("ADDRESS"), eSimpleTypeKindInteger, 4},
        {eSimpleTypeString, trType("Zeichenkette"), QStringLiteral("STRING"), eSimpleTypeKindString, 0},
        {eSimpleTypeDate, trType("Datum"), QStringLiteral("DATE"), eSimpleTypeKindTime, 4},
        {eSimpleTypeTimeOfDay, trType("Tageszeit"), QStringLiteral("TIME_OF_DAY"), eSimpleTypeKindTime, 4},
        {eSimpleTypeDateAndTime, trType("Datum und Uhrzeit"), QStringLiteral("DATE_AND_TIME"), eSimpleTypeKindTime, 8},
        {eSimpleTypeStruct, trType("Struktur"), QStringLiteral("STRUCT"), eSimpleTypeKindStructured, 0},
    };
}

DatatypeProvider::~DatatypeProvider()
{
    delete d;
}

QList<SimpleType> DatatypeProvider::simpleTypeList() const
{
    return d->types;
}

SimpleType DatatypeProvider::simpleType(tSimpleType code) const
{
    return contains(code) ? d->types.at(code) : d->types.first();
}

bool DatatypeProvider::contains(tSimpleType code) const
{
    return code < d->types.size();
}

SimpleType DatatypeProvider::simpleTypeByShortName(const QString &shortName) const
{
    for (const SimpleType &type : d->types) {
        if (type.shortName().compare(shortName, Qt::CaseInsensitive) == 0)
            return type;
    }
    return d->types.first();
}
