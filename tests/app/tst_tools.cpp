// SPDX-License-Identifier: MIT
#include "app/tools.h"

#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QtTest>

#include <cerrno>
#include <cstring>

namespace {

QByteArray record(const QPoint& pos, const QSize& size, bool maximized)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << pos << size << maximized;
    return bytes;
}

QString rectText(const QSize& size, const QPoint& pos)
{
    return QString::asprintf("%ux%d%+d%+d", unsigned(size.width()), size.height(), pos.x(), pos.y());
}

QByteArray red(const QString& text)
{
    return (QStringLiteral("\033[31m") + text + QStringLiteral("\033[0m")).toUtf8();
}

// The area a window may use on the offscreen screen.
QRect area()
{
    return QGuiApplication::primaryScreen()->availableGeometry().adjusted(-16, 0, 16, -50);
}

} // namespace

class TestTools : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void splitCSV_data();
    void splitCSV();
    void escaped_data();
    void escaped();
    void ensureDirectorySeparator_data();
    void ensureDirectorySeparator();
    void paths();
    void systemErrorString();
    void geometryRoundTrip();
    void restoreGeometry_data();
    void restoreGeometry();
    void raiseWindowShowsMinimised();
};

void TestTools::splitCSV_data()
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

void TestTools::splitCSV()
{
    QFETCH(QString, line);
    QFETCH(QStringList, fields);
    QCOMPARE(Tools::splitCSV(line), fields);
}

void TestTools::escaped_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("html");

    QTest::newRow("angle brackets and ampersand") << "<a & b>" << "&lt;a &amp; b&gt;";
    QTest::newRow("quotes stay as they are") << "\"x\" 'y'" << "\"x\" 'y'";
    QTest::newRow("an escape is escaped again") << "&lt;" << "&amp;lt;";
    QTest::newRow("empty") << "" << "";
    QTest::newRow("other characters unchanged") << "\u00e9\n\t" << "\u00e9\n\t";
}

void TestTools::escaped()
{
    QFETCH(QString, text);
    QFETCH(QString, html);
    QCOMPARE(Tools::escaped(text), html);
}

void TestTools::ensureDirectorySeparator_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    QTest::newRow("empty stays empty") << "" << "";
    QTest::newRow("a slash is added") << "/home/x" << "/home/x/";
    QTest::newRow("an ending slash stays single") << "/home/x/" << "/home/x/";
    QTest::newRow("the root") << "/" << "/";
    QTest::newRow("a relative name") << "logs" << "logs/";
}

void TestTools::ensureDirectorySeparator()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(Tools::ensureDirectorySeparator(path), expected);
}

void TestTools::paths()
{
    const QByteArray home = qgetenv("HOME");
    qputenv("HOME", "/srv/korv-home");
    const QString documents = Tools::documentsPath();
    const QString appData = Tools::appDataPath();
    qputenv("HOME", "/");
    const QString rootDocuments = Tools::documentsPath();
    qputenv("HOME", home);
    QCOMPARE(documents, QStringLiteral("/srv/korv-home/Documents"));
    QCOMPARE(appData, QStringLiteral("/srv/korv-home"));
    QCOMPARE(rootDocuments, QStringLiteral("/Documents"));
    QCOMPARE(Tools::allFilesFilter(), QStringLiteral("All Files (*)"));
}

void TestTools::systemErrorString()
{
    QCOMPARE(Tools::systemErrorString(ENOENT), QString::fromLocal8Bit(strerror(ENOENT)));
    errno = EACCES;
    QCOMPARE(Tools::systemErrorString(), QString::fromLocal8Bit(strerror(EACCES)));
    QVERIFY(!Tools::systemErrorString(123456).isEmpty());
}

void TestTools::geometryRoundTrip()
{
    QWidget saved;
    saved.move(120, 80);
    saved.resize(300, 200);
    const QByteArray bytes = Tools::saveWidgetGeometry(&saved);
    QCOMPARE(bytes, record(QPoint(120, 80), QSize(300, 200), false));

    QWidget restored;
    QVERIFY(Tools::restoreWidgetGeometry(&restored, bytes));
    QCOMPARE(restored.pos(), QPoint(120, 80));
    QCOMPARE(restored.size(), QSize(300, 200));
}

void TestTools::restoreGeometry_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("restored");
    QTest::addColumn<QPoint>("pos");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("maximized");
    QTest::addColumn<QStringList>("diagnostics");

    const QWidget defaults;
    const QRect a = area();
    const QString areaText = rectText(a.size(), a.topLeft());
    auto centred = [&](const QSize& size) {
        QRect r(QPoint(0, 0), size);
        r.moveCenter(a.center());
        return r.topLeft();
    };

    QTest::newRow("a record that fits is applied as it is")
        << record(QPoint(100, 100), QSize(400, 300), false) << true << QPoint(100, 100)
        << QSize(400, 300) << false << QStringList{};
    QTest::newRow("the frame allowance at the right edge fits")
        << record(QPoint(0, 0), QSize(a.width() - 16, 300), false) << true << QPoint(0, 0)
        << QSize(a.width() - 16, 300) << false << QStringList{};
    QTest::newRow("the screen without the frame allowance at the bottom")
        << record(QPoint(0, 10), QSize(400, a.height()), false) << true << centred(QSize(400, a.height()))
        << QSize(400, a.height()) << false
        << QStringList{"Restore 400x" + QString::number(a.height()) + "+0+10: Does not fit " + areaText +
                       ", trying centered"};
    QTest::newRow("off every screen is centred on the screen")
        << record(QPoint(5000, 5000), QSize(400, 300), false) << true << centred(QSize(400, 300))
        << QSize(400, 300) << false
        << QStringList{"Restore 400x300+5000+5000: Not on any screen",
                       "Restore 400x300+5000+5000: Does not fit " + areaText + ", trying centered"};
    QTest::newRow("partly off the screen is centred")
        << record(QPoint(600, 400), QSize(400, 300), false) << true << centred(QSize(400, 300))
        << QSize(400, 300) << false
        << QStringList{"Restore 400x300+600+400: Does not fit " + areaText + ", trying centered"};
    QTest::newRow("too narrow is refused")
        << record(QPoint(100, 100), QSize(48, 300), false) << false << defaults.pos() << defaults.size()
        << false << QStringList{"Restore 48x300+100+100: Too small"};
    QTest::newRow("too low is refused")
        << record(QPoint(100, 100), QSize(300, 20), false) << false << defaults.pos() << defaults.size()
        << false << QStringList{"Restore 300x20+100+100: Too small"};
    QTest::newRow("larger than the screen is refused")
        << record(QPoint(0, 0), QSize(3000, 2000), false) << false << defaults.pos() << defaults.size()
        << false
        << QStringList{"Restore 3000x2000+0+0: Does not fit " + areaText + ", trying centered",
                       "Restore 3000x2000+0+0: Does not fit " + areaText};
    QTest::newRow("larger than the screen but maximised is maximised anyway")
        << record(QPoint(0, 0), QSize(3000, 2000), true) << true << QPoint() << QSize() << true
        << QStringList{"Restore 3000x2000+0+0: Does not fit " + areaText + ", trying centered",
                       "Restore 3000x2000+0+0: Does not fit " + areaText + ", maximizing anyway"};
    QTest::newRow("an empty record restores nothing")
        << QByteArray() << false << defaults.pos() << defaults.size() << false << QStringList{};
    QTest::newRow("a truncated record restores nothing")
        << record(QPoint(100, 100), QSize(400, 300), false).left(10) << false << defaults.pos()
        << defaults.size() << false << QStringList{};
}

void TestTools::restoreGeometry()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, restored);
    QFETCH(QPoint, pos);
    QFETCH(QSize, size);
    QFETCH(bool, maximized);
    QFETCH(QStringList, diagnostics);

    for (const QString& text : diagnostics)
        QTest::ignoreMessage(QtDebugMsg, red(text).constData());
    QWidget widget;
    QCOMPARE(Tools::restoreWidgetGeometry(&widget, bytes), restored);
    QCOMPARE(widget.isMaximized(), maximized);
    if (maximized) {
        QVERIFY(QGuiApplication::primaryScreen()->geometry().contains(widget.geometry()));
    } else {
        QCOMPARE(widget.pos(), pos);
        QCOMPARE(widget.size(), size);
    }
}

void TestTools::raiseWindowShowsMinimised()
{
    QWidget widget;
    widget.resize(200, 100);
    widget.showMinimized();
    QVERIFY(widget.isMinimized());
    Tools::raiseWindow(&widget);
    QVERIFY(!widget.isMinimized());
    QVERIFY(widget.isVisible());
    Tools::raiseWindow(nullptr);
}

QTEST_MAIN(TestTools)
#include "tst_tools.moc"
