#pragma once

#include <KvDatatype/SimpleType.h>
#include <KvDatatype/kvdatatype_export.h>

#include <QtCore/QList>
#include <QtCore/QString>

class DatatypeProviderPrivate;

/*!
 * The table of the simple data types a drive program knows, ordered by code.
 *
 * One instance per process, created on first use and owned by the library; the table is
 * fixed, so the provider may be read from any thread. Code 0 is the unknown type (what a
 * lookup of an undefined code yields), code 1 the boolean (the only type whose pins can
 * be inverted), code 17 the drive memory address (see eSimpleTypeAddress).
 */
class KVDATATYPE_EXPORT DatatypeProvider
{
public:
    /*! The process-wide instance; never null. */
    static DatatypeProvider *instance();

    /*! Every defined type, in ascending code order; the unknown type comes first. */
    QList<SimpleType> simpleTypeList() const;
    /*! The type with \a code; the unknown type (code 0) for an undefined code. */
    SimpleType simpleType(tSimpleType code) const;
    /*! Whether \a code is defined. */
    bool contains(tSimpleType code) const;
    /*!
     * The type whose short name is \a shortName, compared without regard to case; the
     * unknown type when none matches.
     */
    SimpleType simpleTypeByShortName(const QString &shortName) const;

private:
    DatatypeProvider();
    ~DatatypeProvider();
    DatatypeProvider(const DatatypeProvider &) = delete;
    DatatypeProvider &operator=(const DatatypeProvider &) = delete;

    DatatypeProviderPrivate *const d;
};
