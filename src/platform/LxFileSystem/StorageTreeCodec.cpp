#include "StorageTreeCodec_p.h"

#include <QtCore/QCborStreamReader>
#include <QtCore/QCborStreamWriter>
#include <QtCore/QtEndian>

namespace StorageTreeCodec {

namespace {

// Every map entry takes at least two bytes (a one-byte key and a one-byte value), so a
// declared count above half the remaining input cannot be genuine.
constexpr qint64 kMinMapEntryBytes = 2;
// The marker is short; a longer string in its place is rejected before it is read.
constexpr qsizetype kMaxMarkerBytes = 64;

void writeName(QCborStreamWriter &writer, const QString &name)
{
    if (name.isValidUtf16()) {
        writer.append(name);
        return;
    }
    QByteArray units(name.size() * 2, Qt::Uninitialized);
    for (qsizetype i = 0; i < name.size(); ++i)
        qToLittleEndian<quint16>(name.at(i).unicode(), units.data() + 2 * i);
    writer.append(units);
}

using BytesOf = std::function<QByteArray(const StorageStream &)>;

void writeStorage(QCborStreamWriter &writer, const StorageNode &node, const BytesOf &bytesOf)
{
    writer.startArray(2);
    writer.startMap(quint64(node.streams.size()));
    for (const StorageStream &stream : node.streams) {
        writeName(writer, stream.name);
        writer.append(bytesOf(stream));
    }
    writer.endMap();
    writer.startMap(quint64(node.children.size()));
    for (const auto &child : node.children) {
        writeName(writer, child.first);
        writeStorage(writer, *child.second, bytesOf);
    }
    writer.endMap();
    writer.endArray();
}

class Decoder
{
public:
    explicit Decoder(const QByteArray &data) : m_size(data.size()), m_reader(data) { }

    bool decodeDocument(StorageNode &root)
    {
        if (!m_reader.isTag() || m_reader.toTag() != QCborKnownTags::Signature || !m_reader.next())
            return false;
        if (!enterArray(3))
            return false;
        QByteArray marker;
        if (!m_reader.isString() || !readString(kMaxMarkerBytes, &marker) || marker != kMarker)
            return false;
        if (!m_reader.isUnsignedInteger() || m_reader.toUnsignedInteger() != kVersion || !m_reader.next())
            return false;
        if (!decodeStorage(root) || !leave())
            return false;
        // Trailing bytes mean the input is something else that merely starts like a tree.
        return m_reader.currentOffset() == m_size;
    }

private:
    qint64 remaining() const { return m_size - m_reader.currentOffset(); }

    bool ok() { return m_reader.lastError() == QCborError::NoError; }

    // Only definite lengths are written; anything else is not an encoding of this format.
    bool enterArray(quint64 count)
    {
        return m_reader.isArray() && m_reader.isLengthKnown() && m_reader.length() == count
                && m_reader.enterContainer();
    }

    bool enterMap()
    {
        return m_reader.isMap() && m_reader.isLengthKnown()
                && m_reader.length() <= quint64(remaining() / kMinMapEntryBytes) && m_reader.enterContainer();
    }

    bool leave() { return !m_reader.hasNext() && ok() && m_reader.leaveContainer(); }

    // Reads the current text or byte string. Its declared size is checked against the limit
    // and the input still unread before anything is allocated.
    bool readString(qsizetype limit, QByteArray *bytes)
    {
        if (!m_reader.isLengthKnown())
            return false;
        const qsizetype size = m_reader.currentStringChunkSize();
        if (size < 0 || size > limit || size > remaining())
            return false;
        QByteArray buffer(size, Qt::Uninitialized);
        auto chunk = m_reader.readStringChunk(buffer.data(), size);
        if (chunk.status != QCborStreamReader::Ok || chunk.data != size)
            return false;
        chunk = m_reader.readStringChunk(nullptr, 0);
        if (chunk.status != QCborStreamReader::EndOfString || !ok())
            return false;
        *bytes = std::move(buffer);
        return true;
    }

    bool readName(QString *name)
    {
        QByteArray bytes;
        if (m_reader.isString()) {
            if (!readString(m_size, &bytes))
                return false;
            *name = QString::fromUtf8(bytes);
            // fromUtf8 replaces malformed sequences; a difference on the way back reveals them.
            return name->toUtf8() == bytes;
        }
        if (m_reader.isByteArray()) {
            if (!readString(m_size, &bytes) || bytes.size() % 2 != 0)
                return false;
            QString units(bytes.size() / 2, Qt::Uninitialized);
            for (qsizetype i = 0; i < units.size(); ++i)
                units[i] = QChar(qFromLittleEndian<quint16>(bytes.constData() + 2 * i));
            // Well-formed names are always written as text: one tree, one encoding.
            if (units.isValidUtf16())
                return false;
            *name = std::move(units);
            return true;
        }
        return false;
    }

    bool decodeStorage(StorageNode &node)
    {
        if (!enterArray(2) || !enterMap())
            return false;
        while (m_reader.hasNext()) {
            QString name;
            QByteArray data;
            if (!readName(&name) || !m_reader.isByteArray()
                    || !readString(LxFileSystemLimits::kMaxStreamSize, &data))
                return false;
            // Names must come in ascending order, as they are written: one tree, one encoding,
            // and no name twice.
            if (!node.streams.isEmpty() && !(node.streams.constLast().name < name))
                return false;
            node.streams.append(StorageStream { std::move(name), std::move(data) });
        }
        if (!leave() || !enterMap())
            return false;
        while (m_reader.hasNext()) {
            QString name;
            if (!readName(&name) || node.depth >= LxFileSystemLimits::kMaxDepth)
                return false;
            auto child = std::make_shared<StorageNode>(name, &node, node.depth + 1);
            if (!decodeStorage(*child))
                return false;
            if (!node.children.empty() && !(node.children.rbegin()->first < name))
                return false;
            node.children.emplace_hint(node.children.end(), std::move(name), std::move(child));
        }
        return leave() && leave();
    }

    const qint64 m_size;
    QCborStreamReader m_reader;
};

} // namespace

QByteArray encode(const StorageNode &node, const BytesOf &bytesOf)
{
    QByteArray data;
    QCborStreamWriter writer(&data);
    writer.append(QCborKnownTags::Signature);
    writer.startArray(3);
    writer.append(QLatin1String(kMarker));
    writer.append(kVersion);
    writeStorage(writer, node, bytesOf);
    writer.endArray();
    return data;
}

StorageNodePtr decode(const QByteArray &data, int depth)
{
    auto root = std::make_shared<StorageNode>(QString(), nullptr, depth);
    Decoder decoder(data);
    if (!decoder.decodeDocument(*root))
        return nullptr;
    return root;
}

} // namespace StorageTreeCodec
