#pragma once

// Internal: the container embedded in every block definition, holding its local blocks.

#include "BlockLibraryContainer.h"

class BlockDefinition;

/*
 * Has no file and no description of its own: the definition stores the library directly.
 * It answers the questions blocks and libraries ask of their container: it is local, it is
 * called "local", it has no name, and it is read-only exactly when its definition is not
 * writable. Internal and never subclassed, so it keeps its one member without a private
 * object.
 */
class LocalBlockContainer : public BlockLibraryContainer
{
    Q_OBJECT

public:
    // definition owns the container (as a member) and outlives it; without one the
    // container is read-only.
    explicit LocalBlockContainer(BlockDefinition *definition);
    ~LocalBlockContainer() override;

    Text name() override;
    bool readOnly() const override;
    QString identifier() override;
    bool isLocalContainer() const override;

private:
    BlockDefinition *const m_definition;
};
