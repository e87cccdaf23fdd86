#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QSizeF>

class BlockDefinition;
class BlockSkinPrivate;

/*
 * How a block version is drawn in the graphical editor: the order of its input and output
 * pins on the left and right edges, its size in grid units and its image. The skin stores
 * only the two order lists; pins and images come from its definition. The enable pin (-1)
 * is never stored in the input order: it always heads the inputs.
 */
class KVBLOCKLIBRARY_EXPORT BlockSkin : public QObject
{
    Q_OBJECT

public:
    // definition is not owned and may be null.
    BlockSkin(BlockDefinition *definition, QObject *parent);
    ~BlockSkin() override;

    // Copies both order lists; the definition stays. Emits nothing.
    virtual void cloneFrom(const BlockSkin *source);
    // The definition's pins, unchanged.
    virtual QList<int> pins() const;
    // The stored input order headed by -1, or the definition's inputs when none is stored.
    virtual QList<int> inputPins() const;
    // The stored output order, or the definition's outputs when none is stored.
    virtual QList<int> outputPins() const;
    // Does nothing: the default image is always derived from the definition.
    virtual void setDefaultImage(const QByteArray &image);
    // The definition's large list image; while the definition shows itself modified, a PNG
    // of it (or of a blank 300 x 150 image) stamped "modified" in red.
    virtual QByteArray defaultImage() const;
    // 4 grid units wide, as high as the longer pin column (the output column reserves a row
    // for the enable pin), at least 1.
    virtual QSizeF minimumSize() const;
    // The minimum size grown by twice the default image's size in hundreds of pixels.
    virtual QSizeF size() const;

    // Removes the first -1 and then the first 0 from order and stores the rest. No signal.
    void setInputPinOrder(QList<int> order);
    // Removes the first 0 from order and stores the rest. No signal.
    void setOutputPinOrder(QList<int> order);
    // The stored lists as they are, without the enable pin (for storage and editors).
    QList<int> inputPinOrder() const;
    QList<int> outputPinOrder() const;

private:
    BlockSkinPrivate *const d;
    Q_DISABLE_COPY(BlockSkin)
};
