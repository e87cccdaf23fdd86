#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>
#include <KvMultilingual/Text.h>

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QString>

class BlockLibrary;
class BlockLibraryContainerPrivate;
class FileStorageView;

/*
 * The base of every place that holds blocks: library files, the fallback container and the
 * local container of each block version. It owns one BlockLibrary for its whole life and
 * adds identity, a multilingual name, a type, a read-only flag, a modified flag and the
 * names of group segments.
 *
 * The type divides containers in two: below 255 a container is fixed (never modified, never
 * saved); from 255 on it is editable. setType() accepts only values from 256 on.
 */
class KVBLOCKLIBRARY_EXPORT BlockLibraryContainer : public QObject
{
    Q_OBJECT

public:
    explicit BlockLibraryContainer(QObject *parent = nullptr);
    ~BlockLibraryContainer() override;

    // The container's blocks; owned by the container.
    BlockLibrary *library() const;

    // Plain properties: no signal, no modified mark.
    virtual void setName(Text name);
    virtual void setReadOnly(bool readOnly);
    virtual void setIdentifier(const QString &identifier);
    // Ignores values below 256.
    virtual void setType(unsigned int type);
    virtual Text name();
    virtual bool readOnly() const;
    virtual QString identifier();
    virtual unsigned int type() const;
    virtual bool isLocalContainer() const = 0;
    // Asks whatever must be asked before the container closes; true when it may close.
    virtual bool prepareClose();
    // The user asked to save the container.
    virtual void saveRequested();

    // Always false for a fixed container.
    bool modified() const;
    // The group names read from the container's storage, by segment number.
    QHash<unsigned int, Text> groupNames() const;

public slots:
    // Empties name and library and resets read-only and type; marks modified without a signal.
    void clear();
    // For an editable container: marks it modified and emits modifiedChanged(true), also
    // when it was modified already. Does nothing for a fixed container.
    void setModified();

signals:
    // true from setModified() (every change of the library), false at the end of load and save.
    void modifiedChanged(bool value);
    // Forwarded from the library.
    void groupsChanged();

protected:
    BlockLibraryContainer(BlockLibraryContainerPrivate &dd, QObject *parent);

    // Reads "Info.ini", the group segments and the blocks below root. False when the
    // description is missing or of another kind, or when there is no "Blocks" storage.
    [[nodiscard]] bool load(FileStorageView *root);
    // Writes the blocks and "Info.ini" below root; an editable container only.
    void save(FileStorageView *root);

    BlockLibraryContainerPrivate *const d;

private:
    Q_DISABLE_COPY(BlockLibraryContainer)
};
