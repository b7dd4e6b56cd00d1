// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HeldProcess.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace {

constexpr int exitCodeWithoutProgram = 127;

/// Keeps signals off this thread: in the new process a handler would act for the wrong one.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    Q_DISABLE_COPY_MOVE(SignalsBlocked)

private:
    sigset_t m_before;
};

/// Whether a whole value came, rather than the end of the pipe.
template <typename T> bool readFrom(const FileDescriptor &pipe, T *value)
{
    ssize_t count;
    do
        count = ::read(pipe.get(), value, sizeof *value);
    while (count < 0 && errno == EINTR);
    return count == ssize_t(sizeof *value);
}

// From here on only calls that are allowed between fork(2) and execve(2) of a process with threads.

void resetSignals()
{
    struct sigaction byDefault
    {
    };
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        ::sigaction(number, &byDefault, nullptr);
}

void placeAs(int descriptor, int place)
{
    if (descriptor == place)
        ::fcntl(place, F_SETFD, 0);
    else
        ::dup2(descriptor, place);
}

void closeOthersOnExec(int descriptorLimit)
{
    constexpr int first = STDERR_FILENO + 1;
    if (::close_range(first, ~0U, CLOSE_RANGE_CLOEXEC) == 0)
        return;
    for (int fd = first; fd < descriptorLimit; ++fd)
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
}

} // namespace

HeldProcess::HeldProcess(const Program &program)
{
    if (!m_word.isOpen() || !m_failure.isOpen())
        return;
    const long limit = ::sysconf(_SC_OPEN_MAX);
    const int descriptorLimit = int(std::clamp(limit, 256L, 65'536L));
    const SignalsBlocked blocked;
    m_pid = ::_Fork();
    if (m_pid == 0)
        waitAndRun(program, descriptorLimit);
    if (isHeld())
        m_failure.writeEnd.reset();
}

HeldProcess::~HeldProcess()
{
    if (isHeld())
        collect();
}

int HeldProcess::run()
{
    const char word = 0;
    [[maybe_unused]] const ssize_t written = ::write(m_word.writeEnd.get(), &word, sizeof word);
    int error = 0;
    if (readFrom(m_failure.readEnd, &error))
        collect();
    m_pid = 0;
    return error;
}

void HeldProcess::collect()
{
    m_word.writeEnd.reset();
    while (::waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void HeldProcess::waitAndRun(const Program &program, int descriptorLimit)
{
    resetSignals();
    ::setpgid(0, 0);
    m_word.writeEnd.reset();
    char word;
    if (!readFrom(m_word.readEnd, &word))
        ::_exit(exitCodeWithoutProgram);
    placeAs(program.input, STDIN_FILENO);
    placeAs(program.output, STDOUT_FILENO);
    placeAs(program.output, STDERR_FILENO);
    closeOthersOnExec(descriptorLimit);
    sigset_t none;
    ::sigemptyset(&none);
    ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
    ::execve(program.path, program.arguments, program.environment);
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(m_failure.writeEnd.get(), &error, sizeof error);
    ::_exit(exitCodeWithoutProgram);
}
