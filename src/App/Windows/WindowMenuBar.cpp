// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "WindowMenuBar.h"

#include "EditTarget.h"
#include "Text.h"

#include <QAction>
#include <QKeySequence>

#include <utility>

using MainMenu::Action;

namespace {

bool isEditing(Action action)
{
    return action >= Action::Undo && action <= Action::SelectAll;
}

/// Menus take an ampersand for the mark of a mnemonic.
QString escaped(QString title)
{
    return title.replace(u'&', QLatin1StringView("&&"));
}

} // namespace

WindowMenuBar::WindowMenuBar(QWidget &window, OpenWindows openWindows)
    : QMenuBar(&window)
    , m_window(window)
    , m_openWindows(std::move(openWindows))
    , m_editTarget(new EditTarget(window, this))
{
    const QList<MainMenu::Submenu> submenus = MainMenu::make();
    for (const MainMenu::Submenu &submenu : submenus)
        addSubmenu(submenu);
    connect(m_editTarget, &EditTarget::changed, this, &WindowMenuBar::refreshEditing);
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
    if (isEditing(item.action))
        m_editActions.append(action);
    connect(action, &QAction::triggered, this, [this, what = item.action] { perform(what); });
}

void WindowMenuBar::perform(Action action)
{
    if (isEditing(action))
        m_editTarget->perform(action);
    else if (action == Action::Minimize)
        m_window.showMinimized();
    else if (action == Action::Close)
        m_window.close();
    else
        Q_EMIT chosen(action);
}

void WindowMenuBar::refreshEditing()
{
    for (QAction *action : std::as_const(m_editActions))
        action->setEnabled(m_editTarget->can(Action(action->data().toInt())));
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
        connect(action, &QAction::triggered, window, [window] { orderFront(*window); });
        m_windowActions.append(action);
    }
}

void orderFront(QWidget &window)
{
    window.setWindowState((window.windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window.show();
    window.raise();
    window.activateWindow();
}
