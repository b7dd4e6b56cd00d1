// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogRows.h"

#include "LogBuffer.h"

#include <algorithm>

namespace {

/// Where the row that starts at `from` ends: with the line, else behind a blank if there is one near the
/// limit, else between two characters.
qsizetype rowEnd(QByteArrayView line, qsizetype from)
{
    const qsizetype limit = from + LogRows::pieceSize;
    if (line.size() <= limit)
        return line.size();
    constexpr qsizetype reach = 128;
    const qsizetype blank = line.sliced(limit - reach, reach).lastIndexOf(' ');
    if (blank >= 0)
        return limit - reach + blank + 1;
    return LogText::characterStart(line, limit);
}

} // namespace

void LogRows::setGeometry(int columns, int lineHeight)
{
    m_columns = std::max(1, columns);
    m_lineHeight = std::max(1, lineHeight);
    m_total = 0;
    for (Row &row : m_rows) {
        row.lines = estimatedLines(row.size);
        row.isMeasured = false;
        m_total += heightOf(row);
    }
}

void LogRows::update(const LogBuffer &log)
{
    while (!m_rows.empty() && m_rows.front().start.line < log.firstNumber()) {
        m_total -= heightOf(m_rows.front());
        m_rows.pop_front();
    }
    for (quint64 number = std::max(m_endNumber, log.firstNumber()); number < log.endNumber(); ++number)
        appendLine(log, number);
    m_endNumber = log.endNumber();
}

void LogRows::appendLine(const LogBuffer &log, quint64 number)
{
    const QByteArrayView line = LogText::lineBytes(log, number);
    LogPosition start{number, 0};
    do {
        const qsizetype end = rowEnd(line, start.byte);
        const qsizetype size = end - start.byte;
        m_rows.push_back({start, size, estimatedLines(size), false, end == line.size()});
        m_total += heightOf(m_rows.back());
        start.byte = end;
    } while (start.byte < line.size());
}

void LogRows::setMeasured(qsizetype index, int lines)
{
    Row &row = m_rows[size_t(index)];
    m_total -= heightOf(row);
    row.lines = std::max(1, lines);
    row.isMeasured = true;
    m_total += heightOf(row);
}

qint64 LogRows::top(qsizetype index) const
{
    qint64 y = padding;
    for (qsizetype row = 0; row < index; ++row)
        y += height(row);
    return y;
}

qint64 LogRows::contentHeight() const
{
    return isEmpty() ? 0 : m_total + padding - spacing + padding;
}

qsizetype LogRows::rowAt(qint64 y) const
{
    y -= padding;
    for (qsizetype row = 0; row < size(); ++row) {
        y -= height(row);
        if (y < 0)
            return row;
    }
    return size() - 1;
}

qsizetype LogRows::rowOf(LogPosition position) const
{
    const auto after = std::upper_bound(m_rows.begin(), m_rows.end(), position,
                                        [](LogPosition place, const Row &row) { return place < row.start; });
    return isEmpty() ? -1 : std::max<qsizetype>(0, after - m_rows.begin() - 1);
}

int LogRows::estimatedLines(qsizetype size) const
{
    return int(std::max<qsizetype>(1, (size + m_columns - 1) / m_columns));
}
