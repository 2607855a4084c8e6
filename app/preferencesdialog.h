// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>

class QSpinBox;

// The values of Preferences, edited: the caller reads them when accepted.
class PreferencesDialog : public QDialog
{
    Q_OBJECT

public:
    explicit PreferencesDialog(QWidget* parent = nullptr);

    int traceLimit() const;
    void setTraceLimit(int lines);

private:
    QSpinBox* m_traceLimit; // Owned (child).
};
