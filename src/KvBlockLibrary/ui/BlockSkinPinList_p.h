#pragma once

#include "BlockSkinPinList.h"

#include <QtCore/QList>
#include <QtCore/QObject>

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
    void setShortName(QTreeWidgetItem *item, const QString &shortName);
    void setDatatype(QTreeWidgetItem *item, tSimpleType type);
    void renumber();

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
};
