// The other process of the storage tests: saves, locks or decodes under conditions a test
// cannot impose on itself (being killed, a file size limit, another user, a memory cap).
//   save PATH open|create SEED BLOCKS [--file-size-limit BYTES] [--drop-privileges]
//        [--chmod-before-close OCTAL]: writes writeLibraryTree(SEED, BLOCKS); prints "opened
//        READONLY" or "open-failed MESSAGE", "saving" before close(), "closed" or "close-failed MESSAGE"
//   lock PATH shared|immediate|exclusive: takes the lock with SQLite, prints "locked", holds it
//        until stdin closes
//   frombytes FILE HEADROOM_MB: maps the file (it may be sparse), caps the address space at
//        HEADROOM_MB above its size, decodes it with fromByteArray: "accepted" or "rejected"
// Exit code 0 on success ("rejected" included), 1 on failure, 2 on usage errors.
#include "StorageTestSupport.h"

#include <QtCore/QCoreApplication>

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace {

int say(const QString &line, int exitCode)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
    return exitCode;
}

bool limit(int resource, qint64 bytes)
{
    const struct rlimit limit = { rlim_t(bytes), rlim_t(bytes) };
    return setrlimit(resource, &limit) == 0;
}

int save(const QStringList &args)
{
    const QString path = args.at(0);
    int chmodBeforeClose = -1;
    for (int i = 4; i < args.size(); ++i) {
        if (args.at(i) == QLatin1String("--file-size-limit") && i + 1 < args.size()) {
            // A full disk, as far as this process can tell: writes beyond it fail with EFBIG.
            signal(SIGXFSZ, SIG_IGN);
            if (!limit(RLIMIT_FSIZE, args.at(++i).toLongLong()))
                return say(QStringLiteral("cannot limit the file size"), 2);
        } else if (args.at(i) == QLatin1String("--chmod-before-close") && i + 1 < args.size()) {
            chmodBeforeClose = args.at(++i).toInt(nullptr, 8);
        } else if (args.at(i) == QLatin1String("--drop-privileges")) {
            const passwd *nobody = getpwnam("nobody");
            if (!nobody || setgroups(0, nullptr) != 0 || setgid(nobody->pw_gid) != 0 || setuid(nobody->pw_uid) != 0)
                return say(QStringLiteral("cannot drop privileges"), 2);
        }
    }
    FileView file;
    if (args.at(1) == QLatin1String("create"))
        file.create(path);
    else
        file.open(path);
    if (!file.isOpen())
        return say(QStringLiteral("open-failed ") + file.errorString(), 1);
    say(QStringLiteral("opened %1").arg(file.isReadOnly() ? 1 : 0), 0);
    {
        StorageTestSupport::RootView root(file.createRootView());
        root->clear();
        StorageTestSupport::writeLibraryTree(root.get(), args.at(2).toUInt(), args.at(3).toInt());
    }
    if (chmodBeforeClose >= 0 && ::chmod(QFile::encodeName(path).constData(), mode_t(chmodBeforeClose)) != 0)
        return say(QStringLiteral("cannot chmod"), 2);
    say(QStringLiteral("saving"), 0);
    file.close();
    if (file.hasError())
        return say(QStringLiteral("close-failed ") + file.errorString(), 1);
    return say(QStringLiteral("closed"), 0);
}

int lock(const QStringList &args)
{
    const char *begin = args.at(1) == QLatin1String("exclusive") ? "BEGIN EXCLUSIVE"
            : args.at(1) == QLatin1String("immediate")           ? "BEGIN IMMEDIATE"
                                                                 : "BEGIN";
    sqlite3 *db = nullptr;
    // Reading takes the shared lock that a deferred transaction does not take by itself.
    if (sqlite3_open_v2(QFile::encodeName(args.at(0)).constData(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK
            || sqlite3_exec(db, begin, nullptr, nullptr, nullptr) != SQLITE_OK
            || sqlite3_exec(db, "SELECT count(*) FROM sqlite_schema", nullptr, nullptr, nullptr) != SQLITE_OK)
        return say(QStringLiteral("lock-failed ") + QString::fromUtf8(sqlite3_errmsg(db)), 1);
    say(QStringLiteral("locked"), 0);
    char buffer[64];
    while (std::fgets(buffer, sizeof buffer, stdin)) {
    }
    sqlite3_close_v2(db); // rolls the transaction back
    return 0;
}

int fromBytes(const QStringList &args)
{
    QFile input(args.at(0));
    if (!input.open(QIODevice::ReadOnly))
        return 2;
    const uchar *mapped = input.size() > 0 ? input.map(0, input.size()) : nullptr;
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), mapped ? input.size() : 0);
    StorageTestSupport::Scratch scratch;

    QFile statm(QStringLiteral("/proc/self/statm")); // the first number: pages of address space in use
    const qint64 used = statm.open(QIODevice::ReadOnly) ? statm.readAll().split(' ').value(0).toLongLong() * sysconf(_SC_PAGESIZE) : 0;
    if (used == 0 || !limit(RLIMIT_AS, used + args.at(1).toLongLong() * 1024 * 1024))
        return say(QStringLiteral("cannot limit the address space"), 2);
    return say(scratch.root->fromByteArray(bytes) ? QStringLiteral("accepted") : QStringLiteral("rejected"), 0);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(2);
    const QString mode = app.arguments().value(1);
    if (mode == QLatin1String("save") && args.size() >= 4)
        return save(args);
    if (mode == QLatin1String("lock") && args.size() == 2)
        return lock(args);
    if (mode == QLatin1String("frombytes") && args.size() == 2)
        return fromBytes(args);
    std::fprintf(stderr, "usage: see lxfs_helper.cpp\n");
    return 2;
}
