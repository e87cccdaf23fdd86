#include "StreamType.h"

namespace {

// The type line is one of the first lines; looking further would make every reader scan
// whole streams (code texts, images) for nothing.
constexpr int MaxLeadingLines = 3;
// A type line is short; longer lines are not type lines, whatever they hold.
constexpr int MaxTypeLineLength = 512;

const QByteArray ByteOrderMark("\xEF\xBB\xBF");

bool parseUnsigned(const QByteArray &digits, unsigned int *value)
{
    if (digits.isEmpty())
        return false;
    for (char c : digits) {
        if (c < '0' || c > '9')
            return false;
    }
    bool ok = false;
    const qulonglong number = digits.toULongLong(&ok, 10);
    if (!ok || number > 0xFFFFFFFFull)
        return false;
    *value = static_cast<unsigned int>(number);
    return true;
}

// Reads `name="value"` at position pos of line, moving pos behind it.
bool readAttribute(const QByteArray &line, int &pos, const char *name, QByteArray *value)
{
    const QByteArray prefix = QByteArray(name) + "=\"";
    if (line.mid(pos, prefix.size()) != prefix)
        return false;
    const int start = pos + prefix.size();
    const int end = line.indexOf('"', start);
    if (end < 0)
        return false;
    *value = line.mid(start, end - start);
    pos = end + 1;
    return true;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

// Parses `;type="<kind>" version="<n>"`, optionally followed by blanks.
bool parseTypeLine(const QByteArray &line, QString *kind, unsigned int *version)
{
    if (!line.startsWith(';'))
        return false;
    int pos = 1;
    while (pos < line.size() && isBlank(line.at(pos)))
        ++pos;
    QByteArray kindBytes;
    if (!readAttribute(line, pos, "type", &kindBytes))
        return false;
    const int blanksStart = pos;
    while (pos < line.size() && isBlank(line.at(pos)))
        ++pos;
    if (pos == blanksStart)
        return false;
    QByteArray versionBytes;
    if (!readAttribute(line, pos, "version", &versionBytes))
        return false;
    while (pos < line.size() && isBlank(line.at(pos)))
        ++pos;
    if (pos != line.size())
        return false;
    unsigned int number = 0;
    if (kindBytes.isEmpty() || !parseUnsigned(versionBytes, &number))
        return false;
    *kind = QString::fromLatin1(kindBytes);
    *version = number;
    return true;
}

} // namespace

class StreamTypePrivate
{
public:
    QString kind;
    unsigned int version = 0;
};

StreamType::StreamType()
    : d(new StreamTypePrivate)
{
}

StreamType::~StreamType()
{
    delete d;
}

StreamType::StreamType(const StreamType &other)
    : d(new StreamTypePrivate(*other.d))
{
}

StreamType &StreamType::operator=(const StreamType &other)
{
    *d = *other.d;
    return *this;
}

void StreamType::setStreamData(const QByteArray &data)
{
    d->kind.clear();
    d->version = 0;

    int start = 0;
    for (int lineIndex = 0; lineIndex < MaxLeadingLines && start < data.size(); ++lineIndex) {
        int end = data.indexOf('\n', start);
        if (end < 0)
            end = data.size();
        const int length = end - start;
        if (length <= MaxTypeLineLength) {
            QByteArray line = data.mid(start, length);
            if (line.endsWith('\r'))
                line.chop(1);
            // The mark may stand alone on its line or, written by other tools, lead the type line.
            if (line.startsWith(ByteOrderMark))
                line.remove(0, ByteOrderMark.size());
            if (parseTypeLine(line, &d->kind, &d->version))
                return;
        }
        start = end + 1;
    }
}

bool StreamType::contains(const QString &kind) const
{
    return !d->kind.isEmpty() && d->kind == kind;
}

unsigned int StreamType::version(const QString &kind) const
{
    return contains(kind) ? d->version : 0;
}

QString StreamType::kind() const
{
    return d->kind;
}
