#pragma once

#include <LxUtilities/lxutilities_export.h>
#include <LxUtilities/IniSection.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace LxIniParser {

class IniParserPrivate;

/*
 * Parses INI text: "[name]" section headers and "key=value" lines, with LF or CRLF line
 * ends. Lines whose first character is ";" are comments (so the type line of a typed
 * stream is skipped); key lines before the first section, lines without "=" and malformed
 * headers are skipped. A section that occurs twice is merged into its first occurrence.
 * Any bytes are accepted.
 */
class LXUTILITIES_EXPORT IniParser
{
public:
    IniParser();
    virtual ~IniParser();

    // Parses the whole text, replacing what an earlier call parsed.
    void setIniText(const QByteArray &text);

    // The section of that name, or null when absent; owned by the parser and valid until
    // the next setIniText() or the parser's destruction.
    virtual IniSection *section(QByteArray name);
    // The section names in file order.
    virtual QList<QByteArray> allSectionNames() const;
    // True unless the text begins with the UTF-8 byte order mark.
    virtual bool latin1Encoded() const;

private:
    IniParserPrivate *const d;
    Q_DISABLE_COPY(IniParser)
};

} // namespace LxIniParser
