// Arbitrary bytes as a block-library file: BlockLibraryFile::load, then everything an
// editor does with what was loaded. A refused file must say why; a loaded one is unmodified.
#include "FuzzLibraryWalk.h"

#include <KvBlockLibrary/BlockLibraryFile.h>

#include <QtCore/QFile>
#include <QtGui/QGuiApplication>

#include <cstdint>
#include <memory>

#include <unistd.h>

namespace {

QString g_path;

bool writeInput(const uint8_t *data, size_t size)
{
    // A journal left by an earlier input belongs to other bytes; it must not meet these.
    QFile::remove(g_path + QStringLiteral("-journal"));
    QFile file(g_path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            && file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // Skins draw their default image with text; fonts need a GUI application, not a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(*argc, *argv);
    char directory[] = "/tmp/kvbl-fuzz-XXXXXX";
    if (!mkdtemp(directory))
        std::abort();
    g_path = QString::fromLocal8Bit(directory) + QStringLiteral("/input.bli");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FUZZ_CHECK(writeInput(data, size));
    BlockLibraryFile file;
    if (!file.load(g_path)) {
        FUZZ_CHECK(!file.errorString().isEmpty());
        return 0;
    }
    FUZZ_CHECK(!file.modified());
    useLibrary(file.library());
    return 0;
}
