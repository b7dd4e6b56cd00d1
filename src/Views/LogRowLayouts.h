// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LogRows.h"
#include "Symbol.h"

#include <QFont>
#include <QString>
#include <QTextLayout>

#include <map>
#include <optional>

class LogBuffer;

/// One row of a log, laid out to the width of the view.
struct LogRowLayout
{
    QByteArray utf8;
    QTextLayout text;
    ColorRole color = ColorRole::None;
    int lineHeight = 1;

    /// The UTF-16 unit of the row that the position stands before; the row's ends for positions beyond them.
    int unitAt(const LogRows::Row &row, LogPosition position) const;
    LogPosition positionAt(const LogRows::Row &row, int unit) const;
    /// The last place that still stands on that line: before its last character where the log's line goes on
    /// below.
    int lastUnitOf(const LogRows::Row &row, const QTextLine &line) const;
    /// The wrapped line at that height below the row's top; the nearest one.
    QTextLine lineAt(int y) const;
};

/// Lays out the rows of a log that are on screen and keeps only those.
class LogRowLayouts
{
public:
    /// Forgets what was laid out. `width` in device-independent pixels; lines are aligned to the side that
    /// `direction` begins at, whatever the direction of their own text.
    void setFormat(const QFont &font, int width, Qt::LayoutDirection direction);
    /// For another log.
    void clear();

    int lineHeight() const { return m_lineHeight; }
    int columns() const { return m_columns; }

    /// The layout stays until `keep` leaves it out.
    const LogRowLayout &layout(const LogBuffer &log, const LogRows::Row &row);
    /// Drops every layout but those of the rows from `first` to `last`.
    void keep(LogPosition first, LogPosition last);

private:
    void shape(LogRowLayout &layout) const;
    ColorRole colorOf(const LogBuffer &log, quint64 line);

    QFont m_font;
    qreal m_ascent = 0;
    int m_lineHeight = 1;
    int m_columns = 1;
    int m_width = 0;
    Qt::Alignment m_alignment = Qt::AlignLeft;
    std::map<LogPosition, LogRowLayout> m_layouts;
    std::optional<std::pair<quint64, ColorRole>> m_lastColor; ///< by the number of its line
};
