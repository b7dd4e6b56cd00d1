// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChildLauncher.h"

#include "HeldProcess.h"

#include <QLoggingCategory>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {

Q_LOGGING_CATEGORY(childLog, "morvanel.child", QtWarningMsg)

constexpr size_t readBufferSize = 65536;
/// Number of full buffers of one child that are handled before others get their turn.
constexpr int readsPerTurn = 4;
constexpr std::chrono::milliseconds patienceAtExit = 4s;

// Static, because a function that exit(3) calls gets no argument.
LinuxChildLauncher *endedAtExit = nullptr;

void endChildrenAtExit()
{
    if (!endedAtExit)
        return;
    endedAtExit->endAll(patienceAtExit);
    ::_exit(0); // the objects of the program are still alive, so nothing else may be destroyed
}

QtMessageHandler handleMessageAsBefore = nullptr;

/// Ends the children when Qt says that the Wayland compositor is gone: it then leaves by _exit(2), which
/// calls nothing, unless the desktop has told it to wait for the compositor's return.
void endChildrenWithCompositor(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    handleMessageAsBefore(type, context, text);
    if (text.startsWith(u"The Wayland connection ") && !qEnvironmentVariableIsSet("QT_WAYLAND_RECONNECT"))
        endChildrenAtExit();
}

} // namespace

DescriptorWatcher::DescriptorWatcher()
    : m_epoll(::epoll_create1(EPOLL_CLOEXEC))
    , m_notifier(m_epoll.get(), QSocketNotifier::Read)
{
    QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { dispatch(); });
}

DescriptorWatcher::Key DescriptorWatcher::watch(const FileDescriptor &fd, std::function<void()> ready)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = m_lastKey + 1;
    if (::epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, fd.get(), &event) != 0)
        return 0;
    m_entries.emplace(++m_lastKey, Entry{fd.get(), std::move(ready)});
    return m_lastKey;
}

void DescriptorWatcher::unwatch(Key key)
{
    const auto entry = m_entries.find(key);
    if (entry == m_entries.end())
        return;
    ::epoll_ctl(m_epoll.get(), EPOLL_CTL_DEL, entry->second.fd, nullptr);
    m_entries.erase(entry);
}

void DescriptorWatcher::dispatch()
{
    std::array<epoll_event, 64> events;
    const int count = ::epoll_wait(m_epoll.get(), events.data(), int(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        const auto entry = m_entries.find(events[size_t(i)].data.u64);
        if (entry == m_entries.end())
            continue;
        const std::function<void()> ready = entry->second.ready; // the call may end its own watch
        ready();
    }
}

/// One child until its exit status has been collected. Once abandoned its output is read and thrown away, so
/// that it is never held up by a full pipe nor killed by a closed one.
class LinuxChild
{
public:
    /// Calls `forget` when the child is gone for good; that may drop the last reference.
    LinuxChild(std::unique_ptr<HeldProcess> process, FileDescriptor output, DescriptorWatcher &watcher,
               std::vector<char> &readBuffer, ChildProcess::Callbacks callbacks, std::function<void()> forget)
        : m_process(std::move(process))
        , m_pid(m_process->pid())
        , m_pidfd(::pidfd_open(m_pid, 0))
        , m_output(std::move(output))
        , m_watcher(watcher)
        , m_readBuffer(readBuffer)
        , m_callbacks(std::move(callbacks))
        , m_forget(std::move(forget))
    {
    }
    ~LinuxChild()
    {
        closeOutput();
        m_watcher.unwatch(m_exitWatch);
    }
    Q_DISABLE_COPY_MOVE(LinuxChild)

    /// Watches output and end of the child. Returns whether that works; `errno` says why not.
    [[nodiscard]] bool watch()
    {
        if (!m_pidfd.isOpen())
            return false;
        m_exitWatch = m_watcher.watch(m_pidfd, [this] { handleExit(); });
        m_outputWatch = m_watcher.watch(m_output, [this] { readOutput(); });
        return m_exitWatch != 0 && m_outputWatch != 0;
    }
    qint32 pid() const { return m_pid; }
    bool isRunning() const { return !m_hasEnded; }
    [[nodiscard]] QString run();
    void send(int signal) { ::pidfd_send_signal(m_pidfd.get(), signal, nullptr, 0); }
    /// Waits for the end of the child; returns false when it has not come by then.
    bool waitForEnd(steady_clock::time_point deadline) const;
    /// Calls nothing back any more.
    void abandon();

private:
    void readOutput();
    bool readOnce(size_t limit);
    void drainOutput();
    void closeOutput();
    void handleExit();

    std::unique_ptr<HeldProcess> m_process; ///< until the child was let run
    const qint32 m_pid;
    FileDescriptor m_pidfd;
    FileDescriptor m_output;
    DescriptorWatcher &m_watcher;
    DescriptorWatcher::Key m_exitWatch = 0;
    DescriptorWatcher::Key m_outputWatch = 0;
    std::vector<char> &m_readBuffer;
    ChildProcess::Callbacks m_callbacks;
    std::function<void()> m_forget;
    bool m_hasEnded = false;
    bool m_isAbandoned = false;
};

QString LinuxChild::run()
{
    const std::unique_ptr<HeldProcess> process = std::move(m_process);
    QString error = process ? process->run() : QString();
    qCDebug(childLog) << m_pid << (error.isEmpty() ? QStringLiteral("runs") : error);
    if (!error.isEmpty()) {
        m_hasEnded = true;
        std::exchange(m_forget, {})();
    }
    return error;
}

bool LinuxChild::waitForEnd(steady_clock::time_point deadline) const
{
    pollfd ended{m_pidfd.get(), POLLIN, 0};
    int result;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
        result = ::poll(&ended, 1, int(std::max(left, 0ms).count()));
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

void LinuxChild::abandon()
{
    m_isAbandoned = true;
    if (m_process)
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

/// Delivers what stands in the pipe now. What a grandchild adds meanwhile does not prolong it.
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

void LinuxChild::handleExit()
{
    siginfo_t info{};
    if (::waitid(P_PIDFD, id_t(m_pidfd.get()), &info, WEXITED | WNOHANG) != 0 || info.si_pid == 0)
        return;
    m_hasEnded = true;
    qCDebug(childLog) << m_pid << (info.si_code == CLD_EXITED ? "ended with status" : "was ended by signal")
                      << info.si_status;
    if (const std::unique_ptr<HeldProcess> waiting = std::move(m_process))
        waiting->release();
    drainOutput();
    closeOutput();
    m_watcher.unwatch(std::exchange(m_exitWatch, 0));
    const auto callbacks = std::exchange(m_callbacks, {});
    const auto forget = std::exchange(m_forget, {});
    if (!m_isAbandoned)
        callbacks.ended(info.si_status);
    forget();
}

namespace {

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
    void terminate() override { m_child->send(SIGTERM); }
    void kill() override { m_child->send(SIGKILL); }

private:
    std::shared_ptr<LinuxChild> m_child;
};

} // namespace

LinuxChildLauncher::LinuxChildLauncher()
    : m_readBuffer(readBufferSize)
{
}

LinuxChildLauncher::~LinuxChildLauncher()
{
    if (endedAtExit != this)
        return;
    endedAtExit = nullptr;
    qInstallMessageHandler(handleMessageAsBefore);
}

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
    *place =
        std::make_shared<LinuxChild>(std::move(process), std::move(output.readEnd), m_watcher, m_readBuffer,
                                     std::move(callbacks), [this, place] { m_children.erase(place); });
    if (!(*place)->watch()) {
        const QString error = qt_error_string(errno);
        m_children.erase(place);
        return {nullptr, error};
    }
    return {std::make_unique<Handle>(*place), {}};
}

void LinuxChildLauncher::endAll(std::chrono::milliseconds patience)
{
    const auto deadline = steady_clock::now() + patience;
    for (const auto &child : m_children)
        child->send(SIGTERM);
    for (const auto &child : m_children) {
        if (!child->waitForEnd(deadline))
            child->send(SIGKILL);
    }
}

void LinuxChildLauncher::endAllAtExit()
{
    if (std::exchange(endedAtExit, this))
        return;
    std::atexit(endChildrenAtExit);
    handleMessageAsBefore = qInstallMessageHandler(endChildrenWithCompositor);
}
