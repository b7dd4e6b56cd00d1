// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "MainMenu.h"

#include <QMenuBar>
#include <QPointer>

#include <functional>

/// The main menu at the top of one window. Carries out its edit commands, on the text field or the log of
/// this window that has, or had last, the keyboard; tells of every other entry.
class WindowMenuBar : public QMenuBar
{
    Q_OBJECT

public:
    /// Returns the windows that the Window menu lists; called when that opens.
    using OpenWindows = std::function<QList<QWidget *>()>;

    WindowMenuBar(QWidget &window, OpenWindows openWindows);

Q_SIGNALS:
    /// Sent when the user chose an entry that is no edit command.
    void chosen(MainMenu::Action action);
    /// Sent when the user chose a window from the list.
    void windowChosen(QWidget *window);

private:
    void addSubmenu(const MainMenu::Submenu &submenu);
    void addItem(QMenu &menu, const MainMenu::Item &item);
    void listWindows(QMenu &menu);
    void followFocus(QWidget *widget);
    bool canEdit(MainMenu::Action action) const;
    void edit(MainMenu::Action action);
    void refreshEditing();

    QWidget &m_window;
    OpenWindows m_openWindows;
    QPointer<QWidget> m_editor; ///< what the edit commands act on
    QList<QAction *> m_editActions;
    QList<QAction *> m_windowActions;
};
