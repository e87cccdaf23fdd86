#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtWidgets/QDialog>

class BlockPropertiesDialogPrivate;
class BlockPropertiesSupport;

/*
 * The modal frame around one block definition's properties: the hosted content widget, a
 * status line for plausibility messages and the dialog buttons (Close when read-only,
 * otherwise Ok and Cancel). The content is set once; the frame is built at that moment.
 * The hosted views write their edits back themselves, connected to accepted().
 */
class KVBLOCKLIBRARY_EXPORT BlockPropertiesDialog : public QDialog
{
    Q_OBJECT

public:
    explicit BlockPropertiesDialog(QWidget *parent = nullptr);
    ~BlockPropertiesDialog() override;

    // Hosts content (the dialog takes ownership) without plausibility checking: Ok is
    // always enabled and the status line stays empty.
    void setContent(QWidget *content, bool readOnly);

    // Owned by the dialog; lives as long as the dialog.
    BlockPropertiesSupport *support() const;

private:
    friend class BlockPropertiesDialogPrivate;
    BlockPropertiesDialogPrivate *const d;
};
