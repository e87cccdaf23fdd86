#include "ReadOnlyPresentation.h"

#include <QtCore/QEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QPalette>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QAbstractSpinBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>

namespace {

const char ReadOnlyProperty[] = "kvReadOnlyPresentation";

// A combo box has no read-only mode of its own: besides its list, the keyboard and the
// mouse wheel would change the selection. This filter swallows those while the box is
// marked read-only; Tab and Backtab still move the focus on.
class ComboBoxGuard : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (!watched->property(ReadOnlyProperty).toBool())
            return false;
        switch (event->type()) {
        case QEvent::Wheel:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
            return true;
        case QEvent::KeyPress: {
            const int key = static_cast<QKeyEvent *>(event)->key();
            return key != Qt::Key_Tab && key != Qt::Key_Backtab && key != Qt::Key_Escape
                && key != Qt::Key_Return && key != Qt::Key_Enter;
        }
        default:
            return false;
        }
    }
};

QPalette readOnlyPalette(const QWidget *widget)
{
    QPalette palette = widget->palette();
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
        palette.setColor(group, QPalette::Base, palette.color(group, QPalette::Button));
    return palette;
}

void applyPalette(QWidget *widget, bool readOnly)
{
    widget->setPalette(readOnly ? readOnlyPalette(widget) : QPalette());
}

} // namespace

void ReadOnlyPresentation::apply(QWidget *widget, bool readOnly)
{
    if (!widget)
        return;
    if (auto *edit = qobject_cast<QLineEdit *>(widget)) {
        edit->setReadOnly(readOnly);
        applyPalette(edit, readOnly);
    } else if (auto *spinBox = qobject_cast<QAbstractSpinBox *>(widget)) {
        spinBox->setReadOnly(readOnly);
        applyPalette(spinBox, readOnly);
    } else if (auto *comboBox = qobject_cast<QComboBox *>(widget)) {
        if (!comboBox->property(ReadOnlyProperty).isValid())
            comboBox->installEventFilter(new ComboBoxGuard(comboBox));
        comboBox->setProperty(ReadOnlyProperty, readOnly);
        comboBox->view()->setEnabled(!readOnly);
        applyPalette(comboBox, readOnly);
    } else if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
        button->setEnabled(!readOnly);
    }
}
