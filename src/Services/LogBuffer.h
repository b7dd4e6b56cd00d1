// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

/// The last lines of a child's output, oldest first, as the UTF-8 bytes that were read.
///
/// Lines are numbered from the first one ever appended, so that a view can tell what is new and what is gone
/// since it looked last: the kept ones are `firstNumber()` up to, not including, `endNumber()`. Appending
/// costs the copy of one line, whatever the log holds.
class LogBuffer
{
public:
    static constexpr qsizetype capacity = 2000;

    qsizetype size() const { return qsizetype(m_end - m_first); }
    bool isEmpty() const { return m_end == m_first; }
    quint64 firstNumber() const { return m_first; }
    quint64 endNumber() const { return m_end; }

    /// Returns the line at `index`, 0 being the oldest kept one.
    QString line(qsizetype index) const;
    QByteArrayView bytes(qsizetype index) const;
    /// Returns all kept lines joined with single line feeds, none at the end.
    QString text() const;

    void append(QByteArrayView line);
    /// Drops all lines and gives their memory back. Numbers go on.
    void clear();

private:
    QByteArray &slot(quint64 number) { return m_ring[(number - m_base) % capacity]; }

    std::vector<QByteArray> m_ring; ///< grows up to `capacity` lines; then their storage is used again
    quint64 m_base = 0;             ///< the number of the line that the ring began with
    quint64 m_first = 0;
    quint64 m_end = 0;
};
