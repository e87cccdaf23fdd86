#include <LxUtilities/AppSettings.h>
#include <LxUtilities/ByteArraySupport.h>
#include <LxUtilities/DefaultPathSetting.h>
#include <LxUtilities/IniParser.h>
#include <LxUtilities/StreamType.h>

#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

using LxByteArraySupport::ByteArraySupport;

class tst_LxUtilities : public QObject
{
    Q_OBJECT

private slots:
    void streamType_data();
    void streamType();
    void iniParser_data();
    void iniParser();
    void crc32();
    void settings();
};

static const QByteArray Bom("\xEF\xBB\xBF");

void tst_LxUtilities::streamType_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("found"); // whether it is of kind "block", its version, the kind
    const auto row = [](const char *name, const QByteArray &data, const char *found) { QTest::newRow(name) << data << found; };
    row("crlf", ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\n", "1 0 block");
    row("bom-line-first", Bom + "\r\n;type=\"block\" version=\"0\"\r\n", "1 0 block");
    row("bom-line-after", ";type=\"block\" version=\"0\"\r\n" + Bom + "\r\n", "1 0 block");
    row("lf-only", ";type=\"block\" version=\"3\"\n[X]\n", "1 3 block");
    row("other-kind", ";type=\"blocklibrary\" version=\"2\"\r\n", "0 0 blocklibrary");
    row("kind-is-case-sensitive", ";type=\"Block\" version=\"0\"\r\n", "0 0 Block");
    row("unterminated-quote", ";type=\"block version=\"0\"\r\n", "0 0 ");
    row("version-max", ";type=\"block\" version=\"4294967295\"\r\n", "1 4294967295 block");
    row("version-overflow", ";type=\"block\" version=\"4294967296\"\r\n", "0 0 ");
    row("missing-blank", ";type=\"block\"version=\"0\"\r\n", "0 0 ");
    row("trailing-garbage", ";type=\"block\" version=\"0\" x\r\n", "0 0 ");
    row("trailing-blanks", ";type=\"block\" version=\"0\"  \r\n", "1 0 block");
    row("third-line", "\r\n\r\n;type=\"block\" version=\"0\"\r\n", "1 0 block");
    row("fourth-line-too-late", "\r\n\r\n\r\n;type=\"block\" version=\"0\"\r\n", "0 0 ");
}

void tst_LxUtilities::streamType()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, found);
    StreamType type;
    type.setStreamData(";type=\"block\" version=\"7\"\r\n"); // reading a new text forgets the old one
    type.setStreamData(data);
    const QString block = QStringLiteral("block");
    QCOMPARE(QStringLiteral("%1 %2 %3").arg(int(type.contains(block))).arg(type.version(block)).arg(type.kind()), found);
}

void tst_LxUtilities::iniParser_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("parsed"); // "utf8|" if so, then sections and their key=value in order
    const auto row = [](const char *name, const QByteArray &text, const QByteArray &parsed) {
        QTest::newRow(name) << text << parsed;
    };
    row("typed-crlf", ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nA=1\r\n\r\n[Names]\r\n1=x\r\n", "[Info]|A=1|[Names]|1=x");
    row("bom-is-utf8", Bom + "\r\n;type=\"block\" version=\"0\"\r\n\r\n[Info]\r\n", "utf8|[Info]");
    row("bom-later-is-not-utf8", "\r\n" + Bom, "");
    row("section-names-trimmed-in-file-order", "[Z]\n[ A ]\n[]\n", "[Z]|[A]|[]");
    row("unclosed-header-skipped", "[A\nk=v\n[B]\n", "[B]");
    row("values-raw", "[S]\r\nk= a b \r\ne=\r\nq=a=b\r\nl=Gr\xF6\xDF" "e\r\n", "[S]|k= a b |e=|q=a=b|l=Gr\xF6\xDF" "e");
    row("nul-bytes", QByteArray("[S]\nk=a\0b\n", 10), QByteArray("[S]|k=a\0b", 9));
    row("comments-keyless-and-outside-skipped", "k=1\n[S]\n;k=1\njunk\n=3\n j =2\n", "[S]|j=2");
    row("duplicates-merged-last-value-first-place", "[S]\na=1\nb=2\n[T]\nx=0\n[S]\na=3\nc=4\n", "[S]|a=3|b=2|c=4|[T]|x=0");
    // Large sections and files are indexed beyond a handful of entries; the rules stay the same.
    QByteArray many("[S]\n"), manyParsed("[S]");
    for (int i = 0; i < 40; ++i) {
        many += "k" + QByteArray::number(i) + "=" + QByteArray::number(i) + "\n";
        manyParsed += "|k" + QByteArray::number(i) + "=" + (i == 3 ? "again" : i == 39 ? "later" : QByteArray::number(i));
    }
    row("many-keys-duplicates", many + "k3=again\nk39=later\n", manyParsed);
    QByteArray sections, sectionsParsed;
    for (int i = 0; i < 40; ++i) {
        sections += "[T" + QByteArray::number(i) + "]\nk=" + QByteArray::number(i) + "\n";
        sectionsParsed += "[T" + QByteArray::number(i) + "]|k=" + QByteArray::number(i) + (i == 5 ? "|j=x|" : i == 39 ? "|j=y" : "|");
    }
    row("many-sections-merged", sections + "[T5]\nj=x\n[T39]\nj=y\n", sectionsParsed);
}

void tst_LxUtilities::iniParser()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, parsed);
    LxIniParser::IniParser parser;
    parser.setIniText(Bom + "[Old]\nk=1\n"); // reading a new text forgets the old one
    parser.setIniText(text);
    QByteArrayList found;
    if (!parser.latin1Encoded())
        found << "utf8";
    for (const QByteArray &name : parser.allSectionNames()) {
        LxIniParser::IniSection *section = parser.section(name);
        QVERIFY(section && section->name() == name && !section->contains("Absent"));
        found << "[" + name + "]";
        for (const QByteArray &key : section->keys())
            found << key + "=" + section->value(key);
    }
    QCOMPARE(found.join('|'), parsed);
    QVERIFY(!parser.section("Old"));
}

void tst_LxUtilities::crc32()
{
    // Check values of the standard CRC-32, the comparison value of library texts.
    const auto crc = [](QByteArray data, bool bigEndian) { return ByteArraySupport(data, bigEndian).crc32(); };
    QCOMPARE(QList<uint>({ crc("123456789", false), crc(QByteArray(1, '\0'), true), crc(QByteArray(), false) }),
             QList<uint>({ 0xCBF43926u, 0xD202EF8Du, 0u }));
}

// The library asks whether to save modified libraries, and where file dialogs start.
void tst_LxUtilities::settings()
{
    QTemporaryDir dir;
    AppSettings *settings = AppSettings::instance();
    settings->setSettingsFile(dir.filePath(QStringLiteral("settings.ini")));
    const auto state = [settings](eSettingDefaultPaths kind) {
        return QStringLiteral("%1 %2").arg(settings->setting(AppSettings::SaveModifiedLibraries))
                .arg(std::unique_ptr<DefaultPathSetting>(DefaultPathSetting::create(kind))->path());
    };
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    QCOMPARE(state(eSettingDefaultPathBlockLibraries), "1 " + documents);
    QSignalSpy spy(settings, &AppSettings::settingChanged);
    settings->setSetting(AppSettings::SaveModifiedLibraries, 0);
    settings->setSetting(AppSettings::SaveModifiedLibraries, 0);
    QCOMPARE(spy, QList<QList<QVariant>>({ { 0, 0u } }));
    std::unique_ptr<DefaultPathSetting>(DefaultPathSetting::create(eSettingDefaultPathBlockLibraries))->setPath(dir.path());
    // Stored values survive a new settings object over the same file; paths are kept per kind.
    settings->settings()->sync();
    settings->setSettingsFile(QString());
    settings->setSettingsFile(dir.filePath(QStringLiteral("settings.ini")));
    QCOMPARE(state(eSettingDefaultPathBlockLibraries), "0 " + dir.path());
    QCOMPARE(state(eSettingDefaultPathProjects), "0 " + documents);
    // A value that is not a number reads as the default.
    settings->settings()->setValue(QStringLiteral("Settings/0"), QStringLiteral("ask"));
    QCOMPARE(settings->setting(AppSettings::SaveModifiedLibraries), 1u);
}

QTEST_GUILESS_MAIN(tst_LxUtilities)
#include "tst_lxutilities.moc"
