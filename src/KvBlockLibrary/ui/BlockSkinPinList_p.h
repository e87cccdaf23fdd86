#pragma once

#include "BlockSkinPinList.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtGui/QIcon>

class QTreeWidgetItem;

class BlockSkinPinListPrivate : public QObject
{
    Q_OBJECT

public:
    // Where an item keeps its pin, in column 0.
    enum Role {
        IdentifierRole = Qt::UserRole,
        FunctionRole = Qt::UserRole + 1,
        ShortNameRole = Qt::UserRole + 2,
        NameRole = Qt::UserRole + 3,
        DatatypeRole = Qt::UserRole + 4,
    };
    enum Column { ShortNameColumn = 0, DatatypeColumn = 1, PositionColumn = 2 };

    explicit BlockSkinPinListPrivate(BlockSkinPinList *q);

    // The item of a pin; with create, a new one when there is none.
    QTreeWidgetItem *item(qint32 identifier, bool create = false);
    // Keeps itemsByIdentifier in step with the rows of the list, whoever adds or removes them.
    void indexRows(int first, int last);
    void unindexRows(int first, int last);
    void reindex();
    void setShortName(QTreeWidgetItem *item, const QString &shortName);
    void setDatatype(QTreeWidgetItem *item, tSimpleType type);
    void renumber();
    // Sorting on, by the header's column and order.
    void resumeSorting();

    BlockDefinition *definition = nullptr;
    // This list's pin identifiers in drawing order behind a placeholder 0, so that an
    // identifier's index is its 1-based position.
    QList<qint32> pinOrder{0};
    int pinFunction = eBlockPinFunctionInput;
    qint32 nextNewPinIdentifier = 1;
    bool readOnly = false;
    bool multilingual = false;
    BlockSkinPinPropertiesView *propertiesView = nullptr;
    BlockSkinPinList *const q;

    // The items by pin identifier: a version may have thousands of pins, and every pin of
    // updateView() and every edit of the pane looks its item up.
    QHash<qint32, QTreeWidgetItem *> itemsByIdentifier;
    // While updateView() fills the list, a created item leaves the scrolling to the end of
    // the run: scrolling lays out the whole list each time.
    bool filling = false;
    bool scrollPending = false;
    // The pin whose item shows the active icon; 0 for none.
    qint32 activeIdentifier = 0;
    const QIcon activeIcon{QStringLiteral(":/Resources/pinEdit.png")};
    const QIcon inactiveIcon{QStringLiteral(":/Resources/pinNoEdit.png")};
};
