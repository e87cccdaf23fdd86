#pragma once

#include <LxUtilities/lxutilities_export.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

class StreamTypePrivate;

/*
 * Reads the type line of a typed text stream: an INI comment of the form
 *     ;type="<kind>" version="<n>"
 * found among the leading lines of the stream, before or after a line that holds only the
 * UTF-8 byte order mark. Any bytes are accepted; a stream without a well-formed type line
 * has no kind, and contains() is false for every kind.
 */
class LXUTILITIES_EXPORT StreamType
{
public:
    StreamType();
    ~StreamType();
    StreamType(const StreamType &other);
    StreamType &operator=(const StreamType &other);

    // Takes the whole stream; only its leading lines are examined.
    void setStreamData(const QByteArray &data);

    // True when the type line names exactly this kind (case-sensitive).
    bool contains(const QString &kind) const;
    // The format version that the type line gives for this kind; 0 when it names another kind.
    unsigned int version(const QString &kind) const;
    // The kind named by the type line; empty when there is none.
    QString kind() const;

private:
    StreamTypePrivate *d;
};
