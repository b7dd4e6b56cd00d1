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
    /// Called from inside `launch` with the id of the process that is about to run the program; that may
    /// still fail. Should this process end before the call returns, the program is never run.
    std::function<void(qint32 pid)> aboutToRun = {};
};

/// A child process that was launched. Its standard output and standard error are one pipe, its standard
/// input is the null device, it leads a process group of its own, with an empty signal mask and default
/// dispositions, and has no other descriptor of this process.
///
/// The protocol: any number of `output` calls, then `ended` exactly once; both on the main thread, never
/// from inside `launch`. Whatever the child wrote before it ended is delivered before `ended`. Destroying
/// the handle ends the calls and lets the child go on by itself; its launcher reads its output away and
/// collects its exit status. The handle may be destroyed from inside its own callbacks.
class ChildProcess
{
public:
    struct Callbacks
    {
        std::function<void(QByteArrayView)> output; ///< the bytes are valid during the call only
        /// Given the exit code or, for a child ended by a signal, the signal's number.
        std::function<void(int status)> ended;
    };

    virtual ~ChildProcess() = default;

    virtual qint32 pid() const = 0;
    /// Whether the child lives; false from the moment it ended, also before `ended` was called.
    virtual bool isRunning() const = 0;
    /// SIGTERM. Nothing once the child has ended.
    virtual void terminate() = 0;
    /// SIGKILL. Nothing once the child has ended.
    virtual void kill() = 0;
};

/// Launches child processes.
class ChildLauncher
{
public:
    struct Result
    {
        std::unique_ptr<ChildProcess> child; ///< null when the launch failed
        QString error;                       ///< the platform's description of the failure
    };

    virtual ~ChildLauncher() = default;

    /// Returns once the program runs or could not be run. Never waits for the child.
    virtual Result launch(const ChildCommand &command, ChildProcess::Callbacks callbacks) = 0;
};
