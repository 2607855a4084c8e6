// SPDX-License-Identifier: MIT
#pragma once

#include <QModelIndex>
#include <QRegularExpression>
#include <QStringMatcher>
#include <QWidget>

class ElidedLabel;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class TraceScan;
class QAbstractItemView;

// The find bar under the trace: text or a regular expression, searched in
// the text column of the lines the view shows. A message line that matches
// is searched in its element lines as well, and a match there expands it.
// Works on whatever model the view has, so a filter narrows the search.
// A long trace is searched in slices of the event loop with the progress
// shown; Stop or Escape ends the search and leaves the trace as it was.
class FindBar : public QWidget
{
    Q_OBJECT

public:
    // The column whose text is searched.
    explicit FindBar(QAbstractItemView* view, int column, QWidget* parent = nullptr);

    QString text() const;
    void setText(const QString& text);
    bool isCaseSensitive() const;
    void setCaseSensitive(bool on);
    bool isRegularExpression() const;
    void setRegularExpression(bool on);
    // Top-level lines that match, counted when the search changes: after
    // the first match is shown.
    int matchCount() const { return m_count; }
    // A search or the count is still going.
    bool isBusy() const;
    QString status() const;

public Q_SLOTS:
    // Shows the bar and puts the cursor into its text.
    void activate();
    void findNext();
    void findPrevious();
    // Counts the matches again, e.g. after new lines.
    void recount();
    void stop();

Q_SIGNALS:
    void optionsChanged();

private Q_SLOTS:
    void onTextChanged();
    void onEscape();
    void onClose();

private:
    bool compile();
    bool matches(const QModelIndex& index) const;
    // The matches of one top-level line in view order: its matching element
    // lines, or else the line itself when it matches.
    QList<QModelIndex> hits(int row) const;
    void collectHits(const QModelIndex& parent, QList<QModelIndex>* out) const;
    // From the current line on; the first match found ends it.
    void find(bool forward, bool includeCurrent);
    void onFound(int row, bool wrapped);
    void onCounted();
    // Shows a match; the count follows when the search text changed.
    void reveal(const QModelIndex& hit, bool wrapped);
    void show(const QModelIndex& hit);
    QString countText() const;
    void setStatus(const QString& text, bool error);
    void updateBusy();

    QAbstractItemView* m_view; // Not owned.
    int m_column;
    QLineEdit* m_le_find = nullptr;
    QPushButton* m_pb_previous = nullptr;
    QPushButton* m_pb_next = nullptr;
    QCheckBox* m_cb_case = nullptr;
    QCheckBox* m_cb_regexp = nullptr;
    ElidedLabel* m_lbl_status = nullptr;
    QPushButton* m_pb_stop = nullptr;
    QPushButton* m_pb_close = nullptr;
    QRegularExpression m_regexp;
    // Skips ahead by the text's length: the plain search reads every line.
    QStringMatcher m_matcher;
    bool m_valid = false;
    int m_count = 0;
    TraceScan* m_find;  // Owned (child).
    TraceScan* m_counting; // Owned (child).
    bool m_forward = true;
    // The match the search stopped at.
    QPersistentModelIndex m_hit;
    // Count the matches once the search is done.
    bool m_countAfter = false;
};
