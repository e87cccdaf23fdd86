#include "BlockSkinPinList.h"
#include "BlockSkinPinList_p.h"

#include "BlockDefinition.h"
#include "BlockSkin.h"
#include "BlockSkinPinPropertiesView.h"

#include <KvDatatype/DatatypeProvider.h>

#include <QtCore/QSet>
#include <QtGui/QIcon>
#include <QtWidgets/QHeaderView>

#include <utility>

namespace {
// The language a new pin's name is made in.
constexpr int NewPinLanguage = 1;
} // namespace

BlockSkinPinListPrivate::BlockSkinPinListPrivate(BlockSkinPinList *q)
    : QObject(q)
    , q(q)
{
    QAbstractItemModel *rows = q->model();
    connect(rows, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex &parent, int first, int last) {
        if (!parent.isValid())
            indexRows(first, last);
    });
    connect(rows, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex &parent, int first, int last) {
                if (!parent.isValid())
                    unindexRows(first, last);
            });
    connect(rows, &QAbstractItemModel::modelReset, this, &BlockSkinPinListPrivate::reindex);
}

QTreeWidgetItem *BlockSkinPinListPrivate::item(qint32 identifier, bool create)
{
    if (QTreeWidgetItem *found = itemsByIdentifier.value(identifier))
        return found;
    if (!create)
        return nullptr;
    auto *created = new QTreeWidgetItem;
    created->setData(ShortNameColumn, IdentifierRole, identifier);
    created->setData(PositionColumn, Qt::DisplayRole, identifier);
    created->setIcon(ShortNameColumn, inactiveIcon);
    q->addTopLevelItem(created);
    if (filling)
        scrollPending = true;
    else
        q->scrollToBottom();
    return created;
}

void BlockSkinPinListPrivate::resumeSorting()
{
    q->setSortingEnabled(true);
    // The header reserves room for the sort arrow in every column; without the arrow all
    // three headings fit into the narrow list.
    q->header()->setSortIndicatorShown(false);
}

void BlockSkinPinListPrivate::indexRows(int first, int last)
{
    // The list never holds two items of one identifier: item() creates only what it cannot find.
    for (int row = first; row <= last; ++row) {
        QTreeWidgetItem *added = q->topLevelItem(row);
        const qint32 identifier = added->data(ShortNameColumn, IdentifierRole).toInt();
        if (!itemsByIdentifier.contains(identifier))
            itemsByIdentifier.insert(identifier, added);
    }
}

void BlockSkinPinListPrivate::unindexRows(int first, int last)
{
    for (int row = first; row <= last; ++row) {
        QTreeWidgetItem *leaving = q->topLevelItem(row);
        const qint32 identifier = leaving->data(ShortNameColumn, IdentifierRole).toInt();
        if (itemsByIdentifier.value(identifier) == leaving)
            itemsByIdentifier.remove(identifier);
    }
}

void BlockSkinPinListPrivate::reindex()
{
    itemsByIdentifier.clear();
    if (q->topLevelItemCount() > 0)
        indexRows(0, q->topLevelItemCount() - 1);
}

void BlockSkinPinListPrivate::setShortName(QTreeWidgetItem *item, const QString &shortName)
{
    item->setData(ShortNameColumn, ShortNameRole, shortName);
    item->setText(ShortNameColumn, shortName);
}

void BlockSkinPinListPrivate::setDatatype(QTreeWidgetItem *item, tSimpleType type)
{
    item->setData(ShortNameColumn, DatatypeRole, int(type));
    item->setText(DatatypeColumn, DatatypeProvider::instance()->simpleType(type).shortName());
}

void BlockSkinPinListPrivate::renumber()
{
    for (int i = 0; i < q->topLevelItemCount(); ++i) {
        QTreeWidgetItem *each = q->topLevelItem(i);
        each->setData(PositionColumn, Qt::DisplayRole,
                      int(pinOrder.indexOf(each->data(ShortNameColumn, IdentifierRole).toInt())));
    }
}

BlockSkinPinList::BlockSkinPinList(QWidget *parent)
    : QTreeWidget(parent)
    , d(new BlockSkinPinListPrivate(this))
{
    qRegisterMetaType<Text>("Text");
}

BlockSkinPinList::~BlockSkinPinList()
{
    // The rows are deleted with the model after this list has stopped being one; their
    // removal must not reach the index any more.
    model()->disconnect(d);
}

void BlockSkinPinList::setPinFunction(int function)
{
    d->pinFunction = function;
    setHeaderLabels({tr("Kurzname"), tr("Datentyp"), tr("Reihenfolge")});
    setRootIsDecorated(false);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setAlternatingRowColors(true);
    // The lists are narrow: the short name takes what the type and the position leave, so
    // that all three columns stay in view without a horizontal scroll bar. Only the rows in
    // view are measured, however many pins there are.
    header()->setStretchLastSection(false);
    header()->setResizeContentsPrecision(0);
    header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    header()->setSectionResizeMode(BlockSkinPinListPrivate::ShortNameColumn, QHeaderView::Stretch);
    d->resumeSorting();
    sortByColumn(BlockSkinPinListPrivate::PositionColumn, Qt::AscendingOrder);
    connect(this, &QTreeWidget::currentItemChanged, this, &BlockSkinPinList::showCurrentItemProperties,
            Qt::UniqueConnection);
}

void BlockSkinPinList::setBlockDefinition(BlockDefinition *definition)
{
    d->definition = definition;
    updateView();
}

void BlockSkinPinList::setPropertiesView(BlockSkinPinPropertiesView *view)
{
    d->propertiesView = view;
    if (!view)
        return;
    connect(view, &BlockSkinPinPropertiesView::shortNameChanged, this, &BlockSkinPinList::onShortNameChanged);
    connect(view, &BlockSkinPinPropertiesView::nameChanged, this, &BlockSkinPinList::onNameChanged);
    connect(view, &BlockSkinPinPropertiesView::functionTypeChanged, this, &BlockSkinPinList::onFunctionTypeChanged);
    connect(view, &BlockSkinPinPropertiesView::datatypeChanged, this, &BlockSkinPinList::onDatatypeChanged);
    connect(view, &BlockSkinPinPropertiesView::positionChanged, this, &BlockSkinPinList::onPositionChanged);
    connect(view, &BlockSkinPinPropertiesView::activePinChanged, this, &BlockSkinPinList::setItemPinIsActive);
    connect(view, &BlockSkinPinPropertiesView::deletePin, this, &BlockSkinPinList::deletePin);
}

void BlockSkinPinList::updateView()
{
    if (!d->definition)
        return;
    BlockSkin *skin = d->definition->defaultSkin();
    // The drawn order: the stored one, or the definition's own when none is stored.
    QList<int> order = d->pinFunction == eBlockPinFunctionInput ? skin->inputPins() : skin->outputPins();
    order.removeOne(-1);
    d->pinOrder = QList<qint32>{0} + order;

    // A list that gains rows or whose rows move is sorted once at the end instead of row by
    // row; the positions are distinct, so the order comes out the same. A list that stays
    // as it is keeps its sorting and is not sorted again.
    const bool sorting = isSortingEnabled();
    d->filling = true;

    for (int i = 1; i < d->pinOrder.size(); ++i) {
        const qint32 identifier = d->pinOrder.at(i);
        QTreeWidgetItem *item = d->item(identifier);
        if (sorting && isSortingEnabled()
            && (!item || item->data(BlockSkinPinListPrivate::PositionColumn, Qt::DisplayRole).toInt() != i))
            setSortingEnabled(false);
        if (!item)
            item = d->item(identifier, true);
        // An order may name a pin the definition lacks: its item stays without pin data.
        if (BlockPin *pin = d->definition->pin(identifier)) {
            item->setData(0, BlockSkinPinListPrivate::FunctionRole, int(pin->function()));
            d->setDatatype(item, pin->datatype());
            d->setShortName(item, pin->shortName());
            item->setData(0, BlockSkinPinListPrivate::NameRole, QVariant::fromValue(pin->name()));
        }
        item->setData(BlockSkinPinListPrivate::PositionColumn, Qt::DisplayRole, i);
    }
    const QSet<qint32> ordered(d->pinOrder.cbegin(), d->pinOrder.cend());
    for (int i = topLevelItemCount() - 1; i >= 0; --i) {
        const qint32 identifier = topLevelItem(i)->data(0, BlockSkinPinListPrivate::IdentifierRole).toInt();
        if (identifier != 0 && !ordered.contains(identifier))
            delete takeTopLevelItem(i);
    }
    if (sorting && !isSortingEnabled())
        d->resumeSorting();
    d->filling = false;
    if (std::exchange(d->scrollPending, false))
        scrollToBottom();
    // A new pin must not take a number the definition or this order uses already.
    QList<int> taken = d->definition->pins() + d->pinOrder;
    for (int number : taken)
        d->nextNewPinIdentifier = qMax(d->nextNewPinIdentifier, number + 1);
    setItemPinIsActive(0);
}

void BlockSkinPinList::updateBlockDefinition()
{
    if (!d->definition)
        return;
    QList<int> held;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem *item = topLevelItem(i);
        const qint32 identifier = item->data(0, BlockSkinPinListPrivate::IdentifierRole).toInt();
        held.append(identifier);
        BlockPin *pin = d->definition->pin(identifier);
        if (!pin)
            pin = d->definition->createPin(identifier);
        if (!pin)
            continue;
        pin->setFunction(eBlockPinFunction(item->data(0, BlockSkinPinListPrivate::FunctionRole).toInt()));
        pin->setShortName(item->data(0, BlockSkinPinListPrivate::ShortNameRole).toString());
        pin->setSimpleType(tSimpleType(item->data(0, BlockSkinPinListPrivate::DatatypeRole).toInt()));
        pin->setName(item->data(0, BlockSkinPinListPrivate::NameRole).value<Text>());
    }

    QList<int> existing = d->definition->pins();
    existing.removeOne(-1);
    for (int identifier : existing) {
        BlockPin *pin = d->definition->pin(identifier);
        // Pins of the other function belong to the other list.
        if (!held.contains(identifier) && pin && int(pin->function()) == d->pinFunction)
            d->definition->deletePin(identifier);
    }

    const QList<int> order = d->pinOrder.mid(1);
    if (d->pinFunction == eBlockPinFunctionInput)
        d->definition->defaultSkin()->setInputPinOrder(order);
    else
        d->definition->defaultSkin()->setOutputPinOrder(order);
}

void BlockSkinPinList::setReadOnly(bool readOnly)
{
    d->readOnly = readOnly;
}

void BlockSkinPinList::convertToMultilingual()
{
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem *item = topLevelItem(i);
        Text name = item->data(0, BlockSkinPinListPrivate::NameRole).value<Text>();
        name.convertToMultilingual();
        item->setData(0, BlockSkinPinListPrivate::NameRole, QVariant::fromValue(name));
    }
    d->multilingual = true;
    showCurrentItemProperties();
}

void BlockSkinPinList::convertToMonolingual(int language)
{
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem *item = topLevelItem(i);
        Text name = item->data(0, BlockSkinPinListPrivate::NameRole).value<Text>();
        name.convertToMonolingual(language);
        item->setData(0, BlockSkinPinListPrivate::NameRole, QVariant::fromValue(name));
    }
    d->multilingual = false;
    showCurrentItemProperties();
}

void BlockSkinPinList::createNewPin()
{
    if (d->readOnly)
        return;
    const qint32 identifier = d->nextNewPinIdentifier;
    d->nextNewPinIdentifier = identifier + 1;

    QTreeWidgetItem *item = d->item(identifier, true);
    item->setData(0, BlockSkinPinListPrivate::FunctionRole, d->pinFunction);
    Text name(NewPinLanguage, QStringLiteral("newPin"));
    name.convertToMonolingual(NewPinLanguage);
    if (d->multilingual)
        name.convertToMultilingual();
    item->setData(0, BlockSkinPinListPrivate::NameRole, QVariant::fromValue(name));
    d->setDatatype(item, eSimpleTypeBool);
    d->setShortName(item, QStringLiteral("newPin"));

    d->pinOrder.append(identifier);
    d->renumber();
    setCurrentItem(item);
    Q_EMIT nextNewPinIdentifierChanged(d->nextNewPinIdentifier);
}

void BlockSkinPinList::deleteSelectedPin()
{
    delete currentItem();
}

void BlockSkinPinList::setNextNewPinIdentifier(qint32 value)
{
    d->nextNewPinIdentifier = value;
}

void BlockSkinPinList::focusInEvent(QFocusEvent *event)
{
    QTreeWidget::focusInEvent(event);
    showCurrentItemProperties();
}

void BlockSkinPinList::showCurrentItemProperties()
{
    if (!d->propertiesView)
        return;
    d->propertiesView->setActivePin(0);
    QTreeWidgetItem *item = currentItem();
    if (!item)
        return;
    const qint32 identifier = item->data(0, BlockSkinPinListPrivate::IdentifierRole).toInt();
    d->propertiesView->setShortName(item->data(0, BlockSkinPinListPrivate::ShortNameRole).toString());
    d->propertiesView->setName(item->data(0, BlockSkinPinListPrivate::NameRole).value<Text>());
    d->propertiesView->setFunction(item->data(0, BlockSkinPinListPrivate::FunctionRole).toInt());
    d->propertiesView->setDatatype(tSimpleType(item->data(0, BlockSkinPinListPrivate::DatatypeRole).toInt()));
    d->propertiesView->setPosition(int(d->pinOrder.indexOf(identifier)), int(d->pinOrder.size()) - 1);
    d->propertiesView->setActivePin(identifier);
}

void BlockSkinPinList::onShortNameChanged(qint32 identifier, QString value)
{
    if (QTreeWidgetItem *item = d->item(identifier))
        d->setShortName(item, value);
}

void BlockSkinPinList::onNameChanged(qint32 identifier, Text value)
{
    if (QTreeWidgetItem *item = d->item(identifier))
        item->setData(0, BlockSkinPinListPrivate::NameRole, QVariant::fromValue(value));
}

void BlockSkinPinList::onFunctionTypeChanged(qint32 identifier, eBlockPinFunction value)
{
    QTreeWidgetItem *item = d->item(identifier);
    if (item) {
        if (item->data(0, BlockSkinPinListPrivate::FunctionRole).toInt() != int(value)) {
            // The pin leaves this list for the list of its new function.
            setCurrentItem(nullptr);
            d->pinOrder.removeOne(identifier);
            delete item;
        }
    } else if (d->propertiesView) {
        // The pin arrives from the other list; the pane still holds its values.
        item = d->item(identifier, true);
        d->setShortName(item, d->propertiesView->shortName());
        item->setData(0, BlockSkinPinListPrivate::NameRole, QVariant::fromValue(d->propertiesView->name()));
        item->setData(0, BlockSkinPinListPrivate::FunctionRole, d->propertiesView->function());
        d->setDatatype(item, d->propertiesView->datatype());
        d->pinOrder.append(identifier);
        setCurrentItem(item);
    }
    d->renumber();
}

void BlockSkinPinList::onDatatypeChanged(qint32 identifier, tSimpleType value)
{
    if (QTreeWidgetItem *item = d->item(identifier))
        d->setDatatype(item, value);
}

void BlockSkinPinList::onPositionChanged(qint32 identifier, int position)
{
    const int from = int(d->pinOrder.indexOf(identifier));
    // Only the list that holds the pin reorders; a position behind the end is refused.
    if (from > 0 && from != position && position > 0 && position < d->pinOrder.size())
        d->pinOrder.move(from, position);
    d->renumber();
}

void BlockSkinPinList::setItemPinIsActive(qint32 identifier)
{
    // Items are made with the inactive icon and change it only here, so at most the item of
    // the pin shown before needs its icon back; repainting every row would cost a layout of
    // each.
    if (d->activeIdentifier != identifier) {
        if (QTreeWidgetItem *previous = d->item(d->activeIdentifier))
            previous->setIcon(0, d->inactiveIcon);
    }
    d->activeIdentifier = identifier;
    if (QTreeWidgetItem *active = d->item(identifier))
        active->setIcon(0, d->activeIcon);
}

void BlockSkinPinList::deletePin(qint32 identifier)
{
    if (QTreeWidgetItem *item = d->item(identifier))
        delete item;
    d->pinOrder.removeOne(identifier);
}
