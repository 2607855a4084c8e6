// SPDX-License-Identifier: MIT
#include "files/logrecord.h"

#include <QtTest>

class TestLogRecord : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void split_data();
    void split();
    void readsBackWhatItWrites_data();
    void readsBackWhatItWrites();
};

void TestLogRecord::split_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("fields");

    QTest::newRow("plain fields") << "a,b,c" << QStringList{"a", "b", "c"};
    QTest::newRow("an empty line gives no fields") << "" << QStringList{};
    QTest::newRow("a bare line ending gives no fields") << "\r\n" << QStringList{};
    QTest::newRow("line feed at the end is dropped") << "a,b\n" << QStringList{"a", "b"};
    QTest::newRow("carriage return and line feed at the end are dropped") << "a,b\r\n" << QStringList{"a", "b"};
    QTest::newRow("quoted field keeps its comma") << "\"a,b\",c" << QStringList{"a,b", "c"};
    QTest::newRow("doubled quotes stand for one") << "\"say \"\"hi\"\"\",x" << QStringList{"say \"hi\"", "x"};
    QTest::newRow("a line break inside quotes stays") << "\"a\nb\",c\n" << QStringList{"a\nb", "c"};
    QTest::newRow("empty fields") << ",," << QStringList{"", "", ""};
    QTest::newRow("a comma at the end gives a final empty field") << "a," << QStringList{"a", ""};
    QTest::newRow("an empty quoted field") << "\"\",b" << QStringList{"", "b"};
    QTest::newRow("a quote inside an unquoted field is text") << "a\"b,c" << QStringList{"a\"b", "c"};
    QTest::newRow("an unterminated quote runs to the end") << "\"a,b" << QStringList{"a,b"};
    QTest::newRow("text after a closing quote is kept") << "\"a\"x,b" << QStringList{"a" "x", "b"};
    QTest::newRow("a log record")
        << "2011-03-04T10:20:30.045,\"1 Con\",\"Ping=(Id=1)\",3,,\r\n"
        << QStringList{"2011-03-04T10:20:30.045", "1 Con", "Ping=(Id=1)", "3", "", ""};
}

void TestLogRecord::split()
{
    QFETCH(QString, line);
    QFETCH(QStringList, fields);
    QCOMPARE(LogRecord::split(line), fields);
}

void TestLogRecord::readsBackWhatItWrites_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("color");
    QTest::addColumn<int>("src");
    QTest::addColumn<int>("dst");
    QTest::addColumn<QStringList>("fields");

    const QString time = QStringLiteral("2011-03-04T10:20:30.045");
    QTest::newRow("a message line with bus addresses")
        << "2" << "PumpId=4" << 8 << 5 << 0 << QStringList{time, "2", "PumpId=4", "8", "5", "0"};
    QTest::newRow("quotes, commas and a line break in the text")
        << "Main" << "say \"hi\",\nbye" << 1 << -1 << -1
        << QStringList{time, "Main", "say \"hi\",\nbye", "1", "", ""};
    QTest::newRow("colour escapes are written as given")
        << "1 Raw" << "\x1b[36mquery\x1b[0m" << 3 << -1 << -1
        << QStringList{time, "1 Raw", "\x1b[36mquery\x1b[0m", "3", "", ""};
    QTest::newRow("empty text and no colour") << "" << "" << -1 << -1 << -1 << QStringList{time, "", "", "", "", ""};
}

void TestLogRecord::readsBackWhatItWrites()
{
    QFETCH(QString, source);
    QFETCH(QString, text);
    QFETCH(int, color);
    QFETCH(int, src);
    QFETCH(int, dst);
    QFETCH(QStringList, fields);
    const QDateTime time(QDate(2011, 3, 4), QTime(10, 20, 30, 45));
    const QString record = LogRecord::format(time, source, text, color, src, dst);
    QVERIFY(record.endsWith(QLatin1Char('\n')));
    QCOMPARE(LogRecord::split(record), fields);
}

QTEST_GUILESS_MAIN(TestLogRecord)
#include "tst_logrecord.moc"
