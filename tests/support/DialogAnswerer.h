#pragma once

// Answers the next modal dialog of a test: once the event loop runs, finds the active modal
// widget and presses a standard button, or enters a file name, so that exec() and the
// static QMessageBox / QFileDialog functions run unattended under the offscreen platform.

#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>

#include <functional>
#include <memory>

class DialogAnswerer : public QObject
{
public:
    // Presses `button` in the next modal message box (or button box of another dialog).
    static std::unique_ptr<DialogAnswerer> press(QDialogButtonBox::StandardButton button)
    {
        return std::unique_ptr<DialogAnswerer>(new DialogAnswerer([button](QWidget *modal) {
            if (auto *box = qobject_cast<QMessageBox *>(modal)) {
                if (QAbstractButton *b = box->button(QMessageBox::StandardButton(int(button)))) {
                    b->click();
                    return true;
                }
                return false;
            }
            for (QDialogButtonBox *buttons : modal->findChildren<QDialogButtonBox *>()) {
                if (QAbstractButton *b = buttons->button(button)) {
                    b->click();
                    return true;
                }
            }
            return false;
        }));
    }

    // Rejects the next modal dialog (Escape; Cancel of a file dialog).
    static std::unique_ptr<DialogAnswerer> reject()
    {
        return std::unique_ptr<DialogAnswerer>(new DialogAnswerer([](QWidget *modal) {
            if (auto *dialog = qobject_cast<QDialog *>(modal)) {
                dialog->reject();
                return true;
            }
            return false;
        }));
    }

    // Cancels the next file dialog and leaves every other dialog alone.
    static std::unique_ptr<DialogAnswerer> cancelFileDialog()
    {
        return std::unique_ptr<DialogAnswerer>(new DialogAnswerer([](QWidget *modal) {
            auto *dialog = qobject_cast<QFileDialog *>(modal);
            if (!dialog)
                return false;
            dialog->reject();
            return true;
        }));
    }

    // Accepts the next file dialog with the given file name.
    static std::unique_ptr<DialogAnswerer> chooseFile(const QString &fileName)
    {
        return std::unique_ptr<DialogAnswerer>(new DialogAnswerer([fileName](QWidget *modal) {
            auto *dialog = qobject_cast<QFileDialog *>(modal);
            if (!dialog)
                return false;
            dialog->selectFile(fileName);
            // selectFile() leaves the name field alone once it has the focus, and accept()
            // reads the name from there: set it directly, or the dialog may stay open.
            if (auto *nameEdit = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
                nameEdit->setText(fileName);
            QMetaObject::invokeMethod(dialog, "accept", Qt::DirectConnection);
            return true;
        }));
    }

    // The texts of the dialog that was answered.
    QString title() const { return m_title; }
    QString text() const { return m_text; }
    bool answered() const { return m_answered; }
    // What the message box offered, as it was shown.
    QMessageBox::Icon icon() const { return m_icon; }
    QMessageBox::StandardButtons buttons() const { return m_buttons; }
    QMessageBox::StandardButton defaultButton() const { return m_defaultButton; }
    QWidget *parentWidget() const { return m_parent; }

private:
    explicit DialogAnswerer(std::function<bool(QWidget *)> answer)
        : m_answer(std::move(answer))
    {
        // Widgets of the test use non-native file dialogs so that they can be driven.
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        m_timer.setInterval(10);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            QWidget *modal = QApplication::activeModalWidget();
            if (!modal || m_answered)
                return;
            if (auto *box = qobject_cast<QMessageBox *>(modal)) {
                m_title = box->windowTitle();
                m_text = box->text();
                m_icon = box->icon();
                m_buttons = box->standardButtons();
                m_defaultButton = box->defaultButton() ? box->standardButton(box->defaultButton()) : QMessageBox::NoButton;
                m_parent = box->parentWidget();
            } else {
                m_title = modal->windowTitle();
            }
            if (m_answer(modal)) {
                m_answered = true;
                m_timer.stop();
            }
        });
        m_timer.start();
    }

    std::function<bool(QWidget *)> m_answer;
    QTimer m_timer;
    QString m_title;
    QString m_text;
    bool m_answered = false;
    QMessageBox::Icon m_icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons m_buttons;
    QMessageBox::StandardButton m_defaultButton = QMessageBox::NoButton;
    QWidget *m_parent = nullptr;
};
