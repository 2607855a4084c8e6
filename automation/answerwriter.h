// SPDX-License-Identifier: MIT
#pragma once

// Writes answer rules as an answer file (.qrvans), the form AnswerParser
// reads; attributes that hold their default are left out.

#include "automation/answerrule.h"

#include <QByteArray>
#include <QString>
#include <QVector>

class AnswerWriter
{
public:
    QByteArray encode(const QVector<AnswerRule>& rules) const;
    // Writes `path`.tmp and syncs it, keeps the old file as `path`.bak and
    // renames the new one into place: a crash leaves one of them whole.
    bool save(const QVector<AnswerRule>& rules, const QString& path);
    QString errorString() const { return m_error; }

private:
    QString m_error;
};
