#include "LocalBlockContainer.h"

#include "BlockDefinition.h"

LocalBlockContainer::LocalBlockContainer(BlockDefinition *definition)
    : BlockLibraryContainer(nullptr)
    , m_definition(definition)
{
}

LocalBlockContainer::~LocalBlockContainer() = default;

Text LocalBlockContainer::name()
{
    return Text();
}

bool LocalBlockContainer::readOnly() const
{
    return !m_definition || !m_definition->isWritable();
}

QString LocalBlockContainer::identifier()
{
    return QStringLiteral("local");
}

bool LocalBlockContainer::isLocalContainer() const
{
    return true;
}
