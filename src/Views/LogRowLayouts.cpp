// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogRowLayouts.h"

#include "LogBuffer.h"
#include "LogRules.h"
#include "Text.h"

#include <QFontMetricsF>

#include <algorithm>
#include <cmath>

int LogRowLayout::unitAt(const LogRows::Row &row, LogPosition position) const
{
    if (position <= row.start)
        return 0;
    if (position.line > row.start.line || position.byte >= row.start.byte + row.size)
        return int(text.text().size());
    return int(LogText::utf16Length(QByteArrayView(utf8).first(position.byte - row.start.byte)));
}

LogPosition LogRowLayout::positionAt(const LogRows::Row &row, int unit) const
{
    return {row.start.line, row.start.byte + LogText::bytesOf(utf8, unit)};
}

QTextLine LogRowLayout::lineAt(int y) const
{
    return text.lineAt(std::clamp(y / lineHeight, 0, text.lineCount() - 1));
}

int LogRowLayout::lastUnitOf(const LogRows::Row &row, const QTextLine &line) const
{
    const int end = line.textStart() + line.textLength();
    const bool goesOn = line.lineNumber() < text.lineCount() - 1 || !row.endsLine;
    return goesOn ? text.previousCursorPosition(end) : end;
}

void LogRowLayouts::clear()
{
    m_layouts.clear();
    m_lastColor.reset();
}

void LogRowLayouts::setFormat(const QFont &font, int width, Qt::LayoutDirection direction)
{
    m_layouts.clear();
    const QFontMetricsF metrics(font);
    m_font = font;
    m_ascent = metrics.ascent();
    m_lineHeight = int(std::ceil(metrics.height()));
    m_width = std::max(1, width);
    m_columns = int(m_width / std::max<qreal>(1, metrics.averageCharWidth()));
    m_alignment = Qt::AlignAbsolute | (direction == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft);
}

const LogRowLayout &LogRowLayouts::layout(const LogBuffer &log, const LogRows::Row &row)
{
    const auto [found, isNew] = m_layouts.try_emplace(row.start);
    LogRowLayout &layout = found->second;
    if (isNew) {
        layout.utf8 = LogText::lineBytes(log, row.start.line).sliced(row.start.byte, row.size).toByteArray();
        layout.color = colorOf(log, row.start.line);
        layout.lineHeight = m_lineHeight;
        shape(layout);
    }
    return layout;
}

void LogRowLayouts::keep(LogPosition first, LogPosition last)
{
    m_layouts.erase(m_layouts.begin(), m_layouts.lower_bound(first));
    m_layouts.erase(m_layouts.upper_bound(last), m_layouts.end());
}

/// Lines stand at an even distance and on the base line of the log's font, also those that hold characters of
/// a taller one.
void LogRowLayouts::shape(LogRowLayout &layout) const
{
    QTextOption option(m_alignment);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(Qt::LayoutDirectionAuto);
    option.setTabStopDistance(8 * QFontMetricsF(m_font).horizontalAdvance(u' '));
    layout.text.setTextOption(option);
    layout.text.setFont(m_font);
    layout.text.setText(Text::fromUtf8(layout.utf8));
    layout.text.setCacheEnabled(true);
    layout.text.beginLayout();
    qreal y = 0;
    for (QTextLine line = layout.text.createLine(); line.isValid(); line = layout.text.createLine()) {
        line.setLineWidth(m_width);
        line.setPosition({0, y + m_ascent - line.ascent()});
        y += m_lineHeight;
    }
    layout.text.endLayout();
}

/// The rows of one long line come one after the other and share its colour.
ColorRole LogRowLayouts::colorOf(const LogBuffer &log, quint64 line)
{
    if (!m_lastColor || m_lastColor->first != line)
        m_lastColor.emplace(line, LogRules::color(LogText::lineBytes(log, line)));
    return m_lastColor->second;
}
