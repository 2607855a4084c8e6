// SPDX-License-Identifier: MIT
#include "automation/answerparser.h"

#include "files/xmlfilewriter.h"

#include <QCoreApplication>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("AnswerParser", text);
}

} // namespace

bool AnswerParser::parser()
{
    m_rules.clear();
    if (readNext(SkipLayout) != StartDocument) {
        raiseError(tr("This doesn't look like an XML file."));
        return failed();
    }
    if (readNext(SkipLayout) != StartElement || name() != QLatin1String("qrvanswers")) {
        raiseError(tr("This doesn't look like an answer file."));
        return failed();
    }
    if (!parseRules())
        return failed();
    return true;
}

bool AnswerParser::failed()
{
    raiseTruncatedError();
    m_rules.clear();
    return false;
}

bool AnswerParser::parseRules()
{
    return readChildren([this] {
        if (name() == QLatin1String("rule"))
            return parseRule();
        raiseUnexpectedElementWarning(QStringLiteral("<rule>"));
        return skipElement();
    });
}

int AnswerParser::number(const QString& attribute, const QString& text, int min, int fallback, bool* bad)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    if (ok && value >= min && value <= MaxMilliseconds)
        return value;
    raiseWarning(tr("Attribute %1=\"%2\" is not a number from %3 to %4").arg(attribute, text).arg(min).arg(MaxMilliseconds));
    *bad = true;
    return fallback;
}

void AnswerParser::readAttributes(AnswerRule* rule)
{
    // A rule with a value it could not read is kept, but switched off: it
    // must not answer on a channel or at a pace nobody asked for.
    bool bad = false;
    for (const QXmlStreamAttribute& attribute : attributes()) {
        const QString key = attribute.name().toString();
        const QString value = attribute.value().toString();
        if (key == QLatin1String("enabled")) {
            if (value == QLatin1String("true") || value == QLatin1String("1"))
                rule->enabled = true;
            else if (value == QLatin1String("false") || value == QLatin1String("0"))
                rule->enabled = false;
            else {
                raiseWarning(tr("Attribute enabled=\"%1\" is neither true nor false").arg(value));
                bad = true;
            }
        } else if (key == QLatin1String("channel")) {
            if (value == QLatin1String("1") || value == QLatin1String("2"))
                rule->channel = value.toInt();
            else if (value == QLatin1String("any"))
                rule->channel = AnswerRule::AnyChannel;
            else {
                raiseWarning(tr("Attribute channel=\"%1\" is not 1, 2 or any").arg(value));
                bad = true;
            }
        } else if (key == QLatin1String("delay")) {
            rule->delay = number(key, value, 0, 0, &bad);
        } else if (key == QLatin1String("limit")) {
            rule->limit = number(key, value, 0, 0, &bad);
        } else if (key == QLatin1String("every")) {
            rule->every = number(key, value, 1, 0, &bad);
        } else {
            raiseWarning(tr("Unknown attribute %1 ignored").arg(key));
        }
    }
    if (bad)
        rule->enabled = false;
}

bool AnswerParser::parseRule()
{
    AnswerRule rule;
    readAttributes(&rule);
    bool seen[3] = {false, false, false};
    QString* fields[3] = {&rule.name, &rule.when, &rule.answer};
    static const char* const names[3] = {"name", "when", "answer"};
    const bool read = readChildren([&] {
        int field = -1;
        for (int i = 0; i < 3; ++i) {
            if (name() == QLatin1String(names[i]))
                field = i;
        }
        if (field < 0) {
            raiseUnexpectedElementWarning(QStringLiteral("<name>, <when> or <answer>"));
            return skipElement();
        }
        // Cleaned as it will be written: a document in UTF-7 or UTF-16 can
        // carry what XML cannot hold (a lone surrogate), which a save would
        // change.
        const QString text = XmlFileWriter::text(readCharacters());
        if (hasError())
            return false;
        if (seen[field])
            raiseWarning(tr("Repeated <%1> ignored").arg(QLatin1String(names[field])));
        else
            *fields[field] = text.trimmed();
        seen[field] = true;
        return true;
    });
    if (!read)
        return false;
    if (rule.answer.isEmpty()) {
        raiseWarning(tr("Rule without <answer> left out"));
    } else if (rule.isPeriodic() && !rule.when.isEmpty()) {
        raiseWarning(tr("A rule sent every so often answers nothing: <when> left out"));
        rule.when.clear();
        m_rules.append(rule);
    } else if (!rule.isPeriodic() && rule.when.isEmpty()) {
        raiseWarning(tr("Rule without <when> or every=\"ms\" left out"));
    } else {
        m_rules.append(rule);
    }
    return true;
}
