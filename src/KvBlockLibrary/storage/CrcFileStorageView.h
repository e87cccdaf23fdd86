#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>
#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QHash>

/*
 * An in-memory storage whose only purpose is the comparison value of a block version: the
 * ordinary save code writes into it, and canonicalText() turns what was written into one
 * text that depends only on names and contents, never on the order of writing. Storages
 * named "Images" are left out, so that images never change the value.
 *
 * Child views belong to their parent view.
 */
class KVBLOCKLIBRARY_EXPORT CrcFileStorageView : public FileStorageView
{
    Q_OBJECT

public:
    explicit CrcFileStorageView(CrcFileStorageView *parent);
    ~CrcFileStorageView() override;

    bool isReadOnly() const override;   // false
    void clear() override;
    QString name() const override;       // empty
    QString path() const override;       // empty
    QStringList streamNames() const override;
    QStringList storageNames() const override;
    void writeStream(const QString &name, const QByteArray &data) override;
    QByteArray readStream(const QString &name) const override;
    FileStorageView *storage(const QString &name) override;
    QByteArray toByteArray() const override;             // empty
    bool fromByteArray(const QByteArray &data) override; // false
    void removeStream(const QString &name) override;     // does nothing

    // Streams sorted by name, then sub-storages sorted by name, recursively; see the
    // comparison value for the exact bytes.
    QByteArray canonicalText() const;
    // CRC-32 of canonicalText().
    unsigned int checksum() const;

private:
    QHash<QString, QByteArray> m_streams;
    QHash<QString, CrcFileStorageView *> m_storages;
};
