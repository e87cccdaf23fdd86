#include <KvCodeEditor/BlockCode.h>
#include <KvCodeEditor/LibraryBlockDefinitionSubWindow.h>

#include <QtCore/QPointer>
#include <QtTest/QTest>

namespace {

// What a code editor does: hand its text over when asked.
class EditedCode : public BlockCode
{
public:
    void save() override { calls += QLatin1String("save "); }
    void updateDefinitionCodeTextForCompareCrc() override { calls += QLatin1String("compare "); }
    QString calls;
};

} // namespace

class CodeEditorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void contract();
};

void CodeEditorTest::contract()
{
    // Definitions know only the base class and call the methods by name.
    EditedCode code;
    for (const char *method : { "updateDefinitionCodeTextForCompareCrc", "save" }) {
        QVERIFY(QMetaObject::invokeMethod(static_cast<BlockCode *>(&code), method, Qt::DirectConnection));
        QVERIFY(QMetaObject::invokeMethod(new BlockCode(&code), method, Qt::DirectConnection));
    }
    QCOMPARE(code.calls, QStringLiteral("compare save "));

    // The sub-window owns its editor, and watches the code without owning it.
    QPointer<QWidget> first = new QWidget;
    QPointer<QWidget> second = new QWidget;
    auto *gone = new EditedCode;
    {
        LibraryBlockDefinitionSubWindow window;
        window.setEditor(first);
        window.setEditor(first);
        QVERIFY(first && first->parentWidget() == &window);
        window.setEditor(second);
        QVERIFY(!first && window.editor() == second && window.focusProxy() == second);
        window.setBlockCode(gone);
        QCOMPARE(window.blockCode(), gone);
        delete gone;
        QCOMPARE(window.blockCode(), nullptr);
        window.setBlockCode(&code); // deleting it would free a stack object
    }
    QVERIFY(!second);
}

QTEST_MAIN(CodeEditorTest)
#include "tst_codeeditor.moc"
