// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "FileDescriptor.h"

/// A forked child that blocks until `run` lets it exec. If this process dies first, the child exits without
/// executing anything. A child that was never run is killed with this object.
///
/// It leads a process group of its own. The program gets an empty signal mask, the limits and ignored
/// signals that this process was started with, the null device as its input and one descriptor as its output.
class HeldProcess
{
public:
    /// Forks. `output` becomes the child's standard output and standard error; nothing else is inherited.
    HeldProcess(const ChildCommand &command, const FileDescriptor &output);
    ~HeldProcess();
    Q_DISABLE_COPY_MOVE(HeldProcess)

    /// Returns the reason why there is no child; empty when there is one.
    const QString &error() const { return m_error; }
    qint32 pid() const { return m_pid; }
    /// Lets the child exec, and waits until it did. Returns an empty text when it runs its program: the
    /// caller then collects it. Otherwise returns why the program cannot be run, and the process is gone.
    [[nodiscard]] QString run();
    /// Leaves the process as it is to the caller.
    void release() { m_pid = 0; }

private:
    void collect();

    FileDescriptor m_control; ///< one byte to the child means exec, end of file means exit
    qint32 m_pid = 0;
    QString m_error;
};
