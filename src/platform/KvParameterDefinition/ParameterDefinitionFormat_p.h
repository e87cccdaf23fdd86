#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

class ParameterDefinition;

/*
 * The stored text of a parameter definition: a typed INI stream of kind
 * "parameterdefinition", format version 0, UTF-8, CRLF line ends.
 *
 *     <EF BB BF>
 *     ;type="parameterdefinition" version="0"
 *
 *     [Definition]
 *     Kind=simple                  simple | record
 *     ElementCount=3               simple: 1 .. MaxElementCount, record: 0 .. MaxElementCount
 *     Global=0                     0 axis parameter, 1 global parameter
 *     Coordinates=P123,A12         default coordinates joined by "," (may be empty)
 *     Description=<p>a</p>\n<p>b</p>
 *
 *     [ShortName]                  the parameter's short name, one key per language
 *     1=Drz
 *
 *     [LongName]                   its long name
 *     1=Drehzahl
 *
 *     [Element_0]                  one section per element, 0 .. ElementCount - 1
 *     Default=5                    the element's default value
 *     Property_5=int:0             numbered properties, ascending, as <type>:<payload>
 *     Property_18=ptext:
 *     Property_40=ptextmap:0,1
 *
 *     [Element_0.ShortName]        record only: the element's names, one key per language
 *     [Element_0.LongName]
 *     [Element_0.Property_41]      a Text property: one key per language
 *     [Element_0.Property_18.ShortName]    a ParameterText property: its two texts
 *     [Element_0.Property_18.LongName]
 *     [Element_0.Property_40.1.LongName]   a ParameterTextMap property: the texts of key 1
 *
 * A simple definition keeps its shared setup's properties in Element_0; its other element
 * sections hold only their Default. Sections of empty texts are left out.
 *
 * Property types and payloads: bool (0 or 1), int, uint, longlong, ulonglong (decimal),
 * double (shortest form that reads back the same bits, "-0", "nan", "inf", "-inf"),
 * string (escaped text), bytes (lower-case hexadecimal), text and ptext (empty payload,
 * the texts follow in their sections), ptextmap (the map's keys, ascending, joined by ",";
 * entries with empty texts are listed too).
 *
 * Text values (descriptions, names, defaults, strings) are escaped so that any QString
 * fits one line and reads back exactly: "\" is written "\\", line feed "\n", carriage
 * return "\r", and a UTF-16 surrogate that is not part of a pair (UTF-8 cannot hold it)
 * "\uXXXX" with upper-case hexadecimal digits; every other character is plain UTF-8.
 *
 * Every number is written in its one canonical decimal form, and the reader accepts only
 * that form, and only escapes the writer would produce: a text the writer could not have
 * written is not a definition.
 */
namespace ParameterDefinitionFormat {

extern const QString Kind;
constexpr unsigned int Version = 0;

// The stored text of definition.
QByteArray save(const ParameterDefinition &definition);
// A new definition from its stored text; throws ParameterException when text is not one.
ParameterDefinition *load(const QByteArray &text);

// The shortest text that reads back to the same double, with "-0" for negative zero.
QByteArray formatDouble(double value);

// Escaping of text values as described above.
QByteArray escape(const QString &text);
// Throws ParameterException unless bytes is exactly what escape() writes for some text.
QString unescape(const QByteArray &bytes);

} // namespace ParameterDefinitionFormat
