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

    // `expected`: the completions, blank-separated and sorted.
    const auto row = [](const char* name, const char* line, const char* expected) {
        QTest::newRow(name) << QString::fromLatin1(line)
                            << QString::fromLatin1(expected).split(u' ', Qt::SkipEmptyParts);
    };
    row("commands", "korv l", "listen");
    row("bis modes", "korv send --serial x --bis ", "master slave trace");
    row("verify", "korv listen --tcp h:1 --tls --verify o", "optional");
    row("listen options", "korv listen --pc", "--pcapng");
    row("send has no --count", "korv send --cou", "");
    row("definitions", "korv send -d ", "<files:qrvdef>");
    row("answer rules", "korv answer --listen 7000 ", "<files:qrvans>");
    row("run's sequences", "korv run --tcp h:1 ", "<files:qrvseq>");
    row("junit report", "korv run --junit ", "<files:xml>");
    row("languages", "korv generate --lang c", "c cpp cpplut cs");
    row("free value", "korv send --timeout ", "");
}

void TestCompletion::completes()
{
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    QCOMPARE(complete(line), expected);
}

QTEST_GUILESS_MAIN(TestCompletion)
#include "tst_completion.moc"
