// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChild.h"

#include "Keeper.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>

#include <sys/ioctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(childLog, "morvanel.child", QtWarningMsg)

/// Number of full buffers of one child that are handled before others get their turn.
constexpr int readsPerTurn = 4;

/// Returns whether the process belongs to the group and is no zombie.
bool isLiveMember(const QString &process, qint32 group)
{
    QFile file(u"/proc/"_s + process + u"/stat"_s);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    // After the program's name in brackets: state, parent, group; see proc(5).
    const QByteArray stat = file.read(512);
    const QByteArrayList fields = stat.sliced(stat.lastIndexOf(')') + 1).split(' ');
    return fields.size() > 3 && fields[3].toInt() == group && fields[1] != "Z" && fields[1] != "X";
}

/// Opens the processes of the group that live.
std::list<FileDescriptor> openMembers(qint32 group)
{
    std::list<FileDescriptor> members;
    if (::kill(-group, 0) != 0)
        return members; // the usual case, without a look at all processes
    for (const QString &name : QDir(u"/proc"_s).entryList({u"[1-9]*"_s}, QDir::Dirs)) {
        if (!isLiveMember(name, group))
            continue;
        if (FileDescriptor process(::pidfd_open(name.toInt(), 0)); process.isOpen())
            members.push_back(std::move(process));
    }
    return members;
}

/// Returns the name of the signal that ended the process; empty for an exit.
QString signalName(const siginfo_t &info)
{
    const char *name = info.si_code == CLD_EXITED ? nullptr : ::sigabbrev_np(info.si_status);
    return name ? u"SIG"_s + QString::fromLatin1(name) : QString();
}

} // namespace

LinuxChild::LinuxChild(std::unique_ptr<HeldProcess> process, FileDescriptor output,
                       DescriptorWatcher &watcher, Keeper &keeper, std::vector<char> &readBuffer,
                       ChildProcess::Callbacks callbacks, std::function<void()> forget)
    : m_process(std::move(process))
    , m_pid(m_process->pid())
    , m_pidfd(::pidfd_open(m_pid, 0))
    , m_output(std::move(output))
    , m_watcher(watcher)
    , m_keeper(keeper)
    , m_readBuffer(readBuffer)
    , m_callbacks(std::move(callbacks))
    , m_forget(std::move(forget))
{
    m_keeper.keep(m_pid, m_output);
}

LinuxChild::~LinuxChild()
{
    closeOutput();
    m_watcher.unwatch(m_exitWatch);
    for (const Survivor &survivor : m_survivors)
        m_watcher.unwatch(survivor.watch);
}

bool LinuxChild::watch()
{
    if (!m_pidfd.isOpen())
        return false;
    m_exitWatch = m_watcher.watch(m_pidfd, [this] { collectLeader(); });
    m_outputWatch = m_watcher.watch(m_output, [this] { readOutput(); });
    return m_exitWatch != 0 && m_outputWatch != 0;
}

QString LinuxChild::run()
{
    const std::unique_ptr<HeldProcess> process = std::move(m_process);
    QString error = process ? process->run() : QString();
    qCDebug(childLog) << m_pid << (error.isEmpty() ? u"runs"_s : error);
    if (!error.isEmpty()) {
        m_hasEnded = true;
        m_keeper.forget(m_pid);
        std::exchange(m_forget, {})();
    }
    return error;
}

void LinuxChild::terminate()
{
    if (m_leaderStatus)
        return; // the rest of the group has been told
    m_isTerminated = true;
    m_keeper.noteTerminated(m_pid);
    ::kill(-m_pid, SIGTERM);
}

void LinuxChild::kill()
{
    if (!m_hasEnded)
        ::kill(-m_pid, SIGKILL);
}

void LinuxChild::abandon()
{
    m_isAbandoned = true;
    if (!m_process)
        return;
    m_process.reset(); // which kills it
    m_keeper.forget(m_pid);
    std::exchange(m_forget, {})();
}

void LinuxChild::readOutput()
{
    for (int i = 0; i < readsPerTurn; ++i) {
        if (!readOnce(m_readBuffer.size()))
            return;
    }
}

/// Returns whether the buffer was filled up to `limit`, so that there may be more.
bool LinuxChild::readOnce(size_t limit)
{
    const ssize_t count = ::read(m_output.get(), m_readBuffer.data(), limit);
    if (count <= 0) {
        if (count == 0 || (errno != EAGAIN && errno != EINTR))
            closeOutput();
        return false;
    }
    if (!m_isAbandoned)
        m_callbacks.output(QByteArrayView(m_readBuffer.data(), count));
    return size_t(count) == limit && m_output.isOpen();
}

/// Delivers what stands in the pipe now. A process of another group that adds to it does not prolong it.
void LinuxChild::drainOutput()
{
    int available = 0;
    if (!m_output.isOpen() || ::ioctl(m_output.get(), FIONREAD, &available) != 0)
        return;
    for (size_t left = size_t(std::max(available, 0)); left > 0;) {
        const size_t limit = std::min(left, m_readBuffer.size());
        if (!readOnce(limit))
            return;
        left -= limit;
    }
}

void LinuxChild::closeOutput()
{
    m_watcher.unwatch(std::exchange(m_outputWatch, 0));
    m_output.reset();
}

/// Collects the exit status of the leader and ends what it has left behind.
void LinuxChild::collectLeader()
{
    siginfo_t info{};
    if (::waitid(P_PIDFD, id_t(m_pidfd.get()), &info, WEXITED | WNOHANG) != 0 || info.si_pid == 0)
        return;
    m_leaderStatus = info.si_status;
    m_leaderSignal = signalName(info);
    qCDebug(childLog) << m_pid << (info.si_code == CLD_EXITED ? "ended with status" : "was ended by signal")
                      << info.si_status;
    if (const std::unique_ptr<HeldProcess> waiting = std::move(m_process))
        waiting->release();
    m_watcher.unwatch(std::exchange(m_exitWatch, 0));
    // Whatever the leader has left behind. The group's number cannot mean another one yet: a process that
    // lives keeps it in use, and the kernel gives out a free number only after all the others.
    if (!m_isTerminated && ::kill(-m_pid, SIGTERM) == 0) {
        m_isTerminated = true;
        m_keeper.noteTerminated(m_pid);
    }
    waitForSurvivors();
}

/// Watches the members that are left; none of them is a child of this process, which could be collected.
void LinuxChild::waitForSurvivors()
{
    for (FileDescriptor &member : openMembers(m_pid)) {
        const auto place = m_survivors.insert(m_survivors.end(), {std::move(member), 0});
        place->watch = m_watcher.watch(place->pidfd, [this, place] { forgetSurvivor(place); });
        if (place->watch == 0)
            m_survivors.erase(place);
    }
    if (m_survivors.empty())
        return finish();
    if (m_survivorsEnd.isActive())
        return;
    m_survivorsEnd.callOnTimeout(&m_survivorsEnd, [this] { kill(); });
    m_survivorsEnd.setSingleShot(true);
    m_survivorsEnd.start(ChildPatience::usual);
}

void LinuxChild::forgetSurvivor(std::list<Survivor>::iterator place)
{
    m_watcher.unwatch(place->watch);
    m_survivors.erase(place);
    if (m_survivors.empty())
        waitForSurvivors(); // for those that came meanwhile
}

/// Delivers the rest of the output, then the end.
void LinuxChild::finish()
{
    m_hasEnded = true;
    m_survivorsEnd.stop();
    drainOutput();
    closeOutput();
    m_keeper.forget(m_pid);
    const auto callbacks = std::exchange(m_callbacks, {});
    const auto forget = std::exchange(m_forget, {});
    const QString leaderSignal = m_leaderSignal; // the call may destroy this object
    if (!m_isAbandoned)
        callbacks.ended(*m_leaderStatus, leaderSignal);
    forget();
}
