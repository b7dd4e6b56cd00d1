// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// What the mouse and the keyboard do in a log: the half of LogTextArea that moves the cursor and selects.

#include "LogBuffer.h"
#include "LogTextAccessible.h"
#include "LogTextArea.h"

#include <QAccessible>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QStyleHints>

#include <algorithm>

namespace {

/// Between two steps of scrolling while the mouse drags outside of the view, in milliseconds.
constexpr int dragScrollInterval = 40;

} // namespace

std::pair<LogPosition, LogPosition> LogTextArea::selection() const
{
    if (!m_cursor)
        return {};
    return std::minmax(m_selectionStart, *m_cursor);
}

QString LogTextArea::selectedText() const
{
    if (!m_log || !hasSelection())
        return {};
    const auto [from, to] = selection();
    return LogText::between(*m_log, from, to);
}

void LogTextArea::select(LogPosition from, LogPosition to)
{
    ensureCurrent();
    if (m_log)
        setSelection(LogText::clamped(*m_log, from), LogText::clamped(*m_log, to));
}

void LogTextArea::copy() const
{
    if (hasSelection())
        QGuiApplication::clipboard()->setText(selectedText());
}

void LogTextArea::selectAll()
{
    if (m_log)
        select(LogText::begin(*m_log), LogText::end(*m_log));
}

void LogTextArea::setSelection(LogPosition start, LogPosition cursor)
{
    m_selectionStart = start;
    m_cursor = cursor;
    viewport()->update();
    announceSelection();
}

void LogTextArea::announceSelection()
{
    if (QAccessible::isActive())
        notifyLogCursor(this);
    Q_EMIT selectionChanged();
}

/// Follows the lines that have left the log.
void LogTextArea::keepSelection()
{
    if (!m_cursor ||
        (m_selectionStart.line >= m_log->firstNumber() && m_cursor->line >= m_log->firstNumber()))
        return;
    if (std::max(m_selectionStart, *m_cursor).line < m_log->firstNumber())
        m_cursor.reset();
    else
        m_cursor = LogText::clamped(*m_log, *m_cursor);
    m_selectionStart = LogText::clamped(*m_log, m_selectionStart);
    announceSelection();
}

LogPosition LogTextArea::positionAt(QPoint point)
{
    ensureCurrent();
    const std::vector<LogViewport::VisibleRow> visible = m_viewport.visibleRows();
    if (visible.empty())
        return {};
    const auto below = std::upper_bound(visible.begin(), visible.end(), point.y(),
                                        [](int y, const LogViewport::VisibleRow &row) { return y < row.y; });
    const LogViewport::VisibleRow &hit = below == visible.begin() ? visible.front() : *std::prev(below);
    const LogRows::Row &row = m_viewport.rows().at(hit.row);
    const LogRowLayout &layout = m_layouts.layout(*m_log, row);
    return layout.positionAt(row, layout.lineAt(point.y() - hit.y).xToCursor(point.x() - LogRows::padding));
}

QRect LogTextArea::rectAt(LogPosition position)
{
    ensureCurrent();
    const qsizetype row = m_viewport.rows().rowOf(position);
    for (const LogViewport::VisibleRow &visible : m_viewport.visibleRows()) {
        if (visible.row != row)
            continue;
        const LogRowLayout &layout = m_layouts.layout(*m_log, m_viewport.rows().at(row));
        const int unit = layout.unitAt(m_viewport.rows().at(row), position);
        const QTextLine line = layout.text.lineForTextPosition(unit);
        return {LogRows::padding + int(line.cursorToX(unit)),
                visible.y + line.lineNumber() * layout.lineHeight, 1, layout.lineHeight};
    }
    return {};
}

void LogTextArea::scrollTo(LogPosition position)
{
    ensureCurrent();
    if (!m_viewport.rows().isEmpty())
        reveal(LogText::clamped(*m_log, position));
}

void LogTextArea::reveal(LogPosition position)
{
    const qsizetype row = m_viewport.rows().rowOf(position);
    const LogRowLayout &layout = m_layouts.layout(*m_log, m_viewport.rows().at(row));
    const int unit = layout.unitAt(m_viewport.rows().at(row), position);
    const int top = layout.text.lineForTextPosition(unit).lineNumber() * layout.lineHeight;
    m_viewport.reveal(row, top, top + layout.lineHeight);
    showScrollPosition();
    viewport()->update();
}

void LogTextArea::mousePressEvent(QMouseEvent *event)
{
    ensureCurrent();
    if (event->button() != Qt::LeftButton || m_viewport.rows().isEmpty())
        return event->ignore();
    const bool isThird =
        m_sinceDoubleClick.isValid() &&
        m_sinceDoubleClick.elapsed() < QGuiApplication::styleHints()->mouseDoubleClickInterval();
    m_sinceDoubleClick.invalidate();
    m_unit = isThird ? Unit::Line : Unit::Character;
    m_column.reset();
    const QPoint point = event->position().toPoint();
    if (event->modifiers() & Qt::ShiftModifier && m_cursor) {
        m_pressed = {m_selectionStart, m_selectionStart};
        return extendTo(point);
    }
    m_pressed = unitAround(positionAt(point));
    setSelection(m_pressed.first, m_pressed.second);
}

void LogTextArea::mouseDoubleClickEvent(QMouseEvent *event)
{
    ensureCurrent();
    if (event->button() != Qt::LeftButton || m_viewport.rows().isEmpty())
        return event->ignore();
    m_sinceDoubleClick.start();
    m_unit = Unit::Word;
    m_pressed = unitAround(positionAt(event->position().toPoint()));
    setSelection(m_pressed.first, m_pressed.second);
}

void LogTextArea::mouseMoveEvent(QMouseEvent *event)
{
    if (!(event->buttons() & Qt::LeftButton) || !m_cursor)
        return;
    const QPoint point = event->position().toPoint();
    extendTo(point);
    if (point.y() >= 0 && point.y() < viewport()->height())
        m_dragScroll.stop();
    else if (!m_dragScroll.isActive())
        m_dragScroll.start(dragScrollInterval, this);
}

void LogTextArea::mouseReleaseEvent(QMouseEvent *event)
{
    m_dragScroll.stop();
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (event->button() == Qt::LeftButton && hasSelection() && clipboard->supportsSelection())
        clipboard->setText(selectedText(), QClipboard::Selection);
}

/// The further outside the pointer is, the faster.
void LogTextArea::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_dragScroll.timerId())
        return QAbstractScrollArea::timerEvent(event);
    ensureCurrent();
    const QPoint point = viewport()->mapFromGlobal(QCursor::pos());
    const int outside = point.y() < 0 ? point.y() : std::max(0, point.y() - viewport()->height() + 1);
    m_viewport.scrollBy(outside);
    showScrollPosition();
    extendTo(point);
}

void LogTextArea::extendTo(QPoint point)
{
    const auto [first, last] = unitAround(positionAt(point));
    if (first < m_pressed.first)
        setSelection(m_pressed.second, first);
    else
        setSelection(m_pressed.first, std::max(last, m_pressed.second));
}

std::pair<LogPosition, LogPosition> LogTextArea::unitAround(LogPosition position) const
{
    switch (m_unit) {
    case Unit::Character:
        break;
    case Unit::Word:
        return LogText::wordAt(*m_log, position);
    case Unit::Line:
        return {{position.line, 0}, {position.line, LogText::lineBytes(*m_log, position.line).size()}};
    }
    return {position, position};
}

void LogTextArea::contextMenuEvent(QContextMenuEvent *event)
{
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(tr("Copy"), this, &LogTextArea::copy)->setEnabled(hasSelection());
    menu->addAction(tr("Select All"), this, &LogTextArea::selectAll)->setEnabled(canSelectAll());
    menu->popup(event->globalPos());
}

void LogTextArea::keyPressEvent(QKeyEvent *event)
{
    ensureCurrent();
    if (event->matches(QKeySequence::Copy))
        copy();
    else if (event->matches(QKeySequence::SelectAll))
        selectAll();
    else if (m_viewport.rows().isEmpty() || !moveByKey(event))
        event->ignore();
}

bool LogTextArea::moveByKey(QKeyEvent *event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (modifiers & ~(Qt::ShiftModifier | Qt::ControlModifier))
        return false;
    const bool selects = modifiers & Qt::ShiftModifier;
    const bool isFar = modifiers & Qt::ControlModifier;
    const LogText::Step step = isFar ? LogText::Step::Word : LogText::Step::Character;
    const int page = std::max(1, viewport()->height() / (m_layouts.lineHeight() + LogRows::spacing) - 1);
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
        moveBy(step, event->key() == Qt::Key_Right, selects);
        return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
        moveByLines(event->key() == Qt::Key_Down ? 1 : -1, selects);
        return true;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        moveByLines(event->key() == Qt::Key_PageDown ? page : -page, selects);
        return true;
    case Qt::Key_Home:
    case Qt::Key_End:
        if (isFar)
            moveTo(event->key() == Qt::Key_End ? LogText::end(*m_log) : LogText::begin(*m_log), selects);
        else
            moveToLineEnd(event->key() == Qt::Key_End, selects);
        return true;
    default:
        return false;
    }
}

void LogTextArea::moveBy(LogText::Step step, bool forward, bool selects)
{
    const LogPosition from = startingPoint(selects);
    moveTo(forward ? LogText::next(*m_log, from, step) : LogText::previous(*m_log, from, step), selects);
}

/// By lines as they are wrapped on screen, as near as possible to the column where the move began.
void LogTextArea::moveByLines(int lines, bool selects)
{
    const LogRows &rows = m_viewport.rows();
    const auto layoutOf = [&](qsizetype row) -> const LogRowLayout & {
        return m_layouts.layout(*m_log, rows.at(row));
    };
    const LogPosition from = startingPoint(selects);
    qsizetype row = rows.rowOf(from);
    const int unit = layoutOf(row).unitAt(rows.at(row), from);
    const QTextLine start = layoutOf(row).text.lineForTextPosition(unit);
    const qreal column = m_column.value_or(start.cursorToX(unit));
    int line = start.lineNumber() + lines;
    while (line < 0 && row > 0)
        line += layoutOf(--row).text.lineCount();
    while (row < rows.size() - 1 && line >= layoutOf(row).text.lineCount())
        line -= layoutOf(row++).text.lineCount();
    const LogRowLayout &layout = layoutOf(row);
    if (line < 0 || line >= layout.text.lineCount()) {
        moveTo(line < 0 ? LogText::begin(*m_log) : LogText::end(*m_log), selects);
    } else {
        const QTextLine target = layout.text.lineAt(line);
        const int last = layout.lastUnitOf(rows.at(row), target);
        moveTo(layout.positionAt(rows.at(row), std::min(target.xToCursor(column), last)), selects);
    }
    m_column = column;
}

void LogTextArea::moveToLineEnd(bool atEnd, bool selects)
{
    const LogPosition from = startingPoint(selects);
    const LogRows::Row &row = m_viewport.rows().at(m_viewport.rows().rowOf(from));
    const LogRowLayout &layout = m_layouts.layout(*m_log, row);
    const QTextLine line = layout.text.lineForTextPosition(layout.unitAt(row, from));
    moveTo(layout.positionAt(row, atEnd ? layout.lastUnitOf(row, line) : line.textStart()), selects);
}

void LogTextArea::moveTo(LogPosition position, bool selects)
{
    m_column.reset();
    if (selects && !m_cursor)
        m_selectionStart = startingPoint(true);
    setSelection(selects ? m_selectionStart : position, position);
    reveal(position);
}

/// Where a move begins: at the cursor, or, unless it grows a selection, in the part of the log that is on
/// screen, so that a move never takes the reader elsewhere.
LogPosition LogTextArea::startingPoint(bool selects)
{
    if (m_cursor && (selects || !rectAt(*m_cursor).isEmpty()))
        return *m_cursor;
    const std::vector<LogViewport::VisibleRow> visible = m_viewport.visibleRows();
    const LogPosition first = m_viewport.rows().at(visible.front().row).start;
    const bool isAbove = m_cursor && *m_cursor < first;
    return isAbove ? first : m_viewport.rows().at(visible.back().row).start;
}
