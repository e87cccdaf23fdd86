#pragma once

#include <KvMultilingual/Text.h>

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

class Block;
class BlockLibrary;

// How bli shows things: the words for block kinds, quoting, sorting, and the two output
// forms (lines of text, or one JSON document with --json).
namespace Bli {

// "root", "system", "standard", "template", "tool", "magic", "local" or "user".
QString kindName(const Block *block);
// Every kind name, in the reading order of sortedBlocks().
QStringList kindNames();
// The number of a numbered kind, else the identifier; what tree and show print after the kind.
QString numberOrIdentifier(const Block *block);
// null for blocks without a number.
QJsonValue blockNumber(const Block *block);

// Text in double quotes; quotes, backslashes and control characters escaped C-style, so that
// every value stays on its line.
QString quoted(const QString &text);
// The short name, or "-" when it is empty, so that columns never collapse.
QString shortNameField(const QString &shortName);

// The text in each stored language, keyed by the language number.
QJsonObject textToJson(const Text &text);

// Blocks in reading order: by kind (root, system, standard, template, tool, magic, user),
// then by number, then by identifier.
QList<Block *> sortedBlocks(const BlockLibrary *library, const QList<QString> &identifiers);

// Group paths are segment numbers joined by "/"; a segment that the library names shows
// its name in the current language, any other segment as written.
QStringList groupSegments(const QString &groupPath);
QString segmentName(const QString &segment, const QHash<unsigned int, Text> &names);

// The short name of a pin data type ("BOOL", "REAL"); the code in decimal when unknown.
QString datatypeName(unsigned char code);
// "general" or "family <n>".
QString familyName(unsigned int family);
QJsonValue familyToJson(unsigned int family);

// Storage and stream names made safe for one path: "%" and "/" and control characters
// become %XX, so that a listed path can be handed back to dump.
QString escapeName(const QString &name);
QString unescapeName(const QString &name);

// Writes text and a line feed to stdout, UTF-8.
void printLine(const QString &line = QString());
void printLines(const QStringList &lines);
void printJson(const QJsonObject &object);
void printBytes(const QByteArray &bytes);

} // namespace Bli
