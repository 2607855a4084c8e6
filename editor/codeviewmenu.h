// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QObject>

class QAction;
class QPlainTextEdit;
class QSyntaxHighlighter;
class QWidget;

namespace QRV16 {

class EditorModel;

// The editor's actions that show the code generated from the tree as it
// is edited, each in a window of its own, and the dialog of the names that
// code is given (kept in the settings).
class CodeViewMenu : public QObject
{
    Q_OBJECT
public:
    // `window` parents the viewers and the dialog.
    CodeViewMenu(EditorModel* model, QWidget* window);

    // In menu order: header, Lua, C#, C++, C++ lookup table, names.
    QList<QAction*> actions() const;
    QAction* headerAction() const { return m_act_view_header; }
    QAction* luaAction() const { return m_act_view_lua; }

    // Shows `text` read-only in a window that goes with the editor; the
    // viewer takes the highlighter.
    QPlainTextEdit* createViewer(const QString& text, QSyntaxHighlighter* highlighter,
                                 const QString& title);

public Q_SLOTS:
    void onViewHeader();
    void onViewLua();
    void onViewCs();
    void onViewCpp();
    void onViewCppLut();
    void onCodeNames();

Q_SIGNALS:
    // A warning about the code shown.
    void message(const QString& text);
    // The code could not be made.
    void error(const QString& text);

private:
    template <typename W> void viewCode(QSyntaxHighlighter* highlighter, const QString& title);
    void viewGenerated(const QByteArray& text, QSyntaxHighlighter* highlighter,
                       const QString& title, const QString& failure);

    EditorModel* m_model; // not owned
    QWidget* m_window;    // not owned
    QAction* m_act_view_header;
    QAction* m_act_view_lua;
    QAction* m_act_view_cs;
    QAction* m_act_view_cpp;
    QAction* m_act_view_cpp_lut;
    QAction* m_act_code_names;
};

} // namespace QRV16
