// Any bytes through the INI parser: every section and key is visited and read.
#include <LxUtilities/IniParser.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    LxIniParser::IniParser parser;
    parser.setIniText(text);
    qsizetype total = 0;
    for (const QByteArray &name : parser.allSectionNames()) {
        LxIniParser::IniSection *section = parser.section(name);
        if (!section)
            std::abort(); // every listed section must be found
        for (const QByteArray &key : section->keys()) {
            if (!section->contains(key))
                std::abort();
            total += section->value(key).size();
        }
    }
    // Values are slices of the text: together they can never be longer than it.
    if (total > text.size())
        std::abort();
    return 0;
}
