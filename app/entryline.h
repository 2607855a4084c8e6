// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QWidget>

class QComboBox;
class QCompleter;
class QLabel;
class QLineEdit;
class QPushButton;
class QStringListModel;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// The line where messages are typed and sent, with the history of sent
// texts (Up, Down and the drop-down), the target label and the two send
// buttons. It sends exactly the text it shows: names are offered only when
// asked for (Tab, Ctrl+Space) and go in only when chosen. A text that does
// not parse is marked at its error until it is edited.
class EntryLine : public QWidget
{
    Q_OBJECT

public:
    static constexpr int HistoryLimit = 100;

    explicit EntryLine(QWidget* parent = nullptr);

    QString text() const;
    // A text to change and send again; the line takes the focus.
    void setText(const QString& text);
    QLineEdit* lineEdit() const;
    // Where names are offered from and texts are checked against; not owned.
    void setTags(const QRV16::TagDataLut* tags);
    // The channel Return sends to, shown by the label beside the line.
    void setTarget(int channel);
    int target() const { return m_target; }
    void setLook(const QPalette& palette, const QFont& font, const QColor& error);
    // The report of the marked error; empty when nothing is marked.
    QString errorMark() const { return m_errorMark; }

    // "MainWindow/History" and "MainWindow/HistoryIndex".
    void restoreHistory();
    void saveHistory() const;

public Q_SLOTS:
    // Keeps the shown text in the history and asks for it to be sent.
    void send(int channel);
    // Opens the names that fit at the cursor; false when there are none.
    bool complete();

Q_SIGNALS:
    void sendRequested(const QString& text, int channel);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void take(const QString& name);
    void markError(const QString& report, int position);
    void clearErrorMark();
    void updateFrame();

    // Owned (children).
    QLabel* m_lbl_target = nullptr;
    QComboBox* m_cb_message = nullptr;
    QPushButton* m_pb_go1 = nullptr;
    QPushButton* m_pb_go2 = nullptr;
    QCompleter* m_completer = nullptr;
    QStringListModel* m_names = nullptr;

    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    int m_target = 1;
    QString m_toolTip;
    QString m_errorMark;
    QColor m_errorColor = Qt::red;
};
