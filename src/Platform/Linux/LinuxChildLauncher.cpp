// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChildLauncher.h"

#include "HeldProcess.h"
#include "Keeper.h"
#include "LinuxChild.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>

namespace {

constexpr size_t readBufferSize = 65536;

/// The owner's handle of a child; see `ChildProcess`.
class Handle : public ChildProcess
{
public:
    explicit Handle(std::shared_ptr<LinuxChild> child)
        : m_child(std::move(child))
    {
    }
    ~Handle() override { m_child->abandon(); }

    qint32 pid() const override { return m_child->pid(); }
    QString run() override { return m_child->run(); }
    bool isRunning() const override { return m_child->isRunning(); }
    void terminate() override { m_child->terminate(); }
    void kill() override { m_child->kill(); }

private:
    std::shared_ptr<LinuxChild> m_child;
};

bool isSameFile(const char *a, const char *b)
{
    struct stat first;
    struct stat second;
    return ::stat(a, &first) == 0 && ::stat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

/// Returns the path of the program that the process runs, empty when it cannot be read.
QByteArray executableOf(qint32 pid)
{
    const QByteArray link = "/proc/" + QByteArray::number(pid) + "/exe";
    std::array<char, PATH_MAX> buffer;
    const ssize_t length = ::readlink(link.constData(), buffer.data(), buffer.size());
    if (length < 1)
        return {};
    QByteArray path(buffer.data(), length);
    // The kernel marks a program whose file is gone, unless that is really part of a file's name.
    if (path.endsWith(" (deleted)") && !isSameFile(link.constData(), path.constData()))
        path.chop(qsizetype(sizeof(" (deleted)")) - 1);
    return path;
}

} // namespace

LinuxChildLauncher::LinuxChildLauncher(Keeper &keeper)
    : m_keeper(keeper)
    , m_readBuffer(readBufferSize)
{
}

LinuxChildLauncher::~LinuxChildLauncher() = default;

ChildLauncher::Prepared LinuxChildLauncher::prepare(const ChildCommand &command,
                                                    ChildProcess::Callbacks callbacks)
{
    Pipe output;
    if (!output.isOpen())
        return {nullptr, qt_error_string(errno)};
    ::fcntl(output.readEnd.get(), F_SETFL, O_NONBLOCK); // this end alone: a child may count on waiting
    auto process = std::make_unique<HeldProcess>(command, output.writeEnd);
    if (!process->error().isEmpty())
        return {nullptr, process->error()};
    output.writeEnd.reset();
    const auto place = m_children.insert(m_children.end(), nullptr);
    *place = std::make_shared<LinuxChild>(std::move(process), std::move(output.readEnd), m_watcher, m_keeper,
                                          m_readBuffer, std::move(callbacks),
                                          [this, place] { m_children.erase(place); });
    if (!(*place)->watch()) {
        const QString error = qt_error_string(errno);
        (*place)->abandon();
        return {nullptr, error};
    }
    return {std::make_unique<Handle>(*place), {}};
}

void LinuxChildLauncher::terminateOrphan(qint32 pid, QByteArrayView pathEnd)
{
    if (m_keeper.isEarlierAtWork())
        return;
    const FileDescriptor process(::pidfd_open(pid, 0));
    if (process.isOpen() && executableOf(pid).endsWith(pathEnd))
        ::pidfd_send_signal(process.get(), SIGTERM, nullptr, 0);
}
