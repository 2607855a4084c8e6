// SPDX-License-Identifier: MIT
#include "app/displayoptions.h"

#include <QAction>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

class TestDisplayOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void toggles_data();
    void toggles();
};

void TestDisplayOptions::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestDisplayOptions::init()
{
    QSettings().clear();
}

void TestDisplayOptions::toggles_data()
{
    QTest::addColumn<int>("flag");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key"); // empty: never kept
    QTest::addColumn<bool>("firstStart");
    QTest::newRow("auto scroll") << int(TraceOptions::AutoScroll) << "m_act_autoscroll" << "MainWindow/AutoScroll" << true;
    QTest::newRow("relative time") << int(TraceOptions::RelativeTime) << "m_act_reltime" << "MainWindow/TraceRelTime"
                                   << false;
    QTest::newRow("Hungarian notation") << int(TraceOptions::HungarianNotation) << "m_act_hungarian"
                                        << "MainWindow/HungarianNotation" << false;
    QTest::newRow("raw bytes") << int(TraceOptions::TraceRaw) << "m_act_trace_raw" << "MainWindow/TraceRaw" << false;
    QTest::newRow("message bytes") << int(TraceOptions::TraceMessageBytes) << "m_act_trace_msg"
                                   << "MainWindow/TraceMessage" << false;
    QTest::newRow("decoded messages") << int(TraceOptions::Decode) << "m_act_trace_lut" << "MainWindow/TraceLut" << true;
    QTest::newRow("hide duplicates") << int(TraceOptions::HideDuplicates) << "m_act_hide_dup" << "MainWindow/HideDup"
                                     << false;
    QTest::newRow("linked channels") << int(TraceOptions::LinkChannels) << "m_act_link" << "MainWindow/LinkChannels"
                                     << true;
    QTest::newRow("pause is never kept") << int(TraceOptions::Pause) << "m_act_pause" << QString() << false;
}

// A first start shows the default; a toggle is announced and, but for the
// pause, read back by the next start.
void TestDisplayOptions::toggles()
{
    QFETCH(int, flag);
    QFETCH(QString, name);
    QFETCH(QString, key);
    QFETCH(bool, firstStart);
    const auto which = TraceOptions::Flag(flag);
    {
        DisplayOptions display;
        const TraceOptions before = display.options();
        QAction* action = display.action(which);
        QCOMPARE(action->objectName(), name);
        QVERIFY(action->isCheckable());
        QCOMPARE(action->isChecked(), firstStart);
        QCOMPARE(display.options().test(which), firstStart);
        QCOMPARE(display.findChild<QAction*>(name), action);

        QSignalSpy changed(&display, &DisplayOptions::optionsChanged);
        action->toggle();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).value<TraceOptions>().test(which), !firstStart);
        QVERIFY(display.options() == before.with(which, !firstStart));
        // Every option is saved when one changes, the pause never.
        QCOMPARE(QSettings().allKeys().size(), key.isEmpty() ? 0 : TraceOptions::FlagCount - 1);
        if (!key.isEmpty())
            QCOMPARE(QSettings().value(key).toBool(), !firstStart);
    }
    DisplayOptions next;
    const bool kept = !key.isEmpty();
    QCOMPARE(next.action(which)->isChecked(), kept ? !firstStart : firstStart);
    QCOMPARE(next.options().test(which), kept ? !firstStart : firstStart);
}

QTEST_MAIN(TestDisplayOptions)
#include "tst_displayoptions.moc"
