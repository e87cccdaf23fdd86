#pragma once

#include "BlockPropertiesDialog.h"

#include <QtCore/QObject>

class QDialogButtonBox;
class QLabel;

class BlockPropertiesDialogPrivate : public QObject
{
    Q_OBJECT

public:
    // What the dialog hosts; Unset until content is set.
    enum Mode { Unchecked = 0, Checked = 1, Unset = 2 };

    explicit BlockPropertiesDialogPrivate(BlockPropertiesDialog *q);

    // Stores the content and builds the frame; in Checked mode Ok follows the plausibility
    // of the support's values. Invokable, so that the checked frame can be driven without
    // the parameter view that normally asks for it.
    Q_INVOKABLE void setContent(QWidget *content, int contentMode, bool contentReadOnly);
    void buildFrame();

    bool readOnly = true;
    int mode = Unset;
    BlockPropertiesSupport *support = nullptr; // child of the dialog
    QWidget *content = nullptr;
    QLabel *statusLabel = nullptr; // child of the dialog
    QDialogButtonBox *buttonBox = nullptr;
    BlockPropertiesDialog *const q;

public slots:
    void updateValidityStatus(bool valid);
};
