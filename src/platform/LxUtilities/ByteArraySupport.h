#pragma once

#include <LxUtilities/lxutilities_export.h>

#include <QtCore/QByteArray>

namespace LxByteArraySupport {

/*
 * The standard CRC-32 (the one of zlib, PNG and Ethernet) over a byte array owned by the
 * caller, which must outlive the helper.
 */
class LXUTILITIES_EXPORT ByteArraySupport
{
public:
    // bigEndian has no effect on the CRC.
    ByteArraySupport(QByteArray &data, bool bigEndian);

    // CRC-32 (polynomial 0x04C11DB7 reflected, initial and final value 0xFFFFFFFF) of all bytes.
    unsigned int crc32() const;

private:
    const QByteArray &m_data;
};

} // namespace LxByteArraySupport
