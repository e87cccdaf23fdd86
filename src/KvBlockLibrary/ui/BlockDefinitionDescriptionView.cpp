#include "BlockDefinitionDescriptionView.h"
#include "BlockDefinitionDescriptionView_p.h"
#include "ui_BlockDefinitionDescriptionView.h"

#include "Block.h"
#include "BlockDefinition.h"

BlockDefinitionDescriptionViewPrivate::BlockDefinitionDescriptionViewPrivate(BlockDefinitionDescriptionView *q,
                                                                             BlockDefinition *definition, bool readOnly)
    : QObject(q)
    , ui(new Ui::BlockDefinitionDescriptionView)
    , definition(definition)
    , readOnly(readOnly)
    , q(q)
{
    ui->setupUi(q);
}

BlockDefinitionDescriptionViewPrivate::~BlockDefinitionDescriptionViewPrivate()
{
    delete ui;
}

QString BlockDefinitionDescriptionViewPrivate::historyHtml() const
{
    Block *block = definition->block();
    QString html;
    const QList<unsigned int> versions = block ? block->versions() : QList<unsigned int>{};
    for (unsigned int version : versions) {
        if (version == definition->version())
            continue;
        html += QStringLiteral("<h4>%1</h4>").arg(BlockDefinitionDescriptionView::tr("Version %1").arg(version));
        html += QString::fromUtf8(block->blockDefinition(version)->descriptionText());
    }
    return html;
}

BlockDefinitionDescriptionView::BlockDefinitionDescriptionView(BlockDefinition *definition, bool readOnly, QWidget *parent)
    : QWidget(parent)
    , d(new BlockDefinitionDescriptionViewPrivate(this, definition, readOnly))
{
    setProperty("HelpId", QStringLiteral("BlockDefinitionDescriptionView"));
    updateView();
}

BlockDefinitionDescriptionView::~BlockDefinitionDescriptionView() = default;

void BlockDefinitionDescriptionView::updateView()
{
    if (!d->definition)
        return;
    d->ui->historyBrowser->setHtml(d->historyHtml());
    d->ui->descriptionLabel->setText(tr("Beschreibung Version %1").arg(d->definition->version()));
    d->ui->descriptionEdit->setHtml(QString::fromUtf8(d->definition->descriptionText()));
    d->ui->descriptionEdit->setReadOnly(d->readOnly);
}

void BlockDefinitionDescriptionView::updateBlockDefinition()
{
    // An untouched description is kept byte for byte; the editor would rewrite its HTML.
    if (!d->definition || d->readOnly || !d->ui->descriptionEdit->isModified())
        return;
    d->definition->setDescriptionText(d->ui->descriptionEdit->html().toUtf8());
}
