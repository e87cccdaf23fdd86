// Files that are not, or no longer, sound storage files: each one is refused, or its damage
// reported when it is met, with a message; and nothing is ever written to such a file.
#include "StorageTestSupport.h"

#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

using namespace StorageTestSupport;

class tst_StorageDamage : public QObject
{
    Q_OBJECT

private slots:
    void refusedOrReported_data();
    void refusedOrReported();
};

void tst_StorageDamage::refusedOrReported_data()
{
    QTest::addColumn<QByteArray>("bytes"); // the file, or null for a sound one with the sql applied
    QTest::addColumn<QString>("sql");      // "" breaks the index of the stream names instead
    QTest::addColumn<bool>("write");       // whether the session changes something
    QTest::addColumn<QString>("error");    // the first tree line; "*" stands for SQLite's words
    const QString notStorage = QStringLiteral("cannot open: Die Datei „%1“ ist keine Speicherdatei.");
    const auto row = [](const char *name, const QString &sql, const QString &error, bool write = false) {
        const QString damaged = QStringLiteral("Die Datei „%1“ ist beschädigt (%2).");
        QTest::newRow(name) << QByteArray() << sql << write
                            << (error.contains("%1") ? error : "cannot open: " + damaged.arg("%1", error));
    };
    QTest::newRow("zero-length") << QByteArray("", 0) << QString() << false << notStorage;
    QTest::newRow("text") << QByteArray(";type=\"blocklibrary\" version=\"0\"\r\n") << QString() << false << notStorage;
    row("foreign-sqlite-database", "DROP TABLE stream; PRAGMA application_id = 0", notStorage);
    row("format-version-2", "PRAGMA user_version = 2", "cannot open: Die Datei „%1“ hat die unbekannte Formatversion 2.");
    row("extra-table", "CREATE TABLE notes (text)", notStorage);
    row("extra-trigger", "CREATE TRIGGER t AFTER INSERT ON stream BEGIN DELETE FROM stream; END", notStorage);
    row("missing-table", "DROP TABLE stream_data", notStorage);
    row("altered-column", "ALTER TABLE stream ADD COLUMN extra INTEGER", notStorage);
    row("storage-without-parent", "UPDATE storage SET parent = 9999 WHERE id = 3", "storage without parent");
    row("storages-in-a-cycle", "UPDATE storage SET parent = 3 WHERE id = 2", "storages outside the tree");
    row("two-roots", "UPDATE storage SET parent = NULL WHERE id = 3", "two root storages");
    row("no-root", "UPDATE storage SET parent = 2 WHERE id = 1", "no root storage");
    row("stream-without-storage", "UPDATE stream SET storage = 9999 WHERE id = 5", "stream without storage");
    row("stream-of-negative-size", "UPDATE stream SET size = -1 WHERE id = 5", "stream row of wrong values");
    row("stream-above-largest-size", "UPDATE stream SET size = 1000000001 WHERE id = 5", "stream row of wrong values");
    row("stream-row-zero", "UPDATE stream SET id = 0 WHERE id = 5", "stream row of wrong values");
    row("nested-too-deeply",
        "WITH RECURSIVE chain(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM chain WHERE n < 513) INSERT INTO storage "
        "(id, parent, name) SELECT 100000 + n, CASE n WHEN 1 THEN 1 ELSE 99999 + n END, 'L' FROM chain",
        "storages nested too deeply");
    // Stream bytes are read on demand: such damage shows when they are.
    const QString reported = QStringLiteral("cannot close: Die Datei „%1“ ist beschädigt (%2).");
    const QString notSaved = QStringLiteral(" Die Änderungen wurden nicht gespeichert.");
    const QString missing = reported.arg("%1", "stream data missing");
    const QString wrongSize = reported.arg("%1", "stream data of wrong size");
    row("data-row-missing", "DELETE FROM stream_data WHERE id = 5", missing);
    row("data-row-missing-in-a-save", "DELETE FROM stream_data WHERE id = 5", missing + notSaved, true);
    row("largest-size-not-the-data", "UPDATE stream SET size = 1000000000 WHERE id = 5", wrongSize);
    row("data-of-other-size-in-a-save", "UPDATE stream SET size = size + 1 WHERE id = 5", wrongSize + notSaved, true);
    // SQLite finds a damaged index only while writing.
    row("damaged-index-in-a-save", "", reported.arg("%1", "*") + notSaved, true);
}

void tst_StorageDamage::refusedOrReported()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, sql);
    QFETCH(bool, write);
    QFETCH(QString, error);
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("library.bli"));
    if (bytes.isNull()) {
        QCOMPARE(createFile(file, 3, 20), QString());
        if (sql.isEmpty())
            QVERIFY(breakIndex(file, "sqlite_autoindex_stream_1"));
        else
            QCOMPARE(execSql(file, sql), QString());
    } else {
        QVERIFY(writeFile(file, bytes));
    }
    const QByteArray before = fileContents(file);
    const QString first = treeOf(file, write).value(0);
    const QStringList parts = error.arg(file).split(QLatin1Char('*'));
    QVERIFY2(parts.size() == 1 ? first == parts.first() : first.startsWith(parts.first()) && first.endsWith(parts.last()),
             qPrintable(first));
    QVERIFY(fileContents(file) == before);
}

QTEST_GUILESS_MAIN(tst_StorageDamage)
#include "tst_storagedamage.moc"
