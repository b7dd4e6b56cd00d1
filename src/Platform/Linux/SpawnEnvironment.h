// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <string>
#include <utility>
#include <vector>

/// The environment of a program to run: a copy of this process's own with some entries set. Its memory is
/// overwritten when it goes, as an entry may be a secret.
class SpawnEnvironment
{
public:
    using Entries = std::vector<std::pair<QByteArray, QByteArray>>;

    explicit SpawnEnvironment(const Entries &set);
    ~SpawnEnvironment();
    Q_DISABLE_COPY_MOVE(SpawnEnvironment)

    /// Null-terminated, as `execve(2)` wants it; valid while this object lives.
    char *const *entries() const { return m_pointers.data(); }

    /// The name of the first entry that no environment can hold, because it has a NUL byte; empty if none.
    static QByteArray nameOfUnusableEntry(const Entries &set);

private:
    std::vector<std::string> m_set;
    std::vector<char *> m_pointers;
};
