// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HeldProcess.h"

#include "ProcessSetup.h"

#include <QFile>

#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

constexpr int exitCodeWithoutProgram = 127;
constexpr int controlPlace = STDERR_FILENO + 1;

/// The arguments and the environment of a program, as execve(2) takes them. The environment's entries are
/// overwritten when they go, because one is a secret.
class ProgramTexts
{
public:
    explicit ProgramTexts(const ChildCommand &command)
    {
        m_arguments.reserve(size_t(command.arguments.size()) + 1);
        m_arguments.push_back(QFile::encodeName(command.executable).toStdString());
        for (const QString &argument : command.arguments)
            m_arguments.push_back(argument.toLocal8Bit().toStdString());
        for (std::string &argument : m_arguments)
            m_argumentPointers.push_back(argument.data());
        m_argumentPointers.push_back(nullptr);

        for (char **entry = environ; *entry; ++entry) {
            if (!isReplaced(*entry, command))
                m_environmentPointers.push_back(*entry);
        }
        m_set.reserve(command.environment.size()); // so that no entry is copied
        for (const auto &[name, value] : command.environment) {
            std::string &entry = m_set.emplace_back();
            entry.reserve(size_t(name.size() + value.size()) + 1);
            entry.append(name.constData(), size_t(name.size())).push_back('=');
            entry.append(value.constData(), size_t(value.size()));
            m_environmentPointers.push_back(entry.data());
        }
        m_environmentPointers.push_back(nullptr);
    }
    ~ProgramTexts()
    {
        for (std::string &entry : m_set)
            ::explicit_bzero(entry.data(), entry.size());
    }
    Q_DISABLE_COPY_MOVE(ProgramTexts)

    char *const *arguments() const { return m_argumentPointers.data(); }
    char *const *environment() const { return m_environmentPointers.data(); }

private:
    static bool isReplaced(std::string_view entry, const ChildCommand &command)
    {
        return std::any_of(command.environment.begin(), command.environment.end(), [&](const auto &item) {
            const std::string_view name(item.first.constData(), size_t(item.first.size()));
            return entry.starts_with(name) && entry.substr(name.size()).starts_with('=');
        });
    }

    std::vector<std::string> m_arguments;
    std::vector<std::string> m_set;
    std::vector<char *> m_argumentPointers;
    std::vector<char *> m_environmentPointers;
};

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

/// Returns whether a whole value came, rather than the end.
template <typename T> bool receive(int control, T *value)
{
    ssize_t count;
    do
        count = ::read(control, value, sizeof *value);
    while (count < 0 && errno == EINTR);
    return count == ssize_t(sizeof *value);
}

template <typename T> void send(int control, const T &value)
{
    [[maybe_unused]] const ssize_t count = ::send(control, &value, sizeof value, MSG_NOSIGNAL);
}

/// Goes on in the new process. Makes only calls that are allowed between fork(2) and execve(2) of a process
/// with threads.
[[noreturn]] void waitAndRun(const ProgramTexts &texts, int input, int output, int control)
{
    ::setpgid(0, 0);
    // Closes every other inherited descriptor, so that the ends of other pipes are noticed.
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    ::dup3(control, controlPlace, O_CLOEXEC); // does nothing for one that is in its place
    ::closefrom(controlPlace + 1);

    char word;
    if (!receive(controlPlace, &word))
        ::_exit(exitCodeWithoutProgram);
    ProcessSetup::restoreInChild();
    sigset_t none;
    ::sigemptyset(&none);
    ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
    ::execve(texts.arguments()[0], texts.arguments(), texts.environment());
    send(controlPlace, errno);
    ::_exit(exitCodeWithoutProgram);
}

} // namespace

HeldProcess::HeldProcess(const ChildCommand &command, const FileDescriptor &output)
{
    for (const auto &[name, value] : command.environment) {
        if (name.contains('\0') || value.contains('\0')) {
            m_error = u"%1 contains a NUL character and cannot be passed to a program"_s.arg(
                QString::fromUtf8(name));
            return;
        }
    }
    const FileDescriptor input(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    std::array<int, 2> ends;
    if (!input.isOpen() || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        m_error = qt_error_string(errno);
        return;
    }
    m_control = FileDescriptor(ends[0]);
    const FileDescriptor childControl(ends[1]);
    const ProgramTexts texts(command);
    const SignalsBlocked blocked;
    m_pid = ::_Fork();
    if (m_pid == 0)
        waitAndRun(texts, input.get(), output.get(), childControl.get());
    if (m_pid < 0)
        m_error = qt_error_string(errno);
    else
        ::setpgid(m_pid, m_pid); // the new process does it as well: whichever comes first
}

HeldProcess::~HeldProcess()
{
    if (m_pid <= 0)
        return;
    ::kill(m_pid, SIGKILL);
    collect();
}

QString HeldProcess::run()
{
    send(m_control.get(), char(0));
    int error = 0;
    if (receive(m_control.get(), &error))
        collect();
    release();
    return error == 0 ? QString() : qt_error_string(error);
}

void HeldProcess::collect()
{
    while (::waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}
