// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChildLauncher.h"

#include "LinuxChild.h"
#include "Pidfd.h"
#include "SpawnEnvironment.h"

#include <QCoreApplication>
#include <QFile>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstring>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr size_t readBufferSize = 65536;

/// What the owner holds of a child; see `ChildProcess`.
class Handle : public ChildProcess
{
public:
    explicit Handle(std::shared_ptr<LinuxChild> child)
        : m_child(std::move(child))
    {
    }
    ~Handle() override { m_child->abandon(); }

    qint32 pid() const override { return m_child->pid(); }
    bool isRunning() const override { return m_child->isRunning(); }
    void terminate() override { m_child->send(SIGTERM); }
    void kill() override { m_child->send(SIGKILL); }

private:
    std::shared_ptr<LinuxChild> m_child;
};

struct SpawnAttributes
{
    SpawnAttributes()
    {
        ::posix_spawnattr_init(&value);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&value, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&value, &signals);
        ::posix_spawnattr_setpgroup(&value, 0);
        ::posix_spawnattr_setflags(&value,
                                   POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&value); }
    Q_DISABLE_COPY_MOVE(SpawnAttributes)

    posix_spawnattr_t value;
};

struct SpawnFileActions
{
    SpawnFileActions(int input, int output)
    {
        ::posix_spawn_file_actions_init(&value);
        ::posix_spawn_file_actions_adddup2(&value, input, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&value, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&value, output, STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&value, STDERR_FILENO + 1);
    }
    ~SpawnFileActions() { ::posix_spawn_file_actions_destroy(&value); }
    Q_DISABLE_COPY_MOVE(SpawnFileActions)

    posix_spawn_file_actions_t value;
};

struct Pipe
{
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// Both ends close-on-exec; only the read end is non-blocking. Not open when the system has no more.
Pipe makePipe()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return {};
    ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Returns 0 and sets `pid`, or an error number.
int spawn(const ChildCommand &command, int input, int output, qint32 &pid)
{
    const QByteArray executable = QFile::encodeName(command.executable);
    QList<QByteArray> arguments{executable};
    for (const QString &argument : command.arguments)
        arguments += argument.toLocal8Bit();
    std::vector<char *> argv;
    for (QByteArray &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    const SpawnEnvironment environment(command.environment);
    const SpawnFileActions actions(input, output);
    const SpawnAttributes attributes;
    return ::posix_spawn(&pid, executable.constData(), &actions.value, &attributes.value, argv.data(),
                         environment.entries());
}

void killAndCollect(qint32 pid)
{
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
}

ChildLauncher::Result failure(int error)
{
    return {nullptr, qt_error_string(error)};
}

} // namespace

LinuxChildLauncher::LinuxChildLauncher(DescriptorWatcher &watcher)
    : m_watcher(watcher)
    , m_readBuffer(readBufferSize)
{
}

LinuxChildLauncher::~LinuxChildLauncher() = default;

ChildLauncher::Result LinuxChildLauncher::launch(const ChildCommand &command,
                                                 ChildProcess::Callbacks callbacks)
{
    if (const QByteArray name = SpawnEnvironment::nameOfUnusableEntry(command.environment); !name.isEmpty()) {
        return {nullptr,
                QCoreApplication::translate("ChildLauncher", "%1 contains a NUL character and cannot be "
                                                             "passed to a program")
                    .arg(QString::fromUtf8(name))};
    }
    const FileDescriptor input(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!input.isOpen())
        return failure(errno);
    Pipe output = makePipe();
    if (!output.readEnd.isOpen())
        return failure(errno);
    // Holds the place of the descriptor that tells of the child's end, which can be made only once it runs.
    FileDescriptor place(::fcntl(input.get(), F_DUPFD_CLOEXEC, 0));
    if (!place.isOpen())
        return failure(errno);

    qint32 pid = 0;
    if (const int error = spawn(command, input.get(), output.writeEnd.get(), pid))
        return failure(error);
    place.reset();
    return adopt(pid, std::move(output.readEnd), std::move(callbacks));
}

ChildLauncher::Result LinuxChildLauncher::adopt(qint32 pid, FileDescriptor output,
                                                ChildProcess::Callbacks callbacks)
{
    const quint64 number = ++m_lastNumber;
    auto child = std::make_shared<LinuxChild>(pid, FileDescriptor(::pidfd_open(pid, 0)), std::move(output),
                                              m_watcher, m_readBuffer, std::move(callbacks),
                                              [this, number] { m_children.erase(number); });
    if (!child->watch()) {
        const int error = errno;
        killAndCollect(pid);
        return failure(error);
    }
    m_children.emplace(number, child);
    return {std::make_unique<Handle>(std::move(child)), {}};
}

void LinuxChildLauncher::endAll(std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (const auto &[number, child] : m_children)
        child->send(SIGTERM);
    for (const auto &[number, child] : m_children) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (!child->waitForEnd(std::max(left, 0ms)))
            child->send(SIGKILL);
    }
}
