// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "WindowMenuBar.h"

#include "Text.h"

#include <QAction>
#include <QApplication>
#include <QKeySequence>
#include <QLineEdit>
#include <QPlainTextEdit>

#include <utility>

using MainMenu::Action;

namespace {

/// Doubles ampersands, which menus take for the mark of a mnemonic.
QString escaped(QString title)
{
    return title.replace(u'&', QLatin1StringView("&&"));
}

/// Returns whether the command would do something now. A field that hides its text gives none away.
bool canEditIn(const QLineEdit &field, Action action)
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
    default:
        return action == Action::SelectAll && !field.text().isEmpty();
    }
}

/// Returns the same for the log, which nobody writes in.
bool canEditIn(const QPlainTextEdit &log, Action action)
{
    return (action == Action::Copy && log.textCursor().hasSelection()) ||
           (action == Action::SelectAll && !log.document()->isEmpty());
}

template <typename Editor> void editIn(Editor &editor, Action action)
{
    switch (action) {
    case Action::Undo:
        return editor.undo();
    case Action::Redo:
        return editor.redo();
    case Action::Cut:
        return editor.cut();
    case Action::Copy:
        return editor.copy();
    case Action::Paste:
        return editor.paste();
    case Action::SelectAll:
        return editor.selectAll();
    default:
        return;
    }
}

} // namespace

WindowMenuBar::WindowMenuBar(QWidget &window, OpenWindows openWindows)
    : QMenuBar(&window)
    , m_window(window)
    , m_openWindows(std::move(openWindows))
{
    const QList<MainMenu::Submenu> submenus = MainMenu::make();
    for (const MainMenu::Submenu &submenu : submenus)
        addSubmenu(submenu);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) { followFocus(now); });
    refreshEditing();
}

void WindowMenuBar::addSubmenu(const MainMenu::Submenu &submenu)
{
    QMenu *menu = addMenu(u'&' + escaped(submenu.title));
    for (const MainMenu::Item &item : submenu.items)
        addItem(*menu, item);
    connect(menu, &QMenu::aboutToShow, this, &WindowMenuBar::refreshEditing);
    if (submenu.listsWindows) {
        connect(menu, &QMenu::aboutToShow, this, [this, menu] { listWindows(*menu); });
        listWindows(*menu);
    }
}

void WindowMenuBar::addItem(QMenu &menu, const MainMenu::Item &item)
{
    if (item.action == Action::None) {
        menu.addSeparator();
        return;
    }
    QAction *action = menu.addAction(escaped(item.title));
    action->setShortcut(QKeySequence::fromString(item.key, QKeySequence::PortableText));
    action->setMenuRole(QAction::NoRole);
    action->setData(int(item.action));
    if (MainMenu::isEditing(item.action)) {
        m_editActions.append(action);
        connect(action, &QAction::triggered, this, [this, what = item.action] { edit(what); });
    } else {
        connect(action, &QAction::triggered, this, [this, what = item.action] { Q_EMIT chosen(what); });
    }
}

void WindowMenuBar::listWindows(QMenu &menu)
{
    for (QAction *action : std::exchange(m_windowActions, {})) {
        menu.removeAction(action);
        action->deleteLater(); // it may be the one that was just chosen
    }
    const QList<QWidget *> windows = m_openWindows();
    if (!windows.isEmpty())
        m_windowActions.append(menu.addSeparator());
    for (QWidget *window : windows) {
        QAction *action = menu.addAction(escaped(Text::oneLine(window->windowTitle())));
        action->setCheckable(true);
        action->setChecked(window == &m_window);
        connect(action, &QAction::triggered, window, [this, window] { Q_EMIT windowChosen(window); });
        m_windowActions.append(action);
    }
}

/// Remembers which editor the commands act on. It stays the same while the menu bar or another window has the
/// focus.
void WindowMenuBar::followFocus(QWidget *widget)
{
    if (!widget || widget->window() != &m_window || qobject_cast<QMenuBar *>(widget) || widget == m_editor)
        return;
    if (m_editor)
        m_editor->disconnect(this);
    m_editor = widget;
    if (auto *field = qobject_cast<QLineEdit *>(widget)) {
        connect(field, &QLineEdit::textChanged, this, &WindowMenuBar::refreshEditing);
        connect(field, &QLineEdit::selectionChanged, this, &WindowMenuBar::refreshEditing);
    } else if (auto *log = qobject_cast<QPlainTextEdit *>(widget)) {
        connect(log, &QPlainTextEdit::textChanged, this, &WindowMenuBar::refreshEditing);
        connect(log, &QPlainTextEdit::selectionChanged, this, &WindowMenuBar::refreshEditing);
    }
    refreshEditing();
}

bool WindowMenuBar::canEdit(Action action) const
{
    if (const auto *field = qobject_cast<QLineEdit *>(m_editor))
        return canEditIn(*field, action);
    const auto *log = qobject_cast<QPlainTextEdit *>(m_editor);
    return log && canEditIn(*log, action);
}

void WindowMenuBar::edit(Action action)
{
    if (!canEdit(action))
        return;
    if (auto *field = qobject_cast<QLineEdit *>(m_editor))
        editIn(*field, action);
    else if (auto *log = qobject_cast<QPlainTextEdit *>(m_editor))
        editIn(*log, action);
}

void WindowMenuBar::refreshEditing()
{
    for (QAction *action : std::as_const(m_editActions))
        action->setEnabled(canEdit(Action(action->data().toInt())));
}

#include "moc_WindowMenuBar.cpp"
