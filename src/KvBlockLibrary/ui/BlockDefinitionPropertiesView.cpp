#include "BlockDefinitionPropertiesView.h"
#include "BlockDefinitionPropertiesView_p.h"
#include "ui_BlockDefinitionPropertiesView.h"

#include "Block.h"
#include "BlockDefinition.h"
#include "NameEdits.h"
#include "ReadOnlyPresentation.h"

#include <KvMultilingual/LanguageManager.h>
#include <KvSystem/System.h>

#include <QtCore/QSignalBlocker>

namespace {
// The name edits go under the short name.
constexpr int NameRow = 3;
} // namespace

BlockDefinitionPropertiesViewPrivate::BlockDefinitionPropertiesViewPrivate(BlockDefinitionPropertiesView *q)
    : QObject(q)
    , ui(new Ui::BlockDefinitionPropertiesView)
    , q(q)
{
    ui->setupUi(q);
    ui->inputPinList->setPinFunction(1);
    ui->outputPinList->setPinFunction(2);
    ui->inputPinList->setPropertiesView(ui->pinDetailsWidget);
    ui->outputPinList->setPropertiesView(ui->pinDetailsWidget);

    connect(ui->newInputButton, SIGNAL(clicked()), ui->inputPinList, SLOT(createNewPin()));
    connect(ui->newOutputButton, SIGNAL(clicked()), ui->outputPinList, SLOT(createNewPin()));
    // Both lists draw new identifiers from one running counter.
    connect(ui->inputPinList, SIGNAL(nextNewPinIdentifierChanged(qint32)), ui->outputPinList,
            SLOT(setNextNewPinIdentifier(qint32)));
    connect(ui->outputPinList, SIGNAL(nextNewPinIdentifierChanged(qint32)), ui->inputPinList,
            SLOT(setNextNewPinIdentifier(qint32)));
    connect(ui->lingualComboBox, SIGNAL(currentIndexChanged(int)), q, SLOT(lingualChanged(int)));
}

BlockDefinitionPropertiesViewPrivate::~BlockDefinitionPropertiesViewPrivate()
{
    delete ui;
}

QString BlockDefinitionPropertiesViewPrivate::nameLabel() const
{
    return BlockDefinitionPropertiesView::tr("Name");
}

void BlockDefinitionPropertiesViewPrivate::fillAccessLevels()
{
    ui->levelReadComboBox->clear();
    ui->levelWriteComboBox->clear();
    System *system = System::instance();
    const unsigned int user = system->currentAccessLevel();
    const unsigned int read = definition->accessLevelRead();
    const unsigned int write = definition->accessLevelWrite();
    // A user picks levels up to his own; a higher level set already stays visible.
    for (unsigned int level : system->accessLevels()) {
        if (level <= user || level <= read)
            ui->levelReadComboBox->addItem(system->accessLevelName(level), level);
        if (level <= user || level <= write)
            ui->levelWriteComboBox->addItem(system->accessLevelName(level), level);
    }
    // Levels are numbered 0, 1, 2, ... so that a level doubles as its row.
    ui->levelReadComboBox->setCurrentIndex(int(read));
    ui->levelWriteComboBox->setCurrentIndex(int(write));
}

void BlockDefinitionPropertiesViewPrivate::applyReadOnly()
{
    for (QWidget *field : {ui->typeEdit, ui->numberEdit, ui->versionEdit})
        ReadOnlyPresentation::apply(field, true);
    for (QWidget *field : std::initializer_list<QWidget *>{ui->shortNameEdit, ui->levelReadComboBox, ui->levelWriteComboBox,
                                                           ui->lingualComboBox, ui->newInputButton, ui->newOutputButton})
        ReadOnlyPresentation::apply(field, readOnly);
    nameProvider.setReadOnly(readOnly);
    for (QLineEdit *edit : nameProvider.lineEdits())
        ReadOnlyPresentation::apply(edit, readOnly);
    ui->pinDetailsWidget->setReadOnly(readOnly);
    ui->inputPinList->setReadOnly(readOnly);
    ui->outputPinList->setReadOnly(readOnly);
}

void BlockDefinitionPropertiesViewPrivate::placeNameEditsInTabOrder()
{
    QWidget *previous = ui->shortNameEdit;
    for (QLineEdit *edit : nameProvider.lineEdits()) {
        QWidget::setTabOrder(previous, edit);
        previous = edit;
    }
}

BlockDefinitionPropertiesView::BlockDefinitionPropertiesView(QWidget *parent)
    : QWidget(parent)
    , d(new BlockDefinitionPropertiesViewPrivate(this))
{
    setProperty("HelpId", QStringLiteral("BlockDefinitionPropertiesView"));
}

BlockDefinitionPropertiesView::~BlockDefinitionPropertiesView() = default;

void BlockDefinitionPropertiesView::setBlockDefinition(BlockDefinition *definition)
{
    d->definition = definition;
    d->block = definition ? definition->block() : nullptr;
    updateView();
}

void BlockDefinitionPropertiesView::setReadOnly(bool readOnly)
{
    d->readOnly = readOnly;
    updateView();
}

void BlockDefinitionPropertiesView::updateView()
{
    d->applyReadOnly();
    if (!d->definition || !d->block)
        return;
    Ui::BlockDefinitionPropertiesView *ui = d->ui;
    Block *block = d->block;

    d->fillAccessLevels();

    // A local block may be a user block too: the local test comes first.
    if (block->isLocalBlock())
        ui->typeEdit->setText(tr("Lokale Bausteindefinition"));
    else if (block->isStandardBlock() || block->isSystemBlock())
        ui->typeEdit->setText(tr("VELMAR Baustein"));
    else if (block->isFallbackBlock())
        ui->typeEdit->setText(tr("Fallback-Baustein"));
    else if (block->isUserBlock())
        ui->typeEdit->setText(tr("Benutzerbaustein"));
    else
        ui->typeEdit->clear();

    if (block->isUserBlock())
        ui->numberEdit->setText(block->identifier());
    else if (block->isStandardBlock())
        ui->numberEdit->setText(QString::number(block->standardBlockNumber()));
    else if (block->isSystemBlock())
        ui->numberEdit->setText(QString::number(block->systemBlockNumber()));
    else
        ui->numberEdit->clear();

    ui->inputPinList->setBlockDefinition(d->definition);
    ui->outputPinList->setBlockDefinition(d->definition);
    ui->inputPinList->updateView();
    ui->outputPinList->updateView();

    ui->versionEdit->setText(QString::number(d->definition->version()));
    ui->shortNameEdit->setText(block->shortName());

    const Text name = block->name();
    ui->lingualComboBox->setCurrentIndex(name.isMonolingual() ? 0 : 1);

    d->nameProvider.setFormLayout(ui->formLayout, NameRow);
    NameEdits::show(d->nameProvider, d->nameLabel(), name);
    d->placeNameEditsInTabOrder();
    d->applyReadOnly();
}

void BlockDefinitionPropertiesView::updateBlockDefinition()
{
    if (!d->definition || !d->block)
        return;
    d->block->setShortName(d->ui->shortNameEdit->text());
    d->block->setName(d->nameProvider.text(d->nameLabel()));
    // A level that had no row (a gap in the level list) stays as it was.
    if (d->ui->levelReadComboBox->currentIndex() >= 0)
        d->definition->setAccessLevelRead(unsigned(d->ui->levelReadComboBox->currentIndex()));
    if (d->ui->levelWriteComboBox->currentIndex() >= 0)
        d->definition->setAccessLevelWrite(unsigned(d->ui->levelWriteComboBox->currentIndex()));
    d->ui->inputPinList->updateBlockDefinition();
    d->ui->outputPinList->updateBlockDefinition();
}

void BlockDefinitionPropertiesView::lingualChanged(int index)
{
    if (index == 1) {
        d->nameProvider.setMultilingual();
        d->ui->inputPinList->convertToMultilingual();
        d->ui->outputPinList->convertToMultilingual();
    } else {
        const unsigned int language = LanguageManager::instance()->askForMonolingualLanguage(this);
        if (language == LanguageManager::Cancelled) {
            // Back to what the names still are, without converting anything.
            const QSignalBlocker blocker(d->ui->lingualComboBox);
            d->ui->lingualComboBox->setCurrentIndex(1);
            return;
        }
        d->nameProvider.setMonolingual(int(language));
        d->ui->inputPinList->convertToMonolingual(int(language));
        d->ui->outputPinList->convertToMonolingual(int(language));
    }
    d->placeNameEditsInTabOrder();
    d->applyReadOnly();
}
