// SPDX-License-Identifier: MIT
#include "connection/widgets/certificatedialog.h"

#include "widgets/screenfitarea.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QSslCipher>
#include <QSslSocket>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

QString firstOf(const QStringList& values)
{
    return values.isEmpty() ? QString() : values.constFirst();
}

QString displayName(const QSslCertificate& certificate)
{
    QString name = firstOf(certificate.subjectInfo(QSslCertificate::CommonName));
    if (name.isEmpty())
        name = firstOf(certificate.subjectInfo(QSslCertificate::Organization));
    if (name.isEmpty())
        name = QString::fromLatin1(certificate.serialNumber());
    return name;
}

} // namespace

CertificateDialog::CertificateDialog(QWidget* parent)
    : QDialog(parent)
    , m_lbl_heading(new QLabel(this))
    , m_tw_certificates(new QTreeWidget(this))
    , m_te_details(new QPlainTextEdit(this))
    , m_lbl_cipher(new QLabel(this))
{
    setWindowTitle(tr("Certificates"));
    m_tw_certificates->setColumnCount(3);
    m_tw_certificates->setHeaderLabels({tr("Subject"), tr("Issuer"), tr("Expires")});
    m_tw_certificates->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_te_details->setReadOnly(true);
    m_te_details->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_te_details->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_lbl_cipher->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_lbl_cipher->setWordWrap(true);
    m_lbl_cipher->hide();
    m_lbl_heading->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_lbl_heading->hide();

    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->addWidget(m_tw_certificates);
    splitter->addWidget(m_te_details);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_tw_certificates, &QTreeWidget::itemSelectionChanged, this, &CertificateDialog::onSelectionChanged);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_lbl_heading);
    layout->addWidget(m_lbl_cipher);
    layout->addWidget(splitter, 1);
    layout->addWidget(buttons);
    resize(720, 560);
    ScreenFitArea::wrap(this);
}

void CertificateDialog::addCertificates(const QString& title, const QList<QSslCertificate>& certificates)
{
    auto* group = new QTreeWidgetItem(m_tw_certificates, {title});
    group->setFirstColumnSpanned(true);
    for (const QSslCertificate& certificate : certificates) {
        auto* item = new QTreeWidgetItem(group, {displayName(certificate),
                                                 firstOf(certificate.issuerInfo(QSslCertificate::CommonName)),
                                                 certificate.expiryDate().toString(Qt::ISODate)});
        item->setData(0, Qt::UserRole, int(m_certificates.size()));
        m_certificates.append(certificate);
    }
    if (certificates.isEmpty())
        new QTreeWidgetItem(group, {tr("(none)")});
    group->setExpanded(true);
    if (!m_tw_certificates->currentItem() && group->childCount() > 0 && !certificates.isEmpty())
        m_tw_certificates->setCurrentItem(group->child(0));
}

void CertificateDialog::setHeading(const QString& text)
{
    m_lbl_heading->setText(text);
    m_lbl_heading->setVisible(!text.isEmpty());
}

void CertificateDialog::setSession(const QSslSocket& socket)
{
    const QSslCertificate peer = socket.peerCertificate();
    addCertificates(tr("Peer certificate"), peer.isNull() ? QList<QSslCertificate>() : QList<QSslCertificate>{peer});
    // The chain starts with the peer's own certificate.
    QList<QSslCertificate> chain = socket.peerCertificateChain();
    if (!chain.isEmpty() && chain.constFirst() == peer)
        chain.removeFirst();
    addCertificates(tr("Peer CA chain"), chain);
    setCipher(socket.sessionCipher());
}

void CertificateDialog::setCipher(const QSslCipher& cipher)
{
    const QString title = QLatin1String("<b>") + tr("Session Cipher") + QLatin1String("</b><br>");
    if (cipher.isNull()) {
        m_lbl_cipher->setText(title + tr("none"));
    } else {
        m_lbl_cipher->setText(title + tr("%1, %2; key exchange %3, authentication %4, encryption %5, %6 of %7 bits")
                                  .arg(cipher.name(), cipher.protocolString(), cipher.keyExchangeMethod(),
                                       cipher.authenticationMethod(), cipher.encryptionMethod())
                                  .arg(cipher.usedBits())
                                  .arg(cipher.supportedBits()));
    }
    m_lbl_cipher->show();
}

void CertificateDialog::onSelectionChanged()
{
    const QTreeWidgetItem* item = m_tw_certificates->currentItem();
    const QVariant index = item ? item->data(0, Qt::UserRole) : QVariant();
    if (!index.isValid()) {
        m_te_details->clear();
        return;
    }
    m_te_details->setPlainText(m_certificates.at(index.toInt()).toText());
}
