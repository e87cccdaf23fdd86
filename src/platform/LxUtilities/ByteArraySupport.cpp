#include "ByteArraySupport.h"

#include <zlib.h>

#include <limits>

namespace LxByteArraySupport {

ByteArraySupport::ByteArraySupport(QByteArray &data, bool bigEndian)
    : m_data(data)
{
    // The byte order belongs to the suite's integer helpers, which the library does not use;
    // the CRC does not depend on it.
    Q_UNUSED(bigEndian)
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

} // namespace LxByteArraySupport
