// SPDX-License-Identifier: MIT
#include "app/definitionsactions.h"

#include "automation/definitions.h"
#include "qrv16/item.h"
#include "editor/editorwindow.h"
#include "widgets/documentflow.h"
#include "widgets/windowplacement.h"

#include <QAction>
#include <QDir>

namespace {

const QString LastPathKey = QStringLiteral("MainWindow/LastDefinitionsPath");

} // namespace

DefinitionsActions::DefinitionsActions(Definitions* definitions, QWidget* window)
    : QObject(window),
      m_definitions(definitions),
      m_window(window),
      m_act_open(new QAction(QIcon(QStringLiteral(":/icons/i16_folder_open.png")), tr("Open Definitions"), this)),
      m_act_edit(new QAction(QIcon(QStringLiteral(":/icons/i16_table_edit.png")), tr("Edit Definitions"), this))
{
    m_act_open->setObjectName(QStringLiteral("m_act_open_definitions"));
    m_act_open->setShortcut(QKeySequence(QStringLiteral("Ctrl+O")));
    m_act_edit->setObjectName(QStringLiteral("m_act_edit_definitions"));
    m_act_edit->setShortcut(QKeySequence(QStringLiteral("Ctrl+T")));
    connect(m_act_open, &QAction::triggered, this, &DefinitionsActions::open);
    connect(m_act_edit, &QAction::triggered, this, &DefinitionsActions::edit);
}

DefinitionsActions::~DefinitionsActions()
{
    delete m_editor.data();
}

bool DefinitionsActions::load(const QString& path)
{
    const bool ok = m_definitions->load(path);
    if (!m_definitions->warnings().isEmpty())
        Q_EMIT message(m_definitions->warnings(), false);
    if (!ok) {
        Q_EMIT message(m_definitions->errorString(), true);
        return false;
    }
    m_path = path;
    Q_EMIT message(tr("Loaded definitions from %1").arg(QDir::toNativeSeparators(path)), false);
    return true;
}

void DefinitionsActions::open()
{
    const DocumentFlow flow(LastPathKey, tr("QRV16 Definition Files") + QStringLiteral(" (*.qrvdef)"));
    const QString path = flow.openFileName(m_window, tr("Open QRV16 definitions"));
    if (!path.isEmpty() && load(path))
        flow.remember(path);
}

void DefinitionsActions::edit()
{
    if (m_editor) {
        WindowPlacement::raise(m_editor);
        return;
    }
    // No parent: the editor is a top-level window of its own.
    auto* editor = new QRV16::EditorWindow;
    editor->setAttribute(Qt::WA_DeleteOnClose);
    connect(editor, &QRV16::EditorWindow::opened, this, &DefinitionsActions::takeEdited);
    connect(editor, &QRV16::EditorWindow::saved, this, &DefinitionsActions::takeEdited);
    m_editor = editor;
    editor->initialize(m_path, QString());
    editor->show();
}

void DefinitionsActions::takeEdited(QRV16::Item* root, const QString& path)
{
    m_definitions->setRoot(root, path);
    Q_EMIT message(tr("Updated from %1").arg(QDir::toNativeSeparators(path)), false);
    if (!path.isEmpty()) {
        m_path = path;
        DocumentFlow(LastPathKey, QString()).remember(path);
    }
}
