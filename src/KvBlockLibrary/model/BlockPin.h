#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QObject>
#include <QtCore/QString>

class BlockPinPrivate;

// Whether a pin carries a value into the block or out of it. 0 is neither (a pin whose
// function was never set).
enum eBlockPinFunction : int {
    eBlockPinFunctionInput = 1,
    eBlockPinFunctionOutput = 2,
};

/*
 * One connector of a block version: an input or an output carrying a value of a simple data
 * type. The number (identifier) is fixed at construction; -1 is the enable pin that every
 * version of a non-tool block has. A new pin has data type 0 and function 0 until its
 * creator sets both.
 */
class KVBLOCKLIBRARY_EXPORT BlockPin : public QObject
{
    Q_OBJECT

public:
    explicit BlockPin(int identifier);
    ~BlockPin() override;

    int identifier() const;
    bool isEnablePin() const;

    // The simple data type code (see KvDatatype). The getter and setter names differ.
    unsigned char datatype() const;
    void setSimpleType(unsigned char type);
    // Only boolean pins (type code 1) can be inverted.
    bool isInvertible() const;

    eBlockPinFunction function() const;
    void setFunction(eBlockPinFunction function);

    QString shortName() const;
    void setShortName(const QString &shortName);

    Text name() const;
    void setName(const Text &name);

    // Copies type, function, short name and name (not the number) and emits changed()
    // exactly once, whether or not anything differed.
    void cloneFrom(const BlockPin *source);

signals:
    // Emitted by every setter whose value actually changed (once per call) and once by cloneFrom().
    void changed();

private:
    BlockPinPrivate *const d;
    Q_DISABLE_COPY(BlockPin)
};
