#include "BlockPin.h"

#include <QtCore/QSignalBlocker>

class BlockPinPrivate
{
public:
    int identifier;
    unsigned char datatype = 0;
    eBlockPinFunction function = eBlockPinFunction(0);
    QString shortName;
    Text name;
};

BlockPin::BlockPin(int identifier)
    : d(new BlockPinPrivate)
{
    d->identifier = identifier;
}

BlockPin::~BlockPin()
{
    delete d;
}

int BlockPin::identifier() const
{
    return d->identifier;
}

bool BlockPin::isEnablePin() const
{
    return d->identifier == -1;
}

unsigned char BlockPin::datatype() const
{
    return d->datatype;
}

void BlockPin::setSimpleType(unsigned char type)
{
    if (d->datatype == type)
        return;
    d->datatype = type;
    emit changed();
}

bool BlockPin::isInvertible() const
{
    return d->datatype == 1;
}

eBlockPinFunction BlockPin::function() const
{
    return d->function;
}

void BlockPin::setFunction(eBlockPinFunction function)
{
    if (d->function == function)
        return;
    d->function = function;
    emit changed();
}

QString BlockPin::shortName() const
{
    return d->shortName;
}

void BlockPin::setShortName(const QString &shortName)
{
    if (d->shortName == shortName)
        return;
    d->shortName = shortName;
    emit changed();
}

Text BlockPin::name() const
{
    return d->name;
}

void BlockPin::setName(const Text &name)
{
    if (d->name != name) {
        d->name = name;
        emit changed();
    }
}

void BlockPin::cloneFrom(const BlockPin *source)
{
    {
        const QSignalBlocker blocker(this);
        setSimpleType(source->datatype());
        setFunction(source->function());
        setShortName(source->shortName());
        setName(source->name());
    }
    emit changed();
}
