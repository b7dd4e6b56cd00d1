// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What every fuzz target shares.
namespace Fuzz {

/// Ends the run as a find when something that must hold does not.
inline void expect(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

/// Takes values off the front of an input. Past its end there are zeros and empty texts.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_rest(reinterpret_cast<const char *>(data), qsizetype(size))
    {
    }

    bool isEmpty() const { return m_rest.isEmpty(); }
    int byte() { return take(1).isEmpty() ? 0 : int(std::uint8_t(m_taken[0])); }
    /// What stands before the next `end`, which is taken as well.
    QByteArray until(char end)
    {
        const qsizetype place = m_rest.indexOf(end);
        const QByteArray bytes = take(place < 0 ? m_rest.size() : place);
        take(1);
        return bytes;
    }
    QByteArray rest() { return take(m_rest.size()); }

private:
    const QByteArray &take(qsizetype count)
    {
        m_taken = m_rest.first(qMin(count, m_rest.size()));
        m_rest = m_rest.sliced(m_taken.size());
        return m_taken;
    }

    QByteArray m_rest;
    QByteArray m_taken;
};

} // namespace Fuzz
