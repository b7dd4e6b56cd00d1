// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "Pictures.h"
#include "TunnelRunner.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QByteArray registered(int index)
{
    return "INF Registered tunnel connection connIndex=" + QByteArray::number(index) + " ip=1\n";
}

/// A runner over fakes that writes down, in order, what its owner is told and what the runner itself logs
/// after the start.
struct Bench
{
    FakeChildLauncher launcher;
    FakeScheduler scheduler;
    TunnelRunner runner{QUuid::createUuid(), launcher, scheduler};
    QStringList told;
    QStringList log;

    Bench()
    {
        runner.onStateChange = [this] { told += runner.state().label(); };
        runner.onProcessStarted = [this](qint32 pid) { told += u"started %1"_s.arg(pid); };
        runner.onProcessExited = [this](qint32 pid) { told += u"exited %1"_s.arg(pid); };
        QObject::connect(&runner, &TunnelRunner::reasonChanged, &runner, [this] {
            const TunnelStatus status = runner.status();
            told += u'(' + (status.isLastError ? status.note() : status.reason) + u')';
        });
        QObject::connect(&runner, &TunnelRunner::logLinesChanged, &runner, [this] { readLog(); });
    }
    FakeChildLauncher::Child &child() { return launcher.last(); }
    void start() { runner.start(u"/opt/cloudflared"_s, u"eyJ-token"_s); }
    void readLog()
    {
        for (qsizetype i = log.size(); i < runner.logLines().size(); ++i) {
            log += runner.logLines().line(i);
            if (u"▶■✖"_s.contains(log.last().front()) && !log.last().contains(u"Starting: "_s))
                told += QString(log.last()).remove(u'\uFE0E');
        }
    }
};

using Deed = std::function<void(Bench &)>;
using Deeds = QList<Deed>;

const Deed start = [](Bench &on) { on.start(); };
const Deed stop = [](Bench &on) { on.runner.stop(); };
const Deed fail = [](Bench &on) { on.runner.fail(u"x"_s); };
const Deed haveNoProcess = [](Bench &on) { on.launcher.mostChildren = 0; };
const Deed haveNoProgram = [](Bench &on) { on.launcher.error = u"no program"_s; };
const auto set = [](const char *variable, const char *value) -> Deed {
    return [=](Bench &) { qputenv(variable, value); };
};
const auto print = [](const QByteArray &output) -> Deed {
    return [=](Bench &on) { on.child().write(output); };
};
/// The child is dead, but its end is not known yet.
const Deed die = [](Bench &on) { on.child().isRunning = false; };
const auto end = [](int code) -> Deed { return [=](Bench &on) { on.child().end(code); }; };
const Deed killChild = [](Bench &on) { on.child().end(9, u"SIGKILL"_s); };
const auto waitFor = [](std::chrono::milliseconds time) -> Deed {
    return [=](Bench &on) { on.scheduler.advance(time); };
};

} // namespace

class TestTunnelRunner : public QObject
{
    Q_OBJECT

private:
    static void addColumns()
    {
        QTest::addColumn<Deeds>("deeds");
        QTest::addColumn<QString>("told");
    }
    static void row(const char *name, const Deeds &deeds, const QString &told)
    {
        QTest::newRow(name) << deeds << told;
    }
    /// A row that begins with a start.
    void run(const char *name, const Deeds &deeds, const QString &told) const
    {
        row(name, Deeds{start} + deeds, m_started + u", "_s + told);
    }
    /// What is told of an end that nobody asked for.
    static QString exited(int code, const QString &reason = {})
    {
        const QString message = u"cloudflared exited (code %1)"_s.arg(code);
        return u"exited 1000, ✖ %1, Error: %1, (%2)"_s.arg(message, reason.isEmpty() ? message : reason);
    }
    /// Plays a row: does its deeds and compares what was told, with the signals sent at the end.
    static void play()
    {
        QFETCH(Deeds, deeds);
        QFETCH(QString, told);
        Bench bench;
        for (const auto &deed : deeds)
            deed(bench);
        for (const auto &child : bench.launcher.children) {
            for (const int number : child->signalsSent)
                bench.told += (number == 15 ? u"%1 terminated"_s : u"%1 killed"_s).arg(child->pid);
        }
        qunsetenv("TUNNEL_LOGLEVEL");
        qunsetenv("TUNNEL_LOG_OUTPUT");
        NO_FAULT(Pictures::difference(bench.told.join(u", "_s), told));
    }

    const QString m_started = u"Connecting…, started 1000"_s;
    const QString m_one = u"Connected (1 connection)"_s;
    const QString m_two = u"Connected (2 connections)"_s;
    const QString m_three = u"Connected (3 connections)"_s;
    const QString m_stopping = u"Stopping…, ■ Stop requested"_s;
    const QString m_stopped = u"exited 1000, ■ Tunnel stopped, Stopped"_s;

private Q_SLOTS:
    void launchesWithExactlyTheCommand()
    {
        const QTemporaryDir folder;
        for (const QString &name : {u"cloudflared"_s, u"cloudflared-linux-amd64"_s}) {
            const QString link = folder.filePath(name + u"-link/cloudflared"_s);
            QFile file(folder.filePath(name));
            QVERIFY(QDir().mkpath(QFileInfo(link).path()) && file.open(QFile::WriteOnly) && file.link(link));
            Bench bench;
            bench.runner.start(link, u"eyJ-token"_s);
            const ChildCommand &command = bench.child().command;
            QCOMPARE(command.executable, link);
            QCOMPARE(command.arguments, (QStringList{u"tunnel"_s, u"run"_s}));
            const std::vector<std::pair<QByteArray, QByteArray>> expected{{"TUNNEL_TOKEN", "eyJ-token"},
                                                                          {"NO_AUTOUPDATE", "true"},
                                                                          {"TUNNEL_GRACE_PERIOD", "2s"},
                                                                          {"NO_COLOR", "1"}};
            QCOMPARE(command.environment, expected);
            QCOMPARE(bench.log, QStringList{u"▶\uFE0E Starting: %1 tunnel run"_s.arg(link)});
        }
    }

    void padsTokens_data()
    {
        QTest::addColumn<QString>("token");
        QTest::addColumn<QString>("handedOver");
        const auto row = [](const char *name, const QString &token, const QString &handedOver) {
            QTest::newRow(name) << token << handedOver;
        };
        row("two signs are not padded", u"eyJzIjoxfQ"_s, u"eyJzIjoxfQ=="_s); // {"s":1}
        row("one sign is not padded", u"eyJzIjoxMn0"_s, u"eyJzIjoxMn0="_s);
        row("a whole one is padded", u"eyJzIjoxMjN9"_s, u"eyJzIjoxMjN9"_s);
        row("Base64 for addresses is padded", u"eyJzIjoiPz8_In0"_s, u"eyJzIjoiPz8_In0"_s);
        row("a list is padded", u"WzEsMl0"_s, u"WzEsMl0"_s); // [1,2]
        row("other text is padded", u"eyJ-token"_s, u"eyJ-token"_s);
        row("an impossible length is padded", u"eyJzIjoxf"_s, u"eyJzIjoxf"_s);
    }
    void padsTokens()
    {
        QFETCH(QString, token);
        Bench bench;
        bench.runner.start(u"cloudflared"_s, token);
        QTEST(QString::fromUtf8(bench.child().command.environment.front().second), "handedOver");
    }

    void doesNotStart_data()
    {
        addColumns();
        const QString refused = u"Connecting…, ✖ Could not start cloudflared: no program, "
                                "Error: cloudflared could not be started, "
                                "(Could not start cloudflared: no program)"_s;
        row("a program that cannot run counts as started", {haveNoProgram, start}, refused);
        row("a lack of processes counts as started", {haveNoProgram, haveNoProcess, start}, refused);
        row("a stop has no child", {stop, fail, fail, stop}, u"✖ x, Error: x, (x), ✖ x, (x), Stopped"_s);
    }
    void doesNotStart() { play(); }

    void ends_data()
    {
        addColumns();
        run("a silent end has no reason", {end(0)}, exited(0));
        run("the last bare line is not the reason", {print("INF a\nno such file\n"), end(1)},
            exited(1, u"no such file"_s));
        run("a line of the log is the reason", {print("no such file\nINF a\n"), end(1)}, exited(1));
        run("the runner's own line is the reason", {print("bare\n"), fail, end(1)},
            u"✖ x, Error: x, (x), "_s + exited(1));
        run("an error in the unfinished line is lost",
            {print("ERR a\nx\nerror=\"b\" is not valid"), end(255)},
            u"(Last error: a), exited 1000, ✖ b, Error: b, (b)"_s);
        run("an error of before the connection is the reason",
            {print("x ERR broken\n" + registered(0)), end(9)}, m_one + u", "_s + exited(9));
        run("a signal is not named", {print("x ERR a\n"), killChild},
            u"(Last error: a), exited 1000, ✖ a, Error: a, (cloudflared was ended by SIGKILL)"_s);
        run("output of a dead child counts", {die, print(registered(0)), stop, end(1)}, exited(1));
        run("an old error is the reason of a later end",
            {print("x ERR a\nx ERR b\nINF c\n"), print("y ERR b\n"), print("x ERR d\n"), print(registered(0)),
             print("x ERR Connection terminated error=\"e\" connIndex=0\n"), end(1), start,
             print("x ERR e\n"), stop},
            u"(Last error: b), (Last error: d), "_s + m_one +
                u", (), Reconnecting…, (Last error: e), exited 1000, ✖ e, Error: e, (e), "
                "Connecting…, started 1001, (Last error: e), "_s +
                m_stopping + u", 1001 terminated"_s);
    }
    void ends() { play(); }

    void stops_data()
    {
        addColumns();
        run("a failure outside is lost, or nothing starts and stops after it",
            {fail, start, print("INF alive\n"), stop},
            u"✖ x, Error: x, (x), Connecting…, "_s + m_stopping + u", 1000 terminated"_s);
        run("what a stopped run has said counts in the next",
            {print(registered(0) + "x ERR old\nhalf \xff"), stop, end(0), start, waitFor(6s), end(3)},
            m_one + u", "_s + m_stopping + u", "_s + m_stopped + u", Connecting…, started 1001, "_s +
                exited(3).replace(u"1000"_s, u"1001"_s) + u", 1000 terminated"_s);
        run("a child that does not end is left alone, or a second stop gives it more time",
            {stop, waitFor(5'999ms), stop, waitFor(1ms), print(registered(0) + "x ERR y\n"), end(9)},
            m_stopping + u", ■ Stop requested, ■ cloudflared is not responding, killing it, "_s + m_stopped +
                u", 1000 terminated, 1000 terminated, 1000 killed"_s);
    }
    void stops() { play(); }

    void countsConnections_data()
    {
        addColumns();
        run("an index counts twice, a line without one counts, or each line with one is a loss",
            {print(registered(0) + registered(0) + "INF Updated connIndex=0\n" +
                   "RRegistered tunnel connection\nRegistered tunnel connection connIndex=x\n")},
            QStringList{m_one, m_two, m_three}.join(u", "_s));
        run("a word for a lost connection is not known",
            {print(registered(0) + registered(1) + registered(12) +
                   "Unregistered tunnel connection connIndex=1\xc2\xbd connIndex=0\nServe tunnel error\n"
                   "Serve tunnel error connIndex=12\nConnection terminated connIndex=0\nConnection lost\n")},
            QStringList{m_one, m_two, m_three, m_two, m_one, u"Reconnecting…"_s}.join(u", "_s));
        run("connections outlive their child",
            {print(registered(0) + registered(1)), end(1), start, print(registered(2))},
            m_one + u", "_s + m_two + u", "_s + exited(1) + u", Connecting…, started 1001, "_s + m_one);
        run("a connection that comes back is missed",
            {print("Connection terminated connIndex=0\n" + registered(0)),
             print("Connection terminated connIndex=0\n"), print(registered(3))},
            m_one + u", Reconnecting…, "_s + m_one);
    }
    void countsConnections() { play(); }

    /// Says so where the output cannot be read.
    void doubtsWhatItShows_data()
    {
        addColumns();
        const QByteArray json = "bare\n{\"level\":\"info\"}\n{}\n";
        const QString doubt = u"▶ The state shown may be wrong: "_s;
        const QString byJson = u", "_s + doubt + u"cloudflared prints its log as JSON"_s;
        row("a level without states is not doubted", {set("TUNNEL_LOGLEVEL", "error"), start},
            doubt + u"the environment sets TUNNEL_LOGLEVEL=error, "_s + m_started);
        row("a format that cannot be read is not doubted, or is twice",
            {set("TUNNEL_LOG_OUTPUT", "json"), start, print(json)},
            doubt + u"the environment sets TUNNEL_LOG_OUTPUT=json, "_s + m_started);
        row("JSON by a configuration file is not doubted",
            {set("TUNNEL_LOGLEVEL", "info"), start, print(QByteArray("INF {}\n").repeated(8) + json)},
            m_started + byJson);
        row("silence of the level INF is not doubted", {start, print("x WRN INF\n"), waitFor(20s)},
            m_started + u", "_s + doubt +
                u"cloudflared has printed no line of level INF; its configuration may set loglevel"_s);
        row("JSON is doubted again for its levels", {start, print("{}\n"), waitFor(20s)}, m_started + byJson);
        row("a log that can be read is doubted", {start, print("x INF a\n"), waitFor(20s)}, m_started);
        row("a late line in braces is doubted", {start, print(QByteArray("INF {}\n").repeated(9) + json)},
            m_started);
    }
    void doubtsWhatItShows() { play(); }

    void explainsItsEnd_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("reason");

        const QString exited = u"cloudflared exited (code 1)"_s;
        QTest::newRow("an escaped quote ends the text")
            << u"x ERR a error=\"Get \\\"b\\\": \\\\ \" connIndex=0"_s << u"Get \\"_s << u"Get \"b\": \\ "_s;
        QTest::newRow("fields behind one word are shown")
            << u"x ERR no way error=Unauthorized connIndex=0 ip=1"_s
            << u"no way error=Unauthorized connIndex=0 ip=1"_s << u"no way: Unauthorized"_s;
        QTest::newRow("fields without an error are shown")
            << u"x ERR 1=1 is so connIndex=0 a=\"b c\""_s << u"1=1 is so connIndex=0 a=\"b c\""_s
            << u"1=1 is so"_s;
        QTest::newRow("an empty text in quotes is the reason")
            << u"x ERR no way error=\"\" a=1\t"_s << u"no way error=\"\" a=1"_s << u"no way"_s;
        QTest::newRow("a missing last quote hides the text")
            << u"x ERR a error=\"no way"_s << u"no way"_s << u"no way"_s;
        QTest::newRow("a failed update check is the reason")
            << u"x ERR update check failed error=\"no way\""_s << u"no way"_s << exited;
        QTest::newRow("help behind an error is the reason")
            << u"x ERR broken\nx ERR Please try: event=0\nx ERR   1. a event=0"_s << u"1. a event=0"_s
            << u"broken"_s;
        QTest::newRow("printed help hides the usage error")
            << u"Incorrect Usage: -x\nNAME:\n   y\nSee 'z'."_s << exited << u"Incorrect Usage: -x"_s;
    }
    void explainsItsEnd()
    {
        Bench bench;
        bench.start();
        QFETCH(QString, output);
        bench.child().write(output.toUtf8());
        bench.child().end(1);
        QTEST(bench.runner.state().message(), "message");
        QTEST(bench.runner.status().reason, "reason");
    }

    void cutsLinesAtEveryPlace()
    {
        const QByteArray output = "\xef\xbb\xbf"
                                  "ab\xc3\xa9\r\n\n\ncd\n\xff ERR\n\xf0\x9f\x9a\x87 e\tf\n";
        const QStringList expected{u"\uFEFFabé\r"_s, u"cd"_s, u"🚇 e\tf"_s, u"rest"_s};
        for (qsizetype cut = 0; cut <= output.size(); ++cut) {
            Bench bench;
            bench.start();
            for (const QByteArray &piece :
                 {output.left(cut), output.mid(cut), QByteArray("re"), QByteArray("st")})
                bench.child().write(piece);
            const QByteArray where = "cut after byte " + QByteArray::number(cut);
            QVERIFY2(bench.log.mid(1) == expected.mid(0, 3), where + ": the lines before the last one");
            bench.child().end(0);
            QVERIFY2(bench.log.mid(1, 4) == expected, where + ": all lines, after the end");
        }
    }

    void cutsEndlessLines()
    {
        Bench bench;
        bench.start();
        const QByteArray half(512 * 1024 - 1, 'x');
        for (const QByteArray &piece :
             {half, half + "\xc3\xa9\n", half, half + "\xf0\x9f\x9a\x87", half, QByteArray("\xff\na\n")})
            bench.child().write(piece);
        bench.child().write(half + half + half + "\nb\n");
        const QString whole = QString::fromLatin1(half + half);
        QCOMPARE(bench.log.mid(1),
                 (QStringList{whole + u'é', u"▶\uFE0E Cut a line after 1 MiB, as others will be"_s, whole,
                              u"a"_s, whole + u'x', u"b"_s}));
    }

    void keepsTwoThousandLines()
    {
        Bench bench;
        bench.start();
        QByteArray output;
        for (int i = 1; i <= 5001; ++i)
            output += QByteArray::number(i) + (i == 4000 ? QByteArray(100'000, 'x') : QByteArray()) + '\n';
        bench.child().write(output);
        const LogBuffer &log = bench.runner.logLines();
        QCOMPARE(log.size(), 2000);
        QCOMPARE(log.line(0), u"3002"_s);
        QCOMPARE(log.line(998).size(), 100'004);
        QCOMPARE(log.line(1999), u"5001"_s);
        QCOMPARE(log.text().count(u'\n'), 1999);
        bench.runner.clearLog();
        bench.child().write("a\nb\n");
        QCOMPARE(log.text(), u"a\nb"_s);
        QCOMPARE(log.endNumber(), 5004U);
    }
};

QTEST_GUILESS_MAIN(TestTunnelRunner)
#include "tst_tunnelrunner.moc"
