// SPDX-License-Identifier: MIT
#pragma once

// Reads an answer file (.qrvans):
//   <qrvanswers>
//     <rule enabled="true" channel="1|2|any" delay="ms" limit="n" every="ms">
//       <name/><when/><answer/>
//     </rule>
//   </qrvanswers>
// Unknown or repeated elements and attributes, stray text and bad values
// are warned about; a rule without what it needs is warned about and left
// out, so that the rest of the file still works.

#include "automation/answerrule.h"

#include "qrv16/xmlparser.h"

#include <QVector>

class AnswerParser : public QRV16::XmlParser
{
public:
    bool parser() override;
    // The rules read; empty after an error.
    const QVector<AnswerRule>& rules() const { return m_rules; }

    static constexpr int MaxMilliseconds = 24 * 3600 * 1000;

private:
    bool parseRules();
    bool parseRule();
    void readAttributes(AnswerRule* rule);
    int number(const QString& attribute, const QString& text, int min, int fallback, bool* bad);
    bool failed();

    QVector<AnswerRule> m_rules;
};
