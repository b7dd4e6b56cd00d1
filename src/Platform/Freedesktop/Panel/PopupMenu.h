// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Menu.h"

#include <QMenu>

/// A menu that this program draws itself, for panels that leave that to it: in the desktop's own style, with
/// the second line of an entry smaller and dimmed. It follows new contents in place, also while it is open.
class PopupMenu : public QMenu
{
    Q_OBJECT

public:
    explicit PopupMenu(QWidget *parent = nullptr);

    void setItems(const Menu &items);

Q_SIGNALS:
    void chosen(const MenuItem &item); ///< as it was drawn

protected:
    void changeEvent(QEvent *event) override;

private:
    void keepOnScreen();
    void apply(QAction *action, const MenuItem &item) const;
};
