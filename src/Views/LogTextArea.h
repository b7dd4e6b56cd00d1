// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LogRowLayouts.h"
#include "LogViewport.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QElapsedTimer>
#include <QTimer>

#include <optional>

class LogBuffer;

/// Shows a log: wrapped lines in their colours, of which the user can select and copy any part with the mouse
/// and the keyboard.
///
/// Costs what is on screen: rows are laid out when they come into view, changes are taken over at most once a
/// frame, and nothing happens while the widget is not shown.
class LogTextArea : public QAbstractScrollArea
{
    Q_OBJECT

public:
    explicit LogTextArea(QWidget *parent = nullptr);

    /// Shows another log from its end on, or none. The log is its owner's, who calls `setLog(nullptr)` when
    /// it goes; the one shown so far is not touched then.
    void setLog(const LogBuffer *log);
    const LogBuffer *log() const { return m_log; }
    /// To be called when the log has changed; as often as that happens.
    void logChanged();

    bool hasSelection() const { return m_cursor && m_selectionStart != *m_cursor; }
    bool canSelectAll() const { return !m_viewport.rows().isEmpty(); }
    /// Ordered; empty at the cursor without a selection.
    std::pair<LogPosition, LogPosition> selection() const;
    QString selectedText() const;
    /// Where the keyboard moves from; none until something has put it anywhere.
    std::optional<LogPosition> cursor() const { return m_cursor; }
    void select(LogPosition from, LogPosition to);
    void scrollTo(LogPosition position);

    /// In the viewport's coordinates; empty outside of the rows on screen.
    QRect rectAt(LogPosition position);
    /// The place in the text nearest to a point of the viewport.
    LogPosition positionAt(QPoint point);

public Q_SLOTS:
    /// The selection, if any, goes to the clipboard.
    void copy() const;
    void selectAll();

Q_SIGNALS:
    /// What is selected, or whether anything can be, has changed.
    void selectionChanged();

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    enum class Unit { Character, Word, Line };

    LogViewport makeViewport();
    bool isOnScreen() const;
    void ensureCurrent();
    void takeOver();
    void applyFormat();
    void showScrollPosition();
    void paintRow(QPainter &painter, const LogViewport::VisibleRow &visible);
    QColor textColor(ColorRole role) const;
    QTextLayout::FormatRange highlight(int start, int length) const;

    bool moveByKey(QKeyEvent *event);
    void moveBy(LogText::Step step, bool forward, bool selects);
    void moveByLines(int lines, bool selects);
    void moveToLineEnd(bool atEnd, bool selects);
    void moveTo(LogPosition position, bool selects);
    LogPosition startingPoint(bool selects);
    void extendTo(QPoint point);
    std::pair<LogPosition, LogPosition> unitAround(LogPosition position) const;
    void setSelection(LogPosition start, LogPosition cursor);
    void keepSelection();
    void reveal(LogPosition position);

    void announceSelection();
    void announceLines();

    const LogBuffer *m_log = nullptr;
    LogRowLayouts m_layouts;
    LogViewport m_viewport;
    QTimer m_frame{this}; ///< runs from a change until it is shown
    bool m_isStale = false;
    quint64 m_seenEnd = 0; ///< number of the first line that is not shown yet

    std::optional<LogPosition> m_cursor;
    LogPosition m_selectionStart;
    std::pair<LogPosition, LogPosition> m_pressed; ///< what the press selected; a drag grows from it
    Unit m_unit = Unit::Character;
    std::optional<qreal> m_column; ///< where moves from line to line aim at
    QBasicTimer m_dragScroll;
    QElapsedTimer m_sinceDoubleClick;
};
