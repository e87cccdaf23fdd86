#include "LibraryBlockDefinitionSubWindow.h"
#include "LibraryBlockDefinitionSubWindow_p.h"

#include <QtWidgets/QVBoxLayout>

LibraryBlockDefinitionSubWindow::LibraryBlockDefinitionSubWindow(QWidget *parent)
    : QWidget(parent)
    , d(new LibraryBlockDefinitionSubWindowPrivate)
{
    d->layout = new QVBoxLayout(this);
    d->layout->setContentsMargins(0, 0, 0, 0);
}

LibraryBlockDefinitionSubWindow::~LibraryBlockDefinitionSubWindow()
{
    delete d;
}

QWidget *LibraryBlockDefinitionSubWindow::editor() const
{
    return d->editor;
}

void LibraryBlockDefinitionSubWindow::setEditor(QWidget *editor)
{
    if (editor == d->editor)
        return;
    delete d->editor;
    d->editor = editor;
    if (editor) {
        d->layout->addWidget(editor);
        setFocusProxy(editor);
    }
}

BlockCode *LibraryBlockDefinitionSubWindow::blockCode() const
{
    return d->code;
}

void LibraryBlockDefinitionSubWindow::setBlockCode(BlockCode *code)
{
    d->code = code;
}
