// SPDX-License-Identifier: MIT
#include "trace/widgets/styleactions.h"

#include "trace/widgets/styledialog.h"
#include "widgets/windowplacement.h"

#include <QAction>
#include <QSettings>

namespace {

const QString Group = QStringLiteral("MainWindow/Style");

} // namespace

StyleActions::StyleActions(QWidget* window)
    : QObject(window),
      m_window(window),
      m_act_style(new QAction(QIcon(QStringLiteral(":/icons/i16_font.png")), tr("Style"), this))
{
    m_act_style->setObjectName(QStringLiteral("m_act_style"));
    connect(m_act_style, &QAction::triggered, this, &StyleActions::edit);
    QSettings settings;
    m_style.restoreFromSettings(settings, Group);
}

void StyleActions::edit()
{
    if (m_dialog) {
        WindowPlacement::raise(m_dialog);
        return;
    }
    m_dialog = new StyleDialog(m_window);
    m_dialog->setAttribute(Qt::WA_DeleteOnClose);
    m_dialog->setStyle(m_style);
    m_dialog->setTags(m_tags);
    connect(m_dialog, &StyleDialog::apply, this, &StyleActions::setStyle);
    m_dialog->show();
}

void StyleActions::setStyle(const StyleSettings& style)
{
    m_style = style;
    QSettings settings;
    m_style.saveToSettings(settings, Group);
    Q_EMIT changed(m_style);
}
