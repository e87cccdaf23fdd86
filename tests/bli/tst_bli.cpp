// The bli tool as a user runs it: the built program on a demo library in a temporary
// directory, its output lines, its JSON, its exit codes and the files it writes.
#include "StorageTreeText.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryFile.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtTest/QtTest>

#include <functional>
#include <memory>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;

    QStringList outLines() const { return QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts); }
    QString errText() const { return QString::fromUtf8(err).trimmed(); }
};

Run bli(const QStringList &arguments, const QByteArray &input = QByteArray())
{
    QProcess process;
    process.start(QStringLiteral(BLI_EXECUTABLE), arguments);
    Run run;
    if (!process.waitForStarted(10000))
        return run;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

// Opens a storage file, lets edit change it, and commits.
bool editStorage(const QString &path, const std::function<void(FileStorageView *)> &edit)
{
    FileView file;
    file.open(path);
    if (!file.isOpen())
        return false;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        edit(root.get());
    }
    file.close();
    return !file.hasError();
}

QStringList treeLines(const QString &path)
{
    FileView file;
    file.open(path);
    if (!file.isOpen())
        return { QStringLiteral("cannot open ") + path };
    std::unique_ptr<FileStorageView> root(file.createRootView());
    return StorageTreeText::lines(root.get());
}

FileStorageView *at(FileStorageView *root, const QString &path)
{
    FileStorageView *storage = root;
    for (const QString &name : path.split(QLatin1Char('/'), Qt::SkipEmptyParts))
        storage = storage->storage(name);
    return storage;
}

// The comparison value of a version as the library computes it, without bli.
QByteArray comparisonValue(const QString &path, const QString &identifier, unsigned int version)
{
    BlockLibraryFile file;
    if (!file.load(path))
        return "not loaded";
    const Block *block = file.library()->block(identifier);
    BlockDefinition *definition = block ? block->blockDefinition(version) : nullptr;
    return definition ? definition->compareCrc32Value() : QByteArray("no such version");
}

QByteArray parameterText()
{
    SimpleParameterDefinition definition;
    ParameterText name;
    name.setLongText(1, QStringLiteral("Planted"));
    definition.setName(name);
    return ParameterDefinitionSaver::saveParameterDefinition(&definition);
}

} // namespace

class tst_Bli : public QObject
{
    Q_OBJECT

private:
    QString copyOfDemo(const QString &name)
    {
        const QString path = m_directory.filePath(name);
        QFile::remove(path);
        if (!QFile::copy(m_demo, path))
            return QString();
        return path;
    }

    QTemporaryDir m_directory;
    QString m_demo;

private slots:
    void initTestCase()
    {
        QVERIFY(m_directory.isValid());
        m_demo = m_directory.filePath(QStringLiteral("demo.bli"));
        const Run run = bli({ QStringLiteral("demo"), m_demo });
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QByteArray());
        QCOMPARE(run.err, QByteArray());
        // Two files that are no block libraries.
        QFile text(m_directory.filePath(QStringLiteral("text.txt")));
        QVERIFY(text.open(QIODevice::WriteOnly) && text.write("not a library\n") > 0);
        FileView empty;
        empty.create(m_directory.filePath(QStringLiteral("empty.bli")));
        empty.close();
        QVERIFY(!empty.hasError());
    }

    void demoIsDeterministic()
    {
        const QString second = m_directory.filePath(QStringLiteral("second.bli"));
        QCOMPARE(bli({ QStringLiteral("demo"), second }).exitCode, 0);
        QCOMPARE(treeLines(second), treeLines(m_demo));
        // Stream by stream, the demo reads back without a loss.
        const Run check = bli({ QStringLiteral("check"), second });
        QCOMPARE(check.outLines(), QStringList { QStringLiteral("no problems") });
        QCOMPARE(check.exitCode, 0);
    }

    void tree()
    {
        const Run run = bli({ QStringLiteral("tree"), m_demo });
        QCOMPARE(run.exitCode, 0);
        const QStringList expected = {
            QStringLiteral("root RootBlock ROOT \"Wurzelbaustein\""),
            QStringLiteral("  V0"),
            QStringLiteral("Grundfunktionen/"),
            QStringLiteral("  system 12 ADD \"Addition\""),
            QStringLiteral("    V0"),
            QStringLiteral("  tool 3 DIAG \"Diagnose\""),
            QStringLiteral("    V0"),
            QStringLiteral("  magic 1 SYNC \"Synchronisation\""),
            QStringLiteral("    V0"),
            QStringLiteral("Bewegung/"),
            QStringLiteral("  standard 100 RAMP \"Rampe für Sollwerte\""),
            QStringLiteral("    V0"),
            QStringLiteral("    V1"),
            QStringLiteral("    V2"),
            QStringLiteral("  Regelung/"),
            QStringLiteral("    user {a3f0c2de-5b61-4e0f-8d2a-7c9e41b05f33} CASC \"Kaskadenregler\""),
            QStringLiteral("      V0"),
            QStringLiteral("      V1"),
            QStringLiteral("        local {5c2f9e13-7a48-4b0d-9e61-b3d8f0a27c54} FILT \"Tiefpassfilter\""),
            QStringLiteral("          V0"),
            QStringLiteral("Parameterblöcke/"),
            QStringLiteral("  standard 200001 PLIM \"Drehzahlgrenzen\""),
            QStringLiteral("    V0"),
            QStringLiteral("Vorlagen/"),
            QStringLiteral("  template 7 AXMON \"Achsüberwachung\""),
            QStringLiteral("    V0"),
            QStringLiteral("Eigene Bausteine/"),
            QStringLiteral("  user {d81e7a40-2c3b-4f59-b6e7-0a9c5d4e3f21} SCALE \"Größenumrechnung\""),
            QStringLiteral("    V0"),
        };
        QCOMPARE(run.outLines(), expected);
    }

    void show()
    {
        const Run run = bli({ QStringLiteral("show"), m_demo, QStringLiteral("ADD") });
        QCOMPARE(run.exitCode, 0);
        QStringList lines = run.outLines();
        // Image byte counts depend on the PNG encoder; everything else is fixed.
        lines.removeIf([](const QString &line) { return line.contains(QLatin1String(" image: ")); });
        const QString crc = QString::fromLatin1(comparisonValue(m_demo, QStringLiteral("SystemBlock_12"), 0));
        const QStringList expected = {
            QStringLiteral("block: SystemBlock_12"),
            QStringLiteral("kind: system"),
            QStringLiteral("short name: ADD"),
            QStringLiteral("name 1: \"Addition\""),
            QStringLiteral("group path: \"1\""),
            QStringLiteral("versions: 0"),
            QStringLiteral("version: 0"),
            QStringLiteral("comparison value: ") + crc,
            QStringLiteral("access levels: read 0, write 7"),
            QStringLiteral("flags: visible"),
            QStringLiteral("template: target levels read 0, write 0, parameter group \"\""),
            QStringLiteral("runtime membership: 0"),
            QStringLiteral("code: version 2, 47 bytes"),
            QStringLiteral("description: 26 bytes"),
            QStringLiteral("wizard: 0 bytes"),
            QStringLiteral("skin: 8x5 grid units (minimum 4x3)"),
            QStringLiteral("inputs:"),
            QStringLiteral("  -1 enable BOOL \"\""),
            QStringLiteral("  1 IN1 REAL \"Summand 1\""),
            QStringLiteral("  2 IN2 REAL \"Summand 2\""),
            QStringLiteral("outputs:"),
            QStringLiteral("  3 OUT REAL \"Summe\""),
        };
        QCOMPARE(lines, expected);
    }

    void showInstantiationData()
    {
        const Run run = bli({ QStringLiteral("show"), m_demo, QStringLiteral("PLIM"), QStringLiteral("V0") });
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.outLines();
        const qsizetype start = lines.indexOf(QStringLiteral("instantiation:"));
        QVERIFY(start > 0);
        const QStringList expected = {
            QStringLiteral("  binary 1 general: 64 bytes"),
            QStringLiteral("  binary 2 general: 32 bytes"),
            QStringLiteral("  binary 1 family 5: 48 bytes"),
            QStringLiteral("  parameter P1202[2] property 109 general: \"60\""),
            QStringLiteral("  parameter P1201 property 5 general: \"2\""),
            QStringLiteral("  parameter P1201 property 6 general: \"4\""),
            QStringLiteral("  parameter P1201 property 109 general: \"3000\""),
            QStringLiteral("  parameter P1201 property 6 family 5: \"6\""),
            QStringLiteral("  parameter P1201 property 109 family 5: \"2500\""),
        };
        QCOMPARE(lines.mid(start + 1), expected);
        QVERIFY(lines.contains(QStringLiteral("  1 family 5 simple NMAX \"Maximale Drehzahl\" at P1201, per axis")));
        QVERIFY(lines.contains(QStringLiteral("  3 general record[3] AXD \"Achsdaten\" at P1210,A12, per axis")));
    }

    void crc()
    {
        const Run all = bli({ QStringLiteral("crc"), m_demo });
        QCOMPARE(all.exitCode, 0);
        QCOMPARE(all.outLines().size(), 12);
        const QString expected = QString::fromLatin1(comparisonValue(m_demo, QStringLiteral("StandardBlock_100"), 1));
        QVERIFY(all.outLines().contains(QStringLiteral("StandardBlock_100 V1 ") + expected));
        const Run one = bli({ QStringLiteral("crc"), m_demo, QStringLiteral("RAMP"), QStringLiteral("1") });
        QCOMPARE(one.outLines(), QStringList { expected });
    }

    void json_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("keys"); // all of them, sorted
        const QString demo = QStringLiteral("DEMO");
        QTest::newRow("info") << QStringList { "info", demo }
                              << QStringList { "blocks", "file", "groupNames", "groupPaths", "identifier", "kinds", "localBlocks",
                                               "name", "parameterDefinitionBlocks", "readOnly", "size", "storages",
                                               "streamBytes", "streams", "type", "versions" };
        QTest::newRow("tree") << QStringList { "tree", demo } << QStringList { "blocks", "file", "groups" };
        QTest::newRow("show") << QStringList { "show", demo, "RAMP" }
                              << QStringList { "groupPath", "identifier", "kind", "name", "number", "shortName", "shown", "versions" };
        QTest::newRow("crc") << QStringList { "crc", demo } << QStringList { "file", "values" };
        QTest::newRow("crc-one") << QStringList { "crc", demo, "RAMP", "0" } << QStringList { "identifier", "value", "version" };
        QTest::newRow("check") << QStringList { "check", demo } << QStringList { "file", "problems" };
        QTest::newRow("dump") << QStringList { "dump", demo } << QStringList { "entries", "file", "path" };
        QTest::newRow("dump-stream") << QStringList { "dump", demo, "Info.ini" } << QStringList { "base64", "path", "size" };
        QTest::newRow("diff") << QStringList { "diff", demo, demo } << QStringList { "a", "b", "differences" };
    }

    void json()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, keys);
        arguments.replaceInStrings(QStringLiteral("DEMO"), m_demo);
        const Run run = bli(arguments << QStringLiteral("--json"));
        QCOMPARE(run.exitCode, 0);
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(run.out, &error);
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
        QCOMPARE(document.object().keys(), keys);
    }

    void jsonValues()
    {
        const QJsonObject info = QJsonDocument::fromJson(bli({ QStringLiteral("info"), m_demo, QStringLiteral("--json") }).out).object();
        QCOMPARE(info.value(QStringLiteral("blocks")).toInt(), 9);
        QCOMPARE(info.value(QStringLiteral("versions")).toInt(), 13);
        QCOMPARE(info.value(QStringLiteral("identifier")).toString(), QStringLiteral("{6b1d3c52-0d9e-4c8e-9a41-3f2d7e5a8c10}"));
        QCOMPARE(info.value(QStringLiteral("kinds")).toObject().value(QStringLiteral("user")).toInt(), 2);
        QCOMPARE(info.value(QStringLiteral("groupNames")).toObject().value(QStringLiteral("4")).toObject()
                         .value(QStringLiteral("1")).toString(), QStringLiteral("Parameterblöcke"));
    }

    void exitCodes_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("error"); // the one stderr line; "*" ends a prefix

        const QString demo = QStringLiteral("DEMO");
        QTest::newRow("diff-itself") << QStringList { "diff", demo, demo } << 0 << QString();
        QTest::newRow("help") << QStringList { "--help" } << 0 << QString();
        QTest::newRow("no-command") << QStringList {} << 2 << QStringLiteral("usage: bli COMMAND ARGUMENTS...");
        QTest::newRow("unknown-command") << QStringList { "frob" } << 2 << QStringLiteral("bli: unknown command frob (see bli --help)");
        QTest::newRow("unknown-option") << QStringList { "tree", demo, "--fast" } << 2
                                        << QStringLiteral("bli: unknown option --fast (see bli --help)");
        QTest::newRow("too-few") << QStringList { "show", demo } << 2
                                 << QStringLiteral("bli: usage: bli show FILE BLOCK [VERSION] [--json]");
        QTest::newRow("json-of-export") << QStringList { "export", demo, "RAMP", "--json" } << 2
                                        << QStringLiteral("bli: export has no --json output");
        QTest::newRow("missing-file") << QStringList { "tree", "DIR/missing.bli" } << 2
                                      << QStringLiteral("bli: DIR/missing.bli: no such file");
        QTest::newRow("not-a-storage-file") << QStringList { "tree", "DIR/text.txt" } << 2
                                            << QStringLiteral("bli: DIR/text.txt: not a block library: *");
        QTest::newRow("empty-storage-file") << QStringList { "info", "DIR/empty.bli" } << 2
                                            << QStringLiteral("bli: DIR/empty.bli: not a block library: no library description");
        QTest::newRow("unknown-block") << QStringList { "show", demo, "NOPE" } << 2 << QStringLiteral("bli: DEMO: no block \"NOPE\"");
        QTest::newRow("unknown-version") << QStringList { "crc", demo, "RAMP", "9" } << 2
                                         << QStringLiteral("bli: StandardBlock_100: no version \"9\" (versions: 0, 1, 2)");
        QTest::newRow("demo-over-file") << QStringList { "demo", demo } << 2 << QStringLiteral("bli: DEMO: exists; --force replaces it");
        QTest::newRow("dump-missing-path") << QStringList { "dump", demo, "Blocks/Nope" } << 2
                                           << QStringLiteral("bli: DEMO: no stream or storage Blocks/Nope");
    }

    void exitCodes()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, error);
        const auto place = [&](QString value) {
            return value.replace(QLatin1String("DEMO"), m_demo).replace(QLatin1String("DIR"), m_directory.path());
        };
        for (QString &argument : arguments)
            argument = place(argument);
        const Run run = bli(arguments);
        QCOMPARE(run.exitCode, exitCode);
        if (error.isEmpty()) {
            QCOMPARE(run.errText(), QString());
        } else if (error.endsWith(QLatin1Char('*'))) {
            QVERIFY2(run.errText().startsWith(place(error.chopped(1))), qPrintable(run.errText()));
            QVERIFY(!run.errText().contains(QLatin1Char('\n')));
        } else {
            QCOMPARE(run.errText().section(QLatin1Char('\n'), 0, 0), place(error));
        }
    }

    void diff()
    {
        const QString copy = copyOfDemo(QStringLiteral("changed.bli"));
        QVERIFY(!copy.isEmpty());
        QVERIFY(editStorage(copy, [](FileStorageView *root) {
            // A block whose storage holds nothing is no block any more.
            at(root, QStringLiteral("Blocks/MagicBlock_1"))->clear();
            FileStorageView *add = at(root, QStringLiteral("Blocks/SystemBlock_12"));
            add->writeStream(QStringLiteral("Info.ini"),
                             add->readStream(QStringLiteral("Info.ini")).replace("ShortName=ADD", "ShortName=SUM"));
            FileStorageView *v1 = at(root, QStringLiteral("Blocks/StandardBlock_100/V1"));
            v1->writeStream(QStringLiteral("Info.ini"),
                            v1->readStream(QStringLiteral("Info.ini")).replace("LevelVisible=0", "LevelVisible=3"));
            FileStorageView *v0 = at(root, QStringLiteral("Blocks/StandardBlock_100/V0"));
            v0->writeStream(QStringLiteral("Code.txt"), v0->readStream(QStringLiteral("Code.txt")) + "Y := Y;\r\n");
            FileStorageView *tool = at(root, QStringLiteral("Blocks/ToolBlock_3"));
            tool->storage(QStringLiteral("V3"))->writeStream(QStringLiteral("Info.ini"),
                                                             tool->storage(QStringLiteral("V0"))->readStream(QStringLiteral("Info.ini")));
        }));
        const QString before = QString::fromLatin1(comparisonValue(m_demo, QStringLiteral("StandardBlock_100"), 1));
        const QString after = QString::fromLatin1(comparisonValue(copy, QStringLiteral("StandardBlock_100"), 1));
        QVERIFY(before != after);

        const Run run = bli({ QStringLiteral("diff"), m_demo, copy });
        QCOMPARE(run.exitCode, 1);
        const QStringList expected = {
            QStringLiteral("~ SystemBlock_12 short name \"ADD\" -> \"SUM\""),
            QStringLiteral("~ StandardBlock_100 V0 code"),
            QStringLiteral("~ StandardBlock_100 V1 comparison value %1 -> %2").arg(before, after),
            QStringLiteral("+ ToolBlock_3 V3"),
            QStringLiteral("- MagicBlock_1 SYNC"),
        };
        QCOMPARE(run.outLines(), expected);
        const Run back = bli({ QStringLiteral("diff"), copy, m_demo });
        QCOMPARE(back.exitCode, 1);
        QVERIFY(back.outLines().contains(QStringLiteral("+ MagicBlock_1 SYNC")));
        QVERIFY(back.outLines().contains(QStringLiteral("- ToolBlock_3 V3")));
    }

    void exportImport()
    {
        const QString copy = copyOfDemo(QStringLiteral("import.bli"));
        const Run exported = bli({ QStringLiteral("export"), m_demo, QStringLiteral("SCALE") });
        QCOMPARE(exported.exitCode, 0);
        QVERIFY(exported.out.endsWith('\n'));
        QVERIFY(exported.out.size() > 100);

        const QString identifier = QStringLiteral("{11111111-2222-4333-8444-555555555555}");
        const Run imported = bli({ QStringLiteral("import"), copy, identifier }, exported.out);
        QCOMPARE(imported.exitCode, 0);
        QCOMPARE(imported.outLines(), QStringList { identifier });

        // The same contents text comes back out, under the new identifier.
        const Run again = bli({ QStringLiteral("export"), copy, identifier });
        QCOMPARE(again.out, exported.out);

        // Nothing else changed, and nothing in the file is lost on loading.
        const Run diff = bli({ QStringLiteral("diff"), m_demo, copy });
        QCOMPARE(diff.exitCode, 1);
        QCOMPARE(diff.outLines(), QStringList { QStringLiteral("+ %1 SCALE").arg(identifier) });
        QCOMPARE(bli({ QStringLiteral("check"), copy }).exitCode, 0);

        const Run refused = bli({ QStringLiteral("import"), copy, identifier }, exported.out);
        QCOMPARE(refused.exitCode, 2);
        QCOMPARE(refused.errText(), QStringLiteral("bli: %1: block %2 exists; --replace overwrites it").arg(copy, identifier));
        const Run ramp = bli({ QStringLiteral("export"), m_demo, QStringLiteral("RAMP") });
        const Run replaced = bli({ QStringLiteral("import"), copy, identifier, QStringLiteral("--replace") }, ramp.out);
        QCOMPARE(replaced.exitCode, 0);
        QCOMPARE(bli({ QStringLiteral("export"), copy, identifier }).out, ramp.out);

        const Run garbage = bli({ QStringLiteral("import"), copy }, "not hex\n");
        QCOMPARE(garbage.exitCode, 2);
        QCOMPARE(garbage.errText(), QStringLiteral("bli: standard input: not the contents text of a block"));
    }

    // Two imports into one library at the same moment, as two build jobs on a share might
    // run them: each ends with a clear result, no import is lost without a word, and the
    // file stays whole.
    void concurrentImports()
    {
        const Run exported = bli({ QStringLiteral("export"), m_demo, QStringLiteral("SCALE") });
        QCOMPARE(exported.exitCode, 0);
        const QString copy = copyOfDemo(QStringLiteral("concurrent.bli"));
        QStringList expected;
        BlockLibraryFile before;
        QVERIFY(before.load(copy));
        expected = before.library()->blockIdentifiers();

        int succeeded = 0;
        int refused = 0;
        for (int round = 0; round < 6; ++round) {
            QProcess first;
            QProcess second;
            for (QProcess *process : { &first, &second }) {
                process->start(QStringLiteral(BLI_EXECUTABLE), { QStringLiteral("import"), copy });
                QVERIFY(process->waitForStarted(10000));
            }
            // Both wait for their input before they open the file; hand it to both at once
            // (QProcess writes only while one of its wait functions runs).
            for (QProcess *process : { &first, &second })
                process->write(exported.out);
            for (QProcess *process : { &first, &second }) {
                QVERIFY(process->waitForBytesWritten(10000));
                process->closeWriteChannel();
            }
            for (QProcess *process : { &first, &second }) {
                QVERIFY(process->waitForFinished(60000));
                QCOMPARE(process->exitStatus(), QProcess::NormalExit);
                const QByteArray out = process->readAllStandardOutput();
                const QString err = QString::fromUtf8(process->readAllStandardError());
                if (process->exitCode() == 0) {
                    ++succeeded;
                    expected.append(QString::fromUtf8(out).trimmed());
                    QCOMPARE(err, QString());
                } else {
                    // The refused import says so, in one line naming the file and the lock.
                    ++refused;
                    QCOMPARE(process->exitCode(), 2);
                    QCOMPARE(out, QByteArray());
                    QCOMPARE(err.count(QLatin1Char('\n')), 1);
                    QVERIFY2(err.startsWith(QStringLiteral("bli: %1: not saved: ").arg(copy)), qPrintable(err));
                    QVERIFY2(err.contains(QStringLiteral("gesperrt")), qPrintable(err));
                }
            }
            // Whatever happened, the file is whole and holds exactly the imports that succeeded.
            const Run check = bli({ QStringLiteral("check"), copy });
            QCOMPARE(check.outLines(), QStringList { QStringLiteral("no problems") });
            BlockLibraryFile after;
            QVERIFY(after.load(copy));
            QStringList identifiers = after.library()->blockIdentifiers();
            identifiers.sort();
            expected.sort();
            QCOMPARE(identifiers, expected);
        }
        QCOMPARE(succeeded + refused, 12);
        QVERIFY(succeeded >= 6);
        qInfo("%d imports saved, %d refused while the other held the file", succeeded, refused);
    }

    void check_data()
    {
        QTest::addColumn<QString>("stream");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("line");

        const QByteArray block("\xEF\xBB\xBF\r\n;type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=FOO\r\n");
        const QString limits = QStringLiteral("Blocks/StandardBlock_200001/V0/");
        QTest::newRow("storage-of-no-kind") << QStringLiteral("Blocks/Foo/Info.ini") << block
                                            << QStringLiteral("Blocks/Foo/: identifier \"Foo\" is of no block kind, block not read");
        QTest::newRow("family-without-ini") << limits + QStringLiteral("Parameter/1/Family_7") << parameterText()
                                            << limits + QStringLiteral("Parameter/1/Family_7: family definition without \".ini\", not read back");
        QTest::newRow("unreadable-parameter") << limits + QStringLiteral("Parameter/4/General.ini") << QByteArray("junk")
                                              << limits + QStringLiteral("Parameter/4/General.ini: unreadable parameter definition, not read");
        QTest::newRow("pin-of-other-kind") << QStringLiteral("Blocks/SystemBlock_12/V0/Interface/Pin_9.ini")
                                           << QByteArray(";type=\"blockskin\" version=\"0\"\r\n")
                                           << QStringLiteral("Blocks/SystemBlock_12/V0/Interface/Pin_9.ini: refused: type \"blockskin\", expected \"pin\"");
        QTest::newRow("block-of-version-1") << QStringLiteral("Blocks/ToolBlock_3/Info.ini")
                                            << QByteArray(";type=\"block\" version=\"1\"\r\n")
                                            << QStringLiteral("Blocks/ToolBlock_3/Info.ini: refused: version 1 of \"block\", only 0 is read, block not read");
        QTest::newRow("value-not-in-order") << limits + QStringLiteral("ParameterValues/P9.ini")
                                            << QByteArray(";type=\"parametervalue\" version=\"0\"\r\n")
                                            << limits + QStringLiteral("ParameterValues/P9.ini: not listed in order.txt, not read");
        QTest::newRow("unknown-root-stream") << QStringLiteral("Notes.txt") << QByteArray("hello")
                                             << QStringLiteral("Notes.txt: unknown stream, not read");
        QTest::newRow("second-version-storage") << QStringLiteral("Blocks/ToolBlock_3/V00/Info.ini")
                                                << QByteArray(";type=\"blockversion\" version=\"0\"\r\n")
                                                << QStringLiteral("Blocks/ToolBlock_3/V00/: a second storage of version 0, not read");
        QTest::newRow("image-of-other-format") << QStringLiteral("Blocks/RootBlock/V0/Images/IconLarge.gif") << QByteArray("GIF89a")
                                               << QStringLiteral("Blocks/RootBlock/V0/Images/IconLarge.gif: not a list image (IconLarge or IconSmall, .png or .bmp), not read");
    }

    void check()
    {
        QFETCH(QString, stream);
        QFETCH(QByteArray, data);
        QFETCH(QString, line);
        const QString copy = copyOfDemo(QStringLiteral("planted.bli"));
        QVERIFY(editStorage(copy, [&](FileStorageView *root) {
            const qsizetype slash = stream.lastIndexOf(QLatin1Char('/'));
            at(root, slash < 0 ? QString() : stream.left(slash))->writeStream(stream.mid(slash + 1), data);
        }));
        const Run run = bli({ QStringLiteral("check"), copy });
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.outLines(), QStringList({ line, QStringLiteral("1 problem; a re-save would lose what is listed") }));

        const QJsonObject json = QJsonDocument::fromJson(bli({ QStringLiteral("check"), copy, QStringLiteral("--json") }).out).object();
        QCOMPARE(json.value(QStringLiteral("problems")).toArray().size(), 1);
    }

    void dump()
    {
        const Run listing = bli({ QStringLiteral("dump"), m_demo, QStringLiteral("Blocks/StandardBlock_200001/V0/KsbBinaries") });
        QCOMPARE(listing.exitCode, 0);
        const QStringList expected = {
            QStringLiteral("Blocks/StandardBlock_200001/V0/KsbBinaries/1/"),
            QStringLiteral("Blocks/StandardBlock_200001/V0/KsbBinaries/1/Family_5.bin 48"),
            QStringLiteral("Blocks/StandardBlock_200001/V0/KsbBinaries/1/General.bin 64"),
            QStringLiteral("Blocks/StandardBlock_200001/V0/KsbBinaries/2/"),
            QStringLiteral("Blocks/StandardBlock_200001/V0/KsbBinaries/2/General.bin 32"),
        };
        QCOMPARE(listing.outLines(), expected);

        const Run stream = bli({ QStringLiteral("dump"), m_demo, QStringLiteral("Blocks/StandardBlock_200001/V0/ParameterValues/order.txt") });
        QCOMPARE(stream.exitCode, 0);
        QCOMPARE(stream.out, QByteArray(";type=\"order\" version=\"0\"\r\n\r\nP1202[2].ini\r\nP1201.ini\r\n"));
    }

    void render_data()
    {
        QTest::addColumn<QString>("block");
        QTest::addColumn<QString>("version");
        QTest::addColumn<QSize>("size");
        // 20 pixels per grid unit; pin stubs add one unit on either side.
        QTest::newRow("ramp-with-pin-order") << QStringLiteral("RAMP") << QStringLiteral("2") << QSize(200, 120);
        QTest::newRow("parameter-block") << QStringLiteral("PLIM") << QStringLiteral("0") << QSize(200, 60);
        QTest::newRow("tool-without-enable") << QStringLiteral("ToolBlock_3") << QStringLiteral("V0") << QSize(200, 60);
        QTest::newRow("magic-without-image") << QStringLiteral("SYNC") << QStringLiteral("0") << QSize(120, 40);
    }

    void render()
    {
        QFETCH(QString, block);
        QFETCH(QString, version);
        QFETCH(QSize, size);
        const QString output = m_directory.filePath(block + QStringLiteral(".png"));
        const Run run = bli({ QStringLiteral("render"), m_demo, block, version, output });
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.err, QByteArray());
        QImage image;
        QVERIFY(image.load(output, "PNG"));
        QCOMPARE(image.size(), size);
        // The first input's stub crosses the left grid unit in the middle of the top row.
        QCOMPARE(QColor(image.pixel(5, 10)).lightness() < 128, true);
    }

    // A version with more pin rows than any picture should hold is refused, not allocated.
    void renderRefusesHugeBlocks()
    {
        const QString copy = copyOfDemo(QStringLiteral("huge.bli"));
        QVERIFY(editStorage(copy, [](FileStorageView *root) {
            FileStorageView *interface = at(root, QStringLiteral("Blocks/SystemBlock_12/V0/Interface"));
            for (int i = 1000; i < 2700; ++i)
                interface->writeStream(QStringLiteral("Pin_%1.ini").arg(i),
                                       ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nFunction=1\r\n");
        }));
        const QString output = m_directory.filePath(QStringLiteral("huge.png"));
        const Run run = bli({ QStringLiteral("render"), copy, QStringLiteral("ADD"), QStringLiteral("0"), output });
        QCOMPARE(run.exitCode, 2);
        // 1,700 more inputs below the block's own rows; its image widens it to 8 units.
        QCOMPARE(run.errText(), QStringLiteral("bli: SystemBlock_12 V0: 8 x 1705 grid units is too large to draw"));
        QVERIFY(!QFile::exists(output));
    }
};

QTEST_GUILESS_MAIN(tst_Bli)
#include "tst_bli.moc"
