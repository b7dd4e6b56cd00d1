// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxProcessTable.h"

#include "FileDescriptor.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QTimer>

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>

using namespace std::chrono_literals;

namespace {

/// Reads away a pipe until its end, for as long as a process may take to end; then deletes itself.
class PipeReader : public QSocketNotifier
{
public:
    PipeReader(FileDescriptor pipe, QObject *parent)
        : QSocketNotifier(pipe.get(), Read, parent)
        , m_pipe(std::move(pipe))
    {
        connect(this, &QSocketNotifier::activated, this, &PipeReader::read);
        QTimer::singleShot(6s, this, &QObject::deleteLater);
    }
    ~PipeReader() override { setEnabled(false); }
    Q_DISABLE_COPY_MOVE(PipeReader)

private:
    void read()
    {
        std::array<char, PIPE_BUF> buffer;
        const ssize_t count = ::read(m_pipe.get(), buffer.data(), buffer.size());
        if (count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR)))
            return;
        setEnabled(false);
        deleteLater();
    }

    FileDescriptor m_pipe;
};

/// Opens the standard output of a process for reading; not open unless it is a pipe.
FileDescriptor openOutputOf(qint32 pid)
{
    const QByteArray path = "/proc/" + QByteArray::number(pid) + "/fd/1";
    struct stat file;
    if (::stat(path.constData(), &file) != 0 || !S_ISFIFO(file.st_mode))
        return {};
    return FileDescriptor(::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

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

void LinuxProcessTable::terminate(qint32 pid, QByteArrayView pathEnd)
{
    const FileDescriptor process(::pidfd_open(pid, 0));
    if (!process.isOpen() || !executableOf(pid).endsWith(pathEnd))
        return;
    if (FileDescriptor output = openOutputOf(pid); output.isOpen())
        new PipeReader(std::move(output), &m_readers);
    ::pidfd_send_signal(process.get(), SIGTERM, nullptr, 0);
}
