// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Time in which a child's output becomes a state and a log, against a bare read(2) loop over the same pipe
// and data. Prints ratios of one run; an argument sets the number of lines.

#include "Keeper.h"
#include "LinuxChildLauncher.h"
#include "TimerScheduler.h"
#include "TunnelRunner.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/// Number of runs. The processors that child and reader run on decide much of a single run; the best counts.
constexpr int rounds = 9;

struct Load
{
    const char *name;
    QByteArray script;
};

double bareSeconds(const QByteArray &executable)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        qFatal("pipe2");
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    std::array<char *, 2> argv{const_cast<char *>(executable.constData()), nullptr};
    QElapsedTimer timer;
    timer.start();
    pid_t pid = 0;
    if (::posix_spawn(&pid, executable.constData(), &actions, nullptr, argv.data(), environ) != 0)
        qFatal("posix_spawn");
    ::close(ends[1]);
    std::vector<char> buffer(65536);
    while (::read(ends[0], buffer.data(), buffer.size()) > 0) {
    }
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    ::close(ends[0]);
    ::waitpid(pid, nullptr, 0);
    ::posix_spawn_file_actions_destroy(&actions);
    return seconds;
}

double runnerSeconds(const QByteArray &executable)
{
    Keeper keeper;
    LinuxChildLauncher launcher(keeper);
    TimerScheduler scheduler;
    TunnelRunner runner(QUuid::createUuid(), launcher, scheduler);
    runner.onProcessExited = [](qint32) { QCoreApplication::quit(); };
    QElapsedTimer timer;
    timer.start();
    runner.start(QFile::decodeName(executable), u"eyJ"_s);
    QCoreApplication::exec();
    return double(timer.nsecsElapsed()) / 1e9;
}

struct Best
{
    double bare;
    double runner;
};

Best bestOfRounds(const QByteArray &executable)
{
    Best best{bareSeconds(executable), runnerSeconds(executable)};
    for (int i = 1; i < rounds; ++i) {
        best.bare = std::min(best.bare, bareSeconds(executable));
        best.runner = std::min(best.runner, runnerSeconds(executable));
    }
    return best;
}

long kibibytes(const char *field)
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = status.readAll();
    const qsizetype place = text.indexOf(field);
    return text.mid(place + qsizetype(std::strlen(field))).trimmed().split(' ').first().toLong();
}

/// Memory with the log full, and the most that was needed above it while the rest of the output passed.
void reportMemory(const QByteArray &executable, const QByteArray &lines)
{
    qputenv("MORVANEL_SCRIPT", "blast 5000 150\nexit 0");
    runnerSeconds(executable);
    const long rest = kibibytes("VmRSS:");
    QFile reset(u"/proc/self/clear_refs"_s);
    if (reset.open(QIODevice::WriteOnly))
        reset.write("5");
    reset.close();
    qputenv("MORVANEL_SCRIPT", "blast " + lines + " 150 chunks connections\nexit 0");
    runnerSeconds(executable);
    std::printf(
        "memory: at rest with a full log %.1f MiB, most while %s lines passed %+.1f MiB (at most +4)\n",
        double(rest) / 1024, lines.constData(), double(kibibytes("VmHWM:") - rest) / 1024);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QByteArray executable = qgetenv("MORVANEL_CLOUDFLARED");
    const QByteArray lines = argc > 1 ? QByteArray(argv[1]) : QByteArray("2000000");
    const std::array loads{
        Load{"line by line", "blast " + lines + " 150\nexit 0"},
        Load{"line by line, every tenth about a connection", "blast " + lines + " 150 connections\nexit 0"},
        Load{"64 KiB at a time", "blast " + lines + " 150 chunks\nexit 0"},
        Load{"64 KiB at a time, every tenth about a connection",
             "blast " + lines + " 150 chunks connections\nexit 0"},
    };
    double plain = 0;
    for (size_t i = 0; i < loads.size(); ++i) {
        qputenv("MORVANEL_SCRIPT", loads[i].script);
        const auto [bare, runner] = bestOfRounds(executable);
        std::printf("%-50s bare %.3f s, runner %.3f s, rate %.2f of bare", loads[i].name, bare, runner,
                    bare / runner);
        if (i % 2 == 0)
            std::printf(" (at least %s)\n", i == 0 ? "0.90" : "0.25");
        else
            std::printf(", %.2f of plain (at least 0.80)\n", plain / runner);
        plain = runner;
    }
    reportMemory(executable, lines);
    return 0;
}
