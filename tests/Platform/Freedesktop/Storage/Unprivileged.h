// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDir>
#include <QFile>

#include <unistd.h>

/// File permissions hold for this process while it lives, also where the tests run as root. The folder and
/// what is directly in it then belong to the user that it runs as.
class Unprivileged
{
public:
    explicit Unprivileged(const QString &folder)
        : m_isRoot(::geteuid() == 0)
    {
        if (!m_isRoot)
            return;
        const QDir dir(folder);
        const QStringList names = dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System);
        for (const QString &name : names) {
            if (name != QLatin1String(".."))
                m_isDone = ::lchown(QFile::encodeName(dir.filePath(name)).constData(), nobody, nobody) == 0;
        }
        m_isDone = ::seteuid(nobody) == 0 && m_isDone;
    }
    ~Unprivileged()
    {
        if (m_isRoot)
            m_isDone = ::seteuid(0) == 0;
    }
    Unprivileged(const Unprivileged &) = delete;
    Unprivileged &operator=(const Unprivileged &) = delete;

    /// Whether all that worked.
    bool isDone() const { return m_isDone; }

private:
    static constexpr uid_t nobody = 65534;

    bool m_isRoot;
    bool m_isDone = true;
};
