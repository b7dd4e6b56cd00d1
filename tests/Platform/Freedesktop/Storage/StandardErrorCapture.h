// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFile>
#include <QStringList>
#include <QTemporaryFile>

#include <fcntl.h>
#include <unistd.h>

/// Collects what this process writes to standard error while it lives.
class StandardErrorCapture
{
public:
    StandardErrorCapture()
        : m_saved(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0))
    {
        m_file.open();
        ::dup2(m_file.handle(), STDERR_FILENO);
    }
    ~StandardErrorCapture()
    {
        ::dup2(m_saved, STDERR_FILENO);
        ::close(m_saved);
    }
    Q_DISABLE_COPY_MOVE(StandardErrorCapture)

    /// This program's own lines so far.
    QStringList lines() const
    {
        QFile file(m_file.fileName());
        file.open(QIODevice::ReadOnly);
        QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
        lines.removeIf([](const QString &line) { return !line.startsWith(QStringLiteral("morvanel: ")); });
        return lines;
    }

private:
    QTemporaryFile m_file;
    int m_saved;
};
