// SPDX-License-Identifier: MIT
#include "files/xmlfilewriter.h"

#include <QXmlStreamReader>
#include <QtTest>

class TestXmlFileWriter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanTextReadsBack_data();
    void cleanTextReadsBack();
    void documentShape();
};

void TestXmlFileWriter::cleanTextReadsBack_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("kept");

    QTest::newRow("plain text stays") << QStringLiteral("Pump 2 <on> & \"off\"") << QStringLiteral("Pump 2 <on> & \"off\"");
    QTest::newRow("tab, line feed and carriage return stay") << QStringLiteral("a\tb\nc\rd")
                                                             << QStringLiteral("a\tb\nc\rd");
    QTest::newRow("other control characters go") << QStringLiteral("a\x01" "b\x1b" "c\x0c")
                                                  << QStringLiteral("abc");
    QTest::newRow("DEL and C1 controls are XML characters") << QStringLiteral("x\x7fy\u0085z")
                                                            << QStringLiteral("x\x7fy\u0085z");
    QTest::newRow("the two noncharacters at the end of the plane go") << QStringLiteral("a\uFFFEb\uFFFFc")
                                                                      << QStringLiteral("abc");
    QTest::newRow("the replacement character stays") << QStringLiteral("a\uFFFDb") << QStringLiteral("a\uFFFDb");
    QTest::newRow("characters beyond the first plane stay") << QStringLiteral("tap \U0001F6B0 \U0010FFFD")
                                                            << QStringLiteral("tap \U0001F6B0 \U0010FFFD");
    QTest::newRow("a lone high surrogate goes")
        << QString(QStringLiteral("a")) + QChar(0xD83D) + QStringLiteral("b") << QStringLiteral("ab");
    QTest::newRow("a lone low surrogate goes")
        << QString(QStringLiteral("a")) + QChar(0xDEB0) + QStringLiteral("b") << QStringLiteral("ab");
    QTest::newRow("a surrogate pair the wrong way round goes")
        << QString(QChar(0xDEB0)) + QChar(0xD83D) << QString();
    QTest::newRow("empty") << QString() << QString();
}

// Whatever the user typed, the file reads back, with only what XML cannot
// hold left out.
void TestXmlFileWriter::cleanTextReadsBack()
{
    QFETCH(QString, text);
    QFETCH(QString, kept);
    QCOMPARE(XmlFileWriter::text(text), kept);

    XmlFileWriter file(QStringLiteral("root"));
    file.xml().writeStartElement(QStringLiteral("item"));
    file.xml().writeAttribute(QStringLiteral("name"), XmlFileWriter::text(text));
    file.xml().writeCharacters(XmlFileWriter::text(text));
    file.xml().writeEndElement();
    const QByteArray bytes = file.finish();

    QXmlStreamReader reader(bytes);
    QVERIFY(reader.readNextStartElement());
    QVERIFY(reader.readNextStartElement());
    // Attribute values have their line ends normalised by every reader.
    const QString name = reader.attributes().value(QStringLiteral("name")).toString();
    QCOMPARE(name.size(), kept.size());
    QCOMPARE(reader.readElementText(), QString(kept).replace(QLatin1Char('\r'), QLatin1Char('\n')));
    reader.readNext();
    reader.readNext();
    QVERIFY2(!reader.hasError(), qPrintable(reader.errorString()));
}

void TestXmlFileWriter::documentShape()
{
    XmlFileWriter file(QStringLiteral("qrvanswers"));
    file.xml().writeTextElement(QStringLiteral("rule"), QStringLiteral("x"));
    QCOMPARE(file.finish(), QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                       "<qrvanswers>\n  <rule>x</rule>\n</qrvanswers>\n"));
}

QTEST_GUILESS_MAIN(TestXmlFileWriter)
#include "tst_xmlfilewriter.moc"
