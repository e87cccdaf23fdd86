// The bli tool as a user runs it: the built program on the demo library it writes, in a
// temporary directory. Listings are compared byte for byte with the files in tests/data/bli.
#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryFile.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtTest/QtTest>

#include <functional>
#include <memory>

#include <csignal>
#include <sys/resource.h>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    // The exit code, then stdout and stderr, for one comparison of all three.
    QByteArray text() const { return QByteArray::number(exitCode) + ' ' + out + err; }
};

// limitFileSize: the child may write files of at most 100 bytes, as on a full disk.
Run bli(const QStringList &arguments, const QByteArray &input = QByteArray(), bool limitFileSize = false)
{
    QProcess process;
    if (limitFileSize) {
        process.setChildProcessModifier([] {
            ::signal(SIGXFSZ, SIG_IGN); // a write past the limit then fails with EFBIG
            const rlimit limit { 100, 100 };
            ::setrlimit(RLIMIT_FSIZE, &limit);
        });
    }
    process.start(QStringLiteral(BLI_EXECUTABLE), arguments);
    process.waitForStarted(10000);
    process.write(input);
    process.closeWriteChannel();
    const bool finished = process.waitForFinished(120000); // a hang counts as a crash
    if (!finished)
        process.kill();
    process.waitForFinished();
    return { finished && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
             process.readAllStandardOutput(), process.readAllStandardError() };
}

// Replaces one stream's "from" by "to", or writes it whole when from is empty.
void patch(FileStorageView *root, const QString &path, const QByteArray &from, const QByteArray &to)
{
    QStringList names = path.split(QLatin1Char('/'));
    const QString stream = names.takeLast();
    for (const QString &name : names)
        root = root->storage(name);
    root->writeStream(stream, from.isEmpty() ? to : root->readStream(stream).replace(from, to));
}

// The comparison value of a version as the library computes it, without bli.
QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

QByteArray comparisonValue(const QString &path, const QString &identifier, unsigned int version)
{
    BlockLibraryFile file;
    if (!file.load(path))
        return "not loaded";
    const Block *block = file.library()->block(identifier);
    BlockDefinition *definition = block ? block->blockDefinition(version) : nullptr;
    return definition ? definition->compareCrc32Value() : QByteArray("no such version");
}

} // namespace

class tst_Bli : public QObject
{
    Q_OBJECT

private:
    // A copy of the demo library, changed by edit; empty when it could not be made.
    QString copyOfDemo(const QString &name, const std::function<void(FileStorageView *)> &edit = {})
    {
        const QString path = m_directory.filePath(name);
        QFile::remove(path);
        FileView file;
        if (QFile::copy(m_demo, path) && edit)
            file.open(path);
        if (file.isOpen()) {
            edit(std::unique_ptr<FileStorageView>(file.createRootView()).get());
            file.close();
        }
        return QFile::exists(path) && !file.hasError() ? path : QString();
    }

    QTemporaryDir m_directory;
    QString m_demo;

private slots:
    void initTestCase()
    {
        QVERIFY(m_directory.isValid());
        m_demo = m_directory.filePath(QStringLiteral("demo.bli"));
        QCOMPARE(bli({ "demo", m_demo }).text(), QByteArray("0 "));
        QFile text(m_directory.filePath(QStringLiteral("text.txt")));
        QVERIFY(text.open(QIODevice::WriteOnly) && text.write("not a library\n") > 0);
        QVERIFY(!copyOfDemo(QStringLiteral("empty.bli"), [](FileStorageView *root) { root->clear(); }).isEmpty());
        // For diff: a block gone, a name, a version's levels and code changed, a version added.
        QVERIFY(!copyOfDemo(QStringLiteral("changed.bli"), [](FileStorageView *root) {
            root->storage(QStringLiteral("Blocks"))->storage(QStringLiteral("MagicBlock_1"))->clear(); // holding nothing, no block
            patch(root, QStringLiteral("Blocks/SystemBlock_12/Info.ini"), "ShortName=ADD", "ShortName=SUM");
            patch(root, QStringLiteral("Blocks/StandardBlock_100/V1/Info.ini"), "LevelVisible=0", "LevelVisible=3");
            patch(root, QStringLiteral("Blocks/StandardBlock_100/V0/Code.txt"), "*)\r\n", "*)\r\nY := Y;\r\n");
            patch(root, QStringLiteral("Blocks/ToolBlock_3/V3/Info.ini"), {}, ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n");
        }).isEmpty());
        // For check: one stream of each kind that loading skips or refuses.
        QVERIFY(!copyOfDemo(QStringLiteral("planted.bli"), [](FileStorageView *root) {
            const QString limits = QStringLiteral("Blocks/StandardBlock_200001/V0/");
            SimpleParameterDefinition definition;
            patch(root, "Blocks/Foo/Info.ini", {}, ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=FOO\r\n");
            patch(root, limits + "Parameter/1/Family_7", {}, ParameterDefinitionSaver::saveParameterDefinition(&definition));
            patch(root, limits + "Parameter/4/General.ini", {}, "junk");
            patch(root, "Blocks/SystemBlock_12/V0/Interface/Pin_9.ini", {}, ";type=\"blockskin\" version=\"0\"\r\n");
            patch(root, "Blocks/ToolBlock_3/Info.ini", {}, ";type=\"block\" version=\"1\"\r\n");
            patch(root, limits + "ParameterValues/P9.ini", {}, ";type=\"parametervalue\" version=\"0\"\r\n");
            patch(root, "Notes.txt", {}, "hello");
            patch(root, "Blocks/MagicBlock_1/V00/Info.ini", {}, ";type=\"blockversion\" version=\"0\"\r\n");
            patch(root, "Blocks/RootBlock/V0/Images/IconLarge.gif", {}, "GIF89a");
        }).isEmpty());
        // For check: one block under two spellings of its identifier, as older imports wrote.
        QVERIFY(!copyOfDemo(QStringLiteral("twice.bli"), [](FileStorageView *root) {
            patch(root, "Blocks/StandardBlock_0100/Info.ini", {}, ";type=\"block\" version=\"0\"\r\n");
        }).isEmpty());
        // For render: a version with more pin rows than any picture should hold.
        QVERIFY(!copyOfDemo(QStringLiteral("huge.bli"), [](FileStorageView *root) {
            for (int i = 1000; i < 2700; ++i)
                patch(root, QStringLiteral("Blocks/SystemBlock_12/V0/Interface/Pin_%1.ini").arg(i), QByteArray(),
                      ";type=\"pin\" version=\"0\"\r\n\r\n[Pin]\r\nFunction=1\r\n");
        }).isEmpty());
    }

    void listings_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("listing"); // a file in tests/data/bli, for render the picture's size; empty: no output
        QTest::addColumn<QString>("error");   // the one line on stderr; "*" ends a prefix

        const auto row = [](const char *arguments, int exitCode, const char *listing, const char *error = "") {
            QTest::newRow(arguments) << QString::fromUtf8(arguments) << exitCode << QString::fromLatin1(listing)
                                     << QString::fromUtf8(error);
        };
        row("tree DEMO", 0, "tree.txt");
        row("tree DEMO --json", 0, "tree.json");
        row("info DEMO", 0, "info.txt");
        row("info DEMO --json", 0, "info.json");
        row("show DEMO ADD", 0, "show-add.txt");
        row("show DEMO PLIM V0", 0, "show-plim.txt");
        row("show DEMO RAMP --json", 0, "show-ramp.json");
        row("crc DEMO", 0, "crc.txt");
        row("crc DEMO --json", 0, "crc.json");
        row("crc DEMO RAMP 1", 0, "crc-one.txt");
        row("crc DEMO RAMP 0 --json", 0, "crc-one.json");
        row("check DEMO", 0, "check.txt");
        row("check DEMO --json", 0, "check.json");
        row("check DIR/planted.bli", 1, "check-planted.txt");
        row("check DIR/planted.bli --json", 1, "check-planted.json");
        row("check DIR/twice.bli", 1, "check-twice.txt");
        row("diff DEMO DEMO", 0, "");
        row("diff DEMO DIR/changed.bli", 1, "diff.txt");
        row("diff DIR/changed.bli DEMO", 1, "diff-back.txt");
        row("diff DEMO DIR/changed.bli --json", 1, "diff.json");
        row("dump DEMO Blocks/StandardBlock_200001/V0/KsbBinaries", 0, "dump-binaries.txt");
        row("dump DEMO Blocks/StandardBlock_200001/V0/ParameterValues/order.txt", 0, "dump-order.txt");
        row("dump DEMO Info.ini --json", 0, "dump-stream.json");
        row("--help", 0, "help.txt");
        row("frob", 2, "", "bli: unknown command frob (see bli --help)");
        row("tree DEMO --fast", 2, "", "bli: unknown option --fast (see bli --help)");
        row("show DEMO", 2, "", "bli: usage: bli show FILE BLOCK [VERSION] [--json]");
        row("export DEMO RAMP --json", 2, "", "bli: export has no --json output");
        row("tree DIR/missing.bli", 2, "", "bli: DIR/missing.bli: no such file");
        row("tree DIR/text.txt", 2, "", "bli: DIR/text.txt: not a block library: *");
        row("info DIR/empty.bli", 2, "", "bli: DIR/empty.bli: not a block library: no library description");
        row("show DEMO NOPE", 2, "", "bli: DIR/demo.bli: no block \"NOPE\"");
        row("crc DEMO RAMP 9", 2, "", "bli: StandardBlock_100: no version \"9\" (versions: 0, 1, 2)");
        row("demo DEMO", 2, "", "bli: DIR/demo.bli: exists; --force replaces it");
        row("dump DEMO Blocks/Nope", 2, "", "bli: DIR/demo.bli: no stream or storage Blocks/Nope");
        // 20 pixels per grid unit; pin stubs add one unit on either side.
        row("render DEMO RAMP 2 DIR/ramp.png", 0, "200x120"); // with a pin order
        row("render DEMO PLIM 0 DIR/plim.png", 0, "200x60"); // a parameter block
        row("render DEMO ToolBlock_3 V0 DIR/tool.png", 0, "200x60"); // without an enable pin
        row("render DEMO SYNC 0 DIR/sync.png", 0, "120x40"); // without an image
        // 1,700 more inputs below the block's own rows; its image widens it to 8 units. A
        // picture that large is refused, not allocated.
        row("render DIR/huge.bli ADD 0 DIR/huge.png", 2, "", "bli: SystemBlock_12 V0: 8 x 1705 grid units is too large to draw");
    }

    void listings()
    {
        QFETCH(QString, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, listing);
        QFETCH(QString, error);

        const QString dir = m_directory.path();
        QStringList argumentList = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        argumentList.replaceInStrings(QStringLiteral("DEMO"), m_demo).replaceInStrings(QStringLiteral("DIR"), dir);
        const Run run = bli(argumentList);
        QCOMPARE(run.exitCode, exitCode);
        if (argumentList.value(0) == QLatin1String("render")) {
            // Nothing is written on an error. The first input's stub crosses the left grid unit
            // in the middle of the top row.
            const QImage image(argumentList.last(), "PNG");
            QCOMPARE(QStringLiteral("%1x%2").arg(image.width()).arg(image.height()), exitCode ? QStringLiteral("0x0") : listing);
            QVERIFY(exitCode || QColor(image.pixel(5, 10)).lightness() < 128);
            listing.clear();
        }

        // Byte counts that follow from the list images the demo draws (fonts, PNG encoder)
        // are not compared; paths in the temporary directory read "DIR".
        static const QRegularExpression drawn(
            QStringLiteral("(image: \\w+, |^size: |storages, \\d+ streams, |\"size\": |\"streamBytes\": |ImageSize\": )\\d+"),
            QRegularExpression::MultilineOption);
        const QString out = QString::fromUtf8(run.out).replace(dir, QStringLiteral("DIR")).replace(drawn, QStringLiteral("\\1#"));
        QByteArray expected;
        if (!listing.isEmpty()) {
            QFile file(QStringLiteral(KV_TEST_SOURCE_DIR "/tests/data/bli/") + listing);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
            // "{crc BLOCK VERSION}" stands for a comparison value the library computes, in the
            // demo or, with "{crc:changed ...}", in the changed copy.
            QString text = QString::fromUtf8(file.readAll());
            static const QRegularExpression crc(QStringLiteral("\\{crc(:changed)? (\\S+) (\\d+)\\}"));
            for (QRegularExpressionMatch match = crc.match(text); match.hasMatch(); match = crc.match(text)) {
                const QString path = match.hasCaptured(1) ? m_directory.filePath(QStringLiteral("changed.bli")) : m_demo;
                text.replace(match.capturedStart(), match.capturedLength(),
                             QString::fromLatin1(comparisonValue(path, match.captured(2), match.captured(3).toUInt())));
            }
            expected = text.toUtf8();
        }
        QCOMPARE(out.toUtf8(), expected);

        const QString err = QString::fromUtf8(run.err).replace(dir, QStringLiteral("DIR"));
        if (error.isEmpty())
            QCOMPARE(err, QString());
        else if (error.endsWith(QLatin1Char('*')))
            QVERIFY2(err.startsWith(error.chopped(1)) && err.count(QLatin1Char('\n')) == 1, qPrintable(err));
        else
            QCOMPARE(err, error + QLatin1Char('\n'));
    }

    void exportImport()
    {
        const QString copy = copyOfDemo(QStringLiteral("import.bli"));
        const QString id = QStringLiteral("{11111111-2222-4333-8444-555555555555}");
        const QByteArray scale = bli({ "export", m_demo, "SCALE" }).out;
        QVERIFY(scale.size() > 100 && scale.endsWith('\n'));
        QCOMPARE(bli({ "import", copy, id }, scale).text(), "0 " + id.toLatin1() + '\n');
        // The same contents text comes back out under the new identifier; nothing else changed.
        QCOMPARE(bli({ "export", copy, id }).out, scale);
        QCOMPARE(bli({ "diff", m_demo, copy }).text(), QStringLiteral("1 + %1 SCALE\n").arg(id).toLatin1());
        QCOMPARE(bli({ "check", copy }).text(), QByteArray("0 no problems\n"));

        QCOMPARE(bli({ "import", copy, id }, scale).text(),
                 QStringLiteral("2 bli: %1: block %2 exists; --replace overwrites it\n").arg(copy, id).toUtf8());
        const QByteArray ramp = bli({ "export", m_demo, "RAMP" }).out;
        QCOMPARE(bli({ "import", copy, id, "--replace" }, ramp).text(), "0 " + id.toLatin1() + '\n');
        QCOMPARE(bli({ "export", copy, id }).out, ramp);
        QCOMPARE(bli({ "import", copy }, "not hex\n").text(), QByteArray("2 bli: standard input: not the contents text of a block\n"));

        // Another spelling of a block's identifier denotes that block; a new block is stored
        // in the library's own spelling; white space is refused.
        const QString exists = QStringLiteral("2 bli: %1: block %2 exists; --replace overwrites it\n").arg(copy);
        const QString scaleId = QStringLiteral("{d81e7a40-2c3b-4f59-b6e7-0a9c5d4e3f21}");
        for (const QString &spelling : { scaleId.toUpper(), scaleId.mid(1, 36) })
            QCOMPARE(bli({ "import", copy, spelling }, scale).text(), exists.arg(scaleId).toUtf8());
        QCOMPARE(bli({ "import", copy, "StandardBlock_0100" }, scale).text(), exists.arg("StandardBlock_100").toUtf8());
        QCOMPARE(bli({ "import", copy, "StandardBlock_0100", "--replace" }, ramp).text(), QByteArray("0 StandardBlock_100\n"));
        QCOMPARE(bli({ "import", copy, "StandardBlock_0777" }, ramp).text(), QByteArray("0 StandardBlock_777\n"));
        QCOMPARE(bli({ "import", copy, "StandardBlock_778\n" }, ramp).text(),
                 QByteArray("2 bli: \"StandardBlock_778\\n\": not an identifier the library can hold (white space, control "
                            "characters or a number out of range)\n"));
        QCOMPARE(bli({ "check", copy }).text(), QByteArray("0 no problems\n"));

        // Permission bits without write keep the file as it is, also for root.
        const QByteArray before = contentsOf(copy);
        QVERIFY(QFile::setPermissions(copy, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
        const Run refused = bli({ "import", copy }, scale);
        QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner);
        QCOMPARE(refused.exitCode, 2);
        QVERIFY2(refused.err.contains("schreibgeschützt"), refused.err.constData());
        QCOMPARE(contentsOf(copy), before);
    }

    // A picture replaces an existing file only when asked, never the library it is drawn
    // from, and a render that fails writing leaves the file as it was.
    void renderReplacesOnlyWhenAsked()
    {
        const QString library = copyOfDemo(QStringLiteral("render.bli"));
        const QString out = m_directory.filePath(QStringLiteral("out.png"));
        const QString link = m_directory.filePath(QStringLiteral("link.png"));
        QVERIFY(QFile::link(library, link));
        QCOMPARE(bli({ "render", library, "RAMP", "2", out }).exitCode, 0);
        const QByteArray ramp2 = contentsOf(out);
        QCOMPARE(bli({ "render", library, "RAMP", "0", out }).text(), "2 bli: " + out.toUtf8() + ": exists; --force replaces it\n");
        QCOMPARE(contentsOf(out), ramp2);
        QCOMPARE(bli({ "render", library, "RAMP", "0", out, "--force" }, {}, true).exitCode, 2);
        QCOMPARE(contentsOf(out), ramp2);
        QCOMPARE(bli({ "render", library, "RAMP", "0", out, "--force" }).exitCode, 0);
        QVERIFY(contentsOf(out) != ramp2);
        const QByteArray before = contentsOf(library);
        for (const QString &target : { library, link }) {
            QCOMPARE(bli({ "render", library, "RAMP", "2", target, "--force" }).text(),
                     "2 bli: " + target.toUtf8() + ": is the library itself; the picture needs another file\n");
        }
        QCOMPARE(contentsOf(library), before);
    }

    // Two imports into one library at the same moment, as two build jobs on a share might
    // run them: one that finds the file held is refused in one line, no import is lost
    // without a word, and the file stays whole.
    void concurrentImports()
    {
        const QByteArray contents = bli({ "export", m_demo, "SCALE" }).out;
        const QString copy = copyOfDemo(QStringLiteral("concurrent.bli"));
        int saved = 0;
        int refused = 0;
        for (int round = 0; round < 6; ++round) {
            QProcess processes[2];
            for (QProcess &process : processes)
                process.start(QStringLiteral(BLI_EXECUTABLE), { QStringLiteral("import"), copy });
            // Both wait for their input before they open the file; hand it to both at once
            // (QProcess writes only while one of its wait functions runs).
            for (QProcess &process : processes)
                QVERIFY(process.waitForStarted(10000) && process.write(contents) == contents.size());
            for (QProcess &process : processes) {
                QVERIFY(process.waitForBytesWritten(10000));
                process.closeWriteChannel();
            }
            for (QProcess &process : processes) {
                QVERIFY(process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit);
                const QByteArray out = process.readAllStandardOutput();
                const QString err = QString::fromUtf8(process.readAllStandardError());
                if (process.exitCode() == 0 && err.isEmpty() && out.size() == 39) { // "{uuid}\n"
                    ++saved;
                    continue;
                }
                ++refused;
                QCOMPARE(process.exitCode(), 2);
                QCOMPARE(out, QByteArray());
                QVERIFY2(err.startsWith(QStringLiteral("bli: %1: not saved: ").arg(copy)) && err.contains(QStringLiteral("gesperrt"))
                             && err.count(QLatin1Char('\n')) == 1, qPrintable(err));
            }
            // The file is whole and holds exactly the imports that succeeded.
            QCOMPARE(bli({ "check", copy }).text(), QByteArray("0 no problems\n"));
            QVERIFY(bli({ "info", copy }).out.contains(QStringLiteral("\nblocks: %1 ").arg(9 + saved).toLatin1()));
        }
        QVERIFY(refused <= 6);
        qInfo("%d of 12 imports refused while the other held the file", refused);
    }
};

QTEST_GUILESS_MAIN(tst_Bli)
#include "tst_bli.moc"
