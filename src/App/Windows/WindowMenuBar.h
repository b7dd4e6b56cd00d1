// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "MainMenu.h"

#include <QMenuBar>

#include <functional>

class EditTarget;

/// The main menu at the top of one window. Editing and the window itself it sees to; everything else it
/// tells.
class WindowMenuBar : public QMenuBar
{
    Q_OBJECT

public:
    /// The windows that the Window menu lists, asked for when that opens.
    using OpenWindows = std::function<QList<QWidget *>()>;

    WindowMenuBar(QWidget &window, OpenWindows openWindows);

Q_SIGNALS:
    /// The user chose an entry that concerns the whole program.
    void chosen(MainMenu::Action action);

private:
    void addSubmenu(const MainMenu::Submenu &submenu);
    void addItem(QMenu &menu, const MainMenu::Item &item);
    void perform(MainMenu::Action action);
    void refreshEditing();
    void listWindows(QMenu &menu);

    QWidget &m_window;
    OpenWindows m_openWindows;
    EditTarget *m_editTarget;
    QList<QAction *> m_editActions;
    QList<QAction *> m_windowActions;
};

/// Brings a window in front of the others of this program, also from the minimised state, and gives it the
/// keyboard.
void orderFront(QWidget &window);
