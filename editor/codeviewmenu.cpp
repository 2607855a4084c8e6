// SPDX-License-Identifier: MIT
#include "editor/codeviewmenu.h"

#include "editor/editormodel.h"
#include "editor/highlighterc.h"
#include "editor/highlighterlua.h"
#include "writers/codemodel.h"
#include "writers/writercpp.h"
#include "writers/writercpplut.h"
#include "writers/writercs.h"
#include "writers/writerheader.h"
#include "writers/writerlua.h"

#include <QAction>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSettings>

namespace QRV16 {

namespace {

QString key(const char* name)
{
    return QStringLiteral("QRV16Editor/") + QLatin1String(name);
}

QAction* makeAction(QObject* parent, const char* name, const QString& text, const char* icon)
{
    auto* action = new QAction(text, parent);
    action->setObjectName(QLatin1String(name));
    if (icon)
        action->setIcon(QIcon(QLatin1String(icon)));
    return action;
}

} // namespace

CodeViewMenu::CodeViewMenu(EditorModel* model, QWidget* window)
    : QObject(window), m_model(model), m_window(window),
      m_act_view_header(makeAction(this, "m_act_view_header", tr("View generated header"),
                                   ":/icons/i16_header.png")),
      m_act_view_lua(
          makeAction(this, "m_act_view_lua", tr("View generated Lua"), ":/icons/i16_lua.png")),
      m_act_view_cs(makeAction(this, "m_act_view_cs", tr("View generated C#"), nullptr)),
      m_act_view_cpp(
          makeAction(this, "m_act_view_cpp", tr("View generated C++ Include File"), nullptr)),
      m_act_view_cpp_lut(
          makeAction(this, "m_act_view_cpp_lut", tr("View generated C++ Lookup Table"), nullptr)),
      m_act_code_names(
          makeAction(this, "m_act_code_names", tr("Names in generated code..."), nullptr))
{
    connect(m_act_view_header, &QAction::triggered, this, &CodeViewMenu::onViewHeader);
    connect(m_act_view_lua, &QAction::triggered, this, &CodeViewMenu::onViewLua);
    connect(m_act_view_cs, &QAction::triggered, this, &CodeViewMenu::onViewCs);
    connect(m_act_code_names, &QAction::triggered, this, &CodeViewMenu::onCodeNames);
    connect(m_act_view_cpp, &QAction::triggered, this, &CodeViewMenu::onViewCpp);
    connect(m_act_view_cpp_lut, &QAction::triggered, this, &CodeViewMenu::onViewCppLut);
}

QList<QAction*> CodeViewMenu::actions() const
{
    return {m_act_view_header, m_act_view_lua,     m_act_view_cs,
            m_act_view_cpp,    m_act_view_cpp_lut, m_act_code_names};
}

QPlainTextEdit* CodeViewMenu::createViewer(const QString& text, QSyntaxHighlighter* highlighter,
                                           const QString& title)
{
    // A window of its own that goes with the editor.
    auto* viewer = new QPlainTextEdit(m_window);
    viewer->setWindowFlags(Qt::Window);
    viewer->setAttribute(Qt::WA_DeleteOnClose);
    viewer->setObjectName(QStringLiteral("m_te_viewer"));
    viewer->setWindowTitle(title);
    viewer->setWindowIcon(m_window->windowIcon());
    viewer->setReadOnly(true);
    viewer->setLineWrapMode(QPlainTextEdit::NoWrap);
    viewer->setFont(m_model->fixedFont());
    viewer->setPlainText(text);
    if (highlighter) {
        highlighter->setParent(viewer);
        highlighter->setDocument(viewer->document());
    }
    viewer->resize(760, 600);
    viewer->show();
    return viewer;
}

void CodeViewMenu::viewGenerated(const QByteArray& text, QSyntaxHighlighter* highlighter,
                                 const QString& title, const QString& failure)
{
    if (text.isEmpty() && !failure.isEmpty()) {
        delete highlighter;
        Q_EMIT error(failure);
        return;
    }
    createViewer(QString::fromUtf8(text), highlighter, title);
}

void CodeViewMenu::onCodeNames()
{
    QSettings settings;
    QDialog dialog(m_window);
    dialog.setObjectName(QStringLiteral("m_dlg_code_names"));
    dialog.setWindowTitle(tr("Names in generated code"));
    auto* prefix = new QLineEdit(settings.value(key("CodePrefix")).toString(), &dialog);
    prefix->setObjectName(QStringLiteral("m_le_prefix"));
    prefix->setPlaceholderText(tr("PS4"));
    auto* ns = new QLineEdit(settings.value(key("CodeNamespace")).toString(), &dialog);
    ns->setObjectName(QStringLiteral("m_le_namespace"));
    ns->setPlaceholderText(tr("Definitions"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* form = new QFormLayout(&dialog);
    form->addRow(tr("Prefix (C header):"), prefix);
    form->addRow(tr("Namespace (C++, C#):"), ns);
    form->addRow(buttons);
    if (dialog.exec() != QDialog::Accepted)
        return;
    settings.setValue(key("CodePrefix"), prefix->text().trimmed());
    settings.setValue(key("CodeNamespace"), ns->text().trimmed());
}

template <typename W>
void CodeViewMenu::viewCode(QSyntaxHighlighter* highlighter, const QString& title)
{
    W writer;
    QSettings settings;
    QStringList texts(Writer::NamespaceText + 1);
    texts[Writer::PrefixText] = settings.value(key("CodePrefix")).toString();
    texts[Writer::NamespaceText] = settings.value(key("CodeNamespace")).toString();
    writer.setTexts(texts);
    const QByteArray text = writer.encode(m_model->root());
    // Shown all the same: the user is looking at the code to fix the clash.
    for (const IdentifierSet::Clash& clash : writer.clashes()) {
        Q_EMIT message(tr("Warning: %1")
                           .arg(CodeModel::clashText(clash.name, CodeModel::describe(clash.first),
                                                     CodeModel::describe(clash.second))));
    }
    viewGenerated(text, highlighter, title, text.isEmpty() ? writer.formatError() : QString());
}

void CodeViewMenu::onViewHeader()
{
    viewCode<WriterHeader>(new HighlighterC, tr("QRV16 generated header"));
}

void CodeViewMenu::onViewLua()
{
    viewCode<WriterLua>(new HighlighterLua, tr("QRV16 generated Lua"));
}

void CodeViewMenu::onViewCs()
{
    viewCode<WriterCs>(nullptr, tr("QRV16 generated C#"));
}

void CodeViewMenu::onViewCpp()
{
    viewCode<WriterCpp>(nullptr, tr("QRV16 generated C++"));
}

void CodeViewMenu::onViewCppLut()
{
    viewCode<WriterCppLut>(nullptr, tr("QRV16 generated C++ Lookup Tables"));
}

} // namespace QRV16
