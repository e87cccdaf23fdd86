// The typed INI writer's exact bytes and the reader's checks and conversions.
#include <KvBlockLibrary/CrcFileStorageView.h>

#include "TypedIni_p.h"

#include <KvMultilingual/Text.h>

#include <QtTest/QTest>

class tst_TypedIni : public QObject
{
    Q_OBJECT

private slots:
    void writerBytes_data()
    {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<QByteArray>("expected");

        const auto bytes = [](const QByteArray &start, const QByteArray &umlaut) {
            return start + ";type=\"pin\" version=\"0\"\r\n\r\n[A]\r\nT=" + umlaut
                + "\r\nN=-12\r\nU=4294967295\r\nF=1\r\nG=0\r\nL=3,-1,0\r\nE=\r\n\r\n[Names]\r\n1=eins\r\n7=sieben\r\n\r\n[Raw]\r\nanything\r\n";
        };
        QTest::newRow("latin1") << int(TextEncoding::Latin1) << bytes("", "\xE4");
        QTest::newRow("utf8") << int(TextEncoding::Utf8) << bytes("\xEF\xBB\xBF\r\n", "\xC3\xA4");
    }

    void writerBytes()
    {
        QFETCH(int, encoding);
        QFETCH(QByteArray, expected);

        TypedIniWriter writer(QStringLiteral("pin"), 0, TextEncoding(encoding));
        writer.beginSection("A");
        writer.addText("T", QStringLiteral("ä"));
        writer.addNumber("N", -12);
        writer.addUnsigned("U", 4294967295u);
        writer.addFlag("F", true);
        writer.addFlag("G", false);
        writer.addNumberList("L", QList<int>{3, -1, 0});
        writer.addText("E", QString());
        writer.beginSection("Names");
        Text names(7, QStringLiteral("sieben"));
        names.setText(1, QStringLiteral("eins"));
        writer.addLanguages(names);
        writer.beginSection("Raw");
        writer.addRawLine("anything");
        QCOMPARE(writer.data(), expected);

        // The reader takes the encoding from the byte-order mark. Latin-1 bytes read as UTF-8
        // do not come back: the container description relies on it.
        TypedIniReader reader;
        QVERIFY(reader.setData(expected, QStringLiteral("pin")));
        QString text;
        QVERIFY(reader.text("A", "T", &text) && text == QStringLiteral("ä"));
        reader.setForceUtf8(true);
        QVERIFY(reader.text("A", "T", &text));
        QCOMPARE(text == QStringLiteral("ä"), TextEncoding(encoding) == TextEncoding::Utf8);
    }

    void readerValues()
    {
        const QByteArray data(";type=\"k\" version=\"0\"\r\n\r\n[S]\r\nEmpty=\r\nNeg=-7\r\nBad=4x\r\n"
                              "Big=4294967297\r\nList=1,x,,-2, 3\r\nUList=5,-1,4294967295,4294967297\r\n");
        TypedIniReader reader;
        QVERIFY(reader.setData(data, QStringLiteral("k")));
        // The type line decides: another kind, another version or none is refused, and nothing
        // of the refused text is kept. A stream is looked up by its exact name.
        for (const char *typeLine : {";type=\"j\" version=\"0\"\r\n", ";type=\"k\" version=\"1\"\r\n", ""}) {
            TypedIniReader refusing;
            QVERIFY(!refusing.setData(typeLine + QByteArray("\r\n[S]\r\nA=1\r\n"), QStringLiteral("k")));
            QVERIFY(!refusing.hasSection("S"));
        }
        CrcFileStorageView storage(nullptr);
        storage.writeStream(QStringLiteral("S"), data);
        TypedIniReader opened;
        QVERIFY(!opened.open(&storage, QStringLiteral("s"), QStringLiteral("k")));
        QVERIFY(opened.open(&storage, QStringLiteral("S"), QStringLiteral("k")) && opened.hasSection("S"));
        QString text = QStringLiteral("untouched");
        QVERIFY(!reader.text("S", "Absent", &text) && !reader.text("Absent", "Empty", &text));
        QCOMPARE(text, QStringLiteral("untouched"));
        QVERIFY(reader.text("S", "Empty", &text) && text.isEmpty());

        int number = 99;
        unsigned int unsignedNumber = 99;
        QVERIFY(reader.number("S", "Neg", &number) && !reader.number("S", "Bad", &number));
        // Numbers above the range are skipped, not wrapped (4294967297 would wrap to 1).
        QVERIFY(!reader.unsignedNumber("S", "Neg", &unsignedNumber) && !reader.unsignedNumber("S", "Big", &unsignedNumber));
        QCOMPARE(number, -7);
        QCOMPARE(unsignedNumber, 99u);
        QCOMPARE(reader.numberList("S", "List"), (QList<int>{1, -2, 3}));
        QCOMPARE(reader.unsignedList("S", "UList"), (QList<unsigned int>{5, 4294967295u}));
        QCOMPARE(reader.numberList("S", "Empty"), QList<int>());
    }
};

QTEST_GUILESS_MAIN(tst_TypedIni)
#include "tst_typedini.moc"
