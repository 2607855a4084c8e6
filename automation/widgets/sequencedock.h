// SPDX-License-Identifier: MIT
#pragma once

#include "automation/sequence.h"
#include "automation/sequencerunner.h"

#include <QDockWidget>
#include <QPointer>
#include <QVector>

class BookmarkList;
class DocumentActions;
class MessagePort;
class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QMimeData;
class QTreeWidget;
class QTreeWidgetItem;
class SequenceDocument;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// The "Sequences" dock: the sequences of the open sequence file, the steps
// of the selected one with each expect's result, and run, pause and stop.
// Steps come from the entry line and from bookmarks dropped on the list,
// or from the step dialog. The file is a document with its own Open, Save
// and Save As. What the user should see in the trace leaves through
// message().
class SequenceDock : public QDockWidget
{
    Q_OBJECT

public:
    explicit SequenceDock(QWidget* parent = nullptr);
    ~SequenceDock() override;

    // Not owned.
    void setPorts(MessagePort* one, MessagePort* two);
    // Every send and expect step is read with the new tables, and each one
    // that no longer reads is reported once.
    void setTags(const QRV16::TagDataLut* tags);
    // Where dropped bookmarks are looked up; not owned, may be null.
    void setBookmarks(BookmarkList* bookmarks);
    // The entry line that "Add Entry Line" takes its text from; not owned.
    void setEntryLine(QLineEdit* entry);
    // The channel of send steps made from the entry line or a drop: the
    // one Return sends to.
    void setSendChannel(int channel) { m_sendChannel = channel; }

    SequenceDocument* document() const { return m_document; }
    DocumentActions* documentActions() const { return m_actions; }
    bool load(const QString& path);
    bool save(const QString& path);
    QString path() const;
    bool isModified() const;

    const QVector<Sequence>& sequences() const;
    void setSequences(const QVector<Sequence>& sequences);
    int currentSequence() const { return m_current; }
    void setCurrentSequence(int index);

    // Inserts at `row`, or after the current step (at the end without one)
    // for -1, and selects it.
    void insertStep(const SequenceStep& step, int row = -1);
    void removeStep(int row);
    void moveStep(int from, int to);
    void replaceStep(int row, const SequenceStep& step);
    int currentStep() const;
    void setCurrentStep(int row);

    SequenceRunner* runner() const { return m_runner; }
    QTreeWidget* stepView() const { return m_tw_steps; }

public Q_SLOTS:
    void run();
    void stop();

Q_SIGNALS:
    void message(const QString& text, bool error);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupActions();
    void fillSequences();
    void fillSteps();
    void setModified();
    void onReplaced();
    void checkSteps();
    void updateActions();
    void editStep(int row);
    void addStep(SequenceStep::Kind kind);
    void newSequence();
    void renameSequence();
    void removeSequence();
    // The step text a drop carries, or a null string.
    QString dropText(const QMimeData* data) const;
    int dropRow(const QPoint& position) const;
    void onStepStarted(int step);
    void onExpectFinished(int step, bool passed, const QString& pattern, const QString& arrived, qint64 elapsedMs);
    void onFinished(const SequenceRunner::Summary& summary, const QString& line);
    void showResult(int row, bool good, const QString& text, const QString& toolTip);

    SequenceRunner* m_runner = nullptr; // Owned (child).
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    SequenceDocument* m_document = nullptr; // Owned (child).
    DocumentActions* m_actions = nullptr;   // Owned (child of the document).
    int m_current = -1;
    QPointer<BookmarkList> m_bookmarks;
    QPointer<QLineEdit> m_entry;
    int m_highlighted = -1;
    int m_sendChannel = 1;
    Sequence m_running; // as started; rows of results refer to it

    QComboBox* m_cb_sequences = nullptr;
    QCheckBox* m_ck_continue = nullptr;
    QTreeWidget* m_tw_steps = nullptr;
    QLabel* m_lbl_summary = nullptr;

    QAction* m_act_run = nullptr;
    QAction* m_act_pause = nullptr;
    QAction* m_act_stop = nullptr;
    QAction* m_act_new = nullptr;
    QAction* m_act_rename = nullptr;
    QAction* m_act_remove_sequence = nullptr;
    QAction* m_act_add_entry = nullptr;
    QAction* m_act_add = nullptr;
    QAction* m_act_edit_step = nullptr;
    QAction* m_act_remove_step = nullptr;
    QAction* m_act_up = nullptr;
    QAction* m_act_down = nullptr;
};
