#pragma once

#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <QtCore/QByteArray>

class ParameterDefinition;

/*!
 * Writes the stored text of a parameter definition: a typed INI stream of kind
 * "parameterdefinition", format version 0, in UTF-8 with a leading byte order mark line
 * and CRLF line ends. The text holds the whole content, so that ParameterDefinitionLoader
 * gives back an equal definition whose text is byte for byte the same; owner and version
 * are not part of it. Equal definitions give equal texts.
 */
class KVPARAMETERDEFINITION_EXPORT ParameterDefinitionSaver
{
public:
    ParameterDefinitionSaver() = delete;

    /*! The stored text of \a definition; empty for a null \a definition. */
    static QByteArray saveParameterDefinition(ParameterDefinition *definition);
};
