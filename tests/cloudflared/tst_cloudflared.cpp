// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 20'000;

/// One run of the stand-in with both streams merged, as the program launches it.
class Child : public QProcess
{
public:
    explicit Child(const QString &script, const QStringList &variables = {}, const QString &output = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"MORVANEL_SCRIPT"_s, script);
        environment.insert(u"MORVANEL_LIFETIME"_s, u"60"_s);
        for (const QString &variable : variables) {
            environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
        }
        setProcessEnvironment(environment);
        setProcessChannelMode(MergedChannels);
        setStandardInputFile(nullDevice());
        setStandardOutputFile(output);
        start(qEnvironmentVariable("MORVANEL_CLOUDFLARED"), {u"tunnel"_s, u"run"_s});
        waitForStarted();
    }
    ~Child() override
    {
        kill();
        waitForFinished();
    }

    /// Everything it wrote, once `text` is in it; what there is when that never comes.
    QByteArray outputWith(const QByteArray &text)
    {
        while (!m_output.contains(text) && waitForReadyRead(patience)) {
            m_output += readAll();
        }
        return m_output;
    }

    /// Everything it wrote until its end, and "exit N" or "signal N".
    QByteArray ended()
    {
        waitForFinished(patience);
        m_output += isReadable() ? readAll() : QByteArray();
        return m_output + (exitStatus() == CrashExit ? "signal " : "exit ") + QByteArray::number(exitCode());
    }

private:
    QByteArray m_output;
};

/// Without the time stamps at the beginning of lines, which it insists on being right in form.
QByteArray unstamped(const QByteArray &output)
{
    static const QRegularExpression stamp(uR"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ )"_s,
                                          QRegularExpression::MultilineOption);
    return QString::fromUtf8(output).remove(stamp).toUtf8();
}

} // namespace

class StandInTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(qEnvironmentVariableIsSet("MORVANEL_CLOUDFLARED")); }
    void answersSigterm_data();
    void answersSigterm();
    void replaysARecording_data();
    void replaysARecording();
    void reportsItsLaunch();
    void inheritedMaskStaysInForce();
    void grandchildKeepsTheOutput();
    void livesNoLongerThanAllowed();
};

void StandInTest::answersSigterm_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("end");
    const auto row = [](const char *name, const char *script, int count, const char *end) {
        QTest::newRow(name) << QString::fromUtf8(script) << count << QByteArray(end);
    };
    row("own part", "raw up\nwait\nraw no\non-term\nraw bye\nexit 5", 1, "up\nbye\nexit 5");
    row("cuts a pause", "raw up\npause 60000\non-term\nexit 5", 1, "up\nexit 5");
    row("end of its part", "raw up\nwait\non-term", 1, "up\nexit 0");
    row("graceful without one", "raw up\nwait", 1,
        "up\nINF Initiating graceful shutdown due to signal terminated ...\n"
        "ERR no more connections active and exiting\nINF Tunnel server stopped\nINF Metrics server "
        "stopped\nexit 0");
    row("default", "sigterm default\nraw up\nwait", 1, "up\nsignal 15");
    row("second one kills", "raw up\nwait\non-term\nraw up again\nwait", 2, "up\nup again\nsignal 15");
    row("ignored", "sigterm ignore\nraw up\npause 200\nexit 4", 3, "up\nexit 4");
}

void StandInTest::answersSigterm()
{
    QFETCH(const QString, script);
    QFETCH(const int, count);
    Child child(script);
    child.outputWith("up\n");
    for (int sent = 0; sent < count; ++sent) {
        child.terminate();
        if (script.contains("up again"_L1)) {
            child.outputWith("up again\n");
        }
    }
    QTEST(unstamped(child.ended()), "end");
}

void StandInTest::replaysARecording_data()
{
    QTest::addColumn<QByteArray>("recording");
    QTest::addColumn<QString>("speed");
    QTest::addColumn<QByteArray>("awaited"); // SIGTERM once this was printed; none: no SIGTERM
    QTest::addColumn<QByteArray>("end");
    const QByteArray head = "2026-11-24T23:59:59Z INF one\n";
    const QByteArray later = "2026-11-25T00:00:09Z INF two\nbare\n";
    const QByteArray shutdown = "2026-11-25T00:00:10Z INF Initiating graceful shutdown ...\n"
                                "2026-11-25T00:10:10Z INF stopped\n";
    QTest::newRow("ends by itself") << head + later << u"100"_s << QByteArray() << head + later + "exit 6";
    QTest::newRow("last line unfinished")
        << head + "ERR half" << u"1"_s << QByteArray() << head + "ERR halfexit 6";
    QTest::newRow("waits to be stopped")
        << head + later + shutdown << u"0"_s << QByteArray("bare") << head + later + shutdown + "exit 0";
    QTest::newRow("stopped in the middle")
        << head + later + shutdown << u"0.1"_s << QByteArray("one") << head + shutdown + "exit 0";
}

void StandInTest::replaysARecording()
{
    QFETCH(const QByteArray, recording);
    QFETCH(const QString, speed);
    QFETCH(const QByteArray, awaited);
    QTemporaryDir folder;
    QFile file(folder.filePath(u"a recording.log"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(recording);
    file.close();

    QElapsedTimer clock;
    clock.start();
    Child child(u"replay \"%1\" 6"_s.arg(file.fileName()), {u"MORVANEL_SPEED="_s + speed});
    if (!awaited.isEmpty()) {
        child.outputWith(awaited + '\n');
        child.terminate();
    }
    QTEST(child.ended(), "end");
    QVERIFY(speed != u"100"_s || clock.elapsed() >= 100); // ten seconds of the recording
}

void StandInTest::reportsItsLaunch()
{
    QTemporaryDir folder;
    const QString file = folder.filePath(u"report"_s);
    Child child(u"report %1\nreport\nwait"_s.arg(file), {u"TUNNEL_TOKEN=a\\b\nc\x00e4"_s});
    const QByteArrayList lines = child.outputWith("\nend\n").split('\n');
    QFile written(file);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll().split('\n'), lines);

    const QByteArray pid = QByteArray::number(child.processId());
    for (const QByteArray &line :
         {"arg " + qgetenv("MORVANEL_CLOUDFLARED"), QByteArray("arg tunnel"), QByteArray("arg run"),
          QByteArray("env TUNNEL_TOKEN=a\\x5cb\\x0ac\xc3\xa4"), QByteArray("fd 0 /dev/null"), "pid " + pid,
          "parent " + QByteArray::number(getpid()), "session " + QByteArray::number(getsid(0))}) {
        QVERIFY2(lines.contains(line), line.constData());
    }
    static const QRegularExpression onePipe(uR"(\nfd 1 (pipe:\[\d+\])\nfd 2 \1\n)"_s);
    QVERIFY(QString::fromUtf8(lines.join('\n')).contains(onePipe));
    QCOMPARE(lines.last(2).first(), "end");
}

void StandInTest::inheritedMaskStaysInForce()
{
    sigset_t blocked, before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGUSR1);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    const auto usr2 = std::signal(SIGUSR2, SIG_IGN);
    Child child(u"report\npause 300\nexit 4"_s);
    std::signal(SIGUSR2, usr2);
    sigprocmask(SIG_SETMASK, &before, nullptr);

    const QByteArray report = child.outputWith("\nend\n");
    QVERIFY2(report.contains("\nblocked 10 15\n"), report.constData());
    QVERIFY2(report.contains("\nignored 12\n"), report.constData());
    child.terminate();
    QVERIFY(child.ended().endsWith("exit 4"));
}

void StandInTest::grandchildKeepsTheOutput()
{
    QTemporaryDir folder;
    const QString file = folder.filePath(u"output"_s);
    Child child(u"fork-hold 2 20\nexit 2"_s, {}, file);
    QCOMPARE(child.ended(), "exit 2");
    const qint64 size = QFileInfo(file).size();
    QTRY_VERIFY(QFileInfo(file).size() > size);
}

void StandInTest::livesNoLongerThanAllowed()
{
    const QStringList second{u"MORVANEL_LIFETIME=1"_s};
    QCOMPARE(Child(u"sigterm ignore\nwait"_s, second).ended(), "signal 14");
    QCOMPARE(Child(u"stop-self\nexit 0"_s, second).ended(), "signal 9");
}

QTEST_GUILESS_MAIN(StandInTest)
#include "tst_cloudflared.moc"
