// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "qrv16/types.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char** argv)
{
    QRV16::pinTimeZone();
    auto* application = new QApplication(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("korvgui"));
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("norvane.com"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KORV_VERSION));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/i16_message.png")));
    auto* window = new MainWindow;
    window->show();
    const int code = application->exec();
    delete window;
    delete application;
    return code;
}
