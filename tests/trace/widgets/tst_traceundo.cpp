// SPDX-License-Identifier: MIT
#include "trace/tracemodel.h"
#include "trace/widgets/traceundo.h"

#include "tests/support/tracelines.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QTreeView>
#include <QtTest>

namespace {

const QDateTime base(QDate(2011, 3, 4), QTime(10, 20, 30));

// Lines ten seconds apart: never sorted in before one another.
void add(TraceModel* model, const QStringList& texts)
{
    static int seconds = 0;
    for (const QString& text : texts)
        model->append(QStringLiteral("Main"), text, ColorText, base.addSecs(seconds += 10));
    model->flush();
}

// The top-level line whose text is `text`.
QModelIndex lineOf(const TraceModel& model, const QString& text)
{
    for (int row = 0; row < model.rowCount(); ++row) {
        if (model.index(row, TraceModel::TextColumn).data().toString() == text)
            return model.index(row, 0);
    }
    return QModelIndex();
}

QStringList texts(const TraceModel& model)
{
    QStringList out;
    for (const QString& line : lines(model))
        out << line.section(QLatin1Char('|'), 1);
    return out;
}

} // namespace

class TestTraceUndo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void deletesComeBackNewestFirst();
    void lineBeforeLeavesByTheLimit();
    void clearedFromOutsideForgetsTheHistory();
    void keepsTheLastRemovals();

private:
    std::unique_ptr<TraceModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    std::unique_ptr<QTreeView> m_view;
    std::unique_ptr<TraceUndo> m_undo;
};

void TestTraceUndo::init()
{
    m_model = std::make_unique<TraceModel>();
    m_tester = std::make_unique<QAbstractItemModelTester>(m_model.get(),
                                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_view = std::make_unique<QTreeView>();
    m_view->setModel(m_model.get());
    m_undo = std::make_unique<TraceUndo>(m_model.get(), m_view.get());
}

void TestTraceUndo::cleanup()
{
    m_undo.reset();
    m_view.reset();
    m_tester.reset();
    m_model.reset();
}

void TestTraceUndo::deletesComeBackNewestFirst()
{
    add(m_model.get(), {"a", "b", "c", "d"});
    m_undo->removeLine(lineOf(*m_model, QStringLiteral("b")));
    m_undo->removeLine(lineOf(*m_model, QStringLiteral("c")));
    QCOMPARE(texts(*m_model), (QStringList{"a", "d"}));
    m_undo->action()->trigger();
    QCOMPARE(texts(*m_model), (QStringList{"a", "c", "d"}));
    m_undo->action()->trigger();
    QCOMPARE(texts(*m_model), (QStringList{"a", "b", "c", "d"}));
    QVERIFY(!m_undo->action()->isEnabled());
}

// The line that a deleted one followed is gone: the deleted one comes back
// at the top, where the limit has the last word.
void TestTraceUndo::lineBeforeLeavesByTheLimit()
{
    m_model->setLimit(4);
    add(m_model.get(), {"a", "b", "c", "d"});
    m_undo->removeLine(lineOf(*m_model, QStringLiteral("c")));
    m_undo->removeLine(lineOf(*m_model, QStringLiteral("a")));
    add(m_model.get(), {"e", "f", "g"});
    QCOMPARE(texts(*m_model), (QStringList{"d", "e", "f", "g"}));
    m_model->setLimit(6);
    m_undo->action()->trigger();
    QCOMPARE(texts(*m_model), (QStringList{"a", "d", "e", "f", "g"}));
    m_undo->action()->trigger();
    QCOMPARE(texts(*m_model), (QStringList{"c", "a", "d", "e", "f", "g"}));
}

void TestTraceUndo::clearedFromOutsideForgetsTheHistory()
{
    add(m_model.get(), {"a", "b"});
    m_undo->clearAll();
    QVERIFY(m_undo->action()->isEnabled());
    add(m_model.get(), {"c"});
    m_model->clear();
    QVERIFY(!m_undo->action()->isEnabled());
    m_undo->action()->trigger();
    QCOMPARE(m_model->lineCount(), 0);
}

void TestTraceUndo::keepsTheLastRemovals()
{
    QStringList all;
    for (int i = 0; i < TraceUndo::Depth + 5; ++i)
        all << QString::number(i);
    add(m_model.get(), all);
    for (const QString& text : std::as_const(all))
        m_undo->removeLine(lineOf(*m_model, text));
    QCOMPARE(m_model->lineCount(), 0);
    int undone = 0;
    while (m_undo->canUndo()) {
        m_undo->undo();
        ++undone;
    }
    QCOMPARE(undone, int(TraceUndo::Depth));
    QCOMPARE(texts(*m_model), all.mid(5));
}

QTEST_MAIN(TestTraceUndo)
#include "tst_traceundo.moc"
