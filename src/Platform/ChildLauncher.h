// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// A program to run as a child of this process.
struct ChildCommand
{
    QString executable; ///< a file path; neither a shell nor a search path is involved
    QStringList arguments;
    /// Entries that are set on top of a copy of this process's own environment.
    std::vector<std::pair<QByteArray, QByteArray>> environment;
    /// True if the program gets SIGTERM as soon as this process is gone, however it ended.
    bool endsWithThisProcess = false;
};

/// A child process. It waits until `run` lets it run its program, so that its id can be written down before.
/// If this process ends first, the child exits without executing anything.
///
/// Its standard output and standard error are one pipe, its standard input is the null device. It leads a
/// process group of its own, with an empty signal mask and the limits that this process was started with;
/// signals have their default dispositions, but for those that were ignored when this process was started. It
/// has no other descriptor of this process.
///
/// Calls any number of `output`, then `ended` exactly once; both on the main thread from the event loop.
/// All output that the child wrote is delivered before `ended`. Destroying the handle ends the
/// calls. It ends a child that still waits; any other goes on by itself, and its launcher reads and drops
/// its output and collects its exit status. The handle may be destroyed from inside its own callbacks.
class ChildProcess
{
public:
    struct Callbacks
    {
        std::function<void(QByteArrayView)> output; ///< the bytes are valid during the call only
        /// Takes the exit code or, for a child ended by a signal, the signal's number.
        std::function<void(int status)> ended;
    };

    virtual ~ChildProcess() = default;

    virtual qint32 pid() const = 0;
    /// Lets the child run its program, and returns once it does or could not. Returns an empty text, or the
    /// platform's description of the failure: the process is gone then and `ended` is never called. A child
    /// that was sent a signal while it waited ends by it and runs nothing, which is no failure.
    [[nodiscard]] virtual QString run() = 0;
    /// Returns false from the moment the child's end was noticed, also before `ended` is called.
    virtual bool isRunning() const = 0;
    /// Sends SIGTERM. Does nothing once the child has ended.
    virtual void terminate() = 0;
    /// Sends SIGKILL. Does nothing once the child has ended.
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
};
