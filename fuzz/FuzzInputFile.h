#pragma once

#include <QtCore/QFile>
#include <QtCore/QString>

#include <cstdint>
#include <cstdlib>

#include <unistd.h>

// Targets that read whole files get each input as one file in a private temporary folder.
class FuzzInputFile
{
public:
    // Call once, from LLVMFuzzerInitialize.
    static void setUp(const char *prefix)
    {
        QByteArray directory = QByteArray("/tmp/") + prefix + "-XXXXXX";
        if (!mkdtemp(directory.data()))
            std::abort();
        path() = QString::fromLocal8Bit(directory) + QStringLiteral("/input.bli");
    }

    static QString &path()
    {
        static QString file;
        return file;
    }

    static bool write(const uint8_t *data, size_t size)
    {
        // A journal left by an earlier input belongs to other bytes; it must not meet these.
        QFile::remove(path() + QStringLiteral("-journal"));
        QFile file(path());
        return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
                && file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size);
    }
};
