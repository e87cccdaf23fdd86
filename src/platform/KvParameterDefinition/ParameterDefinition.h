#pragma once

#include <KvParameterDefinition/ParameterCoordinate.h>
#include <KvParameterDefinition/kvparameterdefinition_export.h>

#include <KvMultilingual/ParameterText.h>

#include <QtCore/QList>
#include <QtCore/QString>

class IParameterElementSetup;
class ParameterDefinitionPrivate;
class QObject;
class RecordParameterDefinition;
class SimpleParameterDefinition;

/*!
 * The definition of one drive parameter: its name, where it sits in the drive's tables
 * (default coordinates), whether it is global or exists once per axis, a description, and
 * its elements with their setups and default values.
 *
 * A definition is either simple (SimpleParameterDefinition: one value, or an array of
 * equal elements that share one setup) or a record (RecordParameterDefinition: elements
 * with names and setups of their own). The kind of an object never changes; convert()
 * and convert(unsigned short) make a new definition of the other kind.
 *
 * Beside its content a definition knows where it lives: an owner (the object that holds
 * it, typically a block) and a version (the version of that holder). Neither is part of
 * the stored text (ParameterDefinitionSaver); both are copied by createClone() and the
 * conversions and kept by ParameterDefinitionLoader::loadParameterDefinition().
 *
 * Definitions are not copyable; use createClone(). Use them from one thread at a time.
 */
class KVPARAMETERDEFINITION_EXPORT ParameterDefinition
{
public:
    /*! No drive parameter has more elements; more in a stored text is damage, not data. */
    static constexpr unsigned short MaxElementCount = 16000;
    /*! A parameter is reachable under a handful of coordinates; more is damage, not data. */
    static constexpr int MaxCoordinateCount = 32;

    virtual ~ParameterDefinition();

    /*!
     * A deep copy of \a definition: same kind, content, owner and version, sharing nothing
     * that a change to one could reach in the other. The caller owns the copy. Null for a
     * null \a definition.
     */
    [[nodiscard]] static ParameterDefinition *createClone(ParameterDefinition *definition);

    bool isSimpleParameterDefinition() const;
    bool isRecordParameterDefinition() const;
    /*! This definition as a simple one; null when it is a record. Not a new object. */
    SimpleParameterDefinition *querySimpleParameterDefinition();
    const SimpleParameterDefinition *querySimpleParameterDefinition() const;
    /*! This definition as a record; null when it is simple. Not a new object. */
    RecordParameterDefinition *queryRecordParameterDefinition();
    const RecordParameterDefinition *queryRecordParameterDefinition() const;

    /*! The number of elements: at least 1 for a simple definition, 0 or more for a record. */
    virtual unsigned short elementCount() const = 0;
    /*!
     * The setup of \a element, owned by this definition (see IParameterElementSetup); null
     * when there is no such element. All elements of a simple definition share one setup.
     */
    virtual IParameterElementSetup *queryElementSetup(unsigned short element) = 0;

    /*! The default value of \a element as text; empty when there is no such element. */
    QString elementDefaultValue(unsigned short element) const;
    /*! Sets the default value of \a element; returns false, changing nothing, when there
        is no such element. */
    bool setElementDefaultValue(unsigned short element, const QString &value);

    /*!
     * A new record made from this definition; the caller owns it, this one is unchanged.
     * From a simple definition of n elements: n record elements, each with a copy of the
     * shared setup, its own default value and an empty name. From a record: a copy.
     * Name, coordinates, global flag, description, owner and version are copied.
     */
    [[nodiscard]] RecordParameterDefinition *convert() const;
    /*!
     * A new simple definition of one element made from \a element of this definition; the
     * caller owns it, this one is unchanged. The element's setup is copied and its default
     * value becomes the default value; a record element's name is dropped. Name,
     * coordinates, global flag, description, owner and version are copied. Null when there
     * is no such element (so always for an empty record).
     */
    [[nodiscard]] SimpleParameterDefinition *convert(unsigned short element) const;

    /*! The parameter's short and long name. */
    ParameterText name() const;
    void setName(const ParameterText &name);

    /*! The coordinates the parameter has unless a drive configuration moves it; all valid. */
    QList<ParameterCoordinate> defaultCoordinates() const;
    /*!
     * Replaces the default coordinates by the valid ones of \a coordinates, in their order,
     * keeping at most MaxCoordinateCount; invalid coordinates are dropped.
     */
    void setDefaultCoordinates(const QList<ParameterCoordinate> &coordinates);

    /*! Whether the parameter exists once per drive (true) or once per axis (false). */
    bool isGlobalParameter() const;
    void setGlobalParameter(bool global);

    /*! The description shown to users, as HTML; kept exactly as set. */
    QString descriptionText() const;
    void setDescriptionText(const QString &text);

    /*! The object that holds this definition; not owned. Reads null once it is destroyed. */
    QObject *owner() const;
    void setOwner(QObject *owner);

    /*! The version of the holder this definition belongs to; 0 until set. */
    unsigned int version() const;
    void setVersion(unsigned int version);

protected:
    explicit ParameterDefinition(ParameterDefinitionPrivate &dd);

    ParameterDefinitionPrivate *const d;

private:
    friend class ParameterDefinitionPrivate;
    Q_DISABLE_COPY_MOVE(ParameterDefinition)
};
