// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Pipe.h"

#include <QtGlobal>

/// A process that was made to run a program and waits for the word to do so. Should this one end first, in
/// whatever way, it ends as well and has run nothing: so its id can be written down in time.
///
/// It leads a process group of its own and runs the program with an empty signal mask, default dispositions
/// and the two given descriptors alone. Where that word is never given it is ended with this object.
class HeldProcess
{
public:
    /// All of it outlives the object.
    struct Program
    {
        const char *path; ///< neither a shell nor a search path is involved
        char *const *arguments;
        char *const *environment;
        int input;
        int output; ///< becomes standard output and standard error
    };

    /// Check `isHeld`.
    explicit HeldProcess(const Program &program);
    ~HeldProcess();
    Q_DISABLE_COPY_MOVE(HeldProcess)

    /// False when the system has no descriptor or process left; `errno` says which, right after the creation.
    bool isHeld() const { return m_pid > 0; }
    qint32 pid() const { return m_pid; }
    /// Gives the word and waits until the program runs. 0, and the process is its caller's to collect; or the
    /// error number, and it is gone.
    int run();

private:
    [[noreturn]] void waitAndRun(const Program &program, int descriptorLimit);
    void collect();

    Pipe m_word;    ///< a byte gives it; its end takes back the chance
    Pipe m_failure; ///< an error number; closed by the program's start
    qint32 m_pid = 0;
};
