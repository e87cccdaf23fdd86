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
    void save() override { saved += QLatin1String("save "); }
    void updateDefinitionCodeTextForCompareCrc() override { saved += QLatin1String("compare "); }
    QString saved;
};

} // namespace

class CodeEditorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void invokableByName();
    void subWindowOwnsEditorNotCode();
};

// Definitions know only the base class and call the methods by name.
void CodeEditorTest::invokableByName()
{
    EditedCode code;
    BlockCode *base = &code;
    QVERIFY(QMetaObject::invokeMethod(base, "updateDefinitionCodeTextForCompareCrc", Qt::DirectConnection));
    QVERIFY(QMetaObject::invokeMethod(base, "save", Qt::DirectConnection));
    QCOMPARE(code.saved, QStringLiteral("compare save "));
    BlockCode plain;
    QVERIFY(QMetaObject::invokeMethod(&plain, "save", Qt::DirectConnection));
    QVERIFY(QMetaObject::invokeMethod(&plain, "updateDefinitionCodeTextForCompareCrc", Qt::DirectConnection));
}

void CodeEditorTest::subWindowOwnsEditorNotCode()
{
    QPointer<QWidget> first = new QWidget;
    QPointer<QWidget> second = new QWidget;
    EditedCode kept;
    auto *code = new EditedCode;
    {
        LibraryBlockDefinitionSubWindow window;
        window.setEditor(first);
        window.setEditor(first);
        QVERIFY(first && first->parentWidget() == &window);
        window.setEditor(second);
        QVERIFY(!first);
        QCOMPARE(window.editor(), second.data());
        QCOMPARE(window.focusProxy(), second.data());

        // The code is watched, not owned: it may go first, and it outlives the window.
        window.setBlockCode(code);
        QCOMPARE(window.blockCode(), code);
        delete code;
        QCOMPARE(window.blockCode(), nullptr);
        window.setBlockCode(&kept);
    }
    QVERIFY(!second);
    kept.save(); // the window deleting it would make this a use after free
    QCOMPARE(kept.saved, QStringLiteral("save "));
}

QTEST_MAIN(CodeEditorTest)
#include "tst_codeeditor.moc"
