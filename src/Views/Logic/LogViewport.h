// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LogRows.h"

#include <functional>
#include <vector>

class LogBuffer;

/// Which part of a log is on screen, and where it goes when the log or the window changes.
///
/// The place is kept as the first visible row, not as a distance from the top: rows above may turn out to be
/// higher than estimated, or fall out of the log, without moving what is being read. Only rows that come on
/// screen are measured.
class LogViewport
{
public:
    /// Lays out one row; the number of lines on screen that it takes.
    using Measure = std::function<int(const LogRows::Row &)>;

    struct VisibleRow
    {
        qsizetype row;
        int y; ///< of the row's top, from the viewport's top
    };

    explicit LogViewport(Measure measure)
        : m_measure(std::move(measure))
    {
    }

    const LogRows &rows() const { return m_rows; }
    /// Distance of the viewport's top from the content's top, in pixels; at most `maximum()`.
    qint64 position() const;
    qint64 maximum() const;
    bool isAtEnd() const { return m_isAtEnd; }
    /// At least one, however low the viewport is; none of an empty log.
    std::vector<VisibleRow> visibleRows() const;

    /// Keeps the end in view where it was, otherwise the first visible row.
    void setGeometry(int height, int columns, int lineHeight);
    /// Follows the log. Goes to the newest line when the number of lines has changed; otherwise a view that
    /// shows the end stays there, and what is read anywhere else stays where it is.
    void update(const LogBuffer &log);
    void scrollToEnd();
    void scrollTo(qint64 position);
    /// Exact for short ways, whatever was measured before.
    void scrollBy(qint64 distance);
    /// Brings the part of a row from `top` to `bottom`, in pixels below the row's top, into view; the
    /// shortest way.
    void reveal(qsizetype row, int top, int bottom);

private:
    void place(qsizetype row, qint64 offset);
    void stepTo(qsizetype &row, qint64 &offset);
    qint64 room(qsizetype row, qint64 offset);
    void measure(qsizetype row);

    Measure m_measure;
    LogRows m_rows;
    int m_height = 0;
    qsizetype m_count = 0;               ///< lines at the previous update
    LogPosition m_anchor;                ///< start of the first visible row
    qint64 m_offset = -LogRows::padding; ///< of the viewport's top below that row's top; negative above it
    bool m_isAtEnd = true;
};
