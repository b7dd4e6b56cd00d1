// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LogText.h"

#include <deque>

/// The lines of a log as rows of a wrapped text, with the height of each: known where the row was laid out,
/// estimated from its length everywhere else, so that a log of any size costs a few comparisons a line.
///
/// A line longer than `pieceSize` bytes stands in several rows, which join without a gap: no single row takes
/// long to lay out. Heights and places are in device-independent pixels, from the top of the content.
class LogRows
{
public:
    static constexpr int padding = 12; ///< on all sides of the content
    static constexpr int spacing = 2;  ///< between lines
    static constexpr qsizetype pieceSize = 4096;

    struct Row
    {
        LogPosition start;
        qsizetype size = 0; ///< bytes
        int lines = 1;      ///< lines on screen that it wraps onto
        bool isMeasured = false;
        bool endsLine = true;
    };

    /// `columns` characters of the text's font stand side by side, lines are `lineHeight` apart. Forgets what
    /// was measured.
    void setGeometry(int columns, int lineHeight);
    /// Follows the log: drops the rows of lines that it lost, adds those of new ones.
    void update(const LogBuffer &log);
    void setMeasured(qsizetype row, int lines);

    qsizetype size() const { return qsizetype(m_rows.size()); }
    bool isEmpty() const { return m_rows.empty(); }
    const Row &at(qsizetype row) const { return m_rows[size_t(row)]; }

    int lineHeight() const { return m_lineHeight; }
    /// With the gap below.
    int height(qsizetype row) const { return heightOf(m_rows[size_t(row)]); }
    qint64 top(qsizetype row) const;
    /// With the padding.
    qint64 contentHeight() const;
    /// The row at that height, the first or last one beyond them; -1 without rows.
    qsizetype rowAt(qint64 y) const;
    /// The row that shows a position; the nearest one for a position that has gone, -1 without rows.
    qsizetype rowOf(LogPosition position) const;

private:
    int heightOf(const Row &row) const { return row.lines * m_lineHeight + (row.endsLine ? spacing : 0); }
    int estimatedLines(qsizetype size) const;
    void appendLine(const LogBuffer &log, quint64 number);

    std::deque<Row> m_rows;
    int m_columns = 80;
    int m_lineHeight = 1;
    qint64 m_total = 0; ///< of all rows, gaps included
    quint64 m_endNumber = 0;
};
