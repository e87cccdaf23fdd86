#include "BlockSkin.h"

#include "BlockDefinition.h"

#include <QtCore/QBuffer>
#include <QtCore/QtMath>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtGui/QPen>
#include <QtGui/QTransform>

#include <utility>

class BlockSkinPrivate
{
public:
    BlockDefinition *definition = nullptr;
    QList<int> inputOrder;
    QList<int> outputOrder;
};

BlockSkin::BlockSkin(BlockDefinition *definition, QObject *parent)
    : QObject(parent)
    , d(new BlockSkinPrivate)
{
    d->definition = definition;
}

BlockSkin::~BlockSkin()
{
    delete d;
}

void BlockSkin::cloneFrom(const BlockSkin *source)
{
    d->inputOrder = source->d->inputOrder;
    d->outputOrder = source->d->outputOrder;
}

QList<int> BlockSkin::pins() const
{
    return d->definition ? d->definition->pins() : QList<int>();
}

QList<int> BlockSkin::inputPins() const
{
    if (!d->inputOrder.isEmpty()) {
        QList<int> order = d->inputOrder;
        order.prepend(-1);
        return order;
    }
    return d->definition ? d->definition->inputPins() : QList<int>();
}

QList<int> BlockSkin::outputPins() const
{
    if (!d->outputOrder.isEmpty())
        return d->outputOrder;
    return d->definition ? d->definition->outputPins() : QList<int>();
}

void BlockSkin::setDefaultImage(const QByteArray &)
{
}

QByteArray BlockSkin::defaultImage() const
{
    if (!d->definition)
        return QByteArray();
    const QByteArray listImage = d->definition->largeListImage();
    if (!d->definition->showModified())
        return listImage;

    QImage image = QImage::fromData(listImage);
    if (image.isNull())
        image = QImage(300, 150, QImage::Format_ARGB32);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        // Rotate about the image's centre rather than its top left corner.
        const QPointF centre(image.width() / 2.0, image.height() / 2.0);
        QTransform rotation = painter.transform();
        rotation.rotate(-30.0, Qt::ZAxis);
        painter.translate(centre - rotation.map(centre));
        painter.rotate(-30.0);
        painter.setPen(QPen(QBrush(Qt::red), 5.0));
        QRectF textBounds;
        painter.drawText(QRectF(image.rect()), Qt::AlignCenter, QStringLiteral("modified"), &textBounds);
        painter.drawRoundedRect(textBounds.adjusted(-10.0, -10.0, 10.0, 10.0), 10, 10, Qt::RelativeSize);
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

QSizeF BlockSkin::minimumSize() const
{
    const QList<int> inputs = inputPins();
    const QList<int> outputs = outputPins();
    const qsizetype enableRow = inputs.contains(-1) ? 1 : 0;
    const qsizetype height = qMax(qMax(inputs.size(), outputs.size() + enableRow), qsizetype(1));
    return QSizeF(4.0, double(height));
}

QSizeF BlockSkin::size() const
{
    QSizeF size = minimumSize();
    const QByteArray encoded = defaultImage();
    if (!encoded.isEmpty()) {
        const QImage image = QImage::fromData(encoded);
        if (!image.isNull()) {
            const int w = qRound(image.width() / 100.0);
            const int h = qRound(image.height() / 100.0);
            size += QSizeF(2 * w, 2 * h);
        }
    }
    return size;
}

namespace {

// An order emptied by the removals is kept as a list without storage. Qt 6.4 compares an empty
// list that has storage with one that has none by handing a null pointer to memcmp, which the
// undefined-behaviour sanitizer rightly reports in every caller that compares orders.
QList<int> withoutStorageWhenEmpty(QList<int> order)
{
    return order.isEmpty() ? QList<int>() : order;
}

} // namespace

void BlockSkin::setInputPinOrder(QList<int> order)
{
    order.removeOne(-1);
    order.removeOne(0);
    d->inputOrder = withoutStorageWhenEmpty(std::move(order));
}

void BlockSkin::setOutputPinOrder(QList<int> order)
{
    order.removeOne(0);
    d->outputOrder = withoutStorageWhenEmpty(std::move(order));
}

QList<int> BlockSkin::inputPinOrder() const
{
    return d->inputOrder;
}

QList<int> BlockSkin::outputPinOrder() const
{
    return d->outputOrder;
}
