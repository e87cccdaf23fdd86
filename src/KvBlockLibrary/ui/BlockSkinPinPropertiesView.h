#pragma once

#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/kvblocklibrary_export.h>
#include <KvDatatype/SimpleType.h>
#include <KvMultilingual/Text.h>

#include <QtWidgets/QWidget>

class BlockSkinPinPropertiesViewPrivate;

/*
 * The details pane of one pin: short name, multilingual name, function, data type and
 * position in its list. The pane holds no pin of its own: a BlockSkinPinList fills it
 * through the setters and makes a pin active; every edit the user then makes is announced
 * with the active pin's identifier, and the lists store it in their working copy. While no
 * pin is active (identifier 0) the pane shows an empty page and announces nothing.
 */
class KVBLOCKLIBRARY_EXPORT BlockSkinPinPropertiesView : public QWidget
{
    Q_OBJECT

public:
    explicit BlockSkinPinPropertiesView(QWidget *parent = nullptr);
    ~BlockSkinPinPropertiesView() override;

    // Shows the details page for a pin (empty page for 0) and emits activePinChanged().
    void setActivePin(qint32 identifier);
    qint32 activePin() const;

    // Program changes; none of them emits a change signal.
    void setShortName(const QString &shortName);
    // Multilingual display for a multilingual name, otherwise the name in language 2.
    void setName(const Text &name);
    void setFunction(int function);
    // An unknown code selects the entry of the unknown type, added for it on demand.
    void setDatatype(tSimpleType type);
    // The 1-based position; the maximum is set first so that the value is not clamped.
    void setPosition(int position, int maximum);
    void setReadOnly(bool readOnly);

    QString shortName() const;
    Text name() const;
    int function() const;
    tSimpleType datatype() const;

signals:
    // Emitted once per user edit while a pin is active, with the active pin's identifier;
    // forwarded from the private part.
    void shortNameChanged(qint32 identifier, QString value);
    void nameChanged(qint32 identifier, Text value);
    void functionTypeChanged(qint32 identifier, eBlockPinFunction value);
    void datatypeChanged(qint32 identifier, tSimpleType value);
    void positionChanged(qint32 identifier, int position);
    // Emitted by every setActivePin(), also for 0.
    void activePinChanged(qint32 identifier);
    // The user pressed "Löschen" while a pin was active.
    void deletePin(qint32 identifier);

private:
    friend class BlockSkinPinPropertiesViewPrivate;
    BlockSkinPinPropertiesViewPrivate *const d;
};
