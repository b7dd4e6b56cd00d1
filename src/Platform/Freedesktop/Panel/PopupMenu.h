// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Menu.h"

#include <QList>
#include <QMenu>
#include <QString>

/// A menu that this program draws itself, for panels that leave that to it. It follows new contents in
/// place, also while it is open.
class PopupMenu : public QMenu
{
    Q_OBJECT

public:
    explicit PopupMenu(QWidget *parent = nullptr);

    void setItems(const Menu &items);

protected:
    void changeEvent(QEvent *event) override;

Q_SIGNALS:
    void chosen(const MenuItem &item); ///< as it was drawn

private:
    struct Entry
    {
        MenuItem item;
        QAction *action = nullptr;
    };

    /// After it grew: a menu beside a panel often ends at the edge of the screen.
    void keepOnScreen();
    QAction *takeAction(const MenuItem &item, QList<Entry> &before);
    QAction *makeAction(const QString &id);
    void draw(QAction *action, const MenuItem &item) const;
    void choose(const QString &id);

    QList<Entry> m_entries;
};
