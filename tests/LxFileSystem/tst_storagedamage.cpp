// Opening files that are not, or no longer, sound storage files: each one is refused with a
// message or yields a tree; none crashes, and opening never writes to the file.
#include "StorageTestSupport.h"
#include "StorageTreeText.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

using namespace StorageTestSupport;

class tst_StorageDamage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void refused_data();
    void refused();
    void damagedContentsAreReported_data();
    void damagedContentsAreReported();
    void damagedBytesNeverCrash_data();
    void damagedBytesNeverCrash();

private:
    QTemporaryDir m_dir;
    QByteArray m_valid; // a sound storage file of a small library
};

void tst_StorageDamage::initTestCase()
{
    QVERIFY(m_dir.isValid());
    const QString file = m_dir.filePath(QStringLiteral("valid.bli"));
    QCOMPARE(createFile(file, 3, 20), QString());
    m_valid = fileContents(file);
    QVERIFY(m_valid.size() > 64 * 1024);
}

void tst_StorageDamage::refused_data()
{
    QTest::addColumn<QByteArray>("bytes"); // the file, or empty to take the sound one
    QTest::addColumn<QString>("sql");      // applied to the sound file with SQLite directly
    QTest::addColumn<QString>("error");

    const QString notStorage = QStringLiteral("Die Datei „%1“ ist keine Speicherdatei.");
    const QString damaged = QStringLiteral("Die Datei „%1“ ist beschädigt (%2).");
    QRandomGenerator random(7);
    QByteArray noise(8192, Qt::Uninitialized);
    for (char &c : noise)
        c = char(random.bounded(256));

    QTest::newRow("zero-length") << QByteArray("", 0) << QString() << notStorage;
    QTest::newRow("random-bytes") << noise << QString() << notStorage;
    QTest::newRow("text") << QByteArray(";type=\"blocklibrary\" version=\"0\"\r\n") << QString() << notStorage;
    QTest::newRow("foreign-sqlite-database") << QByteArray() << "DROP TABLE stream; PRAGMA application_id = 0" << notStorage;
    QTest::newRow("other-application-id") << QByteArray() << "PRAGMA application_id = 1" << notStorage;
    QTest::newRow("format-version-2") << QByteArray() << "PRAGMA user_version = 2"
                                      << QStringLiteral("Die Datei „%1“ hat die unbekannte Formatversion 2.");
    QTest::newRow("extra-table") << QByteArray() << "CREATE TABLE notes (text)" << notStorage;
    QTest::newRow("extra-index") << QByteArray() << "CREATE INDEX by_name ON stream (name)" << notStorage;
    QTest::newRow("extra-trigger") << QByteArray() << "CREATE TRIGGER t AFTER INSERT ON stream BEGIN DELETE FROM stream; END" << notStorage;
    QTest::newRow("missing-table") << QByteArray() << "DROP TABLE stream_data" << notStorage;
    QTest::newRow("altered-column") << QByteArray() << "ALTER TABLE stream ADD COLUMN extra INTEGER" << notStorage;
    QTest::newRow("storage-without-parent") << QByteArray() << "UPDATE storage SET parent = 9999 WHERE id = 3"
                                            << damaged.arg("%1", "storage without parent");
    QTest::newRow("storages-in-a-cycle") << QByteArray() << "UPDATE storage SET parent = 3 WHERE id = 2"
                                         << damaged.arg("%1", "storages outside the tree");
    QTest::newRow("two-roots") << QByteArray() << "UPDATE storage SET parent = NULL WHERE id = 3" << damaged.arg("%1", "two root storages");
    QTest::newRow("no-root") << QByteArray() << "UPDATE storage SET parent = 2 WHERE id = 1" << damaged.arg("%1", "no root storage");
    QTest::newRow("stream-without-storage") << QByteArray() << "UPDATE stream SET storage = 9999 WHERE id = 5"
                                            << damaged.arg("%1", "stream without storage");
    QTest::newRow("stream-of-negative-size") << QByteArray() << "UPDATE stream SET size = -1 WHERE id = 5"
                                             << damaged.arg("%1", "stream row of wrong values");
    QTest::newRow("stream-row-zero") << QByteArray() << "UPDATE stream SET id = 0 WHERE id = 5"
                                     << damaged.arg("%1", "stream row of wrong values");
    QTest::newRow("nested-too-deeply")
            << QByteArray()
            << "WITH RECURSIVE chain(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM chain WHERE n < 513) "
               "INSERT INTO storage (id, parent, name) SELECT 100000 + n, CASE n WHEN 1 THEN 1 ELSE 99999 + n END, 'L' "
               "FROM chain"
            << damaged.arg("%1", "storages nested too deeply");
}

void tst_StorageDamage::refused()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, sql);
    QFETCH(QString, error);
    const QString file = m_dir.filePath(QStringLiteral("bad.bli"));
    QVERIFY(writeFile(file, bytes.isNull() ? m_valid : bytes));
    if (!sql.isEmpty())
        QCOMPARE(execSql(file, sql), QString());
    const QByteArray before = fileContents(file);

    QCOMPARE(treeOf(file), QStringList { QStringLiteral("cannot open: ") + error.arg(file) });
    QVERIFY(fileContents(file) == before);
}

void tst_StorageDamage::damagedContentsAreReported_data()
{
    QTest::addColumn<QString>("sql");   // "" breaks the index of the stream names instead
    QTest::addColumn<bool>("write");    // whether the session also changes something
    QTest::addColumn<QString>("error"); // "*" stands for SQLite's own words
    const QString missing = QStringLiteral("Die Datei „%1“ ist beschädigt (stream data missing).");
    const QString wrongSize = QStringLiteral("Die Datei „%1“ ist beschädigt (stream data of wrong size).");
    const QString notSaved = QStringLiteral(" Die Änderungen wurden nicht gespeichert.");
    QTest::newRow("data-row-missing") << "DELETE FROM stream_data WHERE id = 5" << false << missing;
    QTest::newRow("data-row-missing-in-a-save") << "DELETE FROM stream_data WHERE id = 5" << true << missing + notSaved;
    QTest::newRow("data-of-other-size") << "UPDATE stream SET size = size + 1 WHERE id = 5" << false << wrongSize;
    QTest::newRow("data-of-other-size-in-a-save") << "UPDATE stream SET size = size + 1 WHERE id = 5" << true << wrongSize + notSaved;
    // SQLite finds the damaged index only while writing; nothing may reach the file.
    QTest::newRow("damaged-index-in-a-save") << "" << true << "Die Datei „%1“ ist beschädigt (*)." + notSaved;
}

void tst_StorageDamage::damagedContentsAreReported()
{
    QFETCH(QString, sql);
    QFETCH(bool, write);
    QFETCH(QString, error);
    const QString file = m_dir.filePath(QStringLiteral("data.bli"));
    QVERIFY(writeFile(file, m_valid));
    if (sql.isEmpty())
        QVERIFY(breakIndex(file, "sqlite_autoindex_stream_1"));
    else
        QCOMPARE(execSql(file, sql), QString());
    const QByteArray before = fileContents(file);

    FileView view;
    view.open(file);
    QVERIFY2(view.isOpen(), qPrintable(view.errorString()));
    {
        RootView root(view.createRootView());
        QCOMPARE(root->readStream(QStringLiteral("Info.ini")).size(), 96);
        if (!sql.isEmpty())
            QVERIFY(StorageTreeText::lines(root.get()).size() > 100); // stream bytes are read on demand
        if (write)
            root->writeStream(QStringLiteral("Info.ini"), "changed");
    }
    view.close();
    QVERIFY(view.hasError());
    const QStringList parts = error.arg(file).split(QLatin1Char('*'));
    QVERIFY2(view.errorString().startsWith(parts.first()) && view.errorString().endsWith(parts.last())
                     && (parts.size() > 1 || view.errorString() == parts.first()),
             qPrintable(view.errorString()));
    QVERIFY(fileContents(file) == before);
}

void tst_StorageDamage::damagedBytesNeverCrash_data()
{
    QTest::addColumn<QString>("damage");
    QTest::addColumn<int>("count");
    QTest::newRow("bit-flips-anywhere") << "flip" << 150;
    QTest::newRow("bit-flips-in-header") << "flip-header" << 60;
    QTest::newRow("bit-flips-in-schema") << "flip-schema" << 60;
    QTest::newRow("truncations") << "truncate" << 40;
    QTest::newRow("zeroed-pages") << "zero-page" << 40;
}

// Open, read every stream, close: refused with a message or read; never a failed "save".
void tst_StorageDamage::damagedBytesNeverCrash()
{
    QFETCH(QString, damage);
    QFETCH(int, count);
    const QString file = m_dir.filePath(QStringLiteral("damaged.bli"));
    QRandomGenerator random(qHash(damage));
    constexpr int pageSize = 65536; // the schema's cells sit at the end of the first page
    int refused = 0;
    for (int i = 0; i < count; ++i) {
        QByteArray bytes = m_valid;
        if (damage.startsWith(QLatin1String("flip"))) {
            const int start = damage == QLatin1String("flip-schema") ? pageSize - 2048 : 0;
            const int range = damage == QLatin1String("flip") ? int(bytes.size()) : damage == QLatin1String("flip-header") ? 100 : 2048;
            for (int flips = 1 + int(random.bounded(8)); flips > 0; --flips)
                bytes[start + random.bounded(range)] ^= char(1 << random.bounded(8));
        } else if (damage == QLatin1String("truncate")) {
            bytes.truncate(random.bounded(int(bytes.size())));
        } else {
            const int page = int(random.bounded(int(bytes.size() / pageSize)));
            bytes.replace(page * pageSize, pageSize, QByteArray(pageSize, '\0'));
        }
        QVERIFY(writeFile(file, bytes));
        const QStringList tree = treeOf(file);
        const QString result = tree.value(0);
        const bool failed = result.startsWith(QLatin1String("cannot "));
        QVERIFY2(!failed || (!result.endsWith(QLatin1String(": ")) && !result.contains(QLatin1String("gespeichert"))),
                 qPrintable(QStringLiteral("case %1: %2").arg(i).arg(result)));
        refused += failed ? 1 : 0;
        QVERIFY2(fileContents(file) == bytes, qPrintable(QStringLiteral("case %1: opening wrote to the file").arg(i)));
    }
    qInfo("%d of %d damaged files refused or reported, the others read", refused, count);
}

QTEST_GUILESS_MAIN(tst_StorageDamage)
#include "tst_storagedamage.moc"
