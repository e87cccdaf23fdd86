// Damaged library files, as they arrive after a bad copy, a broken share or a full disk: a
// thousand deterministic mutations of the demo library (bit flips, truncations, zeroed and
// swapped database pages, random bytes). Each must load, possibly in part, or be refused
// with one line; nothing may crash, hang or leak (the sanitizer run sees leaks and memory
// errors in the child processes), and `bli check` must say what it finds in each.
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <random>

namespace {

constexpr int MutationCount = 1000;
// A load or check that takes longer than this counts as a hang.
constexpr int HangMilliseconds = 5000;

enum class Kind { BitFlips, Truncation, ZeroedPage, SwappedPages, RandomBytes, HeaderFlips };
constexpr int KindCount = 6;
const char *const KindNames[KindCount] = { "bit flips", "truncation", "zeroed page", "swapped pages", "random bytes",
                                           "header bit flips" };

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

// The demo library rewritten with small pages, so that page mutations hit single tables.
bool writeSmallPageCopy(const QString &from, const QString &to)
{
    if (!QFile::copy(from, to))
        return false;
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open(QFile::encodeName(to).constData(), &db) == SQLITE_OK
        && sqlite3_exec(db, "PRAGMA page_size=1024; VACUUM;", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

struct Outcome
{
    int exitCode = -1; // -1: crashed, -2: hung
    QByteArray out;
    QByteArray err;
};

// Runs "bli crc" (which loads every block and computes every version's comparison value)
// and "bli check" on the file side by side.
std::array<Outcome, 2> crcAndCheck(const QString &path)
{
    std::array<QProcess, 2> processes;
    processes[0].start(QStringLiteral(BLI_EXECUTABLE), { QStringLiteral("crc"), path });
    processes[1].start(QStringLiteral(BLI_EXECUTABLE), { QStringLiteral("check"), path });
    std::array<Outcome, 2> outcomes;
    for (int i = 0; i < 2; ++i) {
        QProcess &process = processes[i];
        if (process.waitForFinished(HangMilliseconds)) {
            outcomes[i].exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        } else {
            process.kill();
            process.waitForFinished();
            outcomes[i].exitCode = -2;
        }
        outcomes[i].out = process.readAllStandardOutput();
        outcomes[i].err = process.readAllStandardError();
    }
    return outcomes;
}

} // namespace

class tst_DamagedLibrary : public QObject
{
    Q_OBJECT

private slots:
    void mutationsLoadOrAreRefused();
};

void tst_DamagedLibrary::mutationsLoadOrAreRefused()
{
    QTemporaryDir directory;
    QVERIFY(directory.isValid());
    const QString demo = directory.filePath(QStringLiteral("demo.bli"));
    QProcess writer;
    writer.start(QStringLiteral(BLI_EXECUTABLE), { QStringLiteral("demo"), demo });
    QVERIFY(writer.waitForFinished(60000));
    QCOMPARE(writer.exitCode(), 0);
    const QString small = directory.filePath(QStringLiteral("small-pages.bli"));
    QVERIFY(writeSmallPageCopy(demo, small));
    QList<QByteArray> originals;
    for (const QString &path : { demo, small }) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        originals.append(file.readAll());
    }

    // The same mutations on every run: a failure names a mutation that can be made again.
    std::mt19937 random(20261122u);
    const QString path = directory.filePath(QStringLiteral("damaged.bli"));
    int loaded = 0;
    int refused = 0;
    int clean = 0;
    int problems = 0;
    QStringList failures;
    for (int i = 0; i < MutationCount; ++i) {
        const Kind kind = Kind(i % KindCount);
        const QByteArray damaged = mutate(originals.at((i / KindCount) % 2), kind, random);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(damaged), qint64(damaged.size()));
        file.close();

        const auto [crc, check] = crcAndCheck(path);
        const QString what = QStringLiteral("m%1 (%2)").arg(i).arg(QLatin1String(KindNames[int(kind)]));
        for (const Outcome *outcome : { &crc, &check }) {
            if (outcome->exitCode == -1)
                failures << what + QStringLiteral(": crashed");
            else if (outcome->exitCode == -2)
                failures << what + QStringLiteral(": hung");
            else if (outcome->err.contains("Sanitizer") || outcome->err.contains("runtime error:"))
                failures << what + QStringLiteral(": ") + QString::fromUtf8(outcome->err.left(300));
        }
        if (crc.exitCode == 0) {
            ++loaded;
        } else if (crc.exitCode == 2) {
            ++refused;
            // A refusal is one line that names the file.
            if (crc.err.count('\n') != 1 || !crc.err.startsWith("bli: "))
                failures << what + QStringLiteral(": refusal not one line: ") + QString::fromUtf8(crc.err.left(300));
        } else if (crc.exitCode >= 0) {
            failures << what + QStringLiteral(": crc exit code %1").arg(crc.exitCode);
        }
        if (check.exitCode == 0) {
            ++clean;
            if (check.out != "no problems\n")
                failures << what + QStringLiteral(": check said nothing");
        } else if (check.exitCode == 1) {
            ++problems;
            if (!check.out.contains(" problem") || check.out.count('\n') < 2)
                failures << what + QStringLiteral(": check found problems without listing them");
        } else if (check.exitCode == 2) {
            if (check.err.count('\n') != 1)
                failures << what + QStringLiteral(": check error not one line");
        } else if (check.exitCode >= 0) {
            failures << what + QStringLiteral(": check exit code %1").arg(check.exitCode);
        }
    }
    qInfo("%d mutations: %d loaded (whole or in part), %d refused; check: %d clean, %d with problems, %d unreadable",
          MutationCount, loaded, refused, clean, problems, MutationCount - clean - problems);
    QVERIFY2(failures.isEmpty(), qPrintable(failures.mid(0, 20).join(QLatin1Char('\n'))));
    // The mutations must reach both outcomes, or they test nothing.
    QVERIFY(loaded > 0);
    QVERIFY(refused > 0);
}

QTEST_GUILESS_MAIN(tst_DamagedLibrary)
#include "tst_damagedlibrary.moc"
