#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace {

using PinEdit = std::function<void(BlockPin &)>;

QByteArray png(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Qt::white);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return bytes;
}

// A block with one version, inputs then outputs; standard blocks add the enable pin, tool blocks do not.
std::unique_ptr<Block> blockWithPins(const QString &identifier, int inputs = 2, int outputs = 3)
{
    std::unique_ptr<Block> block(Block::createBlock(identifier));
    BlockDefinition *definition = block->createDefinition();
    for (int number = 1; number <= inputs + outputs; ++number)
        definition->createPin(number)->setFunction(number <= inputs ? eBlockPinFunctionInput : eBlockPinFunctionOutput);
    return block;
}

} // namespace

Q_DECLARE_METATYPE(PinEdit)

class tst_PinSkin : public QObject
{
    Q_OBJECT

private slots:
    void pinSignals_data()
    {
        QTest::addColumn<PinEdit>("edit");
        QTest::addColumn<int>("changed");
        // A value set twice is one change.
        QTest::newRow("type") << PinEdit([](BlockPin &p) { p.setSimpleType(5), p.setSimpleType(5); }) << 1;
        QTest::newRow("function") << PinEdit([](BlockPin &p) { p.setFunction(eBlockPinFunctionOutput), p.setFunction(eBlockPinFunctionOutput); }) << 1;
        QTest::newRow("short-name") << PinEdit([](BlockPin &p) { p.setShortName("b"), p.setShortName("b"); }) << 1;
        QTest::newRow("name") << PinEdit([](BlockPin &p) { p.setName(Text(1, "B")), p.setName(Text(1, "B")); }) << 1;
        // A copy is one change whatever it copies, also nothing new; the number stays.
        QTest::newRow("clone-twice") << PinEdit([](BlockPin &p) {
            BlockPin source(4);
            source.setSimpleType(1), source.setShortName(QStringLiteral("out"));
            p.cloneFrom(&source), p.cloneFrom(&source);
            QVERIFY(p.identifier() == 9 && p.isInvertible() && p.shortName() == QStringLiteral("out"));
        }) << 2;
    }
    void pinSignals()
    {
        QFETCH(PinEdit, edit);
        BlockPin pin(9);
        QSignalSpy changed(&pin, &BlockPin::changed);
        edit(pin);
        QTEST(int(changed.count()), "changed");
        QVERIFY(BlockPin(-1).isEnablePin() && !pin.isEnablePin());
    }

    void pinOrder_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QList<int>>("inputOrder");
        QTest::addColumn<QList<int>>("stored");
        QTest::addColumn<QList<int>>("inputPins");
        QTest::addColumn<QList<int>>("outputOrder");
        QTest::addColumn<QList<int>>("outputPins");
        using L = QList<int>;
        const L outputs{3, 4, 5};
        QTest::newRow("none-set") << "StandardBlock_1" << L{} << L{} << L{-1, 1, 2} << L{} << outputs;
        // A stored input order always starts with the enable pin, also where the block has none.
        QTest::newRow("tool-two") << "ToolBlock_1" << L{2, 1} << L{2, 1} << L{-1, 2, 1} << L{} << outputs;
        QTest::newRow("three") << "StandardBlock_1" << L{3, 1, 2} << L{3, 1, 2} << L{-1, 3, 1, 2} << L{5, 4, 3} << L{5, 4, 3};
        QTest::newRow("first-zero-only") << "StandardBlock_1" << L{-1, 4, 0, 5, 0} << L{4, 5, 0} << L{-1, 4, 5, 0} << L{0, 0, 7} << L{0, 7};
        QTest::newRow("second-enable-kept") << "StandardBlock_1" << L{-1, -1, 2} << L{-1, 2} << L{-1, -1, 2} << L{} << outputs;
    }
    void pinOrder()
    {
        QFETCH(QString, identifier);
        QFETCH(QList<int>, inputOrder);
        QFETCH(QList<int>, outputOrder);
        std::unique_ptr<Block> block = blockWithPins(identifier);
        BlockSkin *skin = block->blockDefinition(0)->defaultSkin();
        skin->setInputPinOrder(inputOrder);
        skin->setOutputPinOrder(outputOrder);
        QTEST(skin->inputPinOrder(), "stored");
        QTEST(skin->inputPins(), "inputPins");
        QTEST(skin->outputPins(), "outputPins");
        // A copy takes the orders and keeps the pins of its own definition.
        std::unique_ptr<Block> target = blockWithPins(QStringLiteral("StandardBlock_2"), 1, 1);
        BlockSkin *copy = target->blockDefinition(0)->defaultSkin();
        copy->cloneFrom(skin);
        QCOMPARE(QList<QList<int>>({copy->pins(), copy->inputPinOrder(), copy->outputPinOrder()}),
                 QList<QList<int>>({{-1, 1, 2}, skin->inputPinOrder(), skin->outputPinOrder()}));
    }

    void sizeAndImage_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<int>("inputs");
        QTest::addColumn<int>("outputs");
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<QSizeF>("minimumSize");
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<QSize>("stampedSize"); // of the image marked modified
        QTest::newRow("tool-no-pins") << "ToolBlock_1" << 0 << 0 << QByteArray() << QSizeF(4, 1) << QSizeF(4, 1) << QSize(300, 150);
        QTest::newRow("enable-two-in-three-out") << "StandardBlock_1" << 2 << 3 << QByteArray() << QSizeF(4, 4) << QSizeF(4, 4) << QSize(300, 150);
        QTest::newRow("enable-four-in-one-out") << "StandardBlock_1" << 4 << 1 << QByteArray() << QSizeF(4, 5) << QSizeF(4, 5) << QSize(300, 150);
        // The image adds 2 * qRound(2.5) = 6 and 2 * qRound(1.2) = 2 to the minimum.
        QTest::newRow("image-250x120") << "StandardBlock_1" << 2 << 3 << png(250, 120) << QSizeF(4, 4) << QSizeF(10, 6) << QSize(250, 120);
        QTest::newRow("undecodable-image") << "StandardBlock_1" << 2 << 3 << QByteArray("not an image") << QSizeF(4, 4) << QSizeF(4, 4)
                                           << QSize(300, 150);
    }
    void sizeAndImage()
    {
        QFETCH(QString, identifier);
        QFETCH(int, inputs);
        QFETCH(int, outputs);
        QFETCH(QByteArray, image);
        std::unique_ptr<Block> block = blockWithPins(identifier, inputs, outputs);
        BlockDefinition *definition = block->blockDefinition(0);
        definition->setLargeListImage(QStringLiteral("png"), image);
        QTEST(definition->defaultSkin()->minimumSize(), "minimumSize");
        QTEST(definition->defaultSkin()->size(), "size");
        // The default image is the list image, whatever is set; marked modified, with a red stamp.
        definition->defaultSkin()->setDefaultImage("ignored");
        QCOMPARE(definition->defaultSkin()->defaultImage(), image);
        QSignalSpy redraw(definition, &BlockDefinition::redrawRequired);
        QSignalSpy changed(definition, &BlockDefinition::changed);
        definition->setShowModified(true);
        QCOMPARE(redraw.count() * 10 + changed.count(), 10);
        const QImage stamped = QImage::fromData(definition->defaultSkin()->defaultImage(), "PNG");
        QTEST(stamped.size(), "stampedSize");
        int red = 0;
        for (int i = 0; i < stamped.width() * stamped.height(); ++i)
            red += stamped.pixel(i % stamped.width(), i / stamped.width()) == qRgb(255, 0, 0);
        QVERIFY2(red > 200, qPrintable(QString::number(red)));
        definition->setShowModified(false);
        QCOMPARE(definition->defaultSkin()->defaultImage(), image);
        QVERIFY(BlockSkin(nullptr, nullptr).defaultImage().isEmpty());
    }
};

QTEST_MAIN(tst_PinSkin)
#include "tst_pinskin.moc"
