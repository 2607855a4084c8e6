// SPDX-License-Identifier: MIT
#pragma once

// Closes the modal dialogs that come up while it lives: message boxes with
// `button`, file dialogs by choosing `choose` (or cancelling when it is
// empty). Each one is recorded in `seen` as "box" or "file DIRECTORY".

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStringList>
#include <QTimer>

class ModalCloser
{
public:
    explicit ModalCloser(QMessageBox::StandardButton button, const QString& choose = QString())
    {
        m_timer.setInterval(10);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this, button, choose] {
            QWidget* modal = QApplication::activeModalWidget();
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                seen << QStringLiteral("box");
                box->button(button)->click();
            } else if (auto* dialog = qobject_cast<QFileDialog*>(modal)) {
                seen << QStringLiteral("file ") + dialog->directory().absolutePath();
                if (choose.isEmpty()) {
                    dialog->reject();
                } else {
                    // Typed into the name field, as a user does: selectFile()
                    // leaves that field alone while it has the focus, which
                    // the dialog gives it whenever its window is active.
                    auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
                    dialog->activateWindow();
                    name->setFocus();
                    name->setText(choose);
                    static_cast<QDialog*>(dialog)->accept();
                }
            }
        });
        m_timer.start();
    }

    QStringList seen;

private:
    QTimer m_timer;
};
