// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxChild.h"

#include "Pidfd.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>

namespace {

/// How many full buffers of one child are handled before others get their turn.
constexpr int readsPerTurn = 4;

} // namespace

LinuxChild::LinuxChild(qint32 pid, FileDescriptor pidfd, FileDescriptor output, DescriptorWatcher &watcher,
                       std::vector<char> &readBuffer, ChildProcess::Callbacks callbacks,
                       std::function<void()> reaped)
    : m_pid(pid)
    , m_pidfd(std::move(pidfd))
    , m_output(std::move(output))
    , m_watcher(watcher)
    , m_readBuffer(readBuffer)
    , m_callbacks(std::move(callbacks))
    , m_reaped(std::move(reaped))
{
}

LinuxChild::~LinuxChild()
{
    closeOutput();
    m_watcher.unwatch(m_exitWatch);
}

bool LinuxChild::watch()
{
    m_exitWatch = m_watcher.watch(m_pidfd.get(), [this] { handleExit(); });
    m_outputWatch = m_watcher.watch(m_output.get(), [this] { readOutput(); });
    return m_exitWatch != 0 && m_outputWatch != 0;
}

bool LinuxChild::isRunning() const
{
    if (m_isReaped)
        return false;
    siginfo_t info{};
    const int result = ::waitid(P_PIDFD, id_t(m_pidfd.get()), &info, WEXITED | WNOHANG | WNOWAIT);
    return result == 0 && info.si_pid == 0;
}

void LinuxChild::send(int signal)
{
    if (!m_isReaped)
        ::pidfd_send_signal(m_pidfd.get(), signal, nullptr, 0);
}

bool LinuxChild::waitForEnd(std::chrono::milliseconds patience) const
{
    using std::chrono::steady_clock;
    const auto deadline = steady_clock::now() + patience;
    pollfd ended{m_pidfd.get(), POLLIN, 0};
    int result = m_isReaped ? 1 : ::poll(&ended, 1, int(patience.count()));
    while (result < 0 && errno == EINTR) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
        result = ::poll(&ended, 1, int(std::max<long>(left.count(), 0)));
    }
    return result > 0;
}

void LinuxChild::readOutput()
{
    for (int i = 0; i < readsPerTurn; ++i) {
        if (!readOnce(m_readBuffer.size()))
            return;
    }
}

/// Whether the buffer was filled up to `limit`, so that there may be more.
bool LinuxChild::readOnce(size_t limit)
{
    const size_t wanted = std::min(limit, m_readBuffer.size());
    const ssize_t count = ::read(m_output.get(), m_readBuffer.data(), wanted);
    if (count <= 0) {
        if (count == 0 || (errno != EAGAIN && errno != EINTR))
            closeOutput();
        return false;
    }
    if (!m_isAbandoned)
        m_callbacks.output(QByteArrayView(m_readBuffer.data(), count));
    return size_t(count) == wanted && m_output.isOpen();
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
    if (isRunning())
        return;
    drainOutput();
    closeOutput();
    m_watcher.unwatch(std::exchange(m_exitWatch, 0));
    siginfo_t info{};
    ::waitid(P_PIDFD, id_t(m_pidfd.get()), &info, WEXITED | WNOHANG);
    m_isReaped = true;
    const auto callbacks = std::exchange(m_callbacks, {});
    const auto reaped = std::exchange(m_reaped, {});
    if (!m_isAbandoned)
        callbacks.ended(info.si_status);
    reaped();
}
