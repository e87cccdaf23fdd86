// Saves that cannot be committed, and saves that are killed: the file on disk must always be
// the old tree or the new one, byte for byte the old file when the save failed.
#include "StorageTestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QRandomGenerator>
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

QString helperPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/lxfs_helper");
}

// Files in dir other than the given ones: temporary files or journals left behind.
QStringList strayFiles(const QString &dir, const QStringList &expected)
{
    QStringList found = QDir(dir).entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : expected)
        found.removeAll(name);
    return found;
}

int chmodPath(const QString &path, mode_t mode)
{
    return ::chmod(QFile::encodeName(path).constData(), mode);
}

} // namespace

class tst_StorageFailures : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void failedSaveKeepsOldFile_data();
    void failedSaveKeepsOldFile();

    void killedSaveLeavesOldOrNewTree_data();
    void killedSaveLeavesOldOrNewTree();

private:
    bool m_root = false;   // permission bits do not stop root: the helper then runs as nobody
    uid_t m_nobodyUid = 0;
    gid_t m_nobodyGid = 0;
};

void tst_StorageFailures::initTestCase()
{
    QVERIFY2(QFile::exists(helperPath()), qPrintable(helperPath()));
    m_root = geteuid() == 0;
    if (const passwd *nobody = getpwnam("nobody")) {
        m_nobodyUid = nobody->pw_uid;
        m_nobodyGid = nobody->pw_gid;
    }
}

void tst_StorageFailures::failedSaveKeepsOldFile_data()
{
    QTest::addColumn<QString>("mode");        // how the helper starts its session: open or create
    QTest::addColumn<QString>("failure");     // what the test does to make the save fail
    QTest::addColumn<QString>("output");      // what the helper reports, %1 the file name
    const QString notSaved = QStringLiteral(" Die Änderungen wurden nicht gespeichert.");
    const QString full = QStringLiteral("close-failed Die Datei „%1“ kann nicht geschrieben werden: Der Datenträger ist voll.") + notSaved;
    const QString readOnly = QStringLiteral("close-failed Die Datei „%1“ ist schreibgeschützt.") + notSaved;
    const QString noPermission = QStringLiteral("close-failed Keine Berechtigung zum Schreiben von „%1“.") + notSaved;
    const QString locked = QStringLiteral("close-failed Die Datei „%1“ ist von einem anderen Programm gesperrt.") + notSaved;

    QTest::newRow("disk-full-open") << "open" << "disk-full" << "opened 0\n" + full;
    QTest::newRow("disk-full-create-over-storage-file") << "create" << "disk-full" << "opened 0\n" + full;
    QTest::newRow("disk-full-create-over-other-file") << "create" << "disk-full-other-file" << "opened 0\n" + full;
    QTest::newRow("read-only-file-open") << "open" << "read-only-file" << "opened 1\n" + readOnly;
    QTest::newRow("read-only-file-create") << "create" << "read-only-file" << "open-failed Die Datei „%1“ ist schreibgeschützt.";
    QTest::newRow("file-made-read-only-during-session") << "open" << "read-only-before-close" << "opened 0\n" + readOnly;
    QTest::newRow("read-only-directory-open") << "open" << "read-only-directory" << "opened 0\n" + noPermission;
    QTest::newRow("read-only-directory-create-over-other-file")
            << "create" << "read-only-directory-other-file" << "opened 0\n" + noPermission;
    QTest::newRow("locked-by-writer-open") << "open" << "locked-immediate" << "opened 0\n" + locked;
    QTest::newRow("locked-by-writer-create") << "create" << "locked-immediate" << "opened 0\n" + locked;
    QTest::newRow("locked-by-reader-open") << "open" << "locked-shared" << "opened 0\n" + locked;
    QTest::newRow("locked-exclusively-at-open")
            << "open" << "locked-exclusive" << "open-failed Die Datei „%1“ ist von einem anderen Programm gesperrt.";
}

void tst_StorageFailures::failedSaveKeepsOldFile()
{
    QFETCH(QString, mode);
    QFETCH(QString, failure);
    QFETCH(QString, output);

    QTemporaryDir temporary;
    QVERIFY(temporary.isValid());
    QCOMPARE(chmodPath(temporary.path(), 0755), 0); // others may pass, as the helper may run as nobody
    const QString dir = temporary.filePath(QStringLiteral("case"));
    QVERIFY(QDir().mkdir(dir));
    const auto restore = qScopeGuard([&] { chmodPath(dir, 0700); }); // so that the directory can go
    const QString file = dir + QStringLiteral("/library.bli");
    const bool otherFile = failure.endsWith(QLatin1String("-other-file"));
    if (otherFile)
        QVERIFY(writeFile(file, QByteArray(20000, 'x')));
    else
        QCOMPARE(createFile(file, kOldSeed, 40), QString());

    QStringList arguments = { QStringLiteral("save"), file, mode, QString::number(kNewSeed), QStringLiteral("80") };
    const bool needsOtherUser = failure.startsWith(QLatin1String("read-only"));
    if (needsOtherUser && m_root) {
        // Root writes whatever the permission bits say; nobody does not.
        if (m_nobodyUid == 0)
            QSKIP("running as root and there is no user nobody to run the helper as");
        arguments << QStringLiteral("--drop-privileges");
        QCOMPARE(::chown(QFile::encodeName(file).constData(), m_nobodyUid, m_nobodyGid), 0);
        if (!failure.startsWith(QLatin1String("read-only-directory")))
            QCOMPARE(::chown(QFile::encodeName(dir).constData(), m_nobodyUid, m_nobodyGid), 0);
    }
    if (failure.startsWith(QLatin1String("disk-full")))
        arguments << QStringLiteral("--file-size-limit") << QString::number(QFileInfo(file).size());
    if (failure == QLatin1String("read-only-file"))
        QCOMPARE(chmodPath(file, 0444), 0);
    if (failure == QLatin1String("read-only-before-close"))
        arguments << QStringLiteral("--chmod-before-close") << QStringLiteral("444");
    if (failure.startsWith(QLatin1String("read-only-directory")))
        QCOMPARE(chmodPath(dir, 0555), 0);

    QProcess locker;
    if (failure.startsWith(QLatin1String("locked-"))) {
        locker.start(helperPath(), { QStringLiteral("lock"), file, failure.mid(7) });
        QVERIFY(locker.waitForReadyRead(10000));
        QCOMPARE(locker.readLine(), QByteArray("locked\n"));
    }
    const QByteArray before = fileContents(file);

    QProcess helper;
    helper.start(helperPath(), arguments);
    QVERIFY(helper.waitForFinished(60000));
    const QString reported = QString::fromUtf8(helper.readAllStandardOutput()).remove(QStringLiteral("saving\n"));
    QCOMPARE(reported.trimmed(), output.arg(file));
    QCOMPARE(helper.exitCode(), 1);

    if (locker.state() != QProcess::NotRunning) {
        locker.closeWriteChannel();
        QVERIFY(locker.waitForFinished(10000));
    }
    // The same bytes and no journal: the old tree, whole.
    QVERIFY2(fileContents(file) == before, "the failed save changed the file");
    QCOMPARE(strayFiles(dir, { QStringLiteral("library.bli") }), QStringList());
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

void tst_StorageFailures::killedSaveLeavesOldOrNewTree()
{
    QFETCH(QString, mode);
    QFETCH(bool, startWithoutFile);
    QFETCH(int, kills);
    constexpr int blocks = 300;

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("library.bli"));
    const QStringList trees[] = { {}, libraryTreeLines(kOldSeed, blocks), libraryTreeLines(kNewSeed, blocks) };
    QVERIFY(trees[1] != trees[2]);

    // One save to the end tells how long a whole run and its commit take. Half of the kills
    // land anywhere in a run, the other half within the commit itself.
    quint32 current = kOldSeed;
    QCOMPARE(createFile(file, current, blocks), QString());
    if (startWithoutFile)
        QVERIFY(QFile::remove(file));
    QElapsedTimer timer;
    timer.start();
    QProcess helper;
    helper.start(helperPath(), { QStringLiteral("save"), file, mode, QString::number(kNewSeed), QString::number(blocks) });
    while (!helper.canReadLine() || !helper.readLine().startsWith("saving"))
        QVERIFY(helper.waitForReadyRead(60000));
    const qint64 commitStart = timer.nsecsElapsed();
    QVERIFY(helper.waitForFinished(60000));
    QCOMPARE(helper.exitCode(), 0);
    const int saveUs = int(timer.nsecsElapsed() / 1000);
    const int commitUs = int((timer.nsecsElapsed() - commitStart) / 1000);
    current = kNewSeed;

    QRandomGenerator random(20240601);
    int outcomes[3] = {}; // no file, old tree, new tree
    for (int kill = 0; kill < kills; ++kill) {
        if (startWithoutFile) {
            QFile::remove(file);
            current = 0;
        }
        const quint32 next = current == kOldSeed ? kNewSeed : kOldSeed;
        QProcess saver;
        saver.start(helperPath(), { QStringLiteral("save"), file, mode, QString::number(next), QString::number(blocks) });
        QVERIFY(saver.waitForStarted());
        if (kill % 2 == 0) {
            QThread::usleep(random.bounded(saveUs * 15 / 10 + 1));
        } else {
            while (!saver.canReadLine() || !saver.readLine().startsWith("saving"))
                QVERIFY(saver.waitForReadyRead(60000));
            QThread::usleep(random.bounded(commitUs * 15 / 10 + 1));
        }
        ::kill(pid_t(saver.processId()), SIGKILL);
        QVERIFY(saver.waitForFinished(10000));

        const bool exists = QFile::exists(file);
        const QStringList after = exists ? treeOf(file) : QStringList();
        const bool isOld = current == 0 ? !exists : exists && after == trees[current];
        const bool isNew = exists && after == trees[next];
        QVERIFY2(isOld || isNew, qPrintable(QStringLiteral("kill %1: neither the old nor the new tree: %2")
                                                    .arg(kill)
                                                    .arg(after.mid(0, 3).join(QLatin1String(" | ")))));
        if (exists)
            QCOMPARE(integrityCheck(file), QStringLiteral("ok"));
        ++outcomes[isNew ? 2 : current == 0 ? 0 : 1];
        if (isNew)
            current = next;
        // A writer of a new file killed before the rename leaves its temporary file behind, a
        // writer killed before its journal had a header leaves that journal (no longer hot,
        // as opening showed: SQLite ignores it and the next commit replaces it). Nothing else.
        for (const QString &stray : strayFiles(dir.path(), { QStringLiteral("library.bli"), QStringLiteral("library.bli-journal") })) {
            QVERIFY2(stray.startsWith(QLatin1String(".library.bli.")) && stray.endsWith(QLatin1String(".tmp")),
                     qPrintable(stray));
            QVERIFY(QFile::remove(dir.filePath(stray)));
        }
    }
    qInfo("%d kills, runs of %d ms with commits of %d ms: %d left the old tree, %d the new one, %d no file",
          kills, saveUs / 1000, commitUs / 1000, outcomes[1], outcomes[2], outcomes[0]);
}

QTEST_GUILESS_MAIN(tst_StorageFailures)
#include "tst_storagefailures.moc"
