#include "ByteArraySupport.h"

#include <QtCore/QtEndian>

#include <zlib.h>

#include <limits>

namespace LxByteArraySupport {

ByteArraySupport::ByteArraySupport(QByteArray &data, bool bigEndian)
    : m_data(data)
    , m_bigEndian(bigEndian)
{
}

unsigned int ByteArraySupport::crc32() const
{
    uLong crc = ::crc32(0L, Z_NULL, 0);
    const auto *bytes = reinterpret_cast<const Bytef *>(m_data.constData());
    qsizetype remaining = m_data.size();
    // zlib takes the length as uInt; feed larger arrays in pieces.
    constexpr qsizetype Chunk = std::numeric_limits<uInt>::max() / 2;
    while (remaining > 0) {
        const qsizetype piece = qMin(remaining, Chunk);
        crc = ::crc32(crc, bytes, static_cast<uInt>(piece));
        bytes += piece;
        remaining -= piece;
    }
    return static_cast<unsigned int>(crc);
}

void ByteArraySupport::appendUInt16(quint16 value)
{
    char bytes[2];
    if (m_bigEndian)
        qToBigEndian(value, bytes);
    else
        qToLittleEndian(value, bytes);
    m_data.append(bytes, 2);
}

void ByteArraySupport::appendUInt32(quint32 value)
{
    char bytes[4];
    if (m_bigEndian)
        qToBigEndian(value, bytes);
    else
        qToLittleEndian(value, bytes);
    m_data.append(bytes, 4);
}

bool ByteArraySupport::readUInt16(qsizetype offset, quint16 *value) const
{
    if (offset < 0 || offset > m_data.size() - 2)
        return false;
    const char *at = m_data.constData() + offset;
    *value = m_bigEndian ? qFromBigEndian<quint16>(at) : qFromLittleEndian<quint16>(at);
    return true;
}

bool ByteArraySupport::readUInt32(qsizetype offset, quint32 *value) const
{
    if (offset < 0 || offset > m_data.size() - 4)
        return false;
    const char *at = m_data.constData() + offset;
    *value = m_bigEndian ? qFromBigEndian<quint32>(at) : qFromLittleEndian<quint32>(at);
    return true;
}

} // namespace LxByteArraySupport
