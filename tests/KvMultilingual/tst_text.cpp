#include <KvMultilingual/LanguageManager.h>
#include <KvMultilingual/ParameterText.h>
#include <KvMultilingual/ParameterTextMap.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QDataStream>
#include <QtCore/QVariant>
#include <QtTest/QTest>

namespace {

// A Text from (language, string) pairs, set in the order given.
Text makeText(std::initializer_list<std::pair<int, const char *>> entries)
{
    Text text;
    for (const auto &entry : entries)
        text.setText(entry.first, QString::fromUtf8(entry.second));
    return text;
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
    void cleanup();
    void modes_data();
    void modes();
    void lookup_data();
    void lookup();
    void equality_data();
    void equality();
    void convert_data();
    void convert();
    void followsLanguageManager();
    void valueSemantics();
    void parameterTexts();
};

void TextTest::cleanup()
{
    LanguageManager *manager = LanguageManager::instance();
    manager->setLanguages({ { 1, QStringLiteral("Deutsch") }, { 2, QStringLiteral("Englisch") }, { 3, QStringLiteral("Französisch") } });
    manager->setCurrentLanguage(1);
    manager->setFallbackLanguage(1);
}

void TextTest::modes_data()
{
    QTest::addColumn<Text>("text");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QList<int>>("languages");
    QTest::newRow("default") << Text() << "empty" << QList<int>();
    QTest::newRow("empty-string") << makeText({ { 1, "" } }) << "mono" << QList<int> { 1 };
    QTest::newRow("null-string") << Text(1, QString()) << "mono" << QList<int> { 1 };
    QTest::newRow("unlisted-languages-ascending") << makeText({ { 9, "X" }, { -4, "Y" }, { 3, "Z" } }) << "multi" << QList<int> { -4, 3, 9 };
}

void TextTest::modes()
{
    QFETCH(Text, text);
    QFETCH(QString, mode);
    QFETCH(QList<int>, languages);
    QCOMPARE(QStringList({ text.isEmpty() ? "empty" : "", text.isMonolingual() ? "mono" : "", text.isMultilingual() ? "multi" : "" })
                     .join(QString()), mode);
    QCOMPARE(text.textLanguages(), languages);
}

void TextTest::lookup_data()
{
    QTest::addColumn<Text>("text");
    QTest::addColumn<int>("language");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("stored");
    // Fallback language 1.
    QTest::newRow("monolingual-own-language") << Text(2, "Motor") << 2 << "Motor" << true;
    QTest::newRow("monolingual-other-language") << Text(2, "Motor") << 3 << "Motor" << false;
    QTest::newRow("multilingual-exact") << makeText({ { 1, "Achse" }, { 2, "Axis" } }) << 2 << "Axis" << true;
    QTest::newRow("missing-uses-fallback") << makeText({ { 1, "Achse" }, { 2, "Axis" } }) << 3 << "Achse" << false;
    QTest::newRow("missing-fallback-uses-lowest") << makeText({ { 3, "Axe" }, { 2, "Axis" } }) << 5 << "Axis" << false;
    QTest::newRow("stored-empty-string-wins") << makeText({ { 1, "Achse" }, { 2, "" } }) << 2 << "" << true;
}

void TextTest::lookup()
{
    QFETCH(Text, text);
    QFETCH(int, language);
    QFETCH(QString, expected);
    QFETCH(bool, stored);
    QCOMPARE(text.text(language), expected);
    QCOMPARE(text.hasText(language), stored);
}

void TextTest::equality_data()
{
    QTest::addColumn<Text>("left");
    QTest::addColumn<Text>("right");
    QTest::addColumn<bool>("equal");
    QTest::newRow("null-and-empty-string") << Text(1, QString()) << Text(1, "") << true;
    QTest::newRow("default-and-empty-string") << Text() << Text(1, "") << false;
    QTest::newRow("insertion-order") << makeText({ { 1, "A" }, { 2, "B" } }) << makeText({ { 2, "B" }, { 1, "A" } }) << true;
    QTest::newRow("other-language") << Text(1, "A") << Text(2, "A") << false;
    QTest::newRow("extra-language") << makeText({ { 1, "A" }, { 2, "A" } }) << Text(1, "A") << false;
}

void TextTest::equality()
{
    QFETCH(Text, left);
    QFETCH(Text, right);
    QFETCH(bool, equal);
    QCOMPARE(left == right, equal);
    QCOMPARE(right == left, equal);
    QCOMPARE(left != right, !equal);
    // Variants compare by content too (the meta type is registered by name, for QSettings and drags).
    QCOMPARE(QVariant::fromValue(left) == QVariant::fromValue(right), equal);
}

void TextTest::convert_data()
{
    QTest::addColumn<Text>("text");
    QTest::addColumn<int>("language"); // 0: to multilingual
    QTest::addColumn<Text>("expected");
    // Languages 1, 2, 3; fallback 1.
    QTest::newRow("mono-empty-becomes-empty-string") << Text() << 1 << Text(1, "");
    QTest::newRow("mono-moves-language") << Text(1, "A") << 2 << Text(2, "A");
    QTest::newRow("mono-keeps-chosen") << makeText({ { 1, "A" }, { 2, "B" }, { 3, "C" } }) << 2 << Text(2, "B");
    QTest::newRow("mono-missing-takes-fallback") << makeText({ { 1, "A" }, { 2, "B" } }) << 3 << Text(3, "A");
    QTest::newRow("mono-missing-takes-lowest") << makeText({ { 3, "C" }, { 2, "B" } }) << 4 << Text(4, "B");
    QTest::newRow("mono-chosen-empty-string-kept") << makeText({ { 1, "A" }, { 2, "" } }) << 2 << Text(2, "");
    QTest::newRow("multi-empty-gets-empty-strings") << Text() << 0 << makeText({ { 1, "" }, { 2, "" }, { 3, "" } });
    QTest::newRow("multi-monolingual-copied") << Text(1, "A") << 0 << makeText({ { 1, "A" }, { 2, "A" }, { 3, "A" } });
    QTest::newRow("multi-gap-from-fallback") << makeText({ { 1, "A" }, { 3, "C" } }) << 0 << makeText({ { 1, "A" }, { 2, "A" }, { 3, "C" } });
    QTest::newRow("multi-gap-from-lowest") << makeText({ { 3, "C" }, { 2, "B" } }) << 0 << makeText({ { 1, "B" }, { 2, "B" }, { 3, "C" } });
    QTest::newRow("multi-unlisted-kept") << makeText({ { 1, "A" }, { 9, "X" } }) << 0
                                         << makeText({ { 1, "A" }, { 2, "A" }, { 3, "A" }, { 9, "X" } });
}

void TextTest::convert()
{
    QFETCH(Text, text);
    QFETCH(int, language);
    QFETCH(Text, expected);
    if (language)
        text.convertToMonolingual(language);
    else
        text.convertToMultilingual();
    QCOMPARE(text, expected);
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

    manager->setLanguages({ { 4, "Italienisch" }, { 2, "Englisch" } });
    Text multi(1, "A");
    multi.convertToMultilingual();
    QCOMPARE(multi, makeText({ { 1, "A" }, { 2, "A" }, { 4, "A" } }));
    // With a single configured language there is nothing to be multilingual in.
    manager->setLanguages({ { 1, "Deutsch" } });
    multi = Text(1, "A");
    multi.convertToMultilingual();
    QCOMPARE(multi, Text(1, "A"));
}

void TextTest::valueSemantics()
{
    Text original = makeText({ { 1, "A" }, { 2, "B" } });
    Text copy = original;
    copy.setText(1, "changed");
    copy.convertToMonolingual(2);
    QCOMPARE(original, makeText({ { 1, "A" }, { 2, "B" } }));
    copy = original;
    original.removeAll();
    QCOMPARE(copy.textLanguages(), QList<int>({ 1, 2 }));
    QVERIFY(original.isEmpty());
    copy.removeText(1);
    QCOMPARE(copy, Text(2, "B"));

    // Through a stream, and through a variant by its registered name.
    for (const Text &text : { Text(), Text(1, QString()), makeText({ { -1, "minus" }, { 3, "Ä €" } }) }) {
        Text read(5, "overwritten");
        QCOMPARE(throughStream(text, read), QDataStream::Ok);
        QCOMPARE(read, text);
    }
    QVariant variant;
    QCOMPARE(throughStream(QVariant::fromValue(Text(1, "x")), variant), QDataStream::Ok);
    QCOMPARE(variant.metaType(), QMetaType::fromName("Text"));
    QCOMPARE(variant.value<Text>(), Text(1, "x"));
    // A damaged stream leaves the target as it was, and a huge count ends at the data.
    Text target(7, "keep");
    QCOMPARE(throughStream(makeText({ { 1, "Achse" }, { 2, "Axis" } }), target, 3), QDataStream::ReadPastEnd);
    QByteArray huge;
    QDataStream out(&huge, QIODevice::WriteOnly);
    out << quint32(0xFFFFFFFFu) << qint32(1) << QStringLiteral("x");
    QDataStream in(huge);
    in >> target;
    QCOMPARE(in.status(), QDataStream::ReadPastEnd);
    QCOMPARE(target, Text(7, "keep"));
}

void TextTest::parameterTexts()
{
    ParameterText text(makeText({ { 1, "Gesch" }, { 2, "Speed" } }), makeText({ { 1, "Geschwindigkeit" }, { 2, "Speed" } }));
    QCOMPARE(text.longText(3), QStringLiteral("Geschwindigkeit"));
    text.convertToMonolingual(2);
    text.setLongText(2, "Velocity");
    text.convertToMultilingual();
    QCOMPARE(text, ParameterText(makeText({ { 1, "Speed" }, { 2, "Speed" }, { 3, "Speed" } }),
                                 makeText({ { 1, "Velocity" }, { 2, "Velocity" }, { 3, "Velocity" } })));
    QVERIFY(ParameterText(Text(1, "x"), Text()) != ParameterText(Text(), Text(1, "x")));
    ParameterText empty;
    empty.setShortText(1, QString());
    QVERIFY(!empty.isEmpty() && ParameterText().isEmpty());

    ParameterTextMap map;
    map.insert(5, ParameterText(Text(1, "F"), Text(1, "Fünf")));
    map.insert(-1, ParameterText(Text(1, "M"), Text(1, "Minus eins")));
    map.insert(0xFFFFFFFFll, ParameterText(Text(), Text(1, "Alle Bits")));
    QCOMPARE(map.keys(), QList<qint64>({ -1, 5, 0xFFFFFFFFll }));
    ParameterTextMap read;
    QCOMPARE(throughStream(map, read), QDataStream::Ok);
    QCOMPARE(read, map);
    QVERIFY(map.remove(-1) && !map.remove(-1));
    QVERIFY(map != read && map.value(6).isEmpty());
    map.convertToMultilingual();
    QCOMPARE(map.value(5).multilingualLongText(), makeText({ { 1, "Fünf" }, { 2, "Fünf" }, { 3, "Fünf" } }));
    map.convertToMonolingual(3);
    QCOMPARE(map.value(5).multilingualShortText(), Text(3, "F"));
    QCOMPARE(map.value(0xFFFFFFFFll).multilingualShortText(), Text(3, ""));
}

QTEST_GUILESS_MAIN(TextTest)
#include "tst_text.moc"
