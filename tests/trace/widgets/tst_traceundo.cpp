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

// The top-level line whose text is `text`.
QModelIndex lineOf(const TraceModel& model, const QString& text)
{
    for (int row = 0; row < model.rowCount(); ++row) {
        if (model.index(row, TraceModel::TextColumn).data().toString() == text)
            return model.index(row, 0);
    }
    return QModelIndex();
}

QString texts(const TraceModel& model)
{
    QStringList out;
    for (const QString& line : lines(model))
        out << line.section(QLatin1Char('|'), 1);
    return out.join(QLatin1Char(' '));
}

} // namespace

class TestTraceUndo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void removalsComeBack_data();
    void removalsComeBack();
};

// Steps: "+a b" adds lines, "-a" deletes one, "clear" clears all through the
// history, "outside" clears the trace behind its back, "limit N", "undo";
// "=a b" is the trace then, "undo on" or "undo off" whether undo is offered.
void TestTraceUndo::removalsComeBack_data()
{
    QTest::addColumn<QStringList>("steps");

    QTest::newRow("deletes come back newest first") << QStringList{
        "+a b c d", "-b", "-c", "=a d", "undo", "=a c d", "undo", "=a b c d", "undo off"};
    // The line that a deleted one followed is gone: the deleted one comes
    // back at the top, where the limit has the last word.
    QTest::newRow("the line before left by the limit")
        << QStringList{"limit 4", "+a b c d", "-c",         "-a",   "+e f g",      "=d e f g",
                       "limit 6", "undo",     "=a d e f g", "undo", "=c a d e f g"};
    QTest::newRow("clearing from outside forgets the history")
        << QStringList{"+a b", "clear", "undo on", "+c", "outside", "undo off", "undo", "="};

    QStringList all;
    QStringList steps;
    for (int i = 0; i < TraceUndo::Depth + 5; ++i) {
        all << QString::number(i);
        steps << QStringLiteral("-%1").arg(i);
    }
    steps.prepend(QLatin1Char('+') + all.join(QLatin1Char(' ')));
    steps << QStringLiteral("=");
    for (int i = 0; i < TraceUndo::Depth; ++i)
        steps << QStringLiteral("undo");
    steps << QStringLiteral("undo off") << QLatin1Char('=') + all.mid(5).join(QLatin1Char(' '));
    QTest::newRow("only the last removals are kept") << steps;
}

void TestTraceUndo::removalsComeBack()
{
    QFETCH(QStringList, steps);
    TraceModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QTreeView view;
    view.setModel(&model);
    TraceUndo history(&model, &view);
    int seconds = 0;
    for (const QString& step : std::as_const(steps)) {
        const QString rest = step.mid(1);
        if (step.startsWith(QLatin1Char('+'))) {
            // Ten seconds apart: never sorted in before one another.
            for (const QString& text : rest.split(QLatin1Char(' ')))
                model.append(QStringLiteral("Main"), text, ColorText, base.addSecs(seconds += 10));
            model.flush();
        } else if (step.startsWith(QLatin1Char('-'))) {
            const QModelIndex line = lineOf(model, rest);
            QVERIFY2(line.isValid(), qPrintable(step));
            history.removeLine(line);
        } else if (step.startsWith(QLatin1Char('='))) {
            QCOMPARE(texts(model), rest);
        } else if (step.startsWith(QLatin1String("limit "))) {
            model.setLimit(step.mid(6).toInt());
        } else if (step == QLatin1String("clear")) {
            history.clearAll();
        } else if (step == QLatin1String("outside")) {
            model.clear();
        } else if (step == QLatin1String("undo")) {
            history.action()->trigger();
        } else {
            QCOMPARE(history.action()->isEnabled(), step == QLatin1String("undo on"));
            QCOMPARE(history.canUndo(), step == QLatin1String("undo on"));
        }
    }
}

QTEST_MAIN(TestTraceUndo)
#include "tst_traceundo.moc"
