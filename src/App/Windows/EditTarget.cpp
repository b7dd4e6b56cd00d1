// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "EditTarget.h"

#include <QApplication>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>

namespace {

using MainMenu::Action;

bool canIn(const QLineEdit &field, Action action)
{
    const bool isWritable = !field.isReadOnly() && field.isEnabled();
    const bool givesAway = field.hasSelectedText() && field.echoMode() == QLineEdit::Normal;
    switch (action) {
    case Action::Undo:
        return isWritable && field.isUndoAvailable();
    case Action::Redo:
        return isWritable && field.isRedoAvailable();
    case Action::Cut:
        return isWritable && givesAway;
    case Action::Copy:
        return givesAway;
    case Action::Paste:
        return isWritable;
    case Action::SelectAll:
        return !field.text().isEmpty();
    default:
        return false;
    }
}

void performIn(QLineEdit &field, Action action)
{
    switch (action) {
    case Action::Undo:
        return field.undo();
    case Action::Redo:
        return field.redo();
    case Action::Cut:
        return field.cut();
    case Action::Copy:
        return field.copy();
    case Action::Paste:
        return field.paste();
    case Action::SelectAll:
        return field.selectAll();
    default:
        return;
    }
}

} // namespace

EditTarget::EditTarget(QWidget &window, QObject *parent)
    : QObject(parent)
    , m_window(window)
{
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { follow(now); });
}

/// The menu bar takes the focus while the keyboard is in it, and another window may have it: neither changes
/// what the commands of this window are about.
void EditTarget::follow(QWidget *widget)
{
    if (!widget || widget->window() != &m_window || qobject_cast<QMenuBar *>(widget) || widget == m_widget)
        return;
    if (m_widget)
        m_widget->disconnect(this);
    m_widget = widget;
    if (auto *field = qobject_cast<QLineEdit *>(widget)) {
        connect(field, &QLineEdit::textChanged, this, &EditTarget::changed);
        connect(field, &QLineEdit::selectionChanged, this, &EditTarget::changed);
    } else if (auto *log = qobject_cast<QPlainTextEdit *>(widget)) {
        connect(log, &QPlainTextEdit::textChanged, this, &EditTarget::changed);
        connect(log, &QPlainTextEdit::selectionChanged, this, &EditTarget::changed);
    }
    Q_EMIT changed();
}

bool EditTarget::can(Action action) const
{
    if (const auto *field = qobject_cast<QLineEdit *>(m_widget))
        return canIn(*field, action);
    if (const auto *log = qobject_cast<QPlainTextEdit *>(m_widget))
        return (action == Action::Copy && log->textCursor().hasSelection()) ||
               (action == Action::SelectAll && !log->document()->isEmpty());
    return false;
}

void EditTarget::perform(Action action)
{
    if (!can(action))
        return;
    if (auto *field = qobject_cast<QLineEdit *>(m_widget))
        performIn(*field, action);
    else if (auto *log = qobject_cast<QPlainTextEdit *>(m_widget); log && action == Action::Copy)
        log->copy();
    else if (log)
        log->selectAll();
}
