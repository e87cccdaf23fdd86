// Saves that cannot be committed, and saves that are killed: the file on disk must always be
// the old tree or the new one, byte for byte the old file when the save failed.
#include "StorageTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace StorageTestSupport;

namespace {

constexpr quint32 kOldSeed = 1;
constexpr quint32 kNewSeed = 2;

// The other process that saves or locks.
void startHelper(QProcess &helper, const QStringList &arguments)
{
    helper.start(QCoreApplication::applicationDirPath() + QStringLiteral("/lxfs_helper"), arguments);
}

// Waits until the helper prints the line saying it is about to commit.
bool waitForSaving(QProcess &helper)
{
    while (!helper.canReadLine() || !helper.readLine().startsWith("saving")) {
        if (!helper.waitForReadyRead(60000))
            return false;
    }
    return true;
}

// Files in dir other than the library: temporary files or journals left behind.
QStringList strayFiles(const QString &dir)
{
    return QDir(dir).entryList(QDir::Files | QDir::Hidden | QDir::System).filter(QRegularExpression("^(?!library\\.bli$)"));
}

} // namespace

class tst_StorageFailures : public QObject
{
    Q_OBJECT

private slots:
    void failedSaveKeepsOldFile_data();
    void failedSaveKeepsOldFile();
    void killedSaveLeavesOldOrNewTree_data();
    void killedSaveLeavesOldOrNewTree();
};

void tst_StorageFailures::failedSaveKeepsOldFile_data()
{
    QTest::addColumn<QString>("mode");    // how the helper starts its session: open or create
    QTest::addColumn<QString>("failure"); // what the test does to make the save fail
    QTest::addColumn<QString>("output");  // what the helper reports, %1 the file name
    const QString notSaved = QStringLiteral(" Die Änderungen wurden nicht gespeichert.");
    const QString full = "opened 0\nclose-failed Die Datei „%1“ kann nicht geschrieben werden: Der Datenträger ist voll." + notSaved;
    const QString readOnly = "close-failed Die Datei „%1“ ist schreibgeschützt." + notSaved;
    const QString noPermission = "opened 0\nclose-failed Keine Berechtigung zum Schreiben von „%1“." + notSaved;
    const QString locked = QStringLiteral("Die Datei „%1“ ist von einem anderen Programm gesperrt.");
    const QString lockedAtClose = "opened 0\nclose-failed " + locked + notSaved;
    const auto row = [](const char *name, const char *mode, const char *failure, const QString &output) {
        QTest::newRow(name) << mode << failure << output;
    };
    row("disk-full-open", "open", "disk-full", full);
    row("disk-full-create-over-storage-file", "create", "disk-full", full);
    row("disk-full-create-over-other-file", "create", "disk-full-other-file", full);
    row("read-only-file-open", "open", "read-only-file", "opened 1\n" + readOnly);
    row("read-only-file-create", "create", "read-only-file", QStringLiteral("open-failed Die Datei „%1“ ist schreibgeschützt."));
    row("file-made-read-only-during-session", "open", "read-only-before-close", "opened 0\n" + readOnly);
    row("read-only-directory-open", "open", "read-only-directory", noPermission);
    row("read-only-directory-create-over-other-file", "create", "read-only-directory-other-file", noPermission);
    row("locked-by-writer-open", "open", "locked-immediate", lockedAtClose);
    row("locked-by-writer-create", "create", "locked-immediate", lockedAtClose);
    row("locked-by-reader-open", "open", "locked-shared", lockedAtClose);
    row("locked-exclusively-at-open", "open", "locked-exclusive", "open-failed " + locked);
}

void tst_StorageFailures::failedSaveKeepsOldFile()
{
    QFETCH(QString, mode);
    QFETCH(QString, failure);
    QFETCH(QString, output);
    QTemporaryDir temporary;
    QCOMPARE(::chmod(QFile::encodeName(temporary.path()).constData(), 0755), 0); // the helper may run as nobody
    const QString dir = temporary.filePath(QStringLiteral("case"));
    const QByteArray dirName = QFile::encodeName(dir);
    QVERIFY(QDir().mkdir(dir));
    const auto restore = qScopeGuard([&] { ::chmod(dirName.constData(), 0700); }); // so that it can go
    const QString file = dir + QStringLiteral("/library.bli");
    const QByteArray fileName = QFile::encodeName(file);
    if (failure.endsWith(QLatin1String("-other-file")))
        QVERIFY(writeFile(file, QByteArray(20000, 'x')));
    else
        QCOMPARE(createFile(file, kOldSeed, 40), QString());

    QStringList arguments = { QStringLiteral("save"), file, mode, QString::number(kNewSeed), QStringLiteral("80") };
    if (failure.startsWith(QLatin1String("read-only")) && geteuid() == 0) {
        // Root writes whatever the permission bits say; nobody does not.
        const passwd *nobody = getpwnam("nobody");
        if (!nobody)
            QSKIP("running as root and there is no user nobody to run the helper as");
        arguments << QStringLiteral("--drop-privileges");
        QCOMPARE(::chown(fileName.constData(), nobody->pw_uid, nobody->pw_gid), 0);
        if (!failure.startsWith(QLatin1String("read-only-directory")))
            QCOMPARE(::chown(dirName.constData(), nobody->pw_uid, nobody->pw_gid), 0);
    }
    if (failure.startsWith(QLatin1String("disk-full")))
        arguments << QStringLiteral("--file-size-limit") << QString::number(QFileInfo(file).size());
    if (failure == QLatin1String("read-only-file"))
        QCOMPARE(::chmod(fileName.constData(), 0444), 0);
    if (failure == QLatin1String("read-only-before-close"))
        arguments << QStringLiteral("--chmod-before-close") << QStringLiteral("444");
    if (failure.startsWith(QLatin1String("read-only-directory")))
        QCOMPARE(::chmod(dirName.constData(), 0555), 0);
    QProcess locker;
    if (failure.startsWith(QLatin1String("locked-"))) {
        startHelper(locker, { QStringLiteral("lock"), file, failure.mid(7) });
        QVERIFY(locker.waitForReadyRead(10000));
        QCOMPARE(locker.readLine(), QByteArray("locked\n"));
    }
    const QByteArray before = fileContents(file);

    QProcess helper;
    startHelper(helper, arguments);
    QVERIFY(helper.waitForFinished(60000));
    QCOMPARE(QString::fromUtf8(helper.readAllStandardOutput()).remove(QStringLiteral("saving\n")).trimmed(), output.arg(file));
    QCOMPARE(helper.exitCode(), 1);
    locker.closeWriteChannel();
    QVERIFY(locker.state() == QProcess::NotRunning || locker.waitForFinished(10000));
    // The same bytes and no journal: the old tree, whole.
    QVERIFY2(fileContents(file) == before, "the failed save changed the file");
    QCOMPARE(strayFiles(dir), QStringList());
}

void tst_StorageFailures::killedSaveLeavesOldOrNewTree_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<bool>("startWithoutFile"); // the old state is "no file at all"
    QTest::addColumn<int>("kills");
    QTest::newRow("open-and-rewrite") << "open" << false << 20;
    QTest::newRow("create-over-storage-file") << "create" << false << 20;
    QTest::newRow("create-new-file") << "create" << true << 15;
}

// Half of the kills land anywhere in a save, the other half within its commit. One save to
// the end tells how long they take.
void tst_StorageFailures::killedSaveLeavesOldOrNewTree()
{
    QFETCH(QString, mode);
    QFETCH(bool, startWithoutFile);
    QFETCH(int, kills);
    constexpr int blocks = 300;
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("library.bli"));
    QStringList trees[3]; // no file, the old and the new tree
    for (quint32 seed : { kOldSeed, kNewSeed }) {
        Scratch scratch;
        writeLibraryTree(scratch.root.get(), seed, blocks);
        trees[seed] = StorageTreeText::lines(scratch.root.get());
    }
    QCOMPARE(createFile(file, kOldSeed, blocks), QString());
    quint32 current = kNewSeed;
    qint64 saveUs = 0, commitUs = 0;
    QRandomGenerator random(20240601);
    for (int kill = -1; kill < kills; ++kill) {
        if (startWithoutFile) {
            QFile::remove(file);
            current = 0;
        }
        const quint32 next = kill < 0 ? kNewSeed : current == kOldSeed ? kNewSeed : kOldSeed;
        QElapsedTimer timer;
        timer.start();
        QProcess saver;
        startHelper(saver, { QStringLiteral("save"), file, mode, QString::number(next), QString::number(blocks) });
        QVERIFY(saver.waitForStarted());
        if (kill < 0) { // the measuring run
            QVERIFY(waitForSaving(saver));
            commitUs = timer.nsecsElapsed() / 1000;
            QVERIFY(saver.waitForFinished(60000) && saver.exitCode() == 0);
            saveUs = timer.nsecsElapsed() / 1000;
            commitUs = saveUs - commitUs;
            continue;
        }
        if (kill % 2 == 1)
            QVERIFY(waitForSaving(saver));
        QThread::usleep(random.bounded(int((kill % 2 ? commitUs : saveUs) * 15 / 10 + 1)));
        ::kill(pid_t(saver.processId()), SIGKILL);
        QVERIFY(saver.waitForFinished(10000));

        const bool exists = QFile::exists(file);
        const QStringList after = exists ? treeOf(file) : QStringList();
        const bool isOld = current == 0 ? !exists : exists && after == trees[current];
        const bool isNew = exists && after == trees[next];
        QVERIFY2(isOld || isNew, qPrintable(QStringLiteral("kill %1: neither the old nor the new tree: %2")
                                                    .arg(kill).arg(after.mid(0, 3).join(QLatin1String(" | ")))));
        QCOMPARE(exists ? integrityCheck(file) : QStringLiteral("ok"), QStringLiteral("ok"));
        current = isNew ? next : current;
        // A writer of a new file killed before the rename leaves its temporary file behind, a
        // writer killed before its journal had a header leaves that journal (no longer hot,
        // as opening showed: SQLite ignores it and the next commit replaces it). Nothing else.
        for (const QString &stray : strayFiles(dir.path())) {
            QVERIFY2(stray == "library.bli-journal" || (stray.startsWith(".library.bli.") && stray.endsWith(".tmp")),
                     qPrintable(stray));
            if (stray.endsWith(QLatin1String(".tmp")))
                QVERIFY(QFile::remove(dir.filePath(stray)));
        }
    }
}

QTEST_GUILESS_MAIN(tst_StorageFailures)
#include "tst_storagefailures.moc"
