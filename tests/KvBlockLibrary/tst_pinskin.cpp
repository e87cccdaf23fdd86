#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

namespace {

QByteArray png(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Qt::white);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

int redPixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.red() > 200 && c.green() < 80 && c.blue() < 80 && c.alpha() > 200)
                ++count;
        }
    }
    return count;
}

// A block with one version: inputs 1 and 2, outputs 3 to 5, and the enable pin unless it is a tool block.
std::unique_ptr<Block> blockWithPins(const QString &identifier = QString())
{
    std::unique_ptr<Block> block(identifier.isEmpty() ? Block::createUserBlock() : Block::createBlock(identifier));
    BlockDefinition *definition = block->createDefinition();
    for (int number = 1; number <= 5; ++number)
        definition->createPin(number)->setFunction(number <= 2 ? eBlockPinFunctionInput : eBlockPinFunctionOutput);
    return block;
}

} // namespace

class tst_PinSkin : public QObject
{
    Q_OBJECT

private slots:
    void pinSetterSignals_data();
    void pinSetterSignals();
    void pinCloneEmitsOnce();

    void pinOrder_data();
    void pinOrder();
    void size_data();
    void size();
    void defaultImageIsDerived();
    void modifiedStamp_data();
    void modifiedStamp();
    void cloneCopiesOrders();
};

void tst_PinSkin::pinSetterSignals_data()
{
    QTest::addColumn<int>("field");
    QTest::newRow("type") << 0;
    QTest::newRow("function") << 1;
    QTest::newRow("short-name") << 2;
    QTest::newRow("name") << 3;
}

void tst_PinSkin::pinSetterSignals()
{
    QFETCH(int, field);
    BlockPin pin(2);
    QSignalSpy changed(&pin, &BlockPin::changed);
    auto set = [&](int variant) {
        switch (field) {
        case 0: pin.setSimpleType(variant ? 5 : 1); break;
        case 1: pin.setFunction(variant ? eBlockPinFunctionOutput : eBlockPinFunctionInput); break;
        case 2: pin.setShortName(variant ? QStringLiteral("b") : QStringLiteral("a")); break;
        case 3: pin.setName(Text(1, variant ? QStringLiteral("B") : QStringLiteral("A"))); break;
        }
    };
    set(0);
    set(0);
    QCOMPARE(changed.count(), 1);
    set(1);
    QCOMPARE(changed.count(), 2);
    if (field == 0) {
        pin.setSimpleType(1);
        QVERIFY(pin.isInvertible());
        pin.setSimpleType(2);
        QVERIFY(!pin.isInvertible());
    }
    QVERIFY(!pin.isEnablePin());
    QVERIFY(BlockPin(-1).isEnablePin());
    QVERIFY(!BlockPin(0).isEnablePin());
}

void tst_PinSkin::pinCloneEmitsOnce()
{
    BlockPin source(4);
    source.setSimpleType(1);
    source.setFunction(eBlockPinFunctionOutput);
    source.setShortName(QStringLiteral("out"));
    source.setName(Text(1, QStringLiteral("Ausgang")));

    BlockPin target(9);
    QSignalSpy changed(&target, &BlockPin::changed);
    target.cloneFrom(&source);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(target.identifier(), 9);
    QCOMPARE(target.datatype(), 1);
    QCOMPARE(target.function(), eBlockPinFunctionOutput);
    QCOMPARE(target.shortName(), QStringLiteral("out"));
    QCOMPARE(target.name(), source.name());
    target.cloneFrom(&source);
    QCOMPARE(changed.count(), 2);
}

void tst_PinSkin::pinOrder_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QList<int>>("inputOrder");
    QTest::addColumn<QList<int>>("stored");
    QTest::addColumn<QList<int>>("inputPins");
    QTest::addColumn<QList<int>>("outputOrder");
    QTest::addColumn<QList<int>>("outputPins");

    using L = QList<int>;
    const L outputs{3, 4, 5};
    QTest::newRow("none-set") << QString() << L{} << L{} << L{-1, 1, 2} << L{} << outputs;
    // A stored input order always starts with the enable pin, also where the block has none.
    QTest::newRow("tool-none-set") << "ToolBlock_1" << L{} << L{} << L{1, 2} << L{} << outputs;
    QTest::newRow("tool-two") << "ToolBlock_1" << L{2, 1} << L{2, 1} << L{-1, 2, 1} << L{} << outputs;
    QTest::newRow("three") << QString() << L{3, 1, 2} << L{3, 1, 2} << L{-1, 3, 1, 2} << L{5, 4, 3} << L{5, 4, 3};
    QTest::newRow("first-zero-only") << QString() << L{-1, 4, 0, 5, 0} << L{4, 5, 0} << L{-1, 4, 5, 0} << L{0, 0, 7}
                                     << L{0, 7};
    QTest::newRow("second-enable-kept") << QString() << L{-1, -1, 2} << L{-1, 2} << L{-1, -1, 2} << L{} << outputs;
    QTest::newRow("only-enable") << QString() << L{-1} << L{} << L{-1, 1, 2} << L{} << outputs;
}

void tst_PinSkin::pinOrder()
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
    if (identifier.isEmpty())
        QCOMPARE(skin->pins(), (QList<int>{-1, 1, 2, 3, 4, 5}));
}

void tst_PinSkin::size_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<int>("inputs");
    QTest::addColumn<int>("outputs");
    QTest::addColumn<QByteArray>("image");
    QTest::addColumn<QSizeF>("minimumSize");
    QTest::addColumn<QSizeF>("size");

    QTest::newRow("tool-no-pins") << "ToolBlock_1" << 0 << 0 << QByteArray() << QSizeF(4, 1) << QSizeF(4, 1);
    QTest::newRow("enable-only") << "StandardBlock_1" << 0 << 0 << QByteArray() << QSizeF(4, 1) << QSizeF(4, 1);
    QTest::newRow("enable-two-in-three-out") << "StandardBlock_1" << 2 << 3 << QByteArray() << QSizeF(4, 4) << QSizeF(4, 4);
    QTest::newRow("enable-four-in-one-out") << "StandardBlock_1" << 4 << 1 << QByteArray() << QSizeF(4, 5) << QSizeF(4, 5);
    QTest::newRow("tool-one-in-two-out") << "ToolBlock_1" << 1 << 2 << QByteArray() << QSizeF(4, 2) << QSizeF(4, 2);
    // The image adds 2 * qRound(2.5) = 6 and 2 * qRound(1.2) = 2 to the minimum.
    QTest::newRow("image-250x120") << "StandardBlock_1" << 2 << 3 << png(250, 120) << QSizeF(4, 4) << QSizeF(10, 6);
    QTest::newRow("undecodable-image") << "StandardBlock_1" << 2 << 3 << QByteArray("not an image") << QSizeF(4, 4)
                                       << QSizeF(4, 4);
}

void tst_PinSkin::size()
{
    QFETCH(QString, identifier);
    QFETCH(int, inputs);
    QFETCH(int, outputs);
    QFETCH(QByteArray, image);

    std::unique_ptr<Block> block(Block::createBlock(identifier));
    BlockDefinition *definition = block->createDefinition();
    for (int i = 0; i < inputs + outputs; ++i)
        definition->createPin(i + 1)->setFunction(i < inputs ? eBlockPinFunctionInput : eBlockPinFunctionOutput);
    definition->setLargeListImage(QStringLiteral("png"), image);
    QTEST(definition->defaultSkin()->minimumSize(), "minimumSize");
    QTEST(definition->defaultSkin()->size(), "size");
}

void tst_PinSkin::defaultImageIsDerived()
{
    std::unique_ptr<Block> block = blockWithPins();
    BlockDefinition *definition = block->blockDefinition(0);
    const QByteArray image = png(20, 10);
    definition->setLargeListImage(QStringLiteral("png"), image);
    definition->defaultSkin()->setDefaultImage("ignored");
    QCOMPARE(definition->defaultSkin()->defaultImage(), image);

    // A skin without a definition answers without touching one.
    BlockSkin orphan(nullptr, nullptr);
    QVERIFY(orphan.defaultImage().isEmpty());
    QVERIFY(orphan.pins().isEmpty());
    QVERIFY(orphan.inputPins().isEmpty());
    QCOMPARE(orphan.minimumSize(), QSizeF(4, 1));
}

void tst_PinSkin::modifiedStamp_data()
{
    QTest::addColumn<QByteArray>("listImage");
    QTest::addColumn<QSize>("size");
    QTest::newRow("no-image") << QByteArray() << QSize(300, 150);
    QTest::newRow("undecodable") << QByteArray("garbage") << QSize(300, 150);
    QTest::newRow("list-image") << png(200, 400) << QSize(200, 400);
}

void tst_PinSkin::modifiedStamp()
{
    QFETCH(QByteArray, listImage);
    QFETCH(QSize, size);

    std::unique_ptr<Block> block = blockWithPins();
    BlockDefinition *definition = block->blockDefinition(0);
    definition->setLargeListImage(QStringLiteral("png"), listImage);
    QSignalSpy redraw(definition, &BlockDefinition::redrawRequired);
    QSignalSpy changed(definition, &BlockDefinition::changed);
    definition->setShowModified(true);
    QCOMPARE(redraw.count(), 1);
    QCOMPARE(changed.count(), 0);

    const QByteArray stamped = definition->defaultSkin()->defaultImage();
    QVERIFY(stamped.startsWith("\x89PNG"));
    const QImage image = QImage::fromData(stamped, "PNG");
    QCOMPARE(image.size(), size);
    QVERIFY2(redPixels(image) > 200, qPrintable(QString::number(redPixels(image))));

    definition->setShowModified(false);
    QCOMPARE(definition->defaultSkin()->defaultImage(), listImage);
}

void tst_PinSkin::cloneCopiesOrders()
{
    std::unique_ptr<Block> source = blockWithPins();
    std::unique_ptr<Block> target = blockWithPins();
    BlockSkin *from = source->blockDefinition(0)->defaultSkin();
    BlockSkin *to = target->blockDefinition(0)->defaultSkin();
    from->setInputPinOrder({2, 1});
    from->setOutputPinOrder({4, 3, 5});
    to->cloneFrom(from);
    QCOMPARE(to->inputPins(), (QList<int>{-1, 2, 1}));
    QCOMPARE(to->outputPins(), (QList<int>{4, 3, 5}));
    // The skin still belongs to its own definition.
    target->blockDefinition(0)->deletePin(5);
    QCOMPARE(to->pins(), (QList<int>{-1, 1, 2, 3, 4}));
}

QTEST_MAIN(tst_PinSkin)
#include "tst_pinskin.moc"
