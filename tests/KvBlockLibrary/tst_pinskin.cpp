#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>

#include <QtCore/QBuffer>
#include <QtCore/QDir>
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

void writeTestOutput(const QString &name, const QByteArray &bytes)
{
    const QString dir = qEnvironmentVariable("KV_TEST_OUTPUT_DIR", QDir::tempPath());
    QDir().mkpath(dir);
    QFile file(QDir(dir).filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

// A user block with one version whose pins are 1, 2 (inputs) and 3, 4, 5 (outputs).
// Inputs 1 and 2, outputs 3 to 5; a user block has the enable pin, a tool block has none.
std::unique_ptr<Block> blockWithPins(const QString &identifier = QString())
{
    std::unique_ptr<Block> block(identifier.isEmpty() ? Block::createUserBlock() : Block::createBlock(identifier));
    BlockDefinition *definition = block->createDefinition();
    for (int number = 1; number <= 5; ++number) {
        BlockPin *pin = definition->createPin(number);
        pin->setFunction(number <= 2 ? eBlockPinFunctionInput : eBlockPinFunctionOutput);
    }
    return block;
}

} // namespace

class tst_PinSkin : public QObject
{
    Q_OBJECT

private slots:
    void enablePin_data();
    void enablePin();
    void pinSetterSignals_data();
    void pinSetterSignals();
    void pinCloneEmitsOnce();

    void inputOrder_data();
    void inputOrder();
    void outputOrder_data();
    void outputOrder();
    void minimumSize_data();
    void minimumSize();
    void sizeGrowsWithImage();
    void defaultImageIsDerived();
    void modifiedStamp_data();
    void modifiedStamp();
    void cloneCopiesOrders();
};

void tst_PinSkin::enablePin_data()
{
    QTest::addColumn<int>("identifier");
    QTest::addColumn<bool>("enable");
    QTest::newRow("minus-one") << -1 << true;
    QTest::newRow("zero") << 0 << false;
    QTest::newRow("one") << 1 << false;
    QTest::newRow("minus-two") << -2 << false;
}

void tst_PinSkin::enablePin()
{
    QFETCH(int, identifier);
    QFETCH(bool, enable);
    BlockPin pin(identifier);
    QCOMPARE(pin.identifier(), identifier);
    QCOMPARE(pin.isEnablePin(), enable);
    QCOMPARE(pin.datatype(), 0);
    QCOMPARE(int(pin.function()), 0);
    QVERIFY(pin.shortName().isEmpty());
    QVERIFY(pin.name().isEmpty());
}

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

void tst_PinSkin::inputOrder_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QList<int>>("order");
    QTest::addColumn<QList<int>>("stored");
    QTest::addColumn<QList<int>>("inputPins");

    QTest::newRow("none-set") << QString() << QList<int>{} << QList<int>{} << QList<int>{-1, 1, 2};
    // A stored order always starts with the enable pin, also where the block has none.
    QTest::newRow("tool-none-set") << "ToolBlock_1" << QList<int>{} << QList<int>{} << QList<int>{1, 2};
    QTest::newRow("tool-two") << "ToolBlock_1" << QList<int>{2, 1} << QList<int>{2, 1} << QList<int>{-1, 2, 1};
    QTest::newRow("three") << QString() << QList<int>{3, 1, 2} << QList<int>{3, 1, 2} << QList<int>{-1, 3, 1, 2};
    QTest::newRow("first-zero-only") << QString() << QList<int>{-1, 4, 0, 5, 0} << QList<int>{4, 5, 0} << QList<int>{-1, 4, 5, 0};
    QTest::newRow("second-enable-kept") << QString() << QList<int>{-1, -1, 2} << QList<int>{-1, 2} << QList<int>{-1, -1, 2};
    QTest::newRow("only-enable") << QString() << QList<int>{-1} << QList<int>{} << QList<int>{-1, 1, 2};
}

void tst_PinSkin::inputOrder()
{
    QFETCH(QString, identifier);
    QFETCH(QList<int>, order);
    QFETCH(QList<int>, stored);
    QFETCH(QList<int>, inputPins);
    std::unique_ptr<Block> block = blockWithPins(identifier);
    BlockSkin *skin = block->blockDefinition(0)->defaultSkin();
    skin->setInputPinOrder(order);
    QCOMPARE(skin->inputPinOrder(), stored);
    QCOMPARE(skin->inputPins(), inputPins);
    if (identifier.isEmpty())
        QCOMPARE(skin->pins(), (QList<int>{-1, 1, 2, 3, 4, 5}));
}

void tst_PinSkin::outputOrder_data()
{
    QTest::addColumn<QList<int>>("order");
    QTest::addColumn<QList<int>>("outputPins");
    QTest::newRow("none-set") << QList<int>{} << QList<int>{3, 4, 5};
    QTest::newRow("reversed") << QList<int>{5, 4, 3} << QList<int>{5, 4, 3};
    QTest::newRow("two-zeros") << QList<int>{0, 0, 7} << QList<int>{0, 7};
}

void tst_PinSkin::outputOrder()
{
    QFETCH(QList<int>, order);
    QFETCH(QList<int>, outputPins);
    std::unique_ptr<Block> block = blockWithPins();
    BlockSkin *skin = block->blockDefinition(0)->defaultSkin();
    skin->setOutputPinOrder(order);
    QCOMPARE(skin->outputPins(), outputPins);
}

void tst_PinSkin::minimumSize_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<int>("inputs");
    QTest::addColumn<int>("outputs");
    QTest::addColumn<QSizeF>("size");

    QTest::newRow("tool-no-pins") << "ToolBlock_1" << 0 << 0 << QSizeF(4, 1);
    QTest::newRow("enable-only") << "StandardBlock_1" << 0 << 0 << QSizeF(4, 1);
    QTest::newRow("enable-two-in-three-out") << "StandardBlock_1" << 2 << 3 << QSizeF(4, 4);
    QTest::newRow("enable-four-in-one-out") << "StandardBlock_1" << 4 << 1 << QSizeF(4, 5);
    QTest::newRow("tool-one-in-two-out") << "ToolBlock_1" << 1 << 2 << QSizeF(4, 2);
}

void tst_PinSkin::minimumSize()
{
    QFETCH(QString, identifier);
    QFETCH(int, inputs);
    QFETCH(int, outputs);
    QFETCH(QSizeF, size);

    std::unique_ptr<Block> block(Block::createBlock(identifier));
    BlockDefinition *definition = block->createDefinition();
    for (int i = 0; i < inputs + outputs; ++i)
        definition->createPin(i + 1)->setFunction(i < inputs ? eBlockPinFunctionInput : eBlockPinFunctionOutput);
    QCOMPARE(definition->defaultSkin()->minimumSize(), size);
    QCOMPARE(definition->defaultSkin()->size(), size);
}

void tst_PinSkin::sizeGrowsWithImage()
{
    std::unique_ptr<Block> block = blockWithPins();
    BlockDefinition *definition = block->blockDefinition(0);
    definition->setLargeListImage(QStringLiteral("png"), png(250, 120));
    // Minimum 4 x 4; plus 2 * qRound(2.5) = 6 and 2 * qRound(1.2) = 2.
    QCOMPARE(definition->defaultSkin()->minimumSize(), QSizeF(4, 4));
    QCOMPARE(definition->defaultSkin()->size(), QSizeF(10, 6));
    definition->setLargeListImage(QStringLiteral("png"), "not an image");
    QCOMPARE(definition->defaultSkin()->size(), QSizeF(4, 4));
}

void tst_PinSkin::defaultImageIsDerived()
{
    std::unique_ptr<Block> block = blockWithPins();
    BlockDefinition *definition = block->blockDefinition(0);
    const QByteArray image = png(20, 10);
    definition->setLargeListImage(QStringLiteral("png"), image);
    definition->defaultSkin()->setDefaultImage("ignored");
    QCOMPARE(definition->defaultSkin()->defaultImage(), image);

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
    QVERIFY(!image.isNull());
    QCOMPARE(image.size(), size);
    QVERIFY2(redPixels(image) > 200, qPrintable(QString::number(redPixels(image))));
    writeTestOutput(QStringLiteral("modified-stamp-%1.png").arg(QString::fromLatin1(QTest::currentDataTag())), stamped);

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
