// The other process of the storage failure tests: saves, locks or decodes under conditions
// a test cannot impose on itself (being killed, a file size limit, another user, a memory cap).
//
//   lxfs_helper save PATH open|create SEED BLOCKS [--file-size-limit BYTES]
//               [--drop-privileges] [--chmod-before-close OCTAL]
//       prints "opened READONLY" or "open-failed MESSAGE", "saving" just before it closes,
//       then "closed" or "close-failed MESSAGE"
//   lxfs_helper lock PATH shared|immediate|exclusive
//       takes the lock with SQLite directly, prints "locked" and holds it until stdin closes
//   lxfs_helper frombytes FILE HEADROOM_MB
//       caps its address space at its current size plus HEADROOM_MB, runs fromByteArray on the
//       file's bytes and prints "accepted" or "rejected"
//
// Exit code 0 when the operation succeeded ("rejected" counts as success), 1 when it failed,
// 2 on usage errors.
#include "StorageTestSupport.h"

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <sqlite3.h>

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace {

int usage()
{
    std::fprintf(stderr, "usage: see lxfs_helper.cpp\n");
    return 2;
}

void say(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

bool dropPrivileges()
{
    const passwd *nobody = getpwnam("nobody");
    return nobody && setgroups(0, nullptr) == 0 && setgid(nobody->pw_gid) == 0 && setuid(nobody->pw_uid) == 0;
}

int save(const QStringList &args)
{
    if (args.size() < 4)
        return usage();
    const QString path = args.at(0);
    const bool create = args.at(1) == QLatin1String("create");
    const quint32 seed = args.at(2).toUInt();
    const int blocks = args.at(3).toInt();
    qint64 sizeLimit = -1;
    int chmodBeforeClose = -1;
    for (int i = 4; i < args.size(); ++i) {
        if (args.at(i) == QLatin1String("--file-size-limit") && i + 1 < args.size())
            sizeLimit = args.at(++i).toLongLong();
        else if (args.at(i) == QLatin1String("--chmod-before-close") && i + 1 < args.size())
            chmodBeforeClose = args.at(++i).toInt(nullptr, 8);
        else if (args.at(i) == QLatin1String("--drop-privileges") && !dropPrivileges())
            return say(QStringLiteral("cannot drop privileges")), 2;
    }
    if (sizeLimit >= 0) {
        // A full disk, as far as this process can tell: writes beyond the limit fail with EFBIG.
        signal(SIGXFSZ, SIG_IGN);
        const struct rlimit limit = { rlim_t(sizeLimit), rlim_t(sizeLimit) };
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return say(QStringLiteral("cannot limit the file size")), 2;
    }

    FileView file;
    if (create)
        file.create(path);
    else
        file.open(path);
    if (!file.isOpen())
        return say(QStringLiteral("open-failed ") + file.errorString()), 1;
    say(QStringLiteral("opened %1").arg(file.isReadOnly() ? 1 : 0));
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        root->clear();
        StorageTestSupport::writeLibraryTree(root.get(), seed, blocks);
    }
    if (chmodBeforeClose >= 0 && ::chmod(QFile::encodeName(path).constData(), mode_t(chmodBeforeClose)) != 0)
        return say(QStringLiteral("cannot chmod")), 2;
    say(QStringLiteral("saving"));
    file.close();
    if (file.hasError())
        return say(QStringLiteral("close-failed ") + file.errorString()), 1;
    say(QStringLiteral("closed"));
    return 0;
}

int lock(const QStringList &args)
{
    if (args.size() != 2)
        return usage();
    const char *begin = args.at(1) == QLatin1String("exclusive") ? "BEGIN EXCLUSIVE"
            : args.at(1) == QLatin1String("immediate")           ? "BEGIN IMMEDIATE"
                                                                 : "BEGIN";
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(args.at(0)).constData(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK
            && sqlite3_exec(db, begin, nullptr, nullptr, nullptr) == SQLITE_OK
            // Reading takes the shared lock that a deferred transaction does not take by itself.
            && sqlite3_exec(db, "SELECT count(*) FROM sqlite_schema", nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!ok) {
        say(QStringLiteral("lock-failed ") + QString::fromUtf8(sqlite3_errmsg(db)));
        sqlite3_close(db);
        return 1;
    }
    say(QStringLiteral("locked"));
    char buffer[64];
    while (std::fgets(buffer, sizeof buffer, stdin)) {
    }
    sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return 0;
}

int fromBytes(const QStringList &args)
{
    if (args.size() != 2)
        return usage();
    QFile input(args.at(0));
    if (!input.open(QIODevice::ReadOnly))
        return usage();
    const QByteArray bytes = input.readAll();
    FileView file;
    file.create(QString());
    std::unique_ptr<FileStorageView> root(file.createRootView());

    QFile status(QStringLiteral("/proc/self/status"));
    qint64 used = 0;
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmSize:"))
                used = line.mid(7).trimmed().split(' ').first().toLongLong() * 1024;
        }
    }
    const rlim_t cap = rlim_t(used + args.at(1).toLongLong() * 1024 * 1024);
    const struct rlimit limit = { cap, cap };
    if (used == 0 || setrlimit(RLIMIT_AS, &limit) != 0)
        return say(QStringLiteral("cannot limit the address space")), 2;
    const bool accepted = root->fromByteArray(bytes);
    say(accepted ? QStringLiteral("accepted") : QStringLiteral("rejected"));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.isEmpty())
        return usage();
    const QString mode = args.takeFirst();
    if (mode == QLatin1String("save"))
        return save(args);
    if (mode == QLatin1String("lock"))
        return lock(args);
    if (mode == QLatin1String("frombytes"))
        return fromBytes(args);
    return usage();
}
