// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <sys/resource.h>

/// Lowers a limit of this process while it lives.
class LowLimit
{
public:
    LowLimit(__rlimit_resource resource, rlim_t value)
        : m_resource(resource)
    {
        ::getrlimit(m_resource, &m_before);
        const rlimit lowered{value, m_before.rlim_max};
        ::setrlimit(m_resource, &lowered);
    }
    ~LowLimit() { ::setrlimit(m_resource, &m_before); }
    Q_DISABLE_COPY_MOVE(LowLimit)

private:
    __rlimit_resource m_resource;
    rlimit m_before{};
};
