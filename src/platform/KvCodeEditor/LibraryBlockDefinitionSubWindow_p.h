#pragma once

#include "BlockCode.h"

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

class QVBoxLayout;

class LibraryBlockDefinitionSubWindowPrivate
{
public:
    QVBoxLayout *layout = nullptr; // owned by the window
    QPointer<QWidget> editor; // child of the window
    QPointer<BlockCode> code; // not owned
};
