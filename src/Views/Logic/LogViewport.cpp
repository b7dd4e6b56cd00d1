// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogViewport.h"

#include "LogBuffer.h"
#include "LogRules.h"

#include <algorithm>

qint64 LogViewport::position() const
{
    return m_rows.isEmpty() ? 0 : m_rows.top(m_rows.rowOf(m_anchor)) + m_offset;
}

qint64 LogViewport::maximum() const
{
    return std::max<qint64>(0, m_rows.contentHeight() - m_height);
}

std::vector<LogViewport::VisibleRow> LogViewport::visibleRows() const
{
    std::vector<VisibleRow> visible;
    if (m_rows.isEmpty())
        return visible;
    int y = int(-m_offset);
    qsizetype row = m_rows.rowOf(m_anchor);
    do {
        visible.push_back({row, y});
        y += m_rows.height(row);
    } while (++row < m_rows.size() && y < m_height);
    return visible;
}

void LogViewport::setGeometry(int height, int columns, int lineHeight)
{
    const bool wasAtEnd = m_isAtEnd;
    m_height = height;
    m_rows.setGeometry(columns, lineHeight);
    if (wasAtEnd)
        scrollToEnd();
    else
        place(m_rows.rowOf(m_anchor), m_offset);
}

void LogViewport::update(const LogBuffer &log)
{
    const bool toEnd = LogRules::scrollsToEnd(m_count, log.size()) || m_isAtEnd;
    const bool keepsAnchor = m_anchor.line >= log.firstNumber();
    m_count = log.size();
    m_rows.update(log);
    if (toEnd)
        scrollToEnd();
    else
        place(m_rows.rowOf(m_anchor), keepsAnchor ? m_offset : -LogRows::padding);
}

void LogViewport::scrollToEnd()
{
    const qsizetype last = m_rows.size() - 1;
    if (last >= 0)
        measure(last);
    place(last, last < 0 ? 0 : m_rows.height(last) - LogRows::spacing + LogRows::padding - m_height);
}

void LogViewport::scrollTo(qint64 position)
{
    if (position >= maximum())
        return scrollToEnd();
    const qsizetype row = m_rows.rowAt(std::max<qint64>(0, position));
    if (row >= 0)
        place(row, std::max<qint64>(0, position) - m_rows.top(row));
}

void LogViewport::scrollBy(qint64 distance)
{
    if (std::abs(distance) / 4 > m_height)
        return scrollTo(position() + distance);
    place(m_rows.rowOf(m_anchor), m_offset + distance);
}

void LogViewport::reveal(qsizetype row, int top, int bottom)
{
    if (row == 0)
        top -= LogRows::padding;
    if (row == m_rows.size() - 1)
        bottom += LogRows::padding;
    const qint64 current = position();
    const qint64 rowTop = m_rows.top(row);
    if (rowTop + top < current)
        place(row, top);
    else if (rowTop + bottom > current + m_height)
        place(row, bottom - m_height);
}

/// Makes the viewport begin `offset` below the top of `row`, as nearly as the ends of the content allow.
void LogViewport::place(qsizetype row, qint64 offset)
{
    m_isAtEnd = true;
    if (row < 0) {
        m_offset = -LogRows::padding;
        return;
    }
    stepTo(row, offset);
    const qint64 missing = room(row, offset);
    if (missing > 0) {
        offset -= missing;
        stepTo(row, offset);
    }
    m_isAtEnd = missing >= 0;
    m_anchor = m_rows.at(row).start;
    m_offset = offset;
}

/// Walks to the row that the place is in, measuring what it passes.
void LogViewport::stepTo(qsizetype &row, qint64 &offset)
{
    measure(row);
    while (offset < 0 && row > 0) {
        measure(--row);
        offset += m_rows.height(row);
    }
    while (offset >= m_rows.height(row) && row < m_rows.size() - 1) {
        offset -= m_rows.height(row);
        measure(++row);
    }
    offset = std::max<qint64>(offset, row == 0 ? -LogRows::padding : 0);
}

/// Measures what stands in the viewport; how much of it would be left empty below the content, negative
/// when content goes on below.
qint64 LogViewport::room(qsizetype row, qint64 offset)
{
    qint64 left = m_height + offset;
    for (; row < m_rows.size() && left > 0; ++row) {
        measure(row);
        left -= m_rows.height(row);
    }
    if (row < m_rows.size())
        return -1;
    return left + LogRows::spacing - LogRows::padding;
}

void LogViewport::measure(qsizetype row)
{
    if (!m_rows.at(row).isMeasured)
        m_rows.setMeasured(row, m_measure(m_rows.at(row)));
}
