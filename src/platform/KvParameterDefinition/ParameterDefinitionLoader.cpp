#include "ParameterDefinitionLoader.h"

#include "ParameterDefinition_p.h"
#include "ParameterDefinitionFormat_p.h"

#include <memory>

// Exceptions end here: ParameterException from the reader, and bad_alloc or anything else
// a damaged text might provoke, must never reach the caller.
static ParameterDefinition *tryLoad(const QByteArray &data)
{
    try {
        return ParameterDefinitionFormat::load(data);
    } catch (...) {
        return nullptr;
    }
}

ParameterDefinition *ParameterDefinitionLoader::createAndLoadParameterDefinition(const QByteArray &data)
{
    return tryLoad(data);
}

bool ParameterDefinitionLoader::loadParameterDefinition(ParameterDefinition *definition, const QByteArray &data)
{
    if (!definition)
        return false;
    // Read into a new object first, so that a text that is no definition leaves the
    // target untouched.
    const std::unique_ptr<ParameterDefinition> loaded(tryLoad(data));
    if (!loaded || loaded->isRecordParameterDefinition() != definition->isRecordParameterDefinition())
        return false;
    ParameterDefinitionPrivate::get(definition)->assignContent(*ParameterDefinitionPrivate::get(loaded.get()));
    return true;
}
