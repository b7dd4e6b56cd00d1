// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogTextArea.h"

#include "LogBuffer.h"
#include "LogTextAccessible.h"
#include "SymbolDrawing.h"

#include <QAccessible>
#include <QFontDatabase>
#include <QPainter>
#include <QScrollBar>
#include <QWindow>

#include <algorithm>
#include <limits>

namespace {

/// Changes are shown at most this often, in milliseconds.
constexpr int frame = 16;
constexpr int fontSize = 11;

QFont logFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(fontSize);
    font.setWeight(QFont::Normal);
    return font;
}

} // namespace

LogTextArea::LogTextArea(QWidget *parent)
    : QAbstractScrollArea(parent)
    , m_viewport(makeViewport())
{
    installLogTextAccessibility();
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setAccessibleName(tr("Log"));
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    m_frame.setSingleShot(true);
    m_frame.setTimerType(Qt::PreciseTimer);
    m_frame.setInterval(frame);
    connect(&m_frame, &QTimer::timeout, this, &LogTextArea::ensureCurrent);
}

LogViewport LogTextArea::makeViewport()
{
    return LogViewport(
        [this](const LogRows::Row &row) { return m_layouts.layout(*m_log, row).text.lineCount(); });
}

void LogTextArea::setLog(const LogBuffer *log)
{
    m_frame.stop();
    m_layouts.clear();
    m_viewport = makeViewport();
    m_cursor.reset();
    m_log = log;
    m_seenEnd = log ? log->endNumber() : 0;
    m_isStale = log != nullptr;
    applyFormat();
    Q_EMIT selectionChanged();
}

void LogTextArea::logChanged()
{
    m_isStale = true;
    if (!m_frame.isActive() && isOnScreen())
        m_frame.start();
}

bool LogTextArea::isOnScreen() const
{
    const QWindow *handle = window()->windowHandle();
    return isVisible() && !window()->isMinimized() && handle && handle->isExposed();
}

/// Whatever looks at rows calls this first: those of lines that the log has lost cannot be laid out.
void LogTextArea::ensureCurrent()
{
    if (m_isStale)
        takeOver();
}

void LogTextArea::takeOver()
{
    m_isStale = false;
    m_frame.stop();
    if (m_log) {
        const bool couldSelect = canSelectAll();
        m_viewport.update(*m_log);
        keepSelection();
        if (couldSelect != canSelectAll())
            Q_EMIT selectionChanged();
        announceLines();
    }
    showScrollPosition();
    viewport()->update();
}

/// Assistive technology gets to know the newest lines where the user is in the log, at most as many as
/// somebody could listen to.
void LogTextArea::announceLines()
{
    constexpr quint64 most = 50;
    const quint64 end = m_log->endNumber();
    const quint64 first = std::max({m_seenEnd, m_log->firstNumber(), end - std::min(end, most)});
    m_seenEnd = end;
    if (QAccessible::isActive() && first < end && hasFocus())
        notifyLogLines(this, first);
}

/// Rows are laid out anew for the font, the width and the direction of the widget; not before it is shown,
/// when all that is known.
void LogTextArea::applyFormat()
{
    if (!isVisible())
        return;
    if (!m_viewport.rows().isEmpty())
        ensureCurrent();
    m_layouts.setFormat(logFont(), viewport()->width() - 2 * LogRows::padding, layoutDirection());
    m_viewport.setGeometry(viewport()->height(), m_layouts.columns(), m_layouts.lineHeight());
    ensureCurrent();
    showScrollPosition();
    viewport()->update();
}

void LogTextArea::showScrollPosition()
{
    const auto clamped = [](qint64 pixels) {
        return int(std::min<qint64>(pixels, std::numeric_limits<int>::max()));
    };
    QScrollBar *bar = verticalScrollBar();
    const QSignalBlocker blocker(bar);
    bar->setRange(0, clamped(m_viewport.maximum()));
    bar->setPageStep(viewport()->height());
    bar->setSingleStep(m_layouts.lineHeight() + LogRows::spacing);
    bar->setValue(clamped(m_viewport.position()));
}

void LogTextArea::scrollContentsBy(int, int)
{
    ensureCurrent();
    const QScrollBar *bar = verticalScrollBar();
    if (bar->value() == bar->minimum() || bar->value() == bar->maximum())
        m_viewport.scrollTo(bar->value());
    else
        m_viewport.scrollBy(bar->value() - m_viewport.position());
    showScrollPosition();
    viewport()->update();
}

bool LogTextArea::event(QEvent *event)
{
    // The edit commands of the menu have these keys too; where the menu is not there, the keys do not go
    // astray.
    if (event->type() == QEvent::ShortcutOverride) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->matches(QKeySequence::Copy) || key->matches(QKeySequence::SelectAll))
            event->accept();
    }
    return QAbstractScrollArea::event(event);
}

void LogTextArea::changeEvent(QEvent *event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::ApplicationFontChange ||
        event->type() == QEvent::StyleChange || event->type() == QEvent::LayoutDirectionChange)
        applyFormat();
}

/// Whoever opens the log reads its newest lines first.
void LogTextArea::showEvent(QShowEvent *event)
{
    QAbstractScrollArea::showEvent(event);
    if (event->spontaneous())
        return;
    if (QWindow *handle = window()->windowHandle())
        handle->installEventFilter(this);
    applyFormat();
    m_viewport.scrollToEnd();
    showScrollPosition();
}

/// A window that comes back from where nobody saw it takes over what it missed.
bool LogTextArea::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Expose && m_isStale)
        logChanged();
    return QAbstractScrollArea::eventFilter(watched, event);
}

void LogTextArea::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    applyFormat();
}

void LogTextArea::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
}

void LogTextArea::focusOutEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

void LogTextArea::paintEvent(QPaintEvent *)
{
    ensureCurrent();
    if (m_viewport.rows().isEmpty())
        return;
    QPainter painter(viewport());
    const std::vector<LogViewport::VisibleRow> visible = m_viewport.visibleRows();
    for (const LogViewport::VisibleRow &row : visible)
        paintRow(painter, row);
    m_layouts.keep(m_viewport.rows().at(visible.front().row).start,
                   m_viewport.rows().at(visible.back().row).start);
}

void LogTextArea::paintRow(QPainter &painter, const LogViewport::VisibleRow &visible)
{
    const LogRows::Row &row = m_viewport.rows().at(visible.row);
    const LogRowLayout &layout = m_layouts.layout(*m_log, row);
    QList<QTextLayout::FormatRange> highlights;
    if (hasSelection()) {
        const auto [from, to] = selection();
        const int start = layout.unitAt(row, from);
        const int end = layout.unitAt(row, to);
        if (start < end)
            highlights.append(highlight(start, end - start));
    }
    const QPointF origin(LogRows::padding, visible.y);
    painter.setPen(textColor(layout.color));
    layout.text.draw(&painter, origin, highlights, viewport()->rect());
    if (m_cursor && hasFocus() && m_viewport.rows().rowOf(*m_cursor) == visible.row)
        layout.text.drawCursor(&painter, origin, layout.unitAt(row, *m_cursor));
}

QColor LogTextArea::textColor(ColorRole role) const
{
    QPalette onBase = palette();
    onBase.setColor(QPalette::Window, onBase.color(QPalette::Base));
    onBase.setColor(QPalette::WindowText, onBase.color(QPalette::Text));
    return SymbolDrawing::color(role, onBase);
}

QTextLayout::FormatRange LogTextArea::highlight(int start, int length) const
{
    QTextLayout::FormatRange range;
    range.start = start;
    range.length = length;
    range.format.setBackground(palette().brush(QPalette::Highlight));
    range.format.setForeground(palette().brush(QPalette::HighlightedText));
    return range;
}
