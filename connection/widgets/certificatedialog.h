// SPDX-License-Identifier: MIT
#pragma once

// Shows certificates grouped under titles ("Server Certificate", "Server CA
// list", a peer's certificate and chain), the full text of the selected one
// and, for a live connection, the session cipher.

#include <QDialog>
#include <QList>
#include <QSslCertificate>

class QLabel;
class QPlainTextEdit;
class QSslCipher;
class QSslSocket;
class QTreeWidget;

class CertificateDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CertificateDialog(QWidget* parent = nullptr);

    void addCertificates(const QString& title, const QList<QSslCertificate>& certificates);
    // A line above everything else, naming what is shown.
    void setHeading(const QString& text);
    // The peer's certificate, the rest of its chain and the cipher of an
    // encrypted socket.
    void setSession(const QSslSocket& socket);
    void setCipher(const QSslCipher& cipher);
    int certificateCount() const { return int(m_certificates.size()); }

private Q_SLOTS:
    void onSelectionChanged();

private:
    QLabel* m_lbl_heading;
    QTreeWidget* m_tw_certificates;
    QPlainTextEdit* m_te_details;
    QLabel* m_lbl_cipher;
    QList<QSslCertificate> m_certificates;
};
