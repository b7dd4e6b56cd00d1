// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChildLauncher.h"
#include "LinuxProcessTable.h"
#include "LowLimit.h"
#include "PosixFileAccess.h"
#include "TerminationSignals.h"
#include "TimerScheduler.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/wait.h>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A launcher and one child at a time, with all that the child tells.
struct Bench
{
    DescriptorWatcher watcher;
    LinuxChildLauncher launcher{watcher};
    std::unique_ptr<ChildProcess> child;
    QByteArray output;
    int ends = 0;
    int status = -1;
    QByteArray outputAtEnd;
    QString error;

    bool launch(const QByteArray &script,
                const QString &executable = qEnvironmentVariable("MORVANEL_CLOUDFLARED"),
                std::vector<std::pair<QByteArray, QByteArray>> environment = {})
    {
        environment.emplace_back("MORVANEL_SCRIPT", script);
        ChildLauncher::Result result = launcher.launch(
            {executable, {u"tunnel"_s, u"run"_s}, std::move(environment)},
            {[this](QByteArrayView chunk) { output += chunk; }, [this](int code) { handleEnd(code); }});
        child = std::move(result.child);
        error = result.error;
        return child != nullptr;
    }
    void handleEnd(int code)
    {
        ++ends;
        status = code;
        outputAtEnd = output;
    }
};

QList<QByteArray> linesThatBegin(const QByteArray &output, const QByteArray &name)
{
    QList<QByteArray> lines;
    for (const QByteArray &line : output.split('\n')) {
        if (line.startsWith(name + ' '))
            lines += line.mid(name.size() + 1);
    }
    return lines;
}

QByteArray statusOf(qint32 pid)
{
    QFile file(u"/proc/%1/status"_s.arg(pid));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
    void handsOverExactlyWhatWasAsked();
    void tellsHowAChildEnded_data();
    void tellsHowAChildEnded();
    void deliversEverythingBeforeTheEnd();
    void endsThoughAGrandchildHoldsThePipe();
    void aClosedOutputIsNoEnd();
    void stopsAStoppedChild();
    void aDroppedChildGoesOnAndLeavesNoZombie();
    void theHandleMayGoInsideItsOwnCalls_data();
    void theHandleMayGoInsideItsOwnCalls();
    void runsNothingBeforeItsIdIsKnown();
    void runsNothingWhenItsLauncherDiesFirst();
    void failsToLaunch_data();
    void failsToLaunch();
    void survivesExhaustedDescriptors();
    void leaksNoDescriptor();
    void endsAllItsChildren();
    void executableFiles_data();
    void executableFiles();
    void findsProcesses();
    void waitsForAProgramThatIsAboutToRun();
    void turnsSignalsIntoEvents();
    void scheduledWorkCanBeCancelled();
};

void TestLinuxChildLauncher::handsOverExactlyWhatWasAsked()
{
    qputenv("MORVANEL_KEPT", "a=b \xff");
    qputenv("TUNNEL_TOKEN", "inherited");
    qputenv("TUNNEL_TOKENS", "another variable");
    const FileDescriptor leaky(::dup(STDERR_FILENO)); // not close-on-exec, as a careless library's might be
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    sigset_t before;
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto pipeHandler = std::signal(SIGPIPE, SIG_IGN);

    Bench bench;
    QVERIFY2(
        bench.launch("report", qEnvironmentVariable("MORVANEL_CLOUDFLARED"), {{"TUNNEL_TOKEN", "eyJ-new"}}),
        qPrintable(bench.error));
    const qint32 pid = bench.child->pid();
    QTRY_COMPARE(bench.ends, 1);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::signal(SIGPIPE, pipeHandler);
    qunsetenv("TUNNEL_TOKEN");
    qunsetenv("TUNNEL_TOKENS");

    QCOMPARE(linesThatBegin(bench.output, "arg"),
             (QList<QByteArray>{qgetenv("MORVANEL_CLOUDFLARED"), "tunnel", "run"}));
    const QList<QByteArray> environment = linesThatBegin(bench.output, "env");
    QVERIFY(environment.contains("MORVANEL_KEPT=a=b \xff"));
    QVERIFY(environment.contains("TUNNEL_TOKENS=another variable"));
    QVERIFY(environment.contains("TUNNEL_TOKEN=eyJ-new"));
    QVERIFY(!environment.contains("TUNNEL_TOKEN=inherited"));
    const QList<QByteArray> descriptors = linesThatBegin(bench.output, "fd");
    QCOMPARE(descriptors.size(), 3);
    QCOMPARE(descriptors[0], "0 /dev/null");
    QVERIFY(descriptors[1].startsWith("1 pipe:"));
    QCOMPARE(descriptors[2].mid(2), descriptors[1].mid(2));
    QCOMPARE(linesThatBegin(bench.output, "blocked"), QList<QByteArray>{"none"});
    QCOMPARE(linesThatBegin(bench.output, "ignored"), QList<QByteArray>{"none"});
    QCOMPARE(linesThatBegin(bench.output, "group"), QList<QByteArray>{QByteArray::number(pid)});
    QCOMPARE(linesThatBegin(bench.output, "parent"), QList<QByteArray>{QByteArray::number(::getpid())});
}

void TestLinuxChildLauncher::tellsHowAChildEnded_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<int>("status");

    QTest::newRow("exit 0") << QByteArray("exit 0") << 0;
    QTest::newRow("exit 255") << QByteArray("exit 255") << 255;
    QTest::newRow("SIGKILL") << QByteArray("die SIGKILL") << 9;
    QTest::newRow("SIGSEGV") << QByteArray("die SIGSEGV") << 11;
}

void TestLinuxChildLauncher::tellsHowAChildEnded()
{
    QFETCH(QByteArray, script);
    Bench bench;
    QVERIFY(bench.launch(script));
    QTRY_COMPARE(bench.ends, 1);
    QTEST(bench.status, "status");
    QVERIFY(!bench.child->isRunning());
    bench.child->terminate();
    bench.child->kill();
}

void TestLinuxChildLauncher::deliversEverythingBeforeTheEnd()
{
    Bench bench;
    QVERIFY(bench.launch("blast 100000 150 chunks\npartial last words\nexit 3"));
    QTRY_COMPARE_WITH_TIMEOUT(bench.ends, 1, 30'000);
    QCOMPARE(bench.outputAtEnd.size(), 100'000 * 150 + qsizetype(sizeof("last words")) - 1);
    QVERIFY(bench.outputAtEnd.endsWith("last words"));

    // A child that is dead before anybody reads, with more in the pipe than one turn takes.
    Bench dead;
    QVERIFY(dead.launch("blast 6000 150 chunks\nexit 0"));
    {
        QFile pipe(u"/proc/%1/fd/1"_s.arg(dead.child->pid()));
        QVERIFY(pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        QVERIFY(::fcntl(pipe.handle(), F_SETPIPE_SZ, 1 << 20) > 0);
    }
    while (dead.child->isRunning())
        ::sched_yield();
    QTRY_COMPARE(dead.ends, 1);
    QCOMPARE(dead.outputAtEnd.size(), 6000 * 150);
}

void TestLinuxChildLauncher::endsThoughAGrandchildHoldsThePipe()
{
    Bench bench;
    QVERIFY(bench.launch("fork-hold 60 1\nraw parent\nexit 7"));
    QTRY_COMPARE(bench.ends, 1);
    QVERIFY(bench.outputAtEnd.contains("parent\n"));
}

void TestLinuxChildLauncher::aClosedOutputIsNoEnd()
{
    Bench bench;
    QVERIFY(bench.launch("raw bye\nclose-output\nwait"));
    QTRY_COMPARE(QFile::symLinkTarget(u"/proc/%1/fd/2"_s.arg(bench.child->pid())), u"/dev/null"_s);
    QTRY_COMPARE(bench.output, "bye\n");
    QVERIFY(bench.child->isRunning());
    QCOMPARE(bench.ends, 0);
    bench.child->kill();
    QTRY_COMPARE(bench.ends, 1);
    QCOMPARE(bench.status, 9);
}

void TestLinuxChildLauncher::stopsAStoppedChild()
{
    Bench bench;
    QVERIFY(bench.launch("stop-self\nwait"));
    QTRY_VERIFY(statusOf(bench.child->pid()).contains("State:\tT"));
    QVERIFY(bench.child->isRunning());
    bench.child->terminate();
    bench.child->kill();
    QTRY_COMPARE(bench.ends, 1);
}

void TestLinuxChildLauncher::aDroppedChildGoesOnAndLeavesNoZombie()
{
    QTemporaryDir folder;
    const QString report = folder.filePath(u"report"_s);
    Bench bench;
    QVERIFY(bench.launch("blast 20000 150\npause 50\nreport " + report.toUtf8() + "\nexit 0"));
    const qint32 pid = bench.child->pid();
    bench.child.reset();
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(report), 20'000);
    QTRY_VERIFY(statusOf(pid).isEmpty());
    QCOMPARE(bench.ends, 0);
    QVERIFY(bench.output.isEmpty());
}

void TestLinuxChildLauncher::theHandleMayGoInsideItsOwnCalls_data()
{
    QTest::addColumn<bool>("isOutput");
    QTest::newRow("output") << true;
    QTest::newRow("ended") << false;
}

void TestLinuxChildLauncher::theHandleMayGoInsideItsOwnCalls()
{
    QFETCH(bool, isOutput);
    DescriptorWatcher watcher;
    LinuxChildLauncher launcher(watcher);
    std::unique_ptr<ChildProcess> child;
    int outputs = 0;
    int ends = 0;
    const QString path = qEnvironmentVariable("MORVANEL_CLOUDFLARED");
    child = launcher
                .launch({path, {}, {{"MORVANEL_SCRIPT", "raw a\npause 20\nraw b\npause 20\nexit 0"}}},
                        {[&](QByteArrayView) {
                             ++outputs;
                             if (isOutput)
                                 child.reset();
                         },
                         [&](int) {
                             ++ends;
                             child.reset();
                         }})
                .child;
    const qint32 pid = child->pid();
    QTRY_VERIFY(statusOf(pid).isEmpty());
    QVERIFY(isOutput ? outputs == 1 : outputs >= 1);
    QCOMPARE(ends, isOutput ? 0 : 1);
}

void TestLinuxChildLauncher::runsNothingBeforeItsIdIsKnown()
{
    Bench bench;
    QList<qint32> told;
    ChildCommand command{qEnvironmentVariable("MORVANEL_CLOUDFLARED"), {}, {{"MORVANEL_SCRIPT", "wait"}}};
    QString programMeanwhile;
    command.aboutToRun = [&](qint32 pid) {
        told += pid;
        programMeanwhile = QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid));
    };
    bench.child = bench.launcher.launch(command, {[](QByteArrayView) {}, [&](int) { ++bench.ends; }}).child;
    QVERIFY(bench.child);
    QCOMPARE(told, QList<qint32>{bench.child->pid()});
    QCOMPARE(programMeanwhile, QCoreApplication::applicationFilePath());
    QCOMPARE(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(told.first())), command.executable);
    bench.child->kill();
    QTRY_COMPARE(bench.ends, 1);

    command.executable = u"/nonexistent"_s;
    QVERIFY(!bench.launcher.launch(command, {}).child);
    QCOMPARE(told.size(), 2);
    QCOMPARE(::kill(told.last(), 0), -1);
}

void TestLinuxChildLauncher::runsNothingWhenItsLauncherDiesFirst()
{
    const QTemporaryDir folder;
    const QByteArray trace = QFile::encodeName(folder.filePath(u"ran"_s));
    int ends[2];
    QCOMPARE(::pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor alive(ends[0]);
    const pid_t launcher = ::fork();
    if (launcher == 0) {
        Bench bench;
        ChildCommand command{
            qEnvironmentVariable("MORVANEL_CLOUDFLARED"), {}, {{"MORVANEL_SCRIPT", "report " + trace}}};
        command.aboutToRun = [](qint32) { ::raise(SIGKILL); };
        bench.launcher.launch(command, {});
        ::_exit(1);
    }
    ::close(ends[1]);
    int status = 0;
    QCOMPARE(::waitpid(launcher, &status, 0), launcher);
    QVERIFY(WIFSIGNALED(status));
    char byte;
    QCOMPARE(::read(alive.get(), &byte, 1), 0); // both processes are gone
    QVERIFY(!QFile::exists(QFile::decodeName(trace)));
}

void TestLinuxChildLauncher::failsToLaunch_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content"); // null: no such file
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("token");
    QTest::addColumn<QString>("error");

    const QByteArray script = "#!/bin/sh\n";
    QTest::newRow("not there") << u"x"_s << QByteArray() << 0 << QByteArray("t")
                               << u"No such file or directory"_s;
    QTest::newRow("no execute permission")
        << u"x"_s << script << 0600 << QByteArray("t") << u"Permission denied"_s;
    QTest::newRow("no program") << u"x"_s << QByteArray("hello") << 0700 << QByteArray("t")
                                << u"Exec format error"_s;
    QTest::newRow("no interpreter") << u"x"_s << QByteArray("#!/no/such\n") << 0700 << QByteArray("t")
                                    << u"No such file or directory"_s;
    QTest::newRow("NUL in the token")
        << u"x"_s << script << 0700 << QByteArray("a\0b", 3)
        << u"TUNNEL_TOKEN contains a NUL character and cannot be passed to a program"_s;
    QTest::newRow("token beyond all limits")
        << u"x"_s << script << 0700 << QByteArray(200'000, 'e') << u"Argument list too long"_s;
}

void TestLinuxChildLauncher::failsToLaunch()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(int, mode);
    QFETCH(QByteArray, token);
    QTemporaryDir folder;
    QFile file(folder.filePath(name));
    if (!content.isNull()) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        file.setPermissions(QFileDevice::ReadOwner |
                            (mode & 0100 ? QFileDevice::ExeOwner : QFileDevice::ReadOwner));
    }
    const qsizetype before = openDescriptors();
    {
        Bench bench;
        QVERIFY(!bench.launch("exit 0", file.fileName(), {{"TUNNEL_TOKEN", token}}));
        QTEST(bench.error, "error");
    }
    QCOMPARE(openDescriptors(), before);
}

void TestLinuxChildLauncher::survivesExhaustedDescriptors()
{
    Bench bench;
    const qsizetype used = openDescriptors();
    for (rlim_t extra = 0; extra < 6; ++extra) {
        const LowLimit limit(RLIMIT_NOFILE, rlim_t(used) - 1 + extra);
        if (bench.launch("exit 0")) {
            QVERIFY(extra > 2);
            QTRY_VERIFY(bench.ends > 0);
            break;
        }
        QCOMPARE(bench.error, u"Too many open files"_s);
        QCOMPARE(::waitpid(-1, nullptr, WNOHANG), -1); // no child was left behind
    }
    QVERIFY(bench.launch("exit 0"));
    QTRY_VERIFY(bench.ends > 0);
}

void TestLinuxChildLauncher::leaksNoDescriptor()
{
    Bench bench;
    const qsizetype before = openDescriptors();
    for (int i = 1; i <= 20; ++i) {
        QVERIFY(bench.launch("exit 0"));
        QTRY_COMPARE(bench.ends, i);
    }
    bench.child.reset();
    QCOMPARE(openDescriptors(), before);
}

void TestLinuxChildLauncher::endsAllItsChildren()
{
    Bench bench;
    QVERIFY(bench.launch("sigterm ignore\nraw ready\nwait"));
    QTRY_COMPARE(bench.output, "ready\n");
    const std::unique_ptr<ChildProcess> stubborn = std::move(bench.child);
    QVERIFY(bench.launch("sigterm default\nraw set\nwait"));
    QTRY_COMPARE(bench.output, "ready\nset\n");
    QElapsedTimer timer;
    timer.start();
    bench.launcher.endAll(300ms);
    QVERIFY(timer.elapsed() >= 300);
    QTRY_COMPARE(bench.ends, 2);
    QVERIFY(!stubborn->isRunning());
}

void TestLinuxChildLauncher::executableFiles_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isExecutable");

    QTest::newRow("program") << u"/bin/sh"_s << true;
    QTest::newRow("folder") << u"/bin"_s << false;
    QTest::newRow("plain file") << u"/etc/passwd"_s << false;
    QTest::newRow("empty") << u""_s << false;
    QTest::newRow("nothing there") << u"/nonexistent"_s << false;
    QTest::newRow("blank at the end") << u"/bin/sh "_s << false;
    QTest::newRow("tilde") << u"~"_s << false;
    QTest::newRow("NUL") << QString(u"/bin/sh"_s + QChar(u'\0')) << false;
}

void TestLinuxChildLauncher::executableFiles()
{
    QFETCH(QString, path);
    QTEST(PosixFileAccess().isExecutableFile(path), "isExecutable");
}

void TestLinuxChildLauncher::findsProcesses()
{
    QTemporaryDir folder;
    LinuxProcessTable table;
    QVERIFY(!table.find(0));
    QVERIFY(!table.find(-1));
    QCOMPARE(table.find(::getpid())->executablePath(),
             QFile::encodeName(QCoreApplication::applicationFilePath()));
    for (const QString &name : {u"cloudflared"_s, u"cloudflared (deleted)"_s}) {
        const QString path = folder.filePath(name);
        QVERIFY(QFile::copy(qEnvironmentVariable("MORVANEL_CLOUDFLARED"), path));
        Bench bench;
        QVERIFY(bench.launch("sigterm default\nwait", path));
        const std::unique_ptr<ProcessHandle> process = table.find(bench.child->pid());
        QCOMPARE(process->executablePath(), QFile::encodeName(path));
        QVERIFY(QFile::remove(path));
        if (name == u"cloudflared"_s)
            QCOMPARE(process->executablePath(), QFile::encodeName(path));
        process->terminate();
        QTRY_COMPARE(bench.ends, 1);
        QCOMPARE(bench.status, 15);
        QCOMPARE(process->executablePath(), "");
        process->terminate();
    }
}

void TestLinuxChildLauncher::waitsForAProgramThatIsAboutToRun()
{
    const QByteArray program = qgetenv("MORVANEL_CLOUDFLARED");
    const pid_t child = ::fork();
    if (child == 0) {
        while (!statusOf(::getppid()).contains("State:\tS"))
            ::sched_yield(); // until the one who asks for it waits
        ::execl(program.constData(), program.constData(), nullptr);
        ::_exit(1);
    }
    const auto end = qScopeGuard([child] {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    });
    const std::unique_ptr<ProcessHandle> process = LinuxProcessTable().find(child);
    QVERIFY(process);
    QCOMPARE(process->executablePath(), program);
    QCOMPARE(LinuxProcessTable().find(::getpid())->executablePath(),
             QFile::encodeName(QCoreApplication::applicationFilePath()));
}

void TestLinuxChildLauncher::turnsSignalsIntoEvents()
{
    DescriptorWatcher watcher;
    TerminationSignals signalsReceived(watcher);
    QSignalSpy received(&signalsReceived, &TerminationSignals::received);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ::raise(signal);
        QTRY_COMPARE(received.count(), 1);
        received.clear();
    }
}

void TestLinuxChildLauncher::scheduledWorkCanBeCancelled()
{
    TimerScheduler scheduler;
    QStringList done;
    std::unique_ptr<ScheduledWork> cancelled = scheduler.after(1ms, [&] { done += u"cancelled"_s; });
    std::unique_ptr<ScheduledWork> kept;
    kept = scheduler.after(5ms, [&] {
        done += u"kept"_s;
        kept.reset();
    });
    cancelled.reset();
    QTRY_VERIFY(!kept);
    QCOMPARE(done, QStringList{u"kept"_s});
}

QTEST_GUILESS_MAIN(TestLinuxChildLauncher)
#include "tst_linuxchildlauncher.moc"
