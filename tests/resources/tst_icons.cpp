// SPDX-License-Identifier: MIT
#include <QFile>
#include <QImage>
#include <QtTest>

namespace {

struct Entry
{
    QString name;
    QString source;
    int size = 16;
    int digit = 0;
};

QList<Entry> manifest()
{
    QList<Entry> entries;
    QFile f(QStringLiteral(KORV_SOURCE_DIR "/resources/icons.txt"));
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text))
        return entries;
    while (!f.atEnd()) {
        const QString line = QString::fromUtf8(f.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QStringList fields = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        Entry e;
        e.name = fields.value(0);
        e.source = fields.value(1);
        if (fields.size() > 2)
            e.size = fields[2].toInt();
        if (fields.size() > 3)
            e.digit = fields[3].toInt();
        entries.append(e);
    }
    return entries;
}

QImage resource(const QString& name)
{
    return QImage(QStringLiteral(":/icons/") + name).convertToFormat(QImage::Format_ARGB32);
}

// The source as the icon would be without its digit.
QImage plain(const Entry& e)
{
    QImage image = QImage(e.source).convertToFormat(QImage::Format_ARGB32);
    if (image.size() != QSize(e.size, e.size))
        image = image.scaled(e.size, e.size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return image;
}

bool sameOutside(const QImage& a, const QImage& b, const QRect& corner)
{
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (!corner.contains(x, y) && a.pixel(x, y) != b.pixel(x, y))
                return false;
    return true;
}

} // namespace

class TestIcons : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void manifestIsComplete();
    void loads_data();
    void loads();
    void digits_data();
    void digits();
};

void TestIcons::manifestIsComplete()
{
    const QList<Entry> entries = manifest();
    QVERIFY(entries.size() >= 60);
    QSet<QString> names;
    for (const Entry& e : entries) {
        QVERIFY2(!names.contains(e.name), qPrintable(e.name));
        names.insert(e.name);
    }
    for (const char* name : {"i16_message.png", "i16_send1.png", "i24_connect1.png",
                             "i24_server_disconnect2.png", "i24_lock_open.png"})
        QVERIFY2(names.contains(QLatin1String(name)), name);
}

void TestIcons::loads_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("size");
    for (const Entry& e : manifest())
        QTest::newRow(qPrintable(e.name)) << e.name << e.size;
}

void TestIcons::loads()
{
    QFETCH(QString, name);
    QFETCH(int, size);
    const QImage image = resource(name);
    QVERIFY(!image.isNull());
    QCOMPARE(image.size(), QSize(size, size));
    bool visible = false;
    for (int y = 0; y < size && !visible; ++y)
        for (int x = 0; x < size && !visible; ++x)
            visible = qAlpha(image.pixel(x, y)) > 0;
    QVERIFY(visible);
}

// Each channel icon pairs with the other channel's: same picture, other
// digit. That every icon loads is checked by loads().
void TestIcons::digits_data()
{
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("two");
    QTest::addColumn<QImage>("plain");
    const QList<Entry> entries = manifest();
    for (const Entry& e : entries) {
        if (e.digit != 1)
            continue;
        QString other = e.name;
        other.replace(other.lastIndexOf(QLatin1Char('1')), 1, QLatin1Char('2'));
        QTest::newRow(qPrintable(e.name)) << e.name << other << plain(e);
    }
}

void TestIcons::digits()
{
    QFETCH(QString, one);
    QFETCH(QString, two);
    QFETCH(QImage, plain);
    QVERIFY(!plain.isNull());
    const QImage a = resource(one);
    const QImage b = resource(two);
    QVERIFY(a != b);
    QVERIFY(a != plain);
    QVERIFY(b != plain);
    // The digit sits in the bottom-right corner; the picture elsewhere is untouched.
    const int half = plain.width() / 2;
    const QRect corner(half, half, half, half);
    QVERIFY(sameOutside(a, plain, corner));
    QVERIFY(sameOutside(b, plain, corner));
}

QTEST_APPLESS_MAIN(TestIcons)
#include "tst_icons.moc"
