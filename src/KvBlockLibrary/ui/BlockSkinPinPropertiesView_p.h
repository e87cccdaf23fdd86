#pragma once

#include "BlockSkinPinPropertiesView.h"

#include <KvMultilingual/TextWidgetProvider.h>

#include <QtCore/QObject>

namespace Ui {
class BlockSkinPinPropertiesView;
}

class BlockSkinPinPropertiesViewPrivate : public QObject
{
    Q_OBJECT

public:
    explicit BlockSkinPinPropertiesViewPrivate(BlockSkinPinPropertiesView *q);
    ~BlockSkinPinPropertiesViewPrivate() override;

    QString nameLabel() const;
    void applyReadOnly();

    Ui::BlockSkinPinPropertiesView *const ui;
    TextWidgetProvider nameProvider;
    qint32 activePin = 0;
    bool readOnly = false;
    BlockSkinPinPropertiesView *const q;

signals:
    void shortNameChanged(qint32 identifier, QString value);
    void nameChanged(qint32 identifier, Text value);
    void functionTypeChanged(qint32 identifier, eBlockPinFunction value);
    void datatypeChanged(qint32 identifier, tSimpleType value);
    void positionChanged(qint32 identifier, int position);
    void activePinChanged(qint32 identifier);
    void deletePin(qint32 identifier);

public slots:
    void onFunctionTypeChanged();
    void onDatatypeChanged();
    void onShortNameChanged();
    void onNameChanged();
    void onPositionChanged();
    void deleteActivePin();
};
