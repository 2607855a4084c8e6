// SPDX-License-Identifier: MIT
// The bash completion, run in bash with the two helpers that the
// bash-completion package would provide reduced to what they do here.

#include <QProcess>
#include <QtTest>

namespace {

const char helpers[] = R"(
_init_completion() { cur=${COMP_WORDS[COMP_CWORD]}; prev=${COMP_WORDS[COMP_CWORD-1]}; words=("${COMP_WORDS[@]}"); cword=$COMP_CWORD; }
_filedir() { COMPREPLY=("<files:$1>"); }
)";

// The completions bash offers for `line`, the cursor at its end.
QStringList complete(const QString& line)
{
    QString script = QString::fromLatin1(helpers);
    script += QStringLiteral("source '%1/cli/korv.bash-completion'\n").arg(QLatin1String(KORV_SOURCE_DIR));
    script += QStringLiteral("COMP_WORDS=(%1)\n").arg(line);
    if (line.endsWith(QLatin1Char(' ')))
        script += QStringLiteral("COMP_WORDS+=('')\n");
    script += QStringLiteral("COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_korv\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n");
    QProcess bash;
    bash.start(QStringLiteral("bash"), {QStringLiteral("--norc"), QStringLiteral("-c"), script});
    if (!bash.waitForFinished(10000))
        return {QStringLiteral("<bash did not finish>")};
    QStringList words = QString::fromUtf8(bash.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    words.sort();
    return words;
}

} // namespace

class TestCompletion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void completes_data();
    void completes();
};

void TestCompletion::completes_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("commands") << QStringLiteral("korv l") << QStringList{QStringLiteral("listen")};
    QTest::newRow("bis modes") << QStringLiteral("korv send --serial x --bis ")
                               << QStringList{QStringLiteral("master"), QStringLiteral("slave"), QStringLiteral("trace")};
    QTest::newRow("verify") << QStringLiteral("korv listen --tcp h:1 --tls --verify o")
                            << QStringList{QStringLiteral("optional")};
    QTest::newRow("listen options") << QStringLiteral("korv listen --pc") << QStringList{QStringLiteral("--pcapng")};
    QTest::newRow("send has no --count") << QStringLiteral("korv send --cou") << QStringList();
    QTest::newRow("definitions") << QStringLiteral("korv send -d ") << QStringList{QStringLiteral("<files:qrvdef>")};
    QTest::newRow("answer rules") << QStringLiteral("korv answer --listen 7000 ")
                                  << QStringList{QStringLiteral("<files:qrvans>")};
    QTest::newRow("run's sequences") << QStringLiteral("korv run --tcp h:1 ") << QStringList{QStringLiteral("<files:qrvseq>")};
    QTest::newRow("junit report") << QStringLiteral("korv run --junit ") << QStringList{QStringLiteral("<files:xml>")};
    QTest::newRow("languages") << QStringLiteral("korv generate --lang c")
                               << QStringList{QStringLiteral("c"), QStringLiteral("cpp"), QStringLiteral("cpplut"),
                                              QStringLiteral("cs")};
    QTest::newRow("free value") << QStringLiteral("korv send --timeout ") << QStringList();
}

void TestCompletion::completes()
{
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    QCOMPARE(complete(line), expected);
}

QTEST_GUILESS_MAIN(TestCompletion)
#include "tst_completion.moc"
