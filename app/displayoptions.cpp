// SPDX-License-Identifier: MIT
#include "app/displayoptions.h"

#include <QAction>
#include <QIcon>
#include <QKeySequence>
#include <QSettings>

#include <iterator>

namespace {

struct Toggle
{
    TraceOptions::Flag flag;
    const char* objectName;
    const char* text;
    const char* toolTip; // empty: the text
    const char* icon;
    const char* checkedIcon;
    const char* shortcut;
    const char* key; // null: not kept
};

// In the order of the flags; the start values are those of TraceOptions(),
// a first start's.
constexpr Toggle toggles[] = {
    {TraceOptions::AutoScroll, "m_act_autoscroll", QT_TRANSLATE_NOOP("DisplayOptions", "Auto scroll"), "", "", "", "",
     "MainWindow/AutoScroll"},
    {TraceOptions::RelativeTime, "m_act_reltime", QT_TRANSLATE_NOOP("DisplayOptions", "Relative Time"), "", "", "",
     "", "MainWindow/TraceRelTime"},
    {TraceOptions::HungarianNotation, "m_act_hungarian", QT_TRANSLATE_NOOP("DisplayOptions", "Hungarian Notation"),
     "", "", "", "", "MainWindow/HungarianNotation"},
    {TraceOptions::TraceRaw, "m_act_trace_raw", QT_TRANSLATE_NOOP("DisplayOptions", "Raw data bytes"),
     QT_TRANSLATE_NOOP("DisplayOptions", "Trace Raw Bytes"), "i16_trace_raw.png", "", "", "MainWindow/TraceRaw"},
    {TraceOptions::TraceMessageBytes, "m_act_trace_msg", QT_TRANSLATE_NOOP("DisplayOptions", "Message bytes"),
     QT_TRANSLATE_NOOP("DisplayOptions", "Trace Message Bytes"), "i16_trace_msg.png", "", "", "MainWindow/TraceMessage"},
    {TraceOptions::Decode, "m_act_trace_lut", QT_TRANSLATE_NOOP("DisplayOptions", "Decoded message"),
     QT_TRANSLATE_NOOP("DisplayOptions", "Decode traced messages"), "i16_trace_lut.png", "", "", "MainWindow/TraceLut"},
    {TraceOptions::HideDuplicates, "m_act_hide_dup", QT_TRANSLATE_NOOP("DisplayOptions", "Hide duplicates"), "", "",
     "", "", "MainWindow/HideDup"},
    {TraceOptions::LinkChannels, "m_act_link", QT_TRANSLATE_NOOP("DisplayOptions", "Link"),
     QT_TRANSLATE_NOOP("DisplayOptions", "Link Connections"), "i24_link_break.png", "i24_link_on.png", "",
     "MainWindow/LinkChannels"},
    {TraceOptions::Pause, "m_act_pause", QT_TRANSLATE_NOOP("DisplayOptions", "Pause"),
     QT_TRANSLATE_NOOP("DisplayOptions", "Pause display"), "i16_pause.png", "i16_play.png", "F9", nullptr},
};

constexpr bool inFlagOrder()
{
    for (int i = 0; i < int(std::size(toggles)); ++i) {
        if (toggles[i].flag != i)
            return false;
    }
    return std::size(toggles) == TraceOptions::FlagCount;
}
static_assert(inFlagOrder(), "one toggle per option, in the order of the flags");

QString icons(const char* name)
{
    return QStringLiteral(":/icons/") + QLatin1String(name);
}

} // namespace

DisplayOptions::DisplayOptions(QObject* parent) : QObject(parent)
{
    QSettings settings;
    for (const Toggle& t : toggles) {
        auto* action = new QAction(tr(t.text), this);
        action->setObjectName(QLatin1String(t.objectName));
        if (*t.toolTip)
            action->setToolTip(tr(t.toolTip));
        if (*t.icon) {
            QIcon icon(icons(t.icon));
            if (*t.checkedIcon)
                icon.addFile(icons(t.checkedIcon), QSize(), QIcon::Normal, QIcon::On);
            action->setIcon(icon);
        }
        if (*t.shortcut)
            action->setShortcut(QKeySequence(QLatin1String(t.shortcut)));
        action->setCheckable(true);
        const bool on = t.key ? settings.value(QLatin1String(t.key), m_options.test(t.flag)).toBool()
                              : m_options.test(t.flag);
        action->setChecked(on);
        m_options.set(t.flag, on);
        m_actions[t.flag] = action;
        const TraceOptions::Flag flag = t.flag;
        connect(action, &QAction::toggled, this, [this, flag](bool checked) { onToggled(flag, checked); });
    }
}

void DisplayOptions::onToggled(TraceOptions::Flag flag, bool on)
{
    m_options.set(flag, on);
    Q_EMIT optionsChanged(m_options);
    if (toggles[flag].key)
        save();
}

void DisplayOptions::save() const
{
    QSettings settings;
    for (const Toggle& t : toggles) {
        if (t.key)
            settings.setValue(QLatin1String(t.key), m_options.test(t.flag));
    }
}
