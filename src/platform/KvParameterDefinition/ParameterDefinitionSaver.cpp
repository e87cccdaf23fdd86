#include "ParameterDefinitionSaver.h"

#include "ParameterDefinitionFormat_p.h"

#include "ParameterDefinition.h"

QByteArray ParameterDefinitionSaver::saveParameterDefinition(ParameterDefinition *definition)
{
    return definition ? ParameterDefinitionFormat::save(*definition) : QByteArray();
}
