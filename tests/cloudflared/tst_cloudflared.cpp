// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

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

    /// The state letter of /proc/PID/stat.
    char processState() const
    {
        QFile stat(u"/proc/%1/stat"_s.arg(processId()));
        return stat.open(QIODevice::ReadOnly) ? stat.readAll().split(' ').value(2).at(0) : '?';
    }

private:
    QByteArray m_output;
};

/// A pipe whose write end a child opens by its path.
class Pipe
{
public:
    Pipe() { pipe2(m_ends.data(), O_CLOEXEC); }
    ~Pipe()
    {
        closeReader();
        close(m_ends[1]);
    }

    QString writerPath() const { return u"/proc/self/fd/%1"_s.arg(m_ends[1]); }
    void closeReader() { close(std::exchange(m_ends[0], -1)); }
    /// Gives up the own write end and reads until nobody else has one.
    QByteArray readToItsEnd()
    {
        close(std::exchange(m_ends[1], -1));
        QFile reader;
        return reader.open(m_ends[0], QIODevice::ReadOnly) ? reader.readAll() : QByteArray();
    }

private:
    std::array<int, 2> m_ends = {-1, -1};
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
    void playsToItsEnd_data();
    void playsToItsEnd();
    void answersSigterm_data();
    void answersSigterm();
    void everyScenarioPlays_data();
    void everyScenarioPlays();
    void tokenChoosesBeforeTheVariables();
    void replaysARecording_data();
    void replaysARecording();
    void reportsItsLaunch();
    void inheritedMaskStaysInForce();
    void blastsTheExactBytes_data();
    void blastsTheExactBytes();
    void floodsAtItsRate();
    void sleepsWhileItWaits();
    void diesOfABrokenPipe();
    void closedOutputIsTheEndOfFile();
    void grandchildKeepsTheOutput();
    void stoppedOneIsKilledInTime();
};

void StandInTest::playsToItsEnd_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QByteArray>("end");
    const auto row = [](const char *name, const char *script, const QByteArray &end) {
        QTest::newRow(name) << QString::fromUtf8(script) << end;
    };
    row("nothing to do", "# a comment\n", "exit 0");
    row("code", "exit 7\nprint never", "exit 7");
    row("signal by name", "die SIGKILL", "signal 9");
    row("signal by number", "die 11", "signal 11");
    row("stamped, bare and half lines", "print INF a  b\nraw c\n  partial d", "INF a  b\nc\ndexit 0");
    row("bytes", "bytes 41ff00c30a", QByteArray("A\xff\0\xc3\n", 5) + "exit 0");
    row("long line", "long-line 3000000", QByteArray(2'999'999, 'x') + "\nexit 0");
    row("loop to the mark", "raw a\nmark\nraw b\nloop 3\nraw c", "a\nb\nb\nb\nc\nexit 0");
    row("unknown command", "raw a\nleap 1", "stand-in: line 2: no command \"leap\"\nexit 64");
    row("argument missing", "exit", "stand-in: line 1: an argument is missing\nexit 64");
    row("no number", "pause soon", "stand-in: line 1: \"soon\" is not a number\nexit 64");
    row("life is limited", "lifetime 1\nsigterm ignore\nwait", "signal 14");
}

void StandInTest::playsToItsEnd()
{
    QFETCH(const QString, script);
    const QByteArray end = Child(script).ended();
    QTEST(end.startsWith('A') ? end : unstamped(end), "end");
}

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

void StandInTest::everyScenarioPlays_data()
{
    QTest::addColumn<QByteArray>("last"); // what it has printed when SIGTERM comes; none: it ends by itself
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("connected") << QByteArray("connIndex=3")
                               << QByteArray("INF Metrics server stopped\nexit 0");
    QTest::newRow("lost-and-back") << QByteArray("00000008")
                                   << QByteArray("INF Metrics server stopped\nexit 0");
    QTest::newRow("reconnecting") << QByteArray("up to 8s")
                                  << QByteArray("INF Metrics server stopped\nexit 0");
    QTest::newRow("starting") << QByteArray("up to 4s") << QByteArray("INF Metrics server stopped\nexit 0");
    QTest::newRow("flapping") << QByteArray("0000000f") << QByteArray("INF Metrics server stopped\nexit 0");
    QTest::newRow("refused") << QByteArray() << QByteArray("\nTunnel is disabled by its owner\nexit 1");
    QTest::newRow("offline") << QByteArray() << QByteArray("server misbehaving\nexit 1");
    QTest::newRow("invalid-token") << QByteArray()
                                   << QByteArray("See 'cloudflared tunnel run --help'.\nexit 255");
    QTest::newRow("slow-stop") << QByteArray("connIndex=1")
                               << QByteArray("INF Metrics server stopped\nexit 0");
    QTest::newRow("ignores-term") << QByteArray("connIndex=0") << QByteArray("signal 9");
    QTest::newRow("chatty-end") << QByteArray("connIndex=0") << QByteArray("signal 9");
    QTest::newRow("odd-output") << QByteArray() << QByteArray("INF After\nERR half a lineexit 3");
    QTest::newRow("holds-pipe") << QByteArray() << QByteArray("ERR the child is gone\nexit 2");
}

void StandInTest::everyScenarioPlays()
{
    QFETCH(const QByteArray, last);
    QFETCH(const QByteArray, end);
    Child child(
        {}, {u"MORVANEL_SCENARIO="_s + QLatin1StringView(QTest::currentDataTag()), u"MORVANEL_SPEED=50"_s});
    if (!last.isEmpty()) {
        QVERIFY(child.outputWith(last).contains(last));
        child.terminate();
        if (QByteArrayView(QTest::currentDataTag()) == "chatty-end") {
            child.outputWith("n=000000200");
        }
        if (end.endsWith("signal 9")) {
            child.kill();
        }
    }
    const QByteArray output = child.ended();
    QVERIFY2(output.endsWith(end), output.right(500).constData());
}

void StandInTest::tokenChoosesBeforeTheVariables()
{
    const QString script = u"exit 9"_s;
    const QString scenario = u"MORVANEL_SCENARIO=invalid-token"_s;
    QVERIFY(Child(script, {scenario, u"TUNNEL_TOKEN=eyJ.scenario.refused"_s, u"MORVANEL_SPEED=0"_s})
                .ended()
                .endsWith("exit 1"));
    QVERIFY(Child(script, {scenario, u"TUNNEL_TOKEN=eyJhIjoiYiJ9"_s}).ended().endsWith("exit 9"));
    QVERIFY(Child({}, {scenario, u"TUNNEL_TOKEN=eyJhIjoiYiJ9"_s}).ended().endsWith("exit 255"));
    QVERIFY(Child(script, {u"TUNNEL_TOKEN=eyJ.scenario.none"_s}).ended().endsWith("exit 64"));

    Child healthy({}, {u"MORVANEL_SPEED=0"_s});
    QCOMPARE(healthy.outputWith("connIndex=3").count("Registered tunnel connection"), 4);
    healthy.terminate();
    QVERIFY(healthy.ended().endsWith("exit 0"));
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

void StandInTest::blastsTheExactBytes_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("lines") << QString();
    QTest::newRow("chunks") << u" chunks"_s;
    QTest::newRow("connections") << u" connections"_s;
    QTest::newRow("chunks and connections") << u" chunks connections"_s;
}

void StandInTest::blastsTheExactBytes()
{
    QFETCH(const QString, options);
    QByteArrayList lines = Child(u"blast 5000 150"_s + options).ended().split('\n');
    QCOMPARE(lines.takeLast(), "exit 0");
    QCOMPARE(lines.size(), 5000);
    int odd = 0, connections = 0;
    for (int number = 0; number < lines.size(); ++number) {
        const QByteArray &line = lines[number];
        odd += line.size() != 149 ||
               !line.contains(" n=" + QByteArray::number(number).rightJustified(9, '0') + ' ');
        connections += line.contains("egistered tunnel connection connIndex=");
    }
    QCOMPARE(odd, 0);
    QCOMPARE(connections, options.contains("connections"_L1) ? 500 : 0);
}

void StandInTest::floodsAtItsRate()
{
    const qsizetype lines = Child(u"flood 2000 1"_s).ended().count('\n');
    QVERIFY2(lines > 1000 && lines <= 2001, QByteArray::number(lines).constData());

    Child endless(u"flood 0\non-term\nraw bye\nexit 0"_s);
    endless.outputWith("n=000100000");
    endless.terminate();
    QVERIFY(endless.ended().endsWith("\nbye\nexit 0"));
}

void StandInTest::sleepsWhileItWaits()
{
    Child child(u"raw up\nwait"_s);
    child.outputWith("up\n");
    QTRY_COMPARE(child.processState(), 'S');
    QFile calls(u"/proc/%1/syscall"_s.arg(child.processId()));
    QVERIFY(calls.open(QIODevice::ReadOnly));
    const QByteArray fields = calls.readAll();
    // no descriptors and no timeout: nothing but a signal can end this call
    QVERIFY2(fields.split(' ').mid(1, 3) == QByteArrayList({"0x0", "0x0", "0x0"}), fields.constData());
}

void StandInTest::diesOfABrokenPipe()
{
    Pipe pipe;
    Child child(u"flood 100"_s, {}, pipe.writerPath());
    pipe.closeReader();
    QCOMPARE(child.ended(), "signal 13");
}

void StandInTest::closedOutputIsTheEndOfFile()
{
    Pipe pipe;
    Child child(u"raw up\nclose-output\nraw lost\nwait\non-term\nexit 5"_s, {}, pipe.writerPath());
    QCOMPARE(pipe.readToItsEnd(), "up\n");
    QVERIFY(!child.waitForFinished(0));
    child.terminate();
    QCOMPARE(child.ended(), "exit 5");
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

void StandInTest::stoppedOneIsKilledInTime()
{
    Child child(u"lifetime 1\nstop-self\nexit 0"_s);
    QTRY_COMPARE(child.processState(), 'T');
    QCOMPARE(child.ended(), "signal 9");

    Child continued(u"stop-self\nexit 3"_s);
    QTRY_COMPARE(continued.processState(), 'T');
    kill(static_cast<pid_t>(continued.processId()), SIGCONT);
    QCOMPARE(continued.ended(), "exit 3");
}

QTEST_GUILESS_MAIN(StandInTest)
#include "tst_cloudflared.moc"
