#include <KvMultilingual/LanguageManager.h>
#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QDataStream>
#include <QtCore/QVariant>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

namespace {

using Languages = QList<QPair<int, QString>>;
using Entries = std::initializer_list<std::pair<int, const char *>>;

// A Text from (language, string) pairs, set in the order given; nullptr sets a null string.
Text makeText(Entries entries)
{
    Text text;
    for (const auto &entry : entries)
        text.setText(entry.first, QString::fromUtf8(entry.second));
    return text;
}

// "empty", or "mono"/"multi" and each language=text.
QString dump(const Text &text)
{
    QStringList parts = { text.isEmpty() ? "empty" : text.isMonolingual() ? "mono" : text.isMultilingual() ? "multi" : "?" };
    for (int language : text.textLanguages())
        parts << QStringLiteral("%1=%2").arg(language).arg(text.text(language));
    return parts.join(QLatin1Char(' '));
}

// Writes value to a QDataStream and reads the bytes, chopped by `chop`, into target.
template<typename T>
QDataStream::Status throughStream(const T &value, T &target, int chop = 0)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << value;
    bytes.chop(chop);
    QDataStream in(bytes);
    in >> target;
    return in.status();
}

} // namespace

class TextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void setLanguages_data();
    void setLanguages();
    void operations_data();
    void operations();
    void followsLanguageManager();
    void valueSemantics();
    void parameterTexts();
};

void TextTest::init()
{
    LanguageManager *manager = LanguageManager::instance();
    manager->setLanguages({ { 1, QStringLiteral("Deutsch") }, { 2, QStringLiteral("Englisch") }, { 3, QStringLiteral("Französisch") } });
    manager->setCurrentLanguage(1);
    manager->setFallbackLanguage(1);
}

void TextTest::setLanguages_data()
{
    QTest::addColumn<Languages>("languages");
    QTest::addColumn<int>("language"); // then made the current and the fallback language
    QTest::addColumn<QString>("result"); // the list, current and fallback language, signal counts
    // Before each row: languages 1, 2, 3, current language 2, fallback language 1.
    const Languages german = { { 1, "Deutsch" }, { 2, "Englisch" }, { 3, "Französisch" } };
    QTest::newRow("identical-list") << german << 2 << "1=Deutsch 2=Englisch 3=Französisch | 2 2 | 0 0 1";
    QTest::newRow("empty-refused") << Languages() << 3 << "1=Deutsch 2=Englisch 3=Französisch | 3 3 | 0 1 1";
    QTest::newRow("renamed-only") << Languages { { 1, "German" }, { 2, "English" }, { 3, "French" } } << 1
                                  << "1=German 2=English 3=French | 1 1 | 1 1 0";
    QTest::newRow("unsorted-added-unlisted-ignored") << Languages { { 4, "It" }, { 2, "En" }, { 1, "De" } } << 9
                                                     << "1=De 2=En 4=It | 2 1 | 1 0 0";
    QTest::newRow("current-removed") << Languages { { 3, "Fr" }, { 1, "De" } } << -1 << "1=De 3=Fr | 1 1 | 1 1 0";
    QTest::newRow("both-removed") << Languages { { 5, "Es" }, { 7, "Pl" } } << 5 << "5=Es 7=Pl | 5 5 | 1 1 1";
    QTest::newRow("repeated-number-last-name-wins") << Languages { { 2, "A" }, { 2, "B" } } << 2 << "2=B | 2 2 | 1 0 1";
}

void TextTest::setLanguages()
{
    QFETCH(Languages, languages);
    QFETCH(int, language);
    QFETCH(QString, result);
    LanguageManager *manager = LanguageManager::instance();
    manager->setCurrentLanguage(2);
    QSignalSpy listSpy(manager, &LanguageManager::languagesChanged);
    QSignalSpy currentSpy(manager, &LanguageManager::currentLanguageChanged);
    QSignalSpy fallbackSpy(manager, &LanguageManager::fallbackLanguageChanged);
    if (languages.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, "LanguageManager::setLanguages: an empty language list is refused");
    manager->setLanguages(languages);
    for (int i = 0; i < 2; ++i) {
        manager->setCurrentLanguage(language);
        manager->setFallbackLanguage(language);
    }
    QStringList found;
    for (int listed : manager->languageList())
        found << QStringLiteral("%1=%2").arg(listed).arg(manager->languageName(listed));
    found << QStringLiteral("| %1 %2 |").arg(manager->currentLanguage()).arg(manager->fallbackLanguage());
    found << QStringLiteral("%1 %2 %3").arg(listSpy.count()).arg(currentSpy.count()).arg(fallbackSpy.count());
    QCOMPARE(found.join(QLatin1Char(' ')), result);
    QCOMPARE(manager->languageName(6), QString());
    if (currentSpy.count())
        QCOMPARE(currentSpy.last().first().toInt(), manager->currentLanguage());
}

void TextTest::operations_data()
{
    QTest::addColumn<Text>("text");
    QTest::addColumn<QString>("operation"); // "" (none), "text N", "mono N" or "multi"
    QTest::addColumn<QString>("result");    // text N's string (and whether it is stored), or the dump
    // Languages 1, 2, 3; fallback 1.
    const auto row = [](const char *name, Entries text, const char *operation, const char *result) {
        QTest::newRow(name) << makeText(text) << operation << result;
    };
    row("default", {}, "", "empty");
    row("null-string", { { 1, nullptr } }, "", "mono 1=");
    row("unlisted-languages-ascending", { { 9, "X" }, { -4, "Y" }, { 3, "Z" } }, "", "multi -4=Y 3=Z 9=X");
    row("monolingual-other-language", { { 2, "Motor" } }, "text 3", "Motor unstored");
    row("multilingual-exact", { { 1, "Achse" }, { 2, "Axis" } }, "text 2", "Axis");
    row("missing-uses-fallback", { { 1, "Achse" }, { 2, "Axis" } }, "text 3", "Achse unstored");
    row("missing-fallback-uses-lowest", { { 3, "Axe" }, { 2, "Axis" } }, "text 5", "Axis unstored");
    row("stored-empty-string-wins", { { 1, "Achse" }, { 2, "" } }, "text 2", "");
    row("mono-empty-becomes-empty-string", {}, "mono 1", "mono 1=");
    row("mono-moves-language", { { 1, "A" } }, "mono 2", "mono 2=A");
    row("mono-keeps-chosen", { { 1, "A" }, { 2, "B" }, { 3, "C" } }, "mono 2", "mono 2=B");
    row("mono-missing-takes-fallback", { { 1, "A" }, { 2, "B" } }, "mono 3", "mono 3=A");
    row("mono-missing-takes-lowest", { { 3, "C" }, { 2, "B" } }, "mono 4", "mono 4=B");
    row("mono-chosen-empty-string-kept", { { 1, "A" }, { 2, "" } }, "mono 2", "mono 2=");
    row("multi-empty-gets-empty-strings", {}, "multi", "multi 1= 2= 3=");
    row("multi-monolingual-copied", { { 1, "A" } }, "multi", "multi 1=A 2=A 3=A");
    row("multi-gap-from-fallback", { { 1, "A" }, { 3, "C" } }, "multi", "multi 1=A 2=A 3=C");
    row("multi-gap-from-lowest", { { 3, "C" }, { 2, "B" } }, "multi", "multi 1=B 2=B 3=C");
    row("multi-unlisted-kept", { { 1, "A" }, { 9, "X" } }, "multi", "multi 1=A 2=A 3=A 9=X");
}

void TextTest::operations()
{
    QFETCH(Text, text);
    QFETCH(QString, operation);
    QFETCH(QString, result);
    const int language = operation.section(QLatin1Char(' '), 1).toInt();
    if (operation.startsWith(QLatin1String("text")))
        QCOMPARE(text.text(language) + (text.hasText(language) ? "" : " unstored"), result);
    else if (operation.startsWith(QLatin1String("mono")))
        text.convertToMonolingual(language);
    else if (operation == QLatin1String("multi"))
        text.convertToMultilingual();
    if (!operation.startsWith(QLatin1String("text")))
        QCOMPARE(dump(text), result);
}

void TextTest::followsLanguageManager()
{
    LanguageManager *manager = LanguageManager::instance();
    const Text text = makeText({ { 1, "Achse" }, { 2, "Axis" } });
    manager->setCurrentLanguage(2);
    QCOMPARE(text.text(), QStringLiteral("Axis"));
    manager->setFallbackLanguage(2);
    manager->setCurrentLanguage(3);
    QCOMPARE(text.text(), QStringLiteral("Axis"));
    // Multilingual means in every configured language, so with a single one it is monolingual.
    Text multi(1, "A");
    manager->setLanguages({ { 4, "Italienisch" }, { 2, "Englisch" } });
    multi.convertToMultilingual();
    QCOMPARE(dump(multi), QStringLiteral("multi 1=A 2=A 4=A"));
    manager->setLanguages({ { 1, "Deutsch" } });
    multi = Text(1, "A");
    multi.convertToMultilingual();
    QCOMPARE(dump(multi), QStringLiteral("mono 1=A"));
}

void TextTest::valueSemantics()
{
    // Equal by content, in variants too (the meta type is registered by name, for QSettings and drags).
    QVERIFY(Text(1, QString()) == Text(1, "") && makeText({ { 1, "A" }, { 2, "B" } }) == makeText({ { 2, "B" }, { 1, "A" } }));
    QVERIFY(Text() != Text(1, "") && Text(1, "A") != Text(2, "A") && makeText({ { 1, "A" }, { 2, "A" } }) != Text(1, "A"));
    Text original = makeText({ { -1, "A" }, { 2, "Ä €" } });
    Text copy = original;
    copy.convertToMonolingual(2);
    QVariant variant;
    QCOMPARE(throughStream(QVariant::fromValue(original), variant), QDataStream::Ok);
    QVERIFY(variant.metaType() == QMetaType::fromName("Text") && variant == QVariant::fromValue(original));
    QVERIFY(variant != QVariant::fromValue(copy));
    original.removeText(2);
    copy.setText(3, "C");
    QCOMPARE(dump(original) + " | " + dump(copy), QStringLiteral("mono -1=A | multi 2=Ä € 3=C"));
    original.removeAll();
    QVERIFY(original.isEmpty());
    // A damaged stream leaves the target as it was; a huge count ends at the data.
    QCOMPARE(throughStream(copy, original, 3), QDataStream::ReadPastEnd);
    QDataStream huge(QByteArray::fromHex("ffffffff00000001000000020078"));
    huge >> original;
    QCOMPARE(huge.status(), QDataStream::ReadPastEnd);
    QVERIFY(original.isEmpty());
}

void TextTest::parameterTexts()
{
    ParameterText text(makeText({ { 1, "Gesch" }, { 2, "Speed" } }), makeText({ { 1, "Geschwindigkeit" }, { 2, "Speed" } }));
    QCOMPARE(text.longText(3), QStringLiteral("Geschwindigkeit"));
    text.convertToMonolingual(2);
    text.setLongText(2, "Velocity");
    text.convertToMultilingual();
    QCOMPARE(dump(text.multilingualShortText()) + " | " + dump(text.multilingualLongText()),
             QStringLiteral("multi 1=Speed 2=Speed 3=Speed | multi 1=Velocity 2=Velocity 3=Velocity"));
    QVERIFY(ParameterText(Text(1, "x"), Text()) != ParameterText(Text(), Text(1, "x")) && ParameterText().isEmpty());
    ParameterTextMap map;
    map.insert(5, ParameterText(Text(1, "F"), Text(1, "Fünf")));
    map.insert(-1, ParameterText(Text(1, "M"), Text()));
    map.insert(0xFFFFFFFFll, ParameterText(Text(), Text(1, "Alle Bits")));
    QCOMPARE(map.keys(), QList<qint64>({ -1, 5, 0xFFFFFFFFll }));
    ParameterTextMap read;
    QCOMPARE(throughStream(map, read), QDataStream::Ok);
    QVERIFY(read == map && map.remove(-1) && !map.remove(-1) && map != read && map.value(6).isEmpty());
    map.convertToMultilingual();
    map.convertToMonolingual(3);
    QCOMPARE(dump(map.value(5).multilingualLongText()) + " | " + dump(map.value(0xFFFFFFFFll).multilingualShortText()),
             QStringLiteral("mono 3=Fünf | mono 3="));
}

QTEST_GUILESS_MAIN(TextTest)
#include "tst_text.moc"
