// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxProcessTable.h"

#include "FileDescriptor.h"

#include <QByteArray>

#include <sys/stat.h>

#include <array>
#include <climits>
#include <csignal>

namespace {

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
    if (process.isOpen() && executableOf(pid).endsWith(pathEnd))
        ::pidfd_send_signal(process.get(), SIGTERM, nullptr, 0);
}
