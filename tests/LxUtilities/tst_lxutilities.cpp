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

using LxIniParser::IniParser;
using LxIniParser::IniSection;

class tst_LxUtilities : public QObject
{
    Q_OBJECT

private slots:
    void streamType_data();
    void streamType();
    void iniSections_data();
    void iniSections();
    void iniValues_data();
    void iniValues();
    void reuseForgetsEarlierText();
    void crc32_data();
    void crc32();
    void integers_data();
    void integers();
    void settings();
};

static const QByteArray Bom("\xEF\xBB\xBF");

void tst_LxUtilities::streamType_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("contains");
    QTest::addColumn<uint>("version");

    QTest::newRow("plain") << QByteArray(";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\n") << "block" << true << 0u;
    QTest::newRow("bom-line-first") << Bom + "\r\n;type=\"block\" version=\"0\"\r\n" << "block" << true << 0u;
    QTest::newRow("bom-line-after") << QByteArray(";type=\"pin\" version=\"0\"\r\n") + Bom + "\r\n" << "pin" << true << 0u;
    QTest::newRow("lf-only") << QByteArray(";type=\"code\" version=\"3\"\n[X]\n") << "code" << true << 3u;
    QTest::newRow("other-kind") << QByteArray(";type=\"blocklibrary\" version=\"0\"\r\n") << "block" << false << 0u;
    QTest::newRow("kind-is-case-sensitive") << QByteArray(";type=\"Block\" version=\"0\"\r\n") << "block" << false << 0u;
    QTest::newRow("unterminated-quote") << QByteArray(";type=\"block version=\"0\"\r\n") << "block" << false << 0u;
    QTest::newRow("kind-prefix-only") << QByteArray(";type=\"blockversion\" version=\"0\"\r\n") << "block" << false << 0u;
    QTest::newRow("version-max") << QByteArray(";type=\"block\" version=\"4294967295\"\r\n") << "block" << true << 4294967295u;
    QTest::newRow("version-overflow") << QByteArray(";type=\"block\" version=\"4294967296\"\r\n") << "block" << false << 0u;
    QTest::newRow("version-negative") << QByteArray(";type=\"block\" version=\"-1\"\r\n") << "block" << false << 0u;
    QTest::newRow("missing-blank") << QByteArray(";type=\"block\"version=\"0\"\r\n") << "block" << false << 0u;
    QTest::newRow("trailing-garbage") << QByteArray(";type=\"block\" version=\"0\" x\r\n") << "block" << false << 0u;
    QTest::newRow("trailing-blanks") << QByteArray(";type=\"block\" version=\"0\"  \r\n") << "block" << true << 0u;
    QTest::newRow("third-line") << QByteArray("\r\n\r\n;type=\"block\" version=\"0\"\r\n") << "block" << true << 0u;
    QTest::newRow("fourth-line-too-late") << QByteArray("\r\n\r\n\r\n;type=\"block\" version=\"0\"\r\n") << "block" << false << 0u;
    QTest::newRow("empty") << QByteArray() << "block" << false << 0u;
}

void tst_LxUtilities::streamType()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, kind);
    QFETCH(bool, contains);
    QFETCH(uint, version);

    StreamType type;
    type.setStreamData(data);
    QCOMPARE(type.contains(kind), contains);
    QCOMPARE(type.version(kind), version);
    if (contains)
        QCOMPARE(type.kind(), kind);
    else
        QVERIFY(type.kind() != kind || kind.isEmpty());
}

void tst_LxUtilities::iniSections_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArrayList>("sections");
    QTest::addColumn<bool>("latin1");

    QTest::newRow("typed-crlf") << QByteArray(";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nA=1\r\n\r\n[Names]\r\n1=x\r\n")
                                << QByteArrayList{"Info", "Names"} << true;
    QTest::newRow("bom-is-utf8") << Bom + "\r\n;type=\"block\" version=\"0\"\r\n\r\n[Info]\r\n"
                                 << QByteArrayList{"Info"} << false;
    QTest::newRow("file-order-trimmed") << QByteArray("[Z]\n[ A ]\n[M]\n") << QByteArrayList{"Z", "A", "M"} << true;
    QTest::newRow("duplicate-merged") << QByteArray("[A]\n[B]\n[A]\n") << QByteArrayList{"A", "B"} << true;
    QTest::newRow("unclosed-header-skipped") << QByteArray("[A\nk=v\n[B]\n") << QByteArrayList{"B"} << true;
    QTest::newRow("empty-name") << QByteArray("[]\n") << QByteArrayList{""} << true;
    QTest::newRow("bom-later-is-not-utf8") << QByteArray("\r\n") + Bom << QByteArrayList{} << true;
    QTest::newRow("empty") << QByteArray() << QByteArrayList{} << true;
}

void tst_LxUtilities::iniSections()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArrayList, sections);
    QFETCH(bool, latin1);

    IniParser parser;
    parser.setIniText(text);
    QCOMPARE(parser.allSectionNames(), sections);
    QCOMPARE(parser.latin1Encoded(), latin1);
    for (const QByteArray &name : sections) {
        QVERIFY(parser.section(name));
        QCOMPARE(parser.section(name)->name(), name);
    }
    QVERIFY(!parser.section("Missing"));
}

void tst_LxUtilities::iniValues_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("section");
    QTest::addColumn<QByteArrayList>("keys");
    QTest::addColumn<QByteArrayList>("values");

    QTest::newRow("crlf") << QByteArray("[Info]\r\nShortName=Abc\r\nGroupPath=A/B\r\n")
                          << QByteArray("Info") << QByteArrayList{"ShortName", "GroupPath"} << QByteArrayList{"Abc", "A/B"};
    QTest::newRow("empty-value-is-present") << QByteArray("[Info]\r\nGroupPath=\r\n")
                                            << QByteArray("Info") << QByteArrayList{"GroupPath"} << QByteArrayList{""};
    QTest::newRow("raw-value-untrimmed") << QByteArray("[S]\r\nk= a b \r\n")
                                         << QByteArray("S") << QByteArrayList{"k"} << QByteArrayList{" a b "};
    QTest::newRow("value-keeps-equals") << QByteArray("[S]\nk=a=b\n")
                                        << QByteArray("S") << QByteArrayList{"k"} << QByteArrayList{"a=b"};
    QTest::newRow("comments-and-keyless-skipped") << QByteArray("[S]\n;k=1\njunk\n=3\n j =2\n")
                                      << QByteArray("S") << QByteArrayList{"j"} << QByteArrayList{"2"};
    QTest::newRow("before-first-section-skipped") << QByteArray("k=1\n[S]\nj=2\n")
                                                  << QByteArray("S") << QByteArrayList{"j"} << QByteArrayList{"2"};
    QTest::newRow("duplicate-key-last-value-first-place") << QByteArray("[S]\na=1\nb=2\na=3\n")
                                                          << QByteArray("S") << QByteArrayList{"a", "b"} << QByteArrayList{"3", "2"};
    QTest::newRow("duplicate-section-merged") << QByteArray("[S]\na=1\n[T]\nx=0\n[S]\nb=2\n")
                                              << QByteArray("S") << QByteArrayList{"a", "b"} << QByteArrayList{"1", "2"};
    QTest::newRow("latin1-bytes-raw") << QByteArray("[Names]\r\n1=Gr\xF6\xDF" "e\r\n")
                                      << QByteArray("Names") << QByteArrayList{"1"} << QByteArrayList{"Gr\xF6\xDF" "e"};
    QTest::newRow("nul-bytes") << QByteArray("[S]\nk=a\0b\n", 10)
                               << QByteArray("S") << QByteArrayList{"k"} << QByteArrayList{QByteArray("a\0b", 3)};

    // Large sections are indexed once they pass a handful of keys; the rules stay the same
    // on both sides of that point, duplicates included.
    QByteArray many("[S]\n");
    QByteArrayList manyKeys, manyValues;
    for (int i = 0; i < 40; ++i) {
        many += "k" + QByteArray::number(i) + "=" + QByteArray::number(i) + "\n";
        manyKeys << "k" + QByteArray::number(i);
        manyValues << QByteArray::number(i);
    }
    many += "k3=again\nk30=later\n";
    manyValues[3] = "again";
    manyValues[30] = "later";
    QTest::newRow("many-keys-duplicates") << many << QByteArray("S") << manyKeys << manyValues;
    QByteArray sections;
    for (int i = 0; i < 40; ++i)
        sections += "[T" + QByteArray::number(i) + "]\nk=" + QByteArray::number(i) + "\n";
    sections += "[T5]\nj=x\n[T35]\nk=y\n";
    QTest::newRow("many-sections-merged-early") << sections << QByteArray("T5") << QByteArrayList{"k", "j"}
                                                << QByteArrayList{"5", "x"};
    QTest::newRow("many-sections-merged-late") << sections << QByteArray("T35") << QByteArrayList{"k"}
                                               << QByteArrayList{"y"};
}

void tst_LxUtilities::iniValues()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, section);
    QFETCH(QByteArrayList, keys);
    QFETCH(QByteArrayList, values);

    IniParser parser;
    parser.setIniText(text);
    IniSection *s = parser.section(section);
    QVERIFY(s);
    QCOMPARE(s->keys(), keys);
    for (int i = 0; i < keys.size(); ++i) {
        QVERIFY(s->contains(keys.at(i)));
        QCOMPARE(s->value(keys.at(i)), values.at(i));
    }
    QVERIFY(!s->contains("Absent"));
    QCOMPARE(s->value("Absent"), QByteArray());
}

// Reading a new text forgets everything of the one before; copies are independent.
void tst_LxUtilities::reuseForgetsEarlierText()
{
    StreamType type;
    type.setStreamData(";type=\"pin\" version=\"0\"\r\n");
    const StreamType copy(type);
    type.setStreamData("no type line");
    QVERIFY(type.kind().isEmpty());
    QVERIFY(copy.contains(QStringLiteral("pin")));

    IniParser parser;
    parser.setIniText(QByteArray("\xEF\xBB\xBF[A]\nk=1\n"));
    QVERIFY(!parser.latin1Encoded());
    parser.setIniText("[B]\nj=2\n");
    QCOMPARE(parser.allSectionNames(), QByteArrayList{"B"});
    QVERIFY(parser.latin1Encoded());
}

void tst_LxUtilities::crc32_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<uint>("crc");

    // Check values of the standard CRC-32.
    QTest::newRow("empty") << QByteArray() << 0u;
    QTest::newRow("check-string") << QByteArray("123456789") << 0xCBF43926u;
    QTest::newRow("one-zero-byte") << QByteArray(1, '\0') << 0xD202EF8Du;
}

void tst_LxUtilities::crc32()
{
    QFETCH(QByteArray, data);
    QFETCH(uint, crc);
    QCOMPARE(LxByteArraySupport::ByteArraySupport(data, false).crc32(), crc);
    QCOMPARE(LxByteArraySupport::ByteArraySupport(data, true).crc32(), crc);
}

void tst_LxUtilities::integers_data()
{
    QTest::addColumn<bool>("bigEndian");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("little") << false << QByteArray::fromHex("3412" "78563412");
    QTest::newRow("big") << true << QByteArray::fromHex("1234" "12345678");
}

void tst_LxUtilities::integers()
{
    QFETCH(bool, bigEndian);
    QFETCH(QByteArray, bytes);

    QByteArray data;
    LxByteArraySupport::ByteArraySupport support(data, bigEndian);
    support.appendUInt16(0x1234);
    support.appendUInt32(0x12345678);
    QCOMPARE(data, bytes);

    quint16 small = 0;
    quint32 large = 0;
    QVERIFY(support.readUInt16(0, &small));
    QCOMPARE(small, quint16(0x1234));
    QVERIFY(support.readUInt32(2, &large));
    QCOMPARE(large, 0x12345678u);
    QVERIFY(!support.readUInt32(3, &large));
    QVERIFY(!support.readUInt16(-1, &small));
    QVERIFY(!support.readUInt16(5, &small));
}

void tst_LxUtilities::settings()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("settings.ini"));
    AppSettings *settings = AppSettings::instance();
    settings->setSettingsFile(file);
    QCOMPARE(settings->setting(AppSettings::SaveModifiedLibraries), 1u);
    QCOMPARE(settings->setting(42), 0u);

    QSignalSpy spy(settings, &AppSettings::settingChanged);
    settings->setSetting(AppSettings::SaveModifiedLibraries, 0);
    settings->setSetting(AppSettings::SaveModifiedLibraries, 0);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 0);
    QCOMPARE(spy.at(0).at(1).toUInt(), 0u);

    // Default paths start at the documents folder and are kept per kind.
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    std::unique_ptr<DefaultPathSetting> libraries(DefaultPathSetting::create(eSettingDefaultPathBlockLibraries));
    QCOMPARE(libraries->path(), documents);
    libraries->setPath(dir.path());

    // Stored values survive a new settings object over the same file.
    settings->settings()->sync();
    settings->setSettingsFile(QString());
    settings->setSettingsFile(file);
    QCOMPARE(settings->setting(AppSettings::SaveModifiedLibraries), 0u);
    QCOMPARE(std::unique_ptr<DefaultPathSetting>(DefaultPathSetting::create(eSettingDefaultPathBlockLibraries))->path(), dir.path());
    QCOMPARE(std::unique_ptr<DefaultPathSetting>(DefaultPathSetting::create(eSettingDefaultPathProjects))->path(), documents);

    // A value that is not a number reads as the default.
    settings->settings()->setValue(QStringLiteral("Settings/0"), QStringLiteral("ask"));
    QCOMPARE(settings->setting(AppSettings::SaveModifiedLibraries), 1u);
}

QTEST_GUILESS_MAIN(tst_LxUtilities)
#include "tst_lxutilities.moc"
