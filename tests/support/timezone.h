// SPDX-License-Identifier: MIT
#pragma once

// Local time is the user's: tests of what is logged, traced and replayed run
// in UTC and in a zone that keeps daylight saving, whatever the machine's.
// In a test's initTestCase_data() call addZoneRows(); in init() construct a
// LocalZone from QFETCH_GLOBAL(QByteArray, zone).

#include <QByteArray>
#include <QtTest>

#include <ctime>

inline void addZoneRows()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::newRow("UTC") << QByteArray("UTC");
    QTest::newRow("Berlin") << QByteArray("Europe/Berlin");
}

// TZ set for its lifetime; child processes inherit it.
class LocalZone
{
public:
    explicit LocalZone(const QByteArray& zone)
        : m_saved(qgetenv("TZ")), m_wasSet(qEnvironmentVariableIsSet("TZ"))
    {
        qputenv("TZ", zone);
        tzset();
    }
    ~LocalZone()
    {
        if (m_wasSet)
            qputenv("TZ", m_saved);
        else
            qunsetenv("TZ");
        tzset();
    }
    LocalZone(const LocalZone&) = delete;
    LocalZone& operator=(const LocalZone&) = delete;

private:
    QByteArray m_saved;
    bool m_wasSet;
};
