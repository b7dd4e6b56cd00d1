// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogTextAccessible.h"

#include "LogBuffer.h"
#include "LogTextArea.h"

#include <QAccessibleWidget>

#include <algorithm>

namespace {

/// Offsets count UTF-16 units of the whole log, with a line feed between lines.
class LogTextAccessible final : public QAccessibleWidget, public QAccessibleTextInterface
{
public:
    explicit LogTextAccessible(LogTextArea *area)
        : QAccessibleWidget(area, QAccessible::EditableText)
        , m_area(area)
    {
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface *>(this);
        return QAccessibleWidget::interface_cast(type);
    }
    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.readOnly = true;
        state.multiLine = true;
        state.selectableText = true;
        return state;
    }

    void selection(int index, int *start, int *end) const override
    {
        const auto [from, to] = m_area->selection();
        const bool has = index == 0 && m_area->hasSelection();
        *start = has ? offsetOf(from) : 0;
        *end = has ? offsetOf(to) : 0;
    }
    int selectionCount() const override { return m_area->hasSelection() ? 1 : 0; }
    void addSelection(int start, int end) override { m_area->select(positionAt(start), positionAt(end)); }
    void removeSelection(int) override { setCursorPosition(cursorPosition()); }
    void setSelection(int, int start, int end) override { addSelection(start, end); }

    int cursorPosition() const override
    {
        const std::optional<LogPosition> cursor = m_area->cursor();
        return cursor ? offsetOf(*cursor) : 0;
    }
    void setCursorPosition(int offset) override { addSelection(offset, offset); }

    QString text(int start, int end) const override
    {
        if (!m_area->log())
            return {};
        return LogText::between(*m_area->log(), positionAt(start),
                                positionAt(end < 0 ? characterCount() : end));
    }
    int characterCount() const override { return m_area->log() ? int(LogText::length(*m_area->log())) : 0; }

    QRect characterRect(int offset) const override
    {
        const QRect start = m_area->rectAt(positionAt(offset));
        if (start.isEmpty())
            return {};
        const QRect end = m_area->rectAt(positionAt(offset + 1));
        const int width = end.top() == start.top() ? end.left() - start.left() : 1;
        const QRect rect = QRect(start.left(), start.top(), width, start.height()).normalized();
        return rect.translated(m_area->viewport()->mapToGlobal(QPoint()));
    }
    int offsetAtPoint(const QPoint &point) const override
    {
        return offsetOf(m_area->positionAt(m_area->viewport()->mapFromGlobal(point)));
    }
    void scrollToSubstring(int start, int end) override
    {
        m_area->scrollTo(positionAt(end));
        m_area->scrollTo(positionAt(start));
    }
    QString attributes(int, int *start, int *end) const override
    {
        *start = 0;
        *end = characterCount();
        return {};
    }

private:
    int offsetOf(LogPosition position) const
    {
        return m_area->log() ? int(LogText::offsetOf(*m_area->log(), position)) : 0;
    }
    LogPosition positionAt(int offset) const
    {
        return m_area->log() ? LogText::positionAt(*m_area->log(), std::max(0, offset)) : LogPosition();
    }

    LogTextArea *m_area;
};

QAccessibleInterface *makeInterface(const QString &, QObject *object)
{
    auto *area = qobject_cast<LogTextArea *>(object);
    return area ? new LogTextAccessible(area) : nullptr;
}

} // namespace

void installLogTextAccessibility()
{
    QAccessible::installFactory(makeInterface);
}

void notifyLogCursor(LogTextArea *area)
{
    if (!area->log() || !area->cursor())
        return;
    const auto [from, to] = area->selection();
    const int start = int(LogText::offsetOf(*area->log(), from));
    const int end = int(LogText::offsetOf(*area->log(), to));
    QAccessibleTextSelectionEvent event(area, start, end);
    event.setCursorPosition(*area->cursor() == from ? start : end);
    QAccessible::updateAccessibility(&event);
}

void notifyLogLines(LogTextArea *area, unsigned long long first)
{
    const LogBuffer &log = *area->log();
    const LogPosition line{first, 0};
    // The line feed that parts it from the line before is new as well.
    const LogPosition start =
        first > log.firstNumber() ? LogText::previous(log, line, LogText::Step::Character) : line;
    QAccessibleTextInsertEvent event(area, int(LogText::offsetOf(log, start)),
                                     LogText::between(log, start, LogText::end(log)));
    QAccessible::updateAccessibility(&event);
}
