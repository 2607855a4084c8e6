// SPDX-License-Identifier: MIT
#pragma once

#include <QFrame>

class QFileSystemWatcher;
class QLabel;
class QPushButton;
class QTimer;

// A bar above the editor's tree that watches the open file and offers to
// reload it when another program changes or removes it. Hidden until then.
class FileChangedWidget : public QFrame
{
    Q_OBJECT
public:
    explicit FileChangedWidget(QWidget* parent = nullptr);

    void watchFile(const QString& path);
    QString watchedFile() const { return m_path; }
    QString messageText() const;

Q_SIGNALS:
    void reloadClicked();
    void ignoreClicked();
    void closeClicked();
    // Each time the bar shows a new message.
    void messageShown(const QString& text);

private Q_SLOTS:
    void onFileChanged();
    void onPoll();
    void onReload();
    void onIgnore();
    void onClose();

private:
    void showMessage(const QString& text);
    QString fileName() const;

    QString m_path;
    QFileSystemWatcher* m_watcher = nullptr; // owned through the QObject parent
    QTimer* m_poll = nullptr;
    int m_pollCount = 0;
    QLabel* m_lbl_message;
    QPushButton* m_pb_reload;
    QPushButton* m_pb_ignore;
    QPushButton* m_pb_close;
};
