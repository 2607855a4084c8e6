// SPDX-License-Identifier: MIT
// What the window keeps in its settings: the display toggles and the trace
// limit, each applied at once and read back by the next start.
#include "app/displayoptions.h"
#include "app/mainwindow.h"
#include "app/preferences.h"
#include "trace/tracemodel.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTimer>
#include <QtTest>

namespace {

void fill(TraceModel* model, int lines)
{
    for (int i = 0; i < lines; ++i)
        model->append(QStringLiteral("1"), QString::number(i), ColorText);
    model->flush();
}

QString text(const TraceModel& model, int row)
{
    return model.index(row, TraceModel::TextColumn).data().toString();
}

} // namespace

class TestWindowSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void toggles_data();
    void toggles();
    void storedTraceLimit_data();
    void storedTraceLimit();
    void traceLimitAppliesAtOnceAndIsKept_data();
    void traceLimitAppliesAtOnceAndIsKept();
    void windowSaysWhatItClamped();
};

void TestWindowSettings::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestWindowSettings::init()
{
    QSettings().clear();
}

void TestWindowSettings::toggles_data()
{
    QTest::addColumn<int>("flag");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key"); // empty: never kept
    QTest::addColumn<bool>("firstStart");
    QTest::newRow("auto scroll") << int(TraceOptions::AutoScroll) << "m_act_autoscroll"
                                 << "MainWindow/AutoScroll" << true;
    QTest::newRow("relative time") << int(TraceOptions::RelativeTime) << "m_act_reltime"
                                   << "MainWindow/TraceRelTime" << false;
    QTest::newRow("Hungarian notation") << int(TraceOptions::HungarianNotation) << "m_act_hungarian"
                                        << "MainWindow/HungarianNotation" << false;
    QTest::newRow("raw bytes") << int(TraceOptions::TraceRaw) << "m_act_trace_raw"
                               << "MainWindow/TraceRaw" << false;
    QTest::newRow("message bytes") << int(TraceOptions::TraceMessageBytes) << "m_act_trace_msg"
                                   << "MainWindow/TraceMessage" << false;
    QTest::newRow("decoded messages") << int(TraceOptions::Decode) << "m_act_trace_lut"
                                      << "MainWindow/TraceLut" << true;
    QTest::newRow("hide duplicates") << int(TraceOptions::HideDuplicates) << "m_act_hide_dup"
                                     << "MainWindow/HideDup" << false;
    QTest::newRow("linked channels") << int(TraceOptions::LinkChannels) << "m_act_link"
                                     << "MainWindow/LinkChannels" << true;
    QTest::newRow("pause is never kept") << int(TraceOptions::Pause) << "m_act_pause" << QString() << false;
}

// A first start shows the default; a toggle is announced and, but for the
// pause, read back by the next start.
void TestWindowSettings::toggles()
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

void TestWindowSettings::storedTraceLimit_data()
{
    QTest::addColumn<QVariant>("stored"); // invalid: absent
    QTest::addColumn<int>("limit");
    QTest::addColumn<bool>("warns");
    QTest::newRow("absent") << QVariant() << 100000 << false;
    QTest::newRow("in range") << QVariant(QStringLiteral("250000")) << 250000 << false;
    QTest::newRow("lowest") << QVariant(1000) << 1000 << false;
    QTest::newRow("highest") << QVariant(10000000) << 10000000 << false;
    QTest::newRow("too low") << QVariant(QStringLiteral("999")) << 1000 << true;
    QTest::newRow("negative") << QVariant(QStringLiteral("-5")) << 1000 << true;
    QTest::newRow("too high") << QVariant(QStringLiteral("10000001")) << 10000000 << true;
    QTest::newRow("beyond int") << QVariant(QStringLiteral("99999999999")) << 10000000 << true;
    QTest::newRow("not a number") << QVariant(QStringLiteral("lots")) << 100000 << true;
}

void TestWindowSettings::storedTraceLimit()
{
    QFETCH(QVariant, stored);
    QFETCH(int, limit);
    QFETCH(bool, warns);
    if (stored.isValid())
        QSettings().setValue(QStringLiteral("MainWindow/TraceLimit"), stored);
    TraceModel model;
    Preferences preferences(&model, nullptr);
    QCOMPARE(preferences.traceLimit(), limit);
    QCOMPARE(model.limit(), limit);
    QCOMPARE(preferences.warnings().size(), warns ? 1 : 0);
    if (warns) {
        const QString warning = preferences.warnings().constFirst();
        QVERIFY2(warning.contains(QStringLiteral("MainWindow/TraceLimit")) && warning.contains(stored.toString()) &&
                     warning.contains(QString::number(limit)),
                 qPrintable(warning));
    }
}

void TestWindowSettings::traceLimitAppliesAtOnceAndIsKept_data()
{
    QTest::addColumn<int>("set");
    QTest::addColumn<QString>("dialog"); // how the dialog is left, if set there
    QTest::addColumn<int>("limit");
    QTest::newRow("lowered") << 2000 << QString() << 2000;
    QTest::newRow("lowered below the range") << 10 << QString() << 1000;
    QTest::newRow("raised") << 20000 << QString() << 20000;
    QTest::newRow("raised above the range") << 2000000000 << QString() << 10000000;
    QTest::newRow("lowered in the dialog") << 1500 << "OK" << 1500;
    QTest::newRow("the dialog cancelled") << 1500 << "Cancel" << 100000;
}

void TestWindowSettings::traceLimitAppliesAtOnceAndIsKept()
{
    QFETCH(int, set);
    QFETCH(QString, dialog);
    QFETCH(int, limit);
    TraceModel model;
    QWidget parent;
    Preferences preferences(&model, &parent);
    fill(&model, 5000);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);

    if (dialog.isEmpty()) {
        preferences.setTraceLimit(set);
    } else {
        // The dialog shows the limit in use.
        int shown = 0;
        QTimer::singleShot(0, this, [&] {
            auto* box = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            auto* spin = box ? box->findChild<QSpinBox*>() : nullptr;
            if (spin) {
                shown = spin->value();
                spin->setValue(set);
            }
            if (box)
                box->done(dialog == QLatin1String("OK") ? QDialog::Accepted : QDialog::Rejected);
        });
        preferences.action()->trigger();
        QCOMPARE(shown, 100000);
    }
    QCOMPARE(preferences.traceLimit(), limit);
    const int kept = qMin(5000, limit);
    QCOMPARE(model.rowCount(), kept);
    QCOMPARE(removed.count(), kept < 5000 ? 1 : 0);
    QCOMPARE(text(model, 0), QString::number(5000 - kept));

    TraceModel next;
    const Preferences restarted(&next, nullptr);
    QCOMPARE(restarted.traceLimit(), limit);
    QCOMPARE(next.limit(), limit);
    QVERIFY(restarted.warnings().isEmpty());
}

// A limit clamped at start is said in the trace, as other settings are.
void TestWindowSettings::windowSaysWhatItClamped()
{
    QSettings().setValue(QStringLiteral("MainWindow/TraceLimit"), 12);
    MainWindow window;
    TraceModel* model = window.traceModel();
    QCOMPARE(model->limit(), 1000);
    model->flush();
    QStringList lines;
    for (int row = 0; row < model->rowCount(); ++row)
        lines << text(*model, row);
    QVERIFY2(lines.filter(QStringLiteral("MainWindow/TraceLimit")).size() == 1, qPrintable(lines.join('\n')));
    const QList<QAction*> actions = window.findChildren<QAction*>(QStringLiteral("m_act_preferences"));
    QCOMPARE(actions.size(), 1);
    QVERIFY(!actions.constFirst()->associatedObjects().isEmpty());
}

QTEST_MAIN(TestWindowSettings)
#include "tst_windowsettings.moc"
