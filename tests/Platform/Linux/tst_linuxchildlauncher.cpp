// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Keeper.h"
#include "LinuxChildLauncher.h"
#include "LowLimit.h"
#include "ProcessSetup.h"
#include "TerminationSignals.h"
#include "TimerScheduler.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/wait.h>

#include <array>
#include <csignal>
#include <functional>
#include <optional>
#include <tuple>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString standIn = qEnvironmentVariable("MORVANEL_CLOUDFLARED");

/// A launcher and one child at a time, with all that the child tells.
struct Bench
{
    Keeper keeper;
    LinuxChildLauncher launcher{keeper};
    std::unique_ptr<ChildProcess> child;
    QByteArray told;            ///< its output, then its status in brackets
    QString signal;             ///< that ended it
    bool dropsAtOutput = false; ///< the handle goes inside the call
    bool dropsAtEnd = false;

    /// Makes a child, and lets it run unless it is to wait. Returns why it does not, else an empty text.
    QString launch(const QByteArray &script, const QString &executable = standIn,
                   const QByteArray &token = "eyJ-new", bool waits = false)
    {
        const auto output = [this](QByteArrayView chunk) {
            told += chunk;
            if (dropsAtOutput)
                child.reset();
        };
        const auto ended = [this](int status, const QString &signalName) {
            signal = signalName;
            told += '[' + QByteArray::number(status) + ']';
            if (dropsAtEnd)
                child.reset();
        };
        ChildLauncher::Prepared prepared = launcher.prepare(
            {executable, {u"tunnel"_s, u"run"_s}, {{"TUNNEL_TOKEN", token}, {"MORVANEL_SCRIPT", script}}},
            {output, ended});
        child = std::move(prepared.child);
        return child && !waits ? child->run() : prepared.error;
    }
    QString prepare(const QByteArray &script) { return launch(script, standIn, "eyJ-new", true); }
};

QString programOf(qint32 pid)
{
    return QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid));
}

/// Makes a script that starts the stand-in and waits for it, as a user's own "cloudflared" may. Returns its
/// path.
QString wrapper(const QTemporaryDir &folder)
{
    QString path = folder.filePath(u"cloudflared"_s);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFile::ReadOwner | QFile::ExeOwner))
        qFatal("No script can be made.");
    file.write("#!/bin/sh\n" + QFile::encodeName(standIn) + " \"$@\"\necho after\n");
    return path;
}

/// Core size and open files, each with its own limit of this kind.
QList<rlim_t> limitsOf(qint32 pid)
{
    rlimit core{};
    rlimit files{};
    ::prlimit(pid, RLIMIT_CORE, nullptr, &core);
    ::prlimit(pid, RLIMIT_NOFILE, nullptr, &files);
    return {core.rlim_cur, core.rlim_max, files.rlim_cur, files.rlim_max};
}

/// The ids of the children of this thread, zombies as well.
QByteArray childrenOfThis()
{
    QFile file(u"/proc/thread-self/children"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no list of children");
}

qsizetype openDescriptors()
{
    return QDir(u"/proc/self/fd"_s).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
}

} // namespace

class TestLinuxChildLauncher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Acts as a program that was started by nohup(1) from a shell with these limits, carelessly.
        const rlimit openFiles{512, 4096};
        QCOMPARE(::setrlimit(RLIMIT_NOFILE, &openFiles), 0);
        const rlimit coreSize{4096, 8192};
        QCOMPARE(::setrlimit(RLIMIT_CORE, &coreSize), 0);
        std::signal(SIGHUP, SIG_IGN);
        std::signal(SIGCHLD, SIG_IGN);
        sigset_t blocked;
        ::sigfillset(&blocked);
        ::sigprocmask(SIG_SETMASK, &blocked, nullptr);
        ::close(STDIN_FILENO);
        const qsizetype open = openDescriptors();
        ProcessSetup::prepare();
        QCOMPARE(openDescriptors(), open + 1);
        QVERIFY(::fcntl(STDIN_FILENO, F_GETFD) != -1);
        ::dup2(STDERR_FILENO, STDIN_FILENO); // no child may get it
        ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
        QVERIFY(::sigisemptyset(&blocked));
        ::raise(SIGPIPE); // as when the reader of its output is gone
    }

    void handsOverExactlyWhatWasAsked()
    {
        const QList<rlim_t> before{4096, 8192, 512, 4096};
        {
            const ProcessSetup::OriginalLimits scope;
            QCOMPARE(limitsOf(0), before);
        }
        QCOMPARE(limitsOf(0), (QList<rlim_t>{0, 8192, 4096, 4096}));

        qputenv("TUNNEL_TOKEN", "inherited");
        qputenv("TUNNEL_TOKENS", "another \xff");
        // Not close-on-exec, as a careless library's might be.
        const FileDescriptor leaky(::fcntl(STDERR_FILENO, F_DUPFD, 0));
        Bench bench;
        QCOMPARE(bench.launch("report\nwait"), QString());
        const qint32 pid = bench.child->pid();
        QCOMPARE(limitsOf(pid), before);
        qunsetenv("TUNNEL_TOKEN");
        qunsetenv("TUNNEL_TOKENS");

        QTRY_VERIFY(bench.told.contains("group "));
        bench.child->kill();
        QTRY_VERIFY(bench.told.endsWith("[9]"));
        const QString report = QString::fromLatin1(bench.told);
        QVERIFY2(report.startsWith(u"arg %1\narg tunnel\narg run\nenv "_s.arg(standIn)), bench.told);
        QVERIFY2(report.contains(u"\nenv TUNNEL_TOKENS=another \u00ff\n"_s), bench.told);
        QVERIFY2(report.contains(u"\nenv TUNNEL_TOKEN=eyJ-new\n"_s) && !report.contains(u"inherited"_s),
                 bench.told);
        const QString rest = u"\nfd 0 /dev/null\nfd 1 (pipe:\\[\\d+\\])\nfd 2 \\1\nblocked none\n"
                             "ignored 0{15}1\nparent %1\ngroup %2\n\\[9\\]$"_s; // the ignored one is SIGHUP
        QVERIFY2(report.contains(QRegularExpression(rest.arg(::getpid()).arg(pid))), bench.told.constData());
    }

    void deliversEverythingBeforeTheEnd()
    {
        Bench bench;
        const qsizetype descriptors = openDescriptors();
        QCOMPARE(bench.launch("blast 20000 150 chunks\npartial last words\nexit 3"), QString());
        QTRY_VERIFY_WITH_TIMEOUT(bench.told.endsWith("last words[3]"), 30'000);
        QCOMPARE(bench.told.size(), 20'000 * 150 + 13);
        bench.child.reset();
        QCOMPARE(openDescriptors(), descriptors);

        // One that fills a buffer and falls silent holds up nothing.
        Bench silent;
        QCOMPARE(silent.launch("blast 1 65536 chunks\nwait"), QString());
        QTRY_COMPARE(silent.told.size(), 65'536);
        silent.child->kill();
        QTRY_VERIFY(silent.told.endsWith("[9]"));

        // A child that is dead before anybody reads, with more in the pipe than one turn takes.
        Bench dead;
        QCOMPARE(dead.launch("blast 6000 150 chunks\nexit 0"), QString());
        {
            QFile pipe(u"/proc/%1/fd/1"_s.arg(dead.child->pid()));
            QVERIFY(pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
            QVERIFY(::fcntl(pipe.handle(), F_SETPIPE_SZ, 1 << 20) > 0);
        }
        siginfo_t zombie{};
        QCOMPARE(::waitid(P_PID, id_t(dead.child->pid()), &zombie, WEXITED | WNOWAIT), 0);
        QTRY_VERIFY(dead.told.endsWith("[0]"));
        QCOMPARE(dead.told.size(), 6000 * 150 + 3);

        Bench parent; // of a process that holds the pipe and goes on writing
        QCOMPARE(parent.launch("fork-hold 60 1\nraw parent\nexit 7"), QString());
        QTRY_VERIFY_WITH_TIMEOUT(parent.told.endsWith("[7]"), 30'000);
        QVERIFY(parent.told.contains("parent\n"));
    }

    void theHandleMayGoInsideItsOwnCalls()
    {
        for (bool Bench::*drops : {&Bench::dropsAtOutput, &Bench::dropsAtEnd}) {
            const QTemporaryDir folder;
            const QString report = folder.filePath(u"report"_s);
            Bench bench;
            bench.*drops = true;
            QCOMPARE(bench.launch("raw a\npause 20\nblast 20000 9\nreport " + report.toUtf8()), QString());
            const qint32 pid = bench.child->pid();
            QTRY_COMPARE_WITH_TIMEOUT(::kill(pid, 0), -1, 20'000); // no zombie either
            QVERIFY(QFile::exists(report));
            QCOMPARE(bench.told.size(), bench.dropsAtEnd ? 2 + 20'000 * 9 + 3 : 2);
        }
    }

    void runsNothingBeforeItIsLetRun()
    {
        std::array<Bench, 4> benches; // the later ones are made while the earlier wait
        auto &[stopped, dropped, killed, started] = benches;
        for (Bench &bench : benches)
            QCOMPARE(bench.prepare("raw ran\nwait"), QString());
        const qint32 droppedPid = dropped.child->pid();
        dropped.child.reset();
        QCOMPARE(::kill(droppedPid, 0), -1);
        ::kill(killed.child->pid(), SIGKILL);
        QTRY_COMPARE(killed.told, "[9]");
        QCOMPARE(killed.signal, u"SIGKILL"_s);
        QCOMPARE(killed.child->run(), QString());
        stopped.child->terminate();
        QCOMPARE(stopped.child->run(), QString());
        QTRY_COMPARE(stopped.told, "[15]");

        QCOMPARE(programOf(started.child->pid()), QCoreApplication::applicationFilePath());
        QVERIFY(started.child->isRunning());
        QCOMPARE(started.child->run(), QString());
        QCOMPARE(programOf(started.child->pid()), standIn);
        QTRY_COMPARE(started.told, "ran\n");
        started.child->kill();
        QTRY_COMPARE(started.told, "ran\n[9]");
        QVERIFY(!started.child->isRunning());
    }

    void endsWithAllThatItStarted_data()
    {
        QTest::addColumn<bool>("isStopped");                           // else its shell alone is killed
        QTest::addColumn<std::function<void(ChildProcess &)>>("then"); // once the shell has gone
        QTest::addColumn<QString>("told");
        const std::function<void(ChildProcess &)> nothing = [](ChildProcess &) {};
        const std::function terminate = [](ChildProcess &child) { child.terminate(); };
        const std::function kill = [](ChildProcess &child) { child.kill(); };
        const QString goodbye = u"ready\nlast words\n"_s;
        QTest::newRow("the shell's end cuts its program's goodbye short")
            << true << nothing << goodbye + u"[15]"_s;
        QTest::newRow("a second stop cuts the goodbye short") << true << terminate << goodbye + u"[15]"_s;
        QTest::newRow("what a killed shell started is left alone") << false << nothing << goodbye + u"[9]"_s;
        QTest::newRow("what a killed shell started cannot be killed") << false << kill << u"ready\n[9]"_s;
    }
    void endsWithAllThatItStarted()
    {
        QFETCH(const bool, isStopped);
        QFETCH(const std::function<void(ChildProcess &)>, then);
        QFETCH(const QString, told);
        const QTemporaryDir folder;
        Bench bench;
        QCOMPARE(bench.launch("raw ready\nwait\non-term\npause 100\nraw last words", wrapper(folder)),
                 QString());
        QTRY_COMPARE(bench.told, "ready\n");
        const qint32 shell = bench.child->pid();
        if (isStopped)
            bench.child->terminate();
        else
            ::kill(shell, SIGKILL);
        QTRY_COMPARE(::kill(shell, 0), -1);
        then(*bench.child);
        QTRY_COMPARE(QString::fromLatin1(bench.told), told);
    }

    void isEndedByTheKeeper_data()
    {
        QTest::addColumn<std::function<void(ChildProcess &)>>("end"); // of the child's owner
        QTest::addColumn<bool>("isWrapped");
        QTest::addColumn<bool>("runs"); // and says goodbye
        const std::function<void(ChildProcess &)> kill = [](ChildProcess &) { ::raise(SIGKILL); };
        const std::function<void(ChildProcess &)> leave = [](ChildProcess &) { ::_exit(1); };
        const std::function<void(ChildProcess &)> stopAndKill = [](ChildProcess &child) {
            child.terminate();
            ::raise(SIGKILL);
        };
        QTest::newRow("left behind by a program that is killed") << kill << false << true;
        QTest::newRow("left behind by its shell and a program that is killed") << kill << true << true;
        QTest::newRow("left behind by a library that leaves by _exit") << leave << false << true;
        QTest::newRow("stopped twice, which cuts its goodbye short") << stopAndKill << false << true;
        QTest::newRow("left behind before it came to its program") << kill << false << false;
    }
    void isEndedByTheKeeper()
    {
        QFETCH(const std::function<void(ChildProcess &)>, end);
        QFETCH(const bool, isWrapped);
        QFETCH(const bool, runs);
        const QTemporaryDir folder;
        const QString ready = folder.filePath(u"ready"_s);
        const QString goodbye = folder.filePath(u"goodbye"_s);
        const QString lock = folder.filePath(u"lock"_s);
        const QString program = isWrapped ? wrapper(folder) : standIn;
        // More than a pipe holds, so somebody has to read it; and a second SIGTERM would end it.
        const QByteArray script = "report " + QFile::encodeName(ready) +
                                  "\nwait\non-term\nblast 1000 100\npause 300\nblast 1000 100\nreport " +
                                  QFile::encodeName(goodbye);
        const Pipe told;
        Pipe life;
        const pid_t owner = ::fork();
        if (owner == 0) {
            life.writeEnd.reset();
            Keeper keeper;
            keeper.lookForEarlier(lock);
            LinuxChildLauncher launcher(keeper);
            const ChildLauncher::Prepared prepared =
                launcher.prepare({program, {}, {{"MORVANEL_SCRIPT", script}}}, {});
            qint32 pid = prepared.child->pid();
            if (!runs || prepared.child->run().isEmpty())
                std::ignore = ::write(told.writeEnd.get(), &pid, sizeof pid);
            std::ignore = ::read(life.readEnd.get(), &pid, sizeof pid); // until its end
            end(*prepared.child);
        }
        qint32 orphan = 0;
        QCOMPARE(::read(told.readEnd.get(), &orphan, sizeof orphan), ssize_t(sizeof orphan));
        QTRY_VERIFY2(QFile::exists(ready) == runs, "the child has come to its program, or not");
        life.writeEnd.reset();
        QCOMPARE(::waitpid(owner, nullptr, 0), owner);

        Bench next; // the next run leaves it to the keeper
        next.keeper.lookForEarlier(lock);
        QVERIFY2(next.keeper.isEarlierAtWork() || !runs, "the next run does not see the keeper");
        next.launcher.terminateOrphan(orphan, QFile::encodeName(program));
        QTRY_VERIFY2(programOf(orphan).isEmpty(), "the child lives on");
        QTRY_VERIFY2(QFile::exists(goodbye) == runs, "the child has said goodbye, or not");
    }

    void failsToLaunch_data()
    {
        QTest::addColumn<QString>("program"); // made by the test, or an absolute path
        QTest::addColumn<QByteArray>("token");
        QTest::addColumn<QString>("error");
        QTest::newRow("no file") << u"absent"_s << QByteArray("t") << u"No such file or directory"_s;
        QTest::newRow("a file that may not be run")
            << u"plain"_s << QByteArray("t") << u"Permission denied"_s;
        QTest::newRow("a file that is no program") << u"text"_s << QByteArray("t") << u"Exec format error"_s;
        QTest::newRow("a token that ends early")
            << standIn << QByteArray("a\0b", 3)
            << u"TUNNEL_TOKEN contains a NUL character and cannot be passed to a program"_s;
        QTest::newRow("a token that is too long")
            << standIn << QByteArray(200'000, 'e') << u"Argument list too long"_s;
    }
    void failsToLaunch()
    {
        QFETCH(const QString, program);
        QFETCH(const QByteArray, token);
        const QTemporaryDir folder;
        const QString files = u"cd $0; touch plain; echo hello > text; chmod +x text"_s;
        QCOMPARE(QProcess::execute(u"/bin/sh"_s, {u"-c"_s, files, folder.path()}), 0);
        const qsizetype before = openDescriptors();
        {
            Bench bench;
            QTEST(bench.launch("exit 0", QDir(folder.path()).filePath(program), token), "error");
            QVERIFY2(!bench.child || !bench.child->isRunning(), "what does not run is said to run");
        }
        QVERIFY2(openDescriptors() == before, "a descriptor is left open");
    }

    void survivesExhaustedDescriptors()
    {
        Bench bench;
        const QByteArray children = childrenOfThis(); // keepers
        const qsizetype used = openDescriptors();
        for (rlim_t extra = 0; extra < 6 && bench.told.isEmpty(); ++extra) {
            std::optional<LowLimit> limit(std::in_place, RLIMIT_NOFILE, rlim_t(used) - 1 + extra);
            const QString error = bench.prepare("exit 0");
            if (bench.child) {
                QVERIFY(extra > 2);
                QVERIFY(Pipe().isOpen()); // what writing its id down may need
                QCOMPARE(bench.child->run(), QString());
                QTRY_COMPARE(bench.told, "[0]");
            } else {
                QCOMPARE(error, u"Too many open files"_s);
                limit.reset();
                QCOMPARE(childrenOfThis(), children);
            }
        }
        QCOMPARE(bench.launch("exit 0"), QString());
        QTRY_COMPARE(bench.told, "[0][0]");
    }

    void terminatesOrphansByTheirProgram_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("isDeleted");
        QTest::addColumn<QByteArray>("pathEnd");
        QTest::addColumn<bool>("isMeant");
        const QString usual = u"cloudflared"_s;
        const QString odd = u"cloudflared (deleted)"_s;
        QTest::newRow("another name is ended")
            << usual << false << QByteArray("cloudflared (deleted)") << false;
        QTest::newRow("a file that is called deleted is ended")
            << odd << false << QByteArray("/cloudflared") << false;
        QTest::newRow("a program whose file is gone is left")
            << usual << true << QByteArray("/cloudflared") << true;
        QTest::newRow("a file that is called deleted is left")
            << odd << false << QByteArray("/cloudflared (deleted)") << true;
    }
    void terminatesOrphansByTheirProgram()
    {
        QFETCH(const QString, file);
        QFETCH(const bool, isDeleted);
        QFETCH(const QByteArray, pathEnd);
        QFETCH(const bool, isMeant);
        const QTemporaryDir folder;
        const QString path = folder.filePath(file);
        QVERIFY(QFile::copy(standIn, path));
        Bench bench;
        QCOMPARE(bench.launch("sigterm default\nraw ready\nwait", path), QString());
        QTRY_COMPARE(bench.told, "ready\n");
        QVERIFY(!isDeleted || QFile::remove(path));
        bench.launcher.terminateOrphan(bench.child->pid(), pathEnd);
        bench.child->kill(); // changes nothing once SIGTERM ends it
        QTRY_COMPARE(bench.told, isMeant ? "ready\n[15]" : "ready\n[9]");
    }

    void keepsDeadlines()
    {
        TimerScheduler scheduler;
        const auto begin = scheduler.now();
        QByteArray runs;
        std::unique_ptr<ScheduledWork> own;
        own = scheduler.after(30ms, [&] {
            runs += "own ";
            own.reset();
        });
        const auto kept = scheduler.after(60ms, [&] { runs += "kept "; });
        const auto last = scheduler.after(150ms, [&] { runs += "last "; });
        scheduler.after(0ms, [&] { runs += "dropped "; }).reset();
        QTRY_COMPARE(runs, "own kept last "); // each once
        QVERIFY(scheduler.now() - begin >= 150ms && scheduler.now() - begin < 60s);
    }

    void turnsSignalsIntoEvents()
    {
        auto handler = std::make_unique<TerminationSignals>();
        QSignalSpy received(handler.get(), &TerminationSignals::received);
        ::raise(SIGHUP);
        QCoreApplication::processEvents(); // a signal is there once raise returns
        QVERIFY2(received.isEmpty(), "SIGHUP ends the program, though its launcher ignored it");
        for (const int number : {SIGTERM, SIGINT}) {
            received.clear();
            ::raise(number);
            QCoreApplication::processEvents();
            QVERIFY2(received.count() == 1, "a signal is lost, or ends the program twice");
        }
        handler.reset();
        ::raise(SIGTERM); // the process is ending already
    }
};

QTEST_GUILESS_MAIN(TestLinuxChildLauncher)
#include "tst_linuxchildlauncher.moc"
