#include "StreamType.h"

namespace {

// The type line is one of the first lines; looking further would make every reader scan
// whole streams (code texts, images) for nothing.
constexpr int MaxLeadingLines = 3;
// A type line is short; longer lines are not type lines, whatever they hold.
constexpr int MaxTypeLineLength = 512;

constexpr QByteArrayView ByteOrderMark("\xEF\xBB\xBF");

// Every typed stream a library holds is classified on loading, so the type line is read in
// place, through views, without copying lines or building strings until a kind is found.
bool parseUnsigned(QByteArrayView digits, unsigned int *value)
{
    if (digits.isEmpty())
        return false;
    quint64 number = 0;
    for (char c : digits) {
        if (c < '0' || c > '9')
            return false;
        number = number * 10 + quint64(c - '0');
        if (number > 0xFFFFFFFFull)
            return false;
    }
    *value = static_cast<unsigned int>(number);
    return true;
}

// Reads `name="value"` at position pos of line, moving pos behind it.
bool readAttribute(QByteArrayView line, qsizetype &pos, QByteArrayView name, QByteArrayView *value)
{
    const QByteArrayView rest = line.sliced(pos);
    if (!rest.startsWith(name) || rest.size() < name.size() + 2 || rest.at(name.size()) != '='
            || rest.at(name.size() + 1) != '"')
        return false;
    const qsizetype start = pos + name.size() + 2;
    const qsizetype end = line.indexOf('"', start);
    if (end < 0)
        return false;
    *value = line.sliced(start, end - start);
    pos = end + 1;
    return true;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

// Parses `;type="<kind>" version="<n>"`, optionally followed by blanks.
bool parseTypeLine(QByteArrayView line, QString *kind, unsigned int *version)
{
    if (!line.startsWith(';'))
        return false;
    qsizetype pos = 1;
    while (pos < line.size() && isBlank(line.at(pos)))
        ++pos;
    QByteArrayView kindBytes;
    if (!readAttribute(line, pos, "type", &kindBytes))
        return false;
    const qsizetype blanksStart = pos;
    while (pos < line.size() && isBlank(line.at(pos)))
        ++pos;
    if (pos == blanksStart)
        return false;
    QByteArrayView versionBytes;
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

    const QByteArrayView text(data);
    qsizetype start = 0;
    for (int lineIndex = 0; lineIndex < MaxLeadingLines && start < text.size(); ++lineIndex) {
        qsizetype end = text.indexOf('\n', start);
        if (end < 0)
            end = text.size();
        const qsizetype length = end - start;
        if (length <= MaxTypeLineLength) {
            QByteArrayView line = text.sliced(start, length);
            if (line.endsWith('\r'))
                line.chop(1);
            // The mark may stand alone on its line or, written by other tools, lead the type line.
            if (line.startsWith(ByteOrderMark))
                line = line.sliced(ByteOrderMark.size());
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
