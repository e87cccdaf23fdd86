// Writes damaged copies of a library file, as they arrive after a bad copy, a broken share or
// a full disk, as seeds for the libraryfile corpus (fuzz_libraryfile loads each as the
// library does and computes every comparison value):
//
//   damaged_library_seeds LIBRARY OUTDIR [COUNT [SEED]]
//
// Mutation i is of kind i % 6 (bit flips, truncation, zeroed page, swapped pages, random
// bytes, flips in the header page) and applies to the file itself for even i / 6 and to a
// copy rewritten with 1 KiB pages for odd ones, so that page mutations hit single tables.
// The same seed number gives the same files: a file that finds something can be made again.
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <random>

namespace {

enum class Kind { BitFlips, Truncation, ZeroedPage, SwappedPages, RandomBytes, HeaderFlips };
constexpr int KindCount = 6;
const char *const KindNames[KindCount] = { "bitflips", "truncation", "zeroedpage", "swappedpages", "randombytes",
                                           "headerflips" };

// The database page size from the file header (offset 16, big-endian; 1 stands for 65536).
int pageSize(const QByteArray &file)
{
    if (file.size() < 100)
        return 4096;
    const int raw = (quint8(file.at(16)) << 8) | quint8(file.at(17));
    return raw == 1 ? 65536 : std::max(raw, 512);
}

QByteArray mutate(QByteArray file, Kind kind, std::mt19937 &random)
{
    auto below = [&random](qsizetype limit) {
        return qsizetype(std::uniform_int_distribution<qint64>(0, std::max<qint64>(limit, 1) - 1)(random));
    };
    const qsizetype size = file.size();
    const int page = pageSize(file);
    const qsizetype pages = std::max<qsizetype>(size / page, 1);
    switch (kind) {
    case Kind::BitFlips:
        for (int flips = 1 + int(below(16)); flips > 0; --flips)
            file[below(size)] ^= char(1 << below(8));
        break;
    case Kind::HeaderFlips: // the header and the schema live in the first page: the most sensitive bytes
        for (int flips = 1 + int(below(4)); flips > 0; --flips)
            file[below(std::min<qsizetype>(page, size))] ^= char(1 << below(8));
        break;
    case Kind::Truncation:
        file.truncate(below(size));
        break;
    case Kind::ZeroedPage: {
        const qsizetype start = below(pages) * page;
        std::fill(file.begin() + start, file.begin() + std::min(start + page, size), '\0');
        break;
    }
    case Kind::SwappedPages: {
        const qsizetype a = below(pages) * page;
        const qsizetype b = below(pages) * page;
        const qsizetype length = std::min<qsizetype>({ page, size - a, size - b });
        const QByteArray first = file.mid(a, length);
        file.replace(a, length, file.mid(b, length));
        file.replace(b, length, first);
        break;
    }
    case Kind::RandomBytes: {
        const qsizetype length = 1 + below(4096);
        const qsizetype start = below(size);
        for (qsizetype i = start; i < std::min(start + length, size); ++i)
            file[i] = char(below(256));
        break;
    }
    }
    return file;
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The library rewritten with small pages.
QByteArray smallPageCopy(const QString &from, const QString &to)
{
    if (!QFile::copy(from, to))
        return QByteArray();
    sqlite3 *db = nullptr;
    const bool ok = sqlite3_open(QFile::encodeName(to).constData(), &db) == SQLITE_OK
        && sqlite3_exec(db, "PRAGMA page_size=1024; VACUUM;", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok ? readAll(to) : QByteArray();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 3 || arguments.size() > 5) {
        std::fprintf(stderr, "usage: damaged_library_seeds LIBRARY OUTDIR [COUNT [SEED]]\n");
        return 2;
    }
    const int count = arguments.size() > 3 ? arguments.at(3).toInt() : KindCount;
    std::mt19937 random(arguments.size() > 4 ? arguments.at(4).toUInt() : 20261122u);

    QTemporaryDir scratch;
    const QByteArray original = readAll(arguments.at(1));
    const QByteArray small = smallPageCopy(arguments.at(1), scratch.filePath(QStringLiteral("small.bli")));
    if (original.isEmpty() || small.isEmpty() || !QDir().mkpath(arguments.at(2))) {
        std::fprintf(stderr, "damaged_library_seeds: cannot read %s or write to %s\n", qPrintable(arguments.at(1)),
                     qPrintable(arguments.at(2)));
        return 2;
    }
    for (int i = 0; i < count; ++i) {
        const Kind kind = Kind(i % KindCount);
        const QByteArray damaged = mutate((i / KindCount) % 2 ? small : original, kind, random);
        QFile out(QDir(arguments.at(2)).filePath(QStringLiteral("damaged-%1-%2").arg(i).arg(QLatin1String(KindNames[int(kind)]))));
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) || out.write(damaged) != damaged.size()) {
            std::fprintf(stderr, "damaged_library_seeds: cannot write %s\n", qPrintable(out.fileName()));
            return 2;
        }
    }
    return 0;
}
