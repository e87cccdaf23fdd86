// Any bytes through the type-line reader; a recognised kind must answer consistently.
#include <LxUtilities/StreamType.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    StreamType type;
    type.setStreamData(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    const QString kind = type.kind();
    if (!kind.isEmpty() && !type.contains(kind))
        std::abort();
    if (kind.isEmpty() && type.contains(kind))
        std::abort();
    if (type.contains(QStringLiteral("block")))
        (void)type.version(QStringLiteral("block"));
    return 0;
}
