#pragma once

// The names under which the parts of a library are stored. The loaders read exactly what these
// functions accept, and `bli check` reports what they refuse: parsing the names in one place
// keeps the two from disagreeing.

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace StoredNames {

// How a name that carries a number matched.
enum class Number {
    NoMatch,    // not a name of this kind
    OutOfRange, // of this kind, but the number does not fit
    Valid,
};

// "V<n>": a block's version storage.
Number versionStorage(const QString &name, unsigned int *version);
// "Pin_<n>", optionally followed by ".<suffix>": a pin stream; the number fits an int.
Number pinStream(const QString &name, int *pin);
// "<n>": the storages of parameter definitions, KSB binaries and group segments.
Number decimal(const QString &name, unsigned int *number);
// "Family_<n>.ini": a family's parameter definition.
Number familyDefinitionStream(const QString &name, unsigned int *family);
// "Family_<n>" without ".ini": the form family definitions are written in, which is never
// read back.
bool isUnreadFamilyDefinitionStream(const QString &name);
// "Family_<n>.bin": a family's KSB binary.
Number familyBinaryStream(const QString &name, unsigned int *family);
// "[Family_<n>]": a family's section of parameter levels and values.
Number familySection(const QByteArray &section, unsigned int *family);

enum class ListImage { None, Large, Small };
// "IconLarge" or "IconSmall" followed by ".png" or ".bmp" in any case; *suffix receives the
// suffix in lower case.
ListImage listImage(const QString &name, QString *suffix);

// The parameter a level stream holds the levels of: the stream's name up to an optional
// bracketed index. Empty when the name is not one of a parameter.
QString levelStreamParameter(const QString &name);

// The stream names an "order.txt" lists, in its order: one a line, blank lines and lines
// starting with ';' left out.
QStringList orderedStreams(const QByteArray &order);

} // namespace StoredNames
