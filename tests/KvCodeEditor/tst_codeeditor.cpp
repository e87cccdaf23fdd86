#include <KvCodeEditor/BlockCode.h>
#include <KvCodeEditor/LibraryBlockDefinitionSubWindow.h>

#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

namespace {

// What a code editor does: keep a text and hand it over when asked.
class EditedCode : public BlockCode
{
public:
    void edit(const QString &text)
    {
        edited = text;
        Q_EMIT changed();
    }
    void save() override { saved = edited; }
    void updateDefinitionCodeTextForCompareCrc() override { forCompare = edited; }

    QString edited;
    QString saved;
    QString forCompare;
};

} // namespace

class CodeEditorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void invokableByName_data();
    void invokableByName();
    void subWindowEditorOwnership();
    void subWindowCodeIsWeak();
};

void CodeEditorTest::invokableByName_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QString>("saved");
    QTest::addColumn<QString>("forCompare");

    QTest::newRow("save") << QByteArray("save") << "x := 1;" << "";
    QTest::newRow("compare") << QByteArray("updateDefinitionCodeTextForCompareCrc") << "" << "x := 1;";
}

void CodeEditorTest::invokableByName()
{
    QFETCH(QByteArray, method);
    QFETCH(QString, saved);
    QFETCH(QString, forCompare);

    // Definitions know only the base class and call the methods by name.
    EditedCode code;
    code.edit(QStringLiteral("x := 1;"));
    BlockCode *base = &code;
    QVERIFY(QMetaObject::invokeMethod(base, method.constData(), Qt::DirectConnection));
    QCOMPARE(code.saved, saved);
    QCOMPARE(code.forCompare, forCompare);

    BlockCode plain;
    QSignalSpy spy(&plain, &BlockCode::changed);
    QVERIFY(QMetaObject::invokeMethod(&plain, method.constData(), Qt::DirectConnection));
    QCOMPARE(spy.count(), 0);
}

void CodeEditorTest::subWindowEditorOwnership()
{
    QPointer<QWidget> first = new QWidget;
    QPointer<QWidget> second = new QWidget;
    {
        LibraryBlockDefinitionSubWindow window;
        window.setEditor(first);
        QCOMPARE(window.editor(), first.data());
        QCOMPARE(first->parentWidget(), &window);
        window.setEditor(first);
        QVERIFY(first);

        window.setEditor(second);
        QVERIFY(!first);
        QCOMPARE(window.editor(), second.data());
        QCOMPARE(window.focusProxy(), second.data());
    }
    QVERIFY(!second);
}

void CodeEditorTest::subWindowCodeIsWeak()
{
    LibraryBlockDefinitionSubWindow window;
    auto *code = new EditedCode;
    window.setBlockCode(code);
    QCOMPARE(window.blockCode(), code);
    delete code;
    QCOMPARE(window.blockCode(), nullptr);

    // The window must not delete the code: a double delete of this stack object would crash.
    auto *closing = new LibraryBlockDefinitionSubWindow;
    BlockCode kept;
    QSignalSpy spy(&kept, &BlockCode::changed);
    closing->setBlockCode(&kept);
    delete closing;
    Q_EMIT kept.changed();
    QCOMPARE(spy.count(), 1);
}

QTEST_MAIN(CodeEditorTest)
#include "tst_codeeditor.moc"
