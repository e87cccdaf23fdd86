#pragma once

#include <KvCodeEditor/kvcodeeditor_export.h>

#include <QtWidgets/QWidget>

class BlockCode;
class LibraryBlockDefinitionSubWindowPrivate;

/*!
 * The window in which the code editor shows one block definition of a library.
 *
 * It frames an editor widget (setEditor()) under the window title and knows the code
 * object of the definition it shows. A definition refers to its window only weakly, so
 * the window may be closed and destroyed at any time.
 */
class KVCODEEDITOR_EXPORT LibraryBlockDefinitionSubWindow : public QWidget
{
    Q_OBJECT

public:
    explicit LibraryBlockDefinitionSubWindow(QWidget *parent = nullptr);
    ~LibraryBlockDefinitionSubWindow() override;

    /*! The widget shown inside the window; null when none is set. */
    QWidget *editor() const;
    /*!
     * Shows \a editor inside the window and takes ownership of it; a previous editor is
     * deleted. Null removes the editor.
     */
    void setEditor(QWidget *editor);

    /*! The code object of the definition shown; null once that object is destroyed. */
    BlockCode *blockCode() const;
    /*! Remembers \a code without taking ownership. */
    void setBlockCode(BlockCode *code);

private:
    LibraryBlockDefinitionSubWindowPrivate *const d;
};
