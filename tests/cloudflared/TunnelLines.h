// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <set>

/// Prints what a real child prints at the turns of a tunnel's life, and knows which connections live.
class TunnelLines
{
public:
    /// What comes before the first connection.
    void opening() const;
    /// Connection `index` is registered.
    void registered(std::int64_t index);
    /// Connection `index` is lost: several lines about the same loss.
    void lost(std::int64_t index);
    /// The graceful end after SIGTERM: every connection that lives goes, with error lines.
    void shutdown();

private:
    std::set<std::int64_t> m_live;
    unsigned m_registrations = 0;
};
