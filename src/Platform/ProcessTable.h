// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <memory>

/// A process of this user that need not be a child of ours. The handle keeps meaning the same process, also
/// when that has ended and its id was given to another.
class ProcessHandle
{
public:
    virtual ~ProcessHandle() = default;

    /// Absolute path of the program it runs, also when the file was replaced or removed since; empty when it
    /// cannot be read.
    virtual QByteArray executablePath() const = 0;
    /// SIGTERM; nothing when the process has ended.
    virtual void terminate() = 0;
};

/// The processes of the system, by id.
class ProcessTable
{
public:
    virtual ~ProcessTable() = default;

    /// Null unless the process exists and this user may signal it.
    virtual std::unique_ptr<ProcessHandle> find(qint32 pid) = 0;
};
