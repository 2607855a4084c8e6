// SPDX-License-Identifier: MIT
#pragma once

// A JUnit XML report as CI systems read it: one <testsuite> per sequence,
// one <testcase> per expect that ran (failed: <failure> with what arrived
// instead), per step that could not run (<error>) and per expect the run
// never reached (<skipped/>).

#include <QByteArray>
#include <QList>
#include <QString>

class JUnitReport
{
public:
    enum Outcome { Passed, Failed, Error, Skipped };

    explicit JUnitReport(const QString& name) : m_name(name) {}

    void beginSuite(const QString& name);
    // `detail`: for a failure what arrived instead, for an error why the
    // step could not run.
    void addCase(const QString& name, Outcome outcome, qint64 msecs, const QString& detail = QString());
    void endSuite(qint64 msecs);

    QByteArray toXml() const;

private:
    struct Case
    {
        QString name;
        Outcome outcome = Passed;
        qint64 msecs = 0;
        QString detail;
    };
    struct Suite
    {
        QString name;
        qint64 msecs = 0;
        QList<Case> cases;
        int count(Outcome outcome) const;
    };

    QString m_name;
    QList<Suite> m_suites;
};
