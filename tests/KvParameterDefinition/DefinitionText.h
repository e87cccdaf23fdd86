#pragma once

#include <QtCore/QSharedPointer>
#include <QtCore/QStringList>

class ParameterDefinition;

// Test helpers that print a parameter definition through its public API only, so that a
// saver and a loader that drop the same thing cannot hide it, and one QCOMPARE shows what
// differs.
namespace DefinitionText {

// One line per fact, in a fixed order:
//   kind record / elements 2 / global 1 / coordinates P123,A12 / description "..."
//   name short {1:"Drz"} long {}
//   element 0 default "5" name short {} long {2:"x"}
//   element 0 property 16 int 4
// Strings are quoted with control characters and surrogates as \uXXXX; doubles show their
// bits. Owner and version are left out: they are not content.
QStringList lines(ParameterDefinition *definition);

} // namespace DefinitionText

using DefinitionPointer = QSharedPointer<ParameterDefinition>;
