#pragma once

#include <KvCodeEditor/kvcodeeditor_export.h>

#include <QtCore/QObject>

/*!
 * The code of a block definition while the code editor works on it.
 *
 * The editor attaches one BlockCode to a definition and keeps the text under edit in it;
 * the definition calls the two invokable methods, by name, when it needs that text, and
 * listens to changed(). This base holds no text: its methods do nothing, so a definition
 * without an editor behaves as if the code were never opened. The code editor subclasses
 * it and overrides both methods.
 */
class KVCODEEDITOR_EXPORT BlockCode : public QObject
{
    Q_OBJECT

public:
    explicit BlockCode(QObject *parent = nullptr);
    ~BlockCode() override;

    /*!
     * Writes the text under edit into the definition's code text, so that saving the
     * definition stores what the user sees. Called synchronously before the definition is
     * saved. Does nothing here.
     */
    Q_INVOKABLE virtual void save();
    /*!
     * Brings the definition's code text up to date for computing its comparison value,
     * without marking the edit as saved. Does nothing here.
     */
    Q_INVOKABLE virtual void updateDefinitionCodeTextForCompareCrc();

Q_SIGNALS:
    /*! Emitted by subclasses whenever the text under edit changes; once per change. */
    void changed();
};
