// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Keeper.h"

#include "ChildLauncher.h"
#include "StandardError.h"

#include <QFile>

#include <poll.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {

/// The time between two looks at what is left, once the program is gone.
constexpr std::chrono::milliseconds lookInterval = 100ms;
/// The longest wait for a keeper that does not read, because it was stopped for instance.
constexpr timeval sendTimeout{0, 100'000};
constexpr int socketPlace = STDERR_FILENO + 1;

/// Room for one descriptor beside a message; see cmsg(3).
union DescriptorSpace {
    cmsghdr header;
    std::array<char, CMSG_SPACE(sizeof(int))> bytes;
};

} // namespace

enum class Keeper::Word : char {
    Keep,       ///< comes with the child's output
    Terminated, ///< the group has been sent SIGTERM
    Forget,
    HoldLock, ///< comes with the locked file
};

/// One packet on the socket; a descriptor may come with it.
struct Keeper::Message
{
    Word word;
    pid_t group;
};

/// The work of the forked process.
class Keeper::Process
{
public:
    [[noreturn]] void run(int socket)
    {
        detach(socket);
        while (receive()) {
        }
        endChildren();
        ::_exit(0);
    }

private:
    struct Child
    {
        pid_t group;
        FileDescriptor output; ///< not open where this process had no descriptor left
        bool isTerminated = false;
    };

    /// Leaves the program's terminal, folder and files, and ignores what would end this process early.
    static void detach(int socket)
    {
        ::setsid();
        ::prctl(PR_SET_NAME, "tunnel-keeper");
        for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2})
            std::signal(number, SIG_IGN);
        [[maybe_unused]] const int changed = ::chdir("/");
        const FileDescriptor nowhere(::open("/dev/null", O_RDWR | O_CLOEXEC));
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::dup2(nowhere.get(), stream);
        ::dup2(socket, socketPlace);
        ::closefrom(socketPlace + 1);
    }

    /// Takes one message. Returns false when the program is gone.
    bool receive()
    {
        Message message{};
        iovec part{&message, sizeof message};
        DescriptorSpace space{};
        msghdr packet{};
        packet.msg_iov = &part;
        packet.msg_iovlen = 1;
        packet.msg_control = &space;
        packet.msg_controllen = sizeof space;
        const ssize_t count = ::recvmsg(socketPlace, &packet, MSG_CMSG_CLOEXEC);
        if (count != ssize_t(sizeof message))
            return count < 0 && errno == EINTR;
        int descriptor = -1;
        if (CMSG_FIRSTHDR(&packet))
            std::memcpy(&descriptor, CMSG_DATA(&space.header), sizeof descriptor);
        take(message, FileDescriptor(descriptor));
        return true;
    }

    void take(const Message &message, FileDescriptor descriptor)
    {
        const auto isIt = [&](const Child &child) { return child.group == message.group; };
        switch (message.word) {
        case Word::Keep:
            m_children.push_back({message.group, std::move(descriptor)});
            break;
        case Word::Terminated:
            for (Child &child : m_children)
                child.isTerminated = child.isTerminated || isIt(child);
            break;
        case Word::Forget:
            std::erase_if(m_children, isIt);
            break;
        case Word::HoldLock:
            m_lock = std::move(descriptor);
        }
    }

    void endChildren()
    {
        for (const Child &child : m_children) {
            if (!child.isTerminated)
                ::kill(-child.group, SIGTERM);
        }
        const auto deadline = steady_clock::now() + ChildPatience::usual;
        while (steady_clock::now() < deadline) {
            std::erase_if(m_children, [](const Child &child) { return ::kill(-child.group, 0) != 0; });
            if (m_children.empty())
                return;
            readOutput(steady_clock::now() + lookInterval);
        }
        for (const Child &child : m_children)
            ::kill(-child.group, SIGKILL);
    }

    /// Reads away the children's output until then.
    void readOutput(steady_clock::time_point end)
    {
        std::vector<pollfd> outputs;
        for (const Child &child : m_children)
            outputs.push_back({child.output.get(), POLLIN, 0});
        for (auto left = lookInterval; left > 0ms;
             left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now())) {
            ::poll(outputs.data(), outputs.size(), int(left.count()));
            for (pollfd &output : outputs) {
                if (output.revents != 0 && ::read(output.fd, m_buffer.data(), m_buffer.size()) <= 0)
                    output.fd = -1; // at its end it is ready all the time
            }
        }
    }

    std::vector<Child> m_children;
    FileDescriptor m_lock; ///< held until the end of the process
    std::array<char, 16384> m_buffer;
};

Keeper::Keeper()
{
    std::array<int, 2> ends;
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        giveUp();
        return;
    }
    m_socket = FileDescriptor(ends[0]);
    const FileDescriptor keepersEnd(ends[1]);
    ::setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout);
    m_pid = ::fork();
    if (m_pid == 0)
        Process().run(keepersEnd.get());
    if (m_pid < 0)
        giveUp();
}

void Keeper::keep(pid_t group, const FileDescriptor &output)
{
    send(Word::Keep, group, output);
}

void Keeper::noteTerminated(pid_t group)
{
    send(Word::Terminated, group);
}

void Keeper::forget(pid_t group)
{
    send(Word::Forget, group);
}

void Keeper::lookForEarlier(const QString &lockPath)
{
    const FileDescriptor lock(
        ::open(QFile::encodeName(lockPath).constData(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!lock.isOpen())
        return;
    m_isEarlierAtWork = ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::flock(lock.get(), LOCK_SH | LOCK_NB);
    send(Word::HoldLock, 0, lock); // the lock lasts as long as any copy of the descriptor
}

void Keeper::send(Word word, pid_t group, const FileDescriptor &descriptor)
{
    if (!m_socket.isOpen())
        return;
    Message message{word, group};
    iovec part{&message, sizeof message};
    DescriptorSpace space{};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    if (const int number = descriptor.get(); number >= 0) {
        packet.msg_control = &space;
        packet.msg_controllen = sizeof space;
        space.header.cmsg_level = SOL_SOCKET;
        space.header.cmsg_type = SCM_RIGHTS;
        space.header.cmsg_len = CMSG_LEN(sizeof number);
        std::memcpy(CMSG_DATA(&space.header), &number, sizeof number);
    }
    if (::sendmsg(m_socket.get(), &packet, MSG_NOSIGNAL) < 0)
        giveUp();
}

/// Ends a keeper that does not know of all children, which is worse than none.
void Keeper::giveUp()
{
    writeToStandardError(
        u"Nothing watches over the tunnels from now on: if Morvanel is killed, they run until "
        "it is started again. (%1)"_s.arg(qt_error_string(errno)));
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    m_socket.reset();
}
