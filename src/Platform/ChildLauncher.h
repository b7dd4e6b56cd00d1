// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// The time that children have to end, from SIGTERM to SIGKILL. `cloudflared` itself is told to take 2
/// seconds.
namespace ChildPatience {
inline constexpr std::chrono::seconds usual{6};
inline constexpr std::chrono::seconds atQuit{4}; ///< the user waits for the program's end
} // namespace ChildPatience

/// A program to run as a child of this process.
struct ChildCommand
{
    QString executable; ///< a file path; neither a shell nor a search path is involved
    QStringList arguments;
    /// Entries that are set on top of a copy of this process's own environment.
    std::vector<std::pair<QByteArray, QByteArray>> environment;
};

/// A child process with all that it starts in its process group, as a wrapper script does. It waits until
/// `run` lets it run its program, so that its id can be written down before. If this process ends first, the
/// child exits without executing anything; one that runs is ended with this process, whatever ends that.
///
/// Its standard output and standard error are one pipe, its standard input is the null device. It leads a
/// process group of its own, with an empty signal mask and the limits that this process was started with;
/// signals have their default dispositions, but for those that were ignored when this process was started. It
/// has no other descriptor of this process.
///
/// Calls any number of `output`, then `ended` exactly once; both on the main thread from the event loop. A
/// child has ended when nothing of its group is left: those that outlive their leader get SIGTERM, if the
/// group has not had it, and SIGKILL after 6 seconds. All output that the group wrote is delivered before
/// `ended`. Destroying the handle ends the calls. It ends a child that still waits; any other goes on by
/// itself, and its launcher reads and drops its output and collects its exit status. The handle may be
/// destroyed from inside its own callbacks.
class ChildProcess
{
public:
    struct Callbacks
    {
        std::function<void(QByteArrayView)> output; ///< the bytes are valid during the call only
        /// Takes the exit code of the group's leader or, if a signal ended that, the signal's number and
        /// name, as "SIGKILL".
        std::function<void(int status, const QString &signal)> ended;
    };

    virtual ~ChildProcess() = default;

    virtual qint32 pid() const = 0;
    /// Lets the child run its program, and returns once it does or could not. Returns an empty text, or the
    /// platform's description of the failure: the process is gone then and `ended` is never called. A child
    /// that was sent a signal while it waited ends by it and runs nothing, which is no failure.
    [[nodiscard]] virtual QString run() = 0;
    /// Returns false from the moment the child's end was noticed, also before `ended` is called.
    virtual bool isRunning() const = 0;
    /// Sends SIGTERM to the group. Does nothing once its leader has ended.
    virtual void terminate() = 0;
    /// Sends SIGKILL to the group. Does nothing once the child has ended.
    virtual void kill() = 0;
};

/// Makes child processes.
class ChildLauncher
{
public:
    struct Prepared
    {
        std::unique_ptr<ChildProcess> child; ///< null when there is none
        QString error;                       ///< the platform's description of the failure
    };

    virtual ~ChildLauncher() = default;

    /// Makes a process that waits for `ChildProcess::run`. Any number may wait at a time.
    [[nodiscard]] virtual Prepared prepare(const ChildCommand &command,
                                           ChildProcess::Callbacks callbacks) = 0;

    /// Sends SIGTERM to a process that an earlier run left behind, if this user may signal it and the
    /// absolute path of the program that it runs ends with `pathEnd`, also when the program's file was
    /// replaced or removed since. Never reaches another process that got the same id in between. Does nothing
    /// while such processes are being ended already.
    virtual void terminateOrphan(qint32 pid, QByteArrayView pathEnd) = 0;
};
