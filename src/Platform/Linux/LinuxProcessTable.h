// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ProcessTable.h"

/// Processes by pidfd and the process file system, proc(5).
class LinuxProcessTable : public ProcessTable
{
public:
    void terminate(qint32 pid, QByteArrayView pathEnd) override;
};
