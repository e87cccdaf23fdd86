#include "BlockCode.h"

BlockCode::BlockCode(QObject *parent)
    : QObject(parent)
{
}

BlockCode::~BlockCode() = default;

void BlockCode::save()
{
}

void BlockCode::updateDefinitionCodeTextForCompareCrc()
{
}
