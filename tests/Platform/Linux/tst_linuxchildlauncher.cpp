// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChildLauncher.h"
#include "LinuxProcessTable.h"
#include "LowLimit.h"
#include "ProcessSetup.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/wait.h>

#include <array>
#include <csignal>
#include <tuple>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString standIn = qEnvironmentVariable("MORVANEL_CLOUDFLARED");

/// A launcher and one child at a time, with all that the child tells.
struct Bench
{
    LinuxChildLauncher launcher;
    std::unique_ptr<ChildProcess> child;
    QByteArray output;
    int ends = 0;
    int status = -1;
    QByteArray outputAtEnd;
    QString error;

    using Environment = std::vector<std::pair<QByteArray, QByteArray>>;
    bool prepare(const QByteArray &script, const QString &executable = standIn, Environment environment = {})
    {
        environment.emplace_back("MORVANEL_SCRIPT", script);
        ChildLauncher::Prepared prepared = launcher.prepare(
            {executable, {u"tunnel"_s, u"run"_s}, std::move(environment)},
            {[this](QByteArrayView chunk) { output += chunk; }, [this](int code) { handleEnd(code); }});
        child = std::move(prepared.child);
        error = prepared.error;
        return child != nullptr;
    }
    bool launch(const QByteArray &script, const QString &executable = standIn,
                const Environment &environment = {})
    {
        if (prepare(script, executable, environment))
            error = child->run();
        return error.isEmpty();
    }
    void handleEnd(int code)
    {
        ++ends;
        status = code;
        outputAtEnd = output;
    }
};

/// A file about the process in /proc; empty when that is gone.
QByteArray factsOf(qint32 pid, const QString &name = u"status"_s)
{
    QFile file(u"/proc/%1/%2"_s.arg(pid).arg(name));
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
        ProcessSetup::prepare();
        QVERIFY(::fcntl(STDIN_FILENO, F_GETFD) != -1);
        ::dup2(STDERR_FILENO, STDIN_FILENO); // no child may get it
        ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
        QVERIFY(::sigisemptyset(&blocked));
        ::raise(SIGPIPE); // as when the reader of its output is gone
    }

    void keepsItsLimitsToItself()
    {
        const auto hasLimits = [](qint64 pid, const QByteArray &coreSize, const QByteArray &openFiles) {
            const QByteArray limits = factsOf(qint32(pid), u"limits"_s).simplified();
            return limits.contains("Max core file size " + coreSize + " bytes") &&
                   limits.contains("Max open files " + openFiles + " files");
        };
        QVERIFY(hasLimits(::getpid(), "0 8192", "4096 4096"));
        Bench bench;
        QVERIFY(bench.launch("wait"));
        QVERIFY(hasLimits(bench.child->pid(), "4096 8192", "512 4096"));
        bench.child->kill();
        QTRY_COMPARE(bench.ends, 1);
        {
            const ProcessSetup::OriginalLimits scope;
            QVERIFY(hasLimits(::getpid(), "4096 8192", "512 4096"));
        }
        QVERIFY(hasLimits(::getpid(), "0 8192", "4096 4096"));
    }

    void handsOverExactlyWhatWasAsked()
    {
        qputenv("MORVANEL_KEPT", "a=b \xff");
        qputenv("TUNNEL_TOKEN", "inherited");
        qputenv("TUNNEL_TOKENS", "another variable");
        const FileDescriptor leaky(
            ::dup(STDERR_FILENO)); // not close-on-exec, as a careless library's might be
        sigset_t blocked;
        ::sigemptyset(&blocked);
        ::sigaddset(&blocked, SIGTERM);
        sigset_t before;
        ::pthread_sigmask(SIG_BLOCK, &blocked, &before);

        Bench bench;
        QVERIFY2(bench.launch("report", standIn, {{"TUNNEL_TOKEN", "eyJ-new"}}), qPrintable(bench.error));
        const qint32 pid = bench.child->pid();
        QTRY_COMPARE(bench.ends, 1);
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        qunsetenv("TUNNEL_TOKEN");
        qunsetenv("TUNNEL_TOKENS");

        const QString report = QString::fromLatin1(bench.output);
        QVERIFY(report.startsWith(u"arg %1\narg tunnel\narg run\nenv "_s.arg(standIn)));
        for (const QString &entry :
             {u"MORVANEL_KEPT=a=b \u00ff"_s, u"TUNNEL_TOKENS=another variable"_s, u"TUNNEL_TOKEN=eyJ-new"_s})
            QVERIFY2(report.contains(u"\nenv "_s + entry + u'\n'), qPrintable(entry));
        QVERIFY(!report.contains(u"inherited"_s));
        const QString rest = u"\nfd 0 /dev/null\nfd 1 (pipe:\\[\\d+\\])\nfd 2 \\1\nblocked none\n"
                             "ignored 0{15}1\nparent %1\ngroup %2\n$"_s; // the ignored one is SIGHUP
        const QRegularExpression expected(rest.arg(::getpid()).arg(pid));
        QVERIFY2(report.contains(expected), bench.output.constData());
    }

    void deliversEverythingBeforeTheEnd()
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
        while (!factsOf(dead.child->pid()).contains("State:\tZ"))
            ::sched_yield();
        QTRY_COMPARE(dead.ends, 1);
        QCOMPARE(dead.outputAtEnd.size(), 6000 * 150);
    }

    void endsThoughAGrandchildHoldsThePipe()
    {
        Bench bench;
        QVERIFY(bench.launch("fork-hold 60 1\nraw parent\nexit 7"));
        QTRY_COMPARE(bench.ends, 1);
        QVERIFY(bench.outputAtEnd.contains("parent\n"));
    }

    void theHandleMayGoInsideItsOwnCalls_data()
    {
        QTest::addColumn<bool>("isOutput");
        QTest::newRow("output") << true;
        QTest::newRow("ended") << false;
    }

    void theHandleMayGoInsideItsOwnCalls()
    {
        QFETCH(bool, isOutput);
        const QTemporaryDir folder;
        const QString report = folder.filePath(u"report"_s);
        const QByteArray script = "raw a\npause 20\nblast 20000 150\nreport " + report.toUtf8();
        LinuxChildLauncher launcher;
        std::unique_ptr<ChildProcess> child;
        int outputs = 0;
        int ends = 0;
        const auto handleOutput = [&](QByteArrayView) {
            ++outputs;
            if (isOutput)
                child.reset();
        };
        const auto handleEnd = [&](int) {
            ++ends;
            child.reset();
        };
        child =
            launcher.prepare({standIn, {}, {{"MORVANEL_SCRIPT", script}}}, {handleOutput, handleEnd}).child;
        QCOMPARE(child->run(), QString());
        const qint32 pid = child->pid();
        QTRY_VERIFY_WITH_TIMEOUT(factsOf(pid).isEmpty(), 20'000); // no zombie either
        QVERIFY(QFile::exists(report));
        QCOMPARE(outputs == 1, isOutput);
        QCOMPARE(ends, isOutput ? 0 : 1);
    }

    void runsNothingBeforeItIsLetRun()
    {
        const auto programOf = [](const Bench &bench) {
            return QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(bench.child->pid()));
        };
        std::array<Bench, 4> benches; // the later ones are made while the earlier wait
        auto &[stopped, dropped, killed, started] = benches;
        for (Bench &bench : benches)
            QVERIFY(bench.prepare("raw ran\nwait"));
        const qint32 droppedPid = dropped.child->pid();
        dropped.child.reset();
        QCOMPARE(::kill(droppedPid, 0), -1);
        ::kill(killed.child->pid(), SIGKILL);
        QTRY_COMPARE(killed.ends, 1);
        QCOMPARE(killed.child->run(), QString());
        stopped.child->terminate();
        QCOMPARE(stopped.child->run(), QString());
        QTRY_COMPARE(stopped.ends, 1);
        QCOMPARE(stopped.status, SIGTERM);
        QCOMPARE(stopped.output, "");

        QCOMPARE(programOf(started), QCoreApplication::applicationFilePath());
        QCOMPARE(started.child->run(), QString());
        QCOMPARE(programOf(started), standIn);
        QTRY_COMPARE(started.output, "ran\n");
        started.child->kill();
        QTRY_COMPARE(started.ends, 1);
        QVERIFY(!started.child->isRunning());
    }

    void endsThoughItsLauncherIsGone_data()
    {
        QTest::addColumn<bool>("isRun");
        QTest::addColumn<bool>("endsWithLauncher");
        QTest::addColumn<QByteArray>("lastWords"); // more than a pipe holds, so somebody has to read them
        QTest::newRow("without a run") << false << false << QByteArray();
        QTest::newRow("with its launcher") << true << true << QByteArray();
        QTest::newRow("when the next run asks it to") << true << false << QByteArray("blast 1000 100\n");
    }

    void endsThoughItsLauncherIsGone()
    {
        QFETCH(bool, isRun);
        QFETCH(bool, endsWithLauncher);
        QFETCH(QByteArray, lastWords);
        const QTemporaryDir folder;
        const QString ready = folder.filePath(u"ready"_s);
        const QString ended = folder.filePath(u"ended"_s);
        const QByteArray script = "report " + QFile::encodeName(ready) + "\nwait\non-term\n" + lastWords +
                                  "pause 20\n" + lastWords + "report " + QFile::encodeName(ended);
        const Pipe told;
        const pid_t launcher = ::fork();
        if (launcher == 0) {
            LinuxChildLauncher doomed;
            const ChildLauncher::Prepared prepared =
                doomed.prepare({standIn, {}, {{"MORVANEL_SCRIPT", script}}, endsWithLauncher}, {});
            const qint32 pid = prepared.child->pid();
            if (!isRun || prepared.child->run().isEmpty())
                std::ignore = ::write(told.writeEnd.get(), &pid, sizeof pid);
            ::pause();
        }
        qint32 orphan = 0;
        QCOMPARE(::read(told.readEnd.get(), &orphan, sizeof orphan), ssize_t(sizeof orphan));
        QTRY_COMPARE(QFile::exists(ready), isRun);
        ::kill(launcher, SIGKILL);
        QCOMPARE(::waitpid(launcher, nullptr, 0), launcher);
        LinuxProcessTable table;
        if (!endsWithLauncher)
            table.terminate(orphan, QFile::encodeName(standIn));
        QTRY_VERIFY(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(orphan)).isEmpty());
        QCOMPARE(QFile::exists(ready), isRun);
        QCOMPARE(QFile::exists(ended), isRun);
    }

    void failsToLaunch_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no such file
        QTest::addColumn<bool>("isExecutable");
        QTest::addColumn<QByteArray>("token");
        QTest::addColumn<QString>("error");

        const auto row = [](const char *name, const QByteArray &content, bool isExecutable,
                            const QByteArray &token, const QString &error) {
            QTest::newRow(name) << content << isExecutable << token << error;
        };
        const QByteArray script = "#!/bin/sh\n";
        row("not there", {}, false, "t", u"No such file or directory"_s);
        row("no execute permission", script, false, "t", u"Permission denied"_s);
        row("no program", "hello", true, "t", u"Exec format error"_s);
        row("NUL in the token", script, true, QByteArray("a\0b", 3),
            u"TUNNEL_TOKEN contains a NUL character and cannot be passed to a program"_s);
        row("token beyond all limits", script, true, QByteArray(200'000, 'e'), u"Argument list too long"_s);
    }

    void failsToLaunch()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, isExecutable);
        QFETCH(QByteArray, token);
        const QTemporaryDir folder;
        QFile file(folder.filePath(u"x"_s));
        if (!content.isNull()) {
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
            file.close();
            file.setPermissions(isExecutable ? QFile::ReadOwner | QFile::ExeOwner : QFile::ReadOwner);
        }
        const qsizetype before = openDescriptors();
        {
            Bench bench;
            QVERIFY(!bench.launch("exit 0", file.fileName(), {{"TUNNEL_TOKEN", token}}));
            QTEST(bench.error, "error");
        }
        QCOMPARE(openDescriptors(), before);
    }

    void survivesExhaustedDescriptors()
    {
        Bench bench;
        const qsizetype used = openDescriptors();
        for (rlim_t extra = 0; extra < 6; ++extra) {
            const LowLimit limit(RLIMIT_NOFILE, rlim_t(used) - 1 + extra);
            if (bench.prepare("exit 0")) {
                QVERIFY(extra > 2);
                const Pipe needed; // what writing its id down may need
                QVERIFY(needed.isOpen());
                QCOMPARE(bench.child->run(), QString());
                QTRY_VERIFY(bench.ends > 0);
                break;
            }
            QCOMPARE(bench.error, u"Too many open files"_s);
            QCOMPARE(::waitpid(-1, nullptr, WNOHANG), -1); // no child was left behind
        }
        QVERIFY(bench.launch("exit 0"));
        QTRY_VERIFY(bench.ends > 0);
    }

    void endsAllItsChildren()
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

    void terminatesProcessesByTheirProgram()
    {
        QTemporaryDir folder;
        LinuxProcessTable table;
        for (const QString &name : {u"cloudflared"_s, u"cloudflared (deleted)"_s}) {
            const QString path = folder.filePath(name);
            QVERIFY(QFile::copy(standIn, path));
            Bench bench;
            QVERIFY(bench.launch("sigterm default\nraw ready\nwait", path));
            QTRY_COMPARE(bench.output, "ready\n");
            const qint32 pid = bench.child->pid();
            table.terminate(pid, "/loudflared");
            table.terminate(pid, name == u"cloudflared"_s ? "cloudflared (deleted)" : "/cloudflared");
            QTest::qWait(50);
            QCOMPARE(bench.ends, 0);
            if (name == u"cloudflared"_s)
                QVERIFY(QFile::remove(path));
            table.terminate(pid, QFile::encodeName(path));
            QTRY_COMPARE(bench.ends, 1);
            QCOMPARE(bench.status, SIGTERM);
            table.terminate(pid, "");
        }
        table.terminate(0, "");
        table.terminate(-1, "");
    }
};

QTEST_GUILESS_MAIN(TestLinuxChildLauncher)
#include "tst_linuxchildlauncher.moc"
