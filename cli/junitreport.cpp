// SPDX-License-Identifier: MIT
#include "cli/junitreport.h"

#include <QDateTime>
#include <QXmlStreamWriter>

namespace {

QString seconds(qint64 msecs)
{
    return QString::number(double(msecs) / 1000.0, 'f', 3);
}

} // namespace

int JUnitReport::Suite::count(Outcome outcome) const
{
    int n = 0;
    for (const Case& c : cases)
        n += c.outcome == outcome;
    return n;
}

void JUnitReport::beginSuite(const QString& name)
{
    m_suites.append(Suite{name, 0, {}});
}

void JUnitReport::addCase(const QString& name, Outcome outcome, qint64 msecs, const QString& detail)
{
    if (m_suites.isEmpty())
        beginSuite(m_name);
    m_suites.last().cases.append(Case{name, outcome, msecs, detail});
}

void JUnitReport::endSuite(qint64 msecs)
{
    if (!m_suites.isEmpty())
        m_suites.last().msecs = msecs;
}

QByteArray JUnitReport::toXml() const
{
    QByteArray out;
    QXmlStreamWriter xml(&out);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument();
    int tests = 0;
    int failures = 0;
    int errors = 0;
    int skipped = 0;
    qint64 msecs = 0;
    for (const Suite& suite : m_suites) {
        tests += int(suite.cases.size());
        failures += suite.count(Failed);
        errors += suite.count(Error);
        skipped += suite.count(Skipped);
        msecs += suite.msecs;
    }
    xml.writeStartElement(QStringLiteral("testsuites"));
    xml.writeAttribute(QStringLiteral("name"), m_name);
    xml.writeAttribute(QStringLiteral("tests"), QString::number(tests));
    xml.writeAttribute(QStringLiteral("failures"), QString::number(failures));
    xml.writeAttribute(QStringLiteral("errors"), QString::number(errors));
    xml.writeAttribute(QStringLiteral("skipped"), QString::number(skipped));
    xml.writeAttribute(QStringLiteral("time"), seconds(msecs));
    const QString timestamp = QDateTime::currentDateTime().toString(Qt::ISODate);
    for (const Suite& suite : m_suites) {
        xml.writeStartElement(QStringLiteral("testsuite"));
        xml.writeAttribute(QStringLiteral("name"), suite.name);
        xml.writeAttribute(QStringLiteral("tests"), QString::number(suite.cases.size()));
        xml.writeAttribute(QStringLiteral("failures"), QString::number(suite.count(Failed)));
        xml.writeAttribute(QStringLiteral("errors"), QString::number(suite.count(Error)));
        xml.writeAttribute(QStringLiteral("skipped"), QString::number(suite.count(Skipped)));
        xml.writeAttribute(QStringLiteral("time"), seconds(suite.msecs));
        xml.writeAttribute(QStringLiteral("timestamp"), timestamp);
        for (const Case& c : suite.cases) {
            xml.writeStartElement(QStringLiteral("testcase"));
            xml.writeAttribute(QStringLiteral("name"), c.name);
            xml.writeAttribute(QStringLiteral("classname"), suite.name);
            xml.writeAttribute(QStringLiteral("time"), seconds(c.msecs));
            switch (c.outcome) {
            case Passed:
                break;
            case Failed:
                xml.writeStartElement(QStringLiteral("failure"));
                xml.writeAttribute(QStringLiteral("message"), c.detail);
                xml.writeAttribute(QStringLiteral("type"), QStringLiteral("expect"));
                xml.writeCharacters(c.detail);
                xml.writeEndElement();
                break;
            case Error:
                xml.writeStartElement(QStringLiteral("error"));
                xml.writeAttribute(QStringLiteral("message"), c.detail);
                xml.writeEndElement();
                break;
            case Skipped:
                xml.writeEmptyElement(QStringLiteral("skipped"));
                break;
            }
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return out;
}
