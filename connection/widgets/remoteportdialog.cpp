// SPDX-License-Identifier: MIT
#include "connection/widgets/remoteportdialog.h"

#include "connection/remoteport.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

RemotePortDialog::RemotePortDialog(QWidget* parent)
    : QDialog(parent)
    , m_le_host(new QLineEdit(this))
    , m_sb_port(new QSpinBox(this))
{
    setWindowTitle(tr("Remote port"));
    auto* about = new QLabel(tr("A serial port on a device server or on ser2net that speaks RFC 2217 "
                                "(Telnet with COM-PORT-OPTION)."),
                             this);
    about->setWordWrap(true);
    m_le_host->setPlaceholderText(tr("host name or address"));
    m_sb_port->setRange(1, 65535);
    // Device servers count their ports from here more often than not.
    m_sb_port->setValue(7000);
    auto* form = new QFormLayout;
    form->addRow(tr("Host:"), m_le_host);
    form->addRow(tr("TCP port:"), m_sb_port);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    m_pb_ok = buttons->button(QDialogButtonBox::Ok);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_le_host, &QLineEdit::textChanged, this, &RemotePortDialog::updateOk);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(about);
    layout->addLayout(form);
    layout->addWidget(buttons);
    updateOk();
}

void RemotePortDialog::setPortName(const QString& name)
{
    bool ok = false;
    const RemotePort remote = RemotePort::fromName(name, &ok);
    if (!ok)
        return;
    m_le_host->setText(remote.host());
    m_sb_port->setValue(remote.port());
}

QString RemotePortDialog::portName() const
{
    QString host = m_le_host->text().trimmed();
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
        host = host.mid(1, host.size() - 2);
    return RemotePort::nameOf(host, m_sb_port->value());
}

void RemotePortDialog::updateOk()
{
    bool ok = false;
    RemotePort::fromName(portName(), &ok);
    m_pb_ok->setEnabled(ok);
}
