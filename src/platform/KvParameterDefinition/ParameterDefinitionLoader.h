#pragma once

#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <QtCore/QByteArray>

class ParameterDefinition;

/*!
 * Makes parameter definitions from their stored text, as ParameterDefinitionSaver writes
 * it. Any bytes are safe to pass: text that is not a definition of this module's format
 * (another kind or format version, a missing or unknown key or section, a bad number or
 * escape, inconsistent element counts, more elements or coordinates than
 * ParameterDefinition allows) gives null or false, never an exception. Memory and time
 * grow linearly with the text.
 */
class KVPARAMETERDEFINITION_EXPORT ParameterDefinitionLoader
{
public:
    ParameterDefinitionLoader() = delete;

    /*!
     * A new definition of the kind the text states; the caller owns it. Its owner is null
     * and its version 0. Null when \a data is not a definition.
     */
    [[nodiscard]] static ParameterDefinition *createAndLoadParameterDefinition(const QByteArray &data);

    /*!
     * Replaces the content of \a definition (name, coordinates, global flag, description,
     * elements with setups, names and default values) by what \a data holds, keeping its
     * owner and version; setups handed out before become invalid. The kind of an object
     * cannot change: when \a data holds a definition of the other kind, or is no definition
     * at all, or \a definition is null, this returns false and changes nothing. To take over
     * a text of either kind, replace the object with createAndLoadParameterDefinition().
     */
    [[nodiscard]] static bool loadParameterDefinition(ParameterDefinition *definition, const QByteArray &data);
};
