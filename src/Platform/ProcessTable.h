// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>
#include <QtGlobal>

/// The processes of the system, which need not be children of this one.
class ProcessTable
{
public:
    virtual ~ProcessTable() = default;

    /// Sends SIGTERM to the process if this user may signal it and the absolute path of the program that it
    /// runs ends with `pathEnd`, also when the program's file was replaced or removed since. Never reaches
    /// another process that got the same id in between.
    virtual void terminate(qint32 pid, QByteArrayView pathEnd) = 0;
};
