#include "BlockParameterDescriptionView.h"
#include "BlockParameterDescriptionView_p.h"
#include "ui_BlockParameterDescriptionView.h"

#include "BlockDefinition.h"

#include <KvParameterDefinition/ParameterDefinition.h>

BlockParameterDescriptionViewPrivate::BlockParameterDescriptionViewPrivate(BlockParameterDescriptionView *q,
                                                                           BlockDefinition *definition,
                                                                           unsigned int family,
                                                                           unsigned int parameterNumber, bool readOnly)
    : QObject(q)
    , ui(new Ui::BlockParameterDescriptionView)
    , definition(definition)
    , family(family)
    , parameterNumber(parameterNumber)
    , readOnly(readOnly)
    , q(q)
{
    ui->setupUi(q);
}

BlockParameterDescriptionViewPrivate::~BlockParameterDescriptionViewPrivate()
{
    delete ui;
}

ParameterDefinition *BlockParameterDescriptionViewPrivate::parameter() const
{
    return definition ? definition->parameterDefinition(family, parameterNumber) : nullptr;
}

BlockParameterDescriptionView::BlockParameterDescriptionView(BlockDefinition *definition, unsigned int family,
                                                             unsigned int parameterNumber, bool readOnly,
                                                             QWidget *parent)
    : QWidget(parent)
    , d(new BlockParameterDescriptionViewPrivate(this, definition, family, parameterNumber, readOnly))
{
    setProperty("HelpId", QStringLiteral("BlockParameterDescriptionView"));
    updateView();
}

BlockParameterDescriptionView::~BlockParameterDescriptionView() = default;

void BlockParameterDescriptionView::updateView()
{
    ParameterDefinition *parameter = d->parameter();
    d->ui->descriptionLabel->setText(tr("Beschreibung Parameter %1").arg(d->parameterNumber));
    d->ui->descriptionEdit->setHtml(parameter ? parameter->descriptionText() : QString());
    // Without a parameter there is nothing the text could be written to.
    d->ui->descriptionEdit->setReadOnly(d->readOnly || !parameter);
}

void BlockParameterDescriptionView::updateBlockDefinition()
{
    ParameterDefinition *parameter = d->parameter();
    // An untouched description is kept as it is; the editor would rewrite its HTML.
    if (!parameter || d->readOnly || !d->ui->descriptionEdit->isModified())
        return;
    parameter->setDescriptionText(d->ui->descriptionEdit->html());
    // The parameter does not signal its own changes; the block definition announces them,
    // as the parameter properties page does after writing back.
    QMetaObject::invokeMethod(d->definition, "changed");
}
