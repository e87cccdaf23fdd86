#include "BlockSkinPinPropertiesView.h"
#include "BlockSkinPinPropertiesView_p.h"
#include "ui_BlockSkinPinPropertiesView.h"

#include "NameEdits.h"
#include "ReadOnlyPresentation.h"

#include <KvDatatype/DatatypeProvider.h>

#include <QtWidgets/QLineEdit>

BlockSkinPinPropertiesViewPrivate::BlockSkinPinPropertiesViewPrivate(BlockSkinPinPropertiesView *q)
    : QObject(q)
    , ui(new Ui::BlockSkinPinPropertiesView)
    , q(q)
{
    ui->setupUi(q);
    ui->functionComboBox->addItem(BlockSkinPinPropertiesView::tr("Eingang"), int(eBlockPinFunctionInput));
    ui->functionComboBox->addItem(BlockSkinPinPropertiesView::tr("Ausgang"), int(eBlockPinFunctionOutput));
    // Only scalar types of a fixed size can flow between pins; addresses stay with system blocks.
    for (const SimpleType &type : DatatypeProvider::instance()->simpleTypeList()) {
        if (type.kind() < 4 && type.size() != 0 && type.code() != eSimpleTypeAddress)
            ui->datatypeComboBox->addItem(type.name(), int(type.code()));
    }
    ui->stackedWidget->setCurrentWidget(ui->emptyPage);
    nameProvider.setFormLayout(ui->formLayout, 1);

    connect(ui->shortNameEdit, &QLineEdit::textEdited, this, &BlockSkinPinPropertiesViewPrivate::onShortNameChanged);
    connect(&nameProvider, &TextWidgetProvider::modified, this, &BlockSkinPinPropertiesViewPrivate::onNameChanged);
    connect(ui->functionComboBox, &QComboBox::currentIndexChanged, this, &BlockSkinPinPropertiesViewPrivate::onFunctionTypeChanged);
    connect(ui->datatypeComboBox, &QComboBox::currentIndexChanged, this, &BlockSkinPinPropertiesViewPrivate::onDatatypeChanged);
    connect(ui->positionSpinBox, &QSpinBox::valueChanged, this, &BlockSkinPinPropertiesViewPrivate::onPositionChanged);
    connect(ui->deleteButton, &QPushButton::clicked, this, &BlockSkinPinPropertiesViewPrivate::deleteActivePin);

    connect(this, &BlockSkinPinPropertiesViewPrivate::shortNameChanged, q, &BlockSkinPinPropertiesView::shortNameChanged);
    connect(this, &BlockSkinPinPropertiesViewPrivate::nameChanged, q, &BlockSkinPinPropertiesView::nameChanged);
    connect(this, &BlockSkinPinPropertiesViewPrivate::functionTypeChanged, q, &BlockSkinPinPropertiesView::functionTypeChanged);
    connect(this, &BlockSkinPinPropertiesViewPrivate::datatypeChanged, q, &BlockSkinPinPropertiesView::datatypeChanged);
    connect(this, &BlockSkinPinPropertiesViewPrivate::positionChanged, q, &BlockSkinPinPropertiesView::positionChanged);
    connect(this, &BlockSkinPinPropertiesViewPrivate::activePinChanged, q, &BlockSkinPinPropertiesView::activePinChanged);
    connect(this, &BlockSkinPinPropertiesViewPrivate::deletePin, q, &BlockSkinPinPropertiesView::deletePin);
}

BlockSkinPinPropertiesViewPrivate::~BlockSkinPinPropertiesViewPrivate()
{
    delete ui;
}

QString BlockSkinPinPropertiesViewPrivate::nameLabel() const
{
    return BlockSkinPinPropertiesView::tr("Name");
}

void BlockSkinPinPropertiesViewPrivate::applyReadOnly()
{
    for (QWidget *widget : {static_cast<QWidget *>(ui->shortNameEdit), static_cast<QWidget *>(ui->positionSpinBox),
                            static_cast<QWidget *>(ui->functionComboBox), static_cast<QWidget *>(ui->datatypeComboBox),
                            static_cast<QWidget *>(ui->deleteButton)})
        ReadOnlyPresentation::apply(widget, readOnly);
    nameProvider.setReadOnly(readOnly);
    for (QLineEdit *edit : nameProvider.lineEdits())
        ReadOnlyPresentation::apply(edit, readOnly);
}

void BlockSkinPinPropertiesViewPrivate::onFunctionTypeChanged()
{
    if (activePin != 0)
        Q_EMIT functionTypeChanged(activePin, eBlockPinFunction(ui->functionComboBox->currentData().toInt()));
}

void BlockSkinPinPropertiesViewPrivate::onDatatypeChanged()
{
    if (activePin != 0)
        Q_EMIT datatypeChanged(activePin, tSimpleType(ui->datatypeComboBox->currentData().toInt()));
}

void BlockSkinPinPropertiesViewPrivate::onShortNameChanged()
{
    if (activePin != 0)
        Q_EMIT shortNameChanged(activePin, ui->shortNameEdit->text());
}

void BlockSkinPinPropertiesViewPrivate::onNameChanged()
{
    if (activePin != 0)
        Q_EMIT nameChanged(activePin, nameProvider.text(nameLabel()));
}

void BlockSkinPinPropertiesViewPrivate::onPositionChanged()
{
    if (activePin != 0)
        Q_EMIT positionChanged(activePin, ui->positionSpinBox->value());
}

void BlockSkinPinPropertiesViewPrivate::deleteActivePin()
{
    if (activePin != 0)
        Q_EMIT deletePin(activePin);
}

BlockSkinPinPropertiesView::BlockSkinPinPropertiesView(QWidget *parent)
    : QWidget(parent)
    , d(new BlockSkinPinPropertiesViewPrivate(this))
{
    setProperty("HelpId", QStringLiteral("BlockSkinPinPropertiesView"));
}

BlockSkinPinPropertiesView::~BlockSkinPinPropertiesView() = default;

void BlockSkinPinPropertiesView::setActivePin(qint32 identifier)
{
    d->activePin = identifier;
    d->ui->stackedWidget->setCurrentWidget(identifier != 0 ? d->ui->detailsPage : d->ui->emptyPage);
    Q_EMIT d->activePinChanged(identifier);
}

qint32 BlockSkinPinPropertiesView::activePin() const
{
    return d->activePin;
}

void BlockSkinPinPropertiesView::setShortName(const QString &shortName)
{
    d->ui->shortNameEdit->setText(shortName);
}

void BlockSkinPinPropertiesView::setName(const Text &name)
{
    NameEdits::show(d->nameProvider, d->nameLabel(), name);
    // The rows were built anew: give their edits the pane's read-only look.
    d->applyReadOnly();
}

void BlockSkinPinPropertiesView::setFunction(int function)
{
    d->ui->functionComboBox->setCurrentIndex(d->ui->functionComboBox->findData(function));
}

void BlockSkinPinPropertiesView::setDatatype(tSimpleType type)
{
    QComboBox *box = d->ui->datatypeComboBox;
    int index = box->findData(int(type));
    if (index < 0) {
        index = box->findData(int(eSimpleTypeUnknown));
        if (index < 0) {
            box->addItem(DatatypeProvider::instance()->simpleType(eSimpleTypeUnknown).name(), int(eSimpleTypeUnknown));
            index = box->count() - 1;
        }
    }
    box->setCurrentIndex(index);
}

void BlockSkinPinPropertiesView::setPosition(int position, int maximum)
{
    d->ui->positionSpinBox->setMaximum(maximum);
    d->ui->positionSpinBox->setValue(position);
}

void BlockSkinPinPropertiesView::setReadOnly(bool readOnly)
{
    d->readOnly = readOnly;
    d->applyReadOnly();
}

QString BlockSkinPinPropertiesView::shortName() const
{
    return d->ui->shortNameEdit->text();
}

Text BlockSkinPinPropertiesView::name() const
{
    return d->nameProvider.text(d->nameLabel());
}

int BlockSkinPinPropertiesView::function() const
{
    return d->ui->functionComboBox->currentData().toInt();
}

tSimpleType BlockSkinPinPropertiesView::datatype() const
{
    return tSimpleType(d->ui->datatypeComboBox->currentData().toInt());
}
