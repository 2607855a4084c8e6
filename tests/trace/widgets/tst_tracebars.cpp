// SPDX-License-Identifier: MIT
#include "trace/tracefilter.h"
#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"

#include "qrv16/message.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/statusreply.h"

#include <QLabel>
#include <QLineEdit>
#include <QTreeView>
#include <QVBoxLayout>
#include <QtTest>

#include <memory>

namespace {

// "1.1.0": rows from the top-level line down.
QString pathOf(QModelIndex index)
{
    QStringList rows;
    for (; index.isValid(); index = index.parent())
        rows.prepend(QString::number(index.row()));
    return rows.join(QLatin1Char('.'));
}

} // namespace

// The find and filter bars over one trace.
class TestTraceBars : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void stepsThroughTheMatches_data();
    void stepsThroughTheMatches();
    void badPatternShowsItsPosition();
    void escapeCloses();
    void filterShowsTheExpressionError();

private:
    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<QWidget> m_window;
    TraceModel* m_model = nullptr;
    QTreeView* m_view = nullptr;
    FindBar* m_bar = nullptr;
};

void TestTraceBars::initTestCase()
{
    m_tags = demoTags();
}

void TestTraceBars::init()
{
    m_window = std::make_unique<QWidget>();
    m_model = new TraceModel(m_window.get());
    m_model->setTags(m_tags.get());
    m_view = new QTreeView(m_window.get());
    m_view->setModel(m_model);
    m_bar = new FindBar(m_view, TraceModel::TextColumn, m_window.get());
    auto* layout = new QVBoxLayout(m_window.get());
    layout->addWidget(m_view);
    layout->addWidget(m_bar);

    const QDateTime t(QDate(2024, 3, 1), QTime(12, 0));
    m_model->append(QStringLiteral("1"), QStringLiteral("connected to pump"), ColorText, t);
    m_model->append(QStringLiteral("1"), statusReply(QStringLiteral("north")), ColorMessageRx1, t);
    m_model->append(QStringLiteral("1"), QStringLiteral("error: timeout"), ColorError, t);
    m_model->append(QStringLiteral("1"), statusReply(QStringLiteral("south")), ColorMessageRx1, t);
    m_model->append(QStringLiteral("1"), QStringLiteral("Pump restarted"), ColorText, t);
    m_model->flush();
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    // Focus gives the view a current line; searches here start from none.
    m_view->setCurrentIndex(QModelIndex());
}

void TestTraceBars::cleanup()
{
    m_window.reset();
}

void TestTraceBars::stepsThroughTheMatches_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("matchCase");
    QTest::addColumn<bool>("regexp");
    QTest::addColumn<bool>("backward"); // the steps go back
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("hits"); // where typing lands, then one per step; "^": it wrapped

    QTest::newRow("text in lines and elements, any case")
        << "pump" << false << false << false << 4
        << QStringList{"0", "1.0.1", "1.0.1.0", "3.0.1", "3.0.1.0", "4", "0^", "1.0.1"};
    QTest::newRow("case kept") << "Pump" << true << false << false << 3
                               << QStringList{"1.0.1", "1.0.1.0", "3.0.1",  "3.0.1.0",
                                              "4",     "1.0.1^",  "1.0.1.0"};
    QTest::newRow("regular expression")
        << "nor.h|time" << false << true << false << 2 << QStringList{"1.0.2", "2", "1.0.2^", "2"};
    QTest::newRow("regular expression with case")
        << "^Error" << true << true << false << 0 << QStringList{""};
    QTest::newRow("a match in an element only")
        << "south" << false << false << false << 1 << QStringList{"3.0.2", "3.0.2^", "3.0.2^"};
    QTest::newRow("backward, wrapping to the end")
        << "pump" << false << false << true << 4
        << QStringList{"0", "4^", "3.0.1.0", "3.0.1", "1.0.1.0"};
}

void TestTraceBars::stepsThroughTheMatches()
{
    QFETCH(QString, text);
    QFETCH(bool, matchCase);
    QFETCH(bool, regexp);
    QFETCH(bool, backward);
    QFETCH(int, count);
    QFETCH(QStringList, hits);

    m_bar->setCaseSensitive(matchCase);
    m_bar->setRegularExpression(regexp);
    m_bar->activate();
    m_bar->setText(text);
    QCOMPARE(m_bar->matchCount(), count);
    bool lineOneOpened = false;
    for (int i = 0; i < hits.size(); ++i) {
        if (i > 0 && backward)
            m_bar->findPrevious();
        else if (i > 0)
            m_bar->findNext();
        const bool wrapped = hits.at(i).endsWith(QLatin1Char('^'));
        QCOMPARE(pathOf(m_view->currentIndex()), hits.at(i).chopped(wrapped ? 1 : 0));
        const QString wrap = backward ? QStringLiteral("continued from the bottom")
                                      : QStringLiteral("continued from the top");
        if (i > 0)
            QVERIFY2(m_bar->status().contains(wrap) == wrapped, qPrintable(m_bar->status()));
        // Lines open down to each hit, and no others.
        for (QModelIndex line = m_view->currentIndex().parent(); line.isValid();
             line = line.parent())
            QVERIFY(m_view->isExpanded(line));
        lineOneOpened = lineOneOpened || hits.at(i).startsWith(QLatin1String("1."));
        QCOMPARE(m_view->isExpanded(m_model->index(1, 0)), lineOneOpened);
    }
    if (count == 0)
        QCOMPARE(m_bar->status(), QStringLiteral("No match"));
    else if (count > 1)
        QCOMPARE(m_bar->status(), QStringLiteral("%1 matching lines").arg(count));
}

void TestTraceBars::badPatternShowsItsPosition()
{
    m_bar->setRegularExpression(true);
    m_bar->setText(QStringLiteral("pump(s"));
    QCOMPARE(m_bar->matchCount(), 0);
    QVERIFY2(m_bar->status().startsWith(QStringLiteral("Error at 7:")), qPrintable(m_bar->status()));
    QVERIFY(!m_view->currentIndex().isValid());
    // Fixed, it finds again.
    m_bar->setText(QStringLiteral("pump(s)?"));
    QCOMPARE(m_bar->matchCount(), 4);
}

void TestTraceBars::escapeCloses()
{
    m_bar->activate();
    QVERIFY(m_bar->isVisible());
    QLineEdit* edit = m_bar->findChild<QLineEdit*>(QStringLiteral("m_le_find"));
    QVERIFY(edit);
    QTest::keyClicks(edit, QStringLiteral("time"));
    QCOMPARE(pathOf(m_view->currentIndex()), QStringLiteral("2"));
    QTest::keyClick(edit, Qt::Key_Escape);
    QVERIFY(!m_bar->isVisible());
}

void TestTraceBars::filterShowsTheExpressionError()
{
    TraceFilter filter(m_model);
    FilterBar bar(&filter);
    bar.setTags(m_tags.get());
    bar.setExpression(QStringLiteral("StationName=\"south\" or"));
    QCOMPARE(bar.error(), QStringLiteral("Column 23: expected a tag"));
    QCOMPARE(filter.rowCount(), 5);
    bar.setExpression(QStringLiteral("StationName=\"south\""));
    QVERIFY(bar.error().isEmpty());
    QCOMPARE(filter.rowCount(), 1);
    QCOMPARE(filter.mapToSource(filter.index(0, 0)).row(), 3);
    bar.clear();
    QVERIFY(bar.expression().isEmpty());
    QCOMPARE(filter.rowCount(), 5);
}

QTEST_MAIN(TestTraceBars)
#include "tst_tracebars.moc"
