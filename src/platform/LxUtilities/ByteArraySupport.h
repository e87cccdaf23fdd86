#pragma once

#include <LxUtilities/lxutilities_export.h>

#include <QtCore/QByteArray>

namespace LxByteArraySupport {

/*
 * Helpers over a byte array owned by the caller: the standard CRC-32 (the one of zlib,
 * PNG and Ethernet) and fixed-width unsigned integers in the chosen byte order. The array
 * must outlive the helper.
 */
class LXUTILITIES_EXPORT ByteArraySupport
{
public:
    // bigEndian selects the byte order of the integer helpers; the CRC does not depend on it.
    ByteArraySupport(QByteArray &data, bool bigEndian);

    // CRC-32 (polynomial 0x04C11DB7 reflected, initial and final value 0xFFFFFFFF) of all bytes.
    unsigned int crc32() const;

    void appendUInt16(quint16 value);
    void appendUInt32(quint32 value);
    // The integer at offset; false when the array is too short to hold it there.
    bool readUInt16(qsizetype offset, quint16 *value) const;
    bool readUInt32(qsizetype offset, quint32 *value) const;

private:
    QByteArray &m_data;
    bool m_bigEndian;
};

} // namespace LxByteArraySupport
