// SPDX-License-Identifier: MIT
#include "automation/sequenceparser.h"

#include "files/xmlfilewriter.h"

#include <QCoreApplication>
#include <QSet>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("SequenceParser", text);
}

struct Known
{
    const char* element;
    SequenceStep::Kind kind;
};

constexpr Known steps[] = {
    {"send", SequenceStep::Send},     {"wait", SequenceStep::Wait}, {"expect", SequenceStep::Expect},
    {"repeat", SequenceStep::Repeat}, {"end", SequenceStep::End},   {"stop", SequenceStep::Stop},
};

} // namespace

bool SequenceParser::parser()
{
    m_sequences.clear();
    if (readNext(SkipLayout) != StartDocument) {
        raiseError(tr("This doesn't look like an XML file."));
        return failed();
    }
    if (readNext(SkipLayout) != StartElement || name() != QLatin1String("qrvsequences")) {
        raiseError(tr("This doesn't look like a sequence file."));
        return failed();
    }
    if (!parseSequences())
        return failed();
    return true;
}

bool SequenceParser::failed()
{
    raiseTruncatedError();
    m_sequences.clear();
    return false;
}

bool SequenceParser::parseSequences()
{
    QSet<QString> names;
    return readChildren([this, &names] {
        if (name() != QLatin1String("sequence")) {
            raiseUnexpectedElementWarning(QStringLiteral("<sequence>"));
            return skipElement();
        }
        const QString name = attributes().value(QLatin1String("name")).toString();
        if (names.contains(name) && !name.isEmpty())
            raiseWarning(tr("Another sequence is called \"%1\"").arg(name));
        names.insert(name);
        return parseSequence();
    });
}

int SequenceParser::number(const QString& attribute, const QString& text, int min, int max, int fallback)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    if (ok && value >= min && value <= max)
        return value;
    raiseWarning(tr("Attribute %1=\"%2\" is not a number from %3 to %4").arg(attribute, text).arg(min).arg(max));
    return fallback;
}

bool SequenceParser::parseSequence()
{
    Sequence sequence;
    bool named = false;
    for (const QXmlStreamAttribute& attribute : attributes()) {
        const QString key = attribute.name().toString();
        const QString value = attribute.value().toString();
        if (key == QLatin1String("name")) {
            sequence.name = XmlFileWriter::text(value).trimmed();
            named = !sequence.name.isEmpty();
        } else if (key == QLatin1String("continue")) {
            if (value == QLatin1String("true") || value == QLatin1String("1"))
                sequence.continueOnFail = true;
            else if (value != QLatin1String("false") && value != QLatin1String("0"))
                raiseWarning(tr("Attribute continue=\"%1\" is neither true nor false").arg(value));
        } else {
            raiseWarning(tr("Unknown attribute %1 ignored").arg(key));
        }
    }
    if (!named) {
        sequence.name = tr("Sequence %1").arg(m_sequences.size() + 1);
        raiseWarning(tr("Sequence without name=\"\" called \"%1\"").arg(sequence.name));
    }
    m_open = 0;
    if (!readChildren([this, &sequence] { return parseStep(&sequence); }))
        return false;
    if (m_open > 0)
        raiseWarning(tr("%1 <repeat> without <end>: repeated up to the end of the sequence").arg(m_open));
    m_sequences.append(sequence);
    return true;
}

bool SequenceParser::readText(QString* text)
{
    // Cleaned as it will be written: a document in UTF-7 or UTF-16 can carry
    // what XML cannot hold (a lone surrogate), which a save would change.
    const QString read = XmlFileWriter::text(readCharacters());
    if (hasError())
        return false;
    *text = read.trimmed();
    if (text->isEmpty())
        raiseWarning(tr("Empty <%1>").arg(name().toString()));
    return true;
}

bool SequenceParser::readEmpty()
{
    return readChildren([this] {
        raiseUnexpectedElementWarning();
        return skipElement();
    });
}

bool SequenceParser::parseStep(Sequence* sequence)
{
    const Known* known = nullptr;
    for (const Known& k : steps) {
        if (name() == QLatin1String(k.element))
            known = &k;
    }
    if (!known) {
        raiseUnexpectedElementWarning(QStringLiteral("<send>, <wait>, <expect>, <repeat>, <end> or <stop>"));
        return skipElement();
    }
    SequenceStep step;
    step.kind = known->kind;
    const bool hasChannel = step.kind == SequenceStep::Send || step.kind == SequenceStep::Expect;
    const QString msName = step.kind == SequenceStep::Wait ? QStringLiteral("ms") : QStringLiteral("within");
    const bool hasMs = step.kind == SequenceStep::Wait || step.kind == SequenceStep::Expect;
    const bool hasTimes = step.kind == SequenceStep::Repeat;
    bool channel = false;
    bool ms = false;
    bool times = false;
    if (step.kind == SequenceStep::Expect)
        step.ms = DefaultWithin;
    for (const QXmlStreamAttribute& attribute : attributes()) {
        const QString key = attribute.name().toString();
        const QString value = attribute.value().toString();
        if (hasChannel && key == QLatin1String("channel")) {
            channel = true;
            if (value == QLatin1String("1") || value == QLatin1String("2"))
                step.channel = value.toInt();
            else
                raiseWarning(tr("Attribute channel=\"%1\" is not 1 or 2").arg(value));
        } else if (hasMs && key == msName) {
            ms = true;
            step.ms = number(key, value, 0, MaxMilliseconds, step.ms);
        } else if (hasTimes && key == QLatin1String("times")) {
            times = true;
            step.times = number(key, value, 0, MaxTimes, step.times);
        } else {
            raiseWarning(tr("Unknown attribute %1 of <%2> ignored").arg(key, name().toString()));
        }
    }
    if (hasChannel && !channel)
        raiseWarning(tr("<%1> without channel=\"1|2\" goes to channel 1").arg(name().toString()));
    if (hasMs && !ms)
        raiseWarning(tr("<%1> without %2=\"ms\" takes %3 ms").arg(name().toString(), msName).arg(step.ms));
    if (hasTimes && !times)
        raiseWarning(tr("<repeat> without times=\"\" runs once"));
    if (step.kind == SequenceStep::Repeat)
        ++m_open;
    else if (step.kind == SequenceStep::End && m_open > 0)
        --m_open;
    else if (step.kind == SequenceStep::End)
        raiseWarning(tr("<end> without <repeat> does nothing"));
    if (!(hasChannel ? readText(&step.text) : readEmpty()))
        return false;
    sequence->steps.append(step);
    return true;
}
