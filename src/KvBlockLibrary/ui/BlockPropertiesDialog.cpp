#include "BlockPropertiesDialog.h"
#include "BlockPropertiesDialog_p.h"

#include "BlockPropertiesSupport.h"
#include "PlausibilityEvaluator.h"

#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <utility>

BlockPropertiesDialogPrivate::BlockPropertiesDialogPrivate(BlockPropertiesDialog *q)
    : QObject(q)
    , q(q)
{
}

void BlockPropertiesDialogPrivate::setContent(QWidget *newContent, int contentMode, bool contentReadOnly)
{
    content = newContent;
    readOnly = contentReadOnly;
    mode = contentMode;
    buildFrame();
}

void BlockPropertiesDialogPrivate::buildFrame()
{
    auto *layout = new QVBoxLayout;
    buttonBox = new QDialogButtonBox(readOnly ? QDialogButtonBox::Close : QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    // The standard buttons would speak the language of whatever Qt translation is loaded;
    // the dialog's texts are German throughout.
    const std::pair<QDialogButtonBox::StandardButton, QString> texts[] = {
        {QDialogButtonBox::Ok, BlockPropertiesDialog::tr("OK")},
        {QDialogButtonBox::Cancel, BlockPropertiesDialog::tr("Abbrechen")},
        {QDialogButtonBox::Close, BlockPropertiesDialog::tr("Schließen")},
    };
    for (const auto &[button, text] : texts) {
        if (QPushButton *shown = buttonBox->button(button))
            shown->setText(text);
    }
    if (mode == Checked) {
        if (QPushButton *ok = buttonBox->button(QDialogButtonBox::Ok))
            ok->setEnabled(false);
    }
    q->setLayout(layout);
    layout->setContentsMargins(0, 0, 0, 6);
    layout->addWidget(content);
    layout->addWidget(statusLabel);
    layout->addWidget(buttonBox);
    buttonBox->setCenterButtons(true);
    statusLabel->setAlignment(Qt::AlignHCenter);
    // An empty status line takes no room from the content.
    statusLabel->setVisible(!statusLabel->text().isEmpty());
    connect(buttonBox, &QDialogButtonBox::accepted, q, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, q, &QDialog::reject);
    if (mode == Checked)
        support->checkPlausibility();
}

void BlockPropertiesDialogPrivate::updateValidityStatus(bool valid)
{
    QPushButton *ok = buttonBox ? buttonBox->button(QDialogButtonBox::Ok) : nullptr;
    if (!ok || mode != Checked)
        return;
    ok->setEnabled(valid);
    statusLabel->setText(valid ? QString() : support->evaluator()->lastMessage());
    statusLabel->setVisible(!statusLabel->text().isEmpty());
}

BlockPropertiesDialog::BlockPropertiesDialog(QWidget *parent)
    : QDialog(parent)
    , d(new BlockPropertiesDialogPrivate(this))
{
    d->support = new BlockPropertiesSupport(this);
    d->statusLabel = new QLabel(this);
    d->statusLabel->setObjectName(QStringLiteral("statusLabel"));
    d->statusLabel->setWordWrap(true);
    d->statusLabel->setStyleSheet(QStringLiteral("color: #b00000;"));
    connect(d->support, SIGNAL(plausibilityChanged(bool)), d, SLOT(updateValidityStatus(bool)));
}

BlockPropertiesDialog::~BlockPropertiesDialog() = default;

void BlockPropertiesDialog::setContent(QWidget *content, bool readOnly)
{
    d->setContent(content, BlockPropertiesDialogPrivate::Unchecked, readOnly);
}

BlockPropertiesSupport *BlockPropertiesDialog::support() const
{
    return d->support;
}
