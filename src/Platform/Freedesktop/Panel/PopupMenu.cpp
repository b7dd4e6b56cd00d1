// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PopupMenu.h"

#include "MenuText.h"
#include "PopupMenuStyle.h"
#include "SymbolDrawing.h"

#include <QAction>
#include <QEvent>
#include <QKeySequence>
#include <QScreen>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

PopupMenu::PopupMenu(QWidget *parent)
    : QMenu(parent)
{
    auto *style = new PopupMenuStyle;
    style->setParent(this);
    setStyle(style);
    setToolTipsVisible(true);
}

void PopupMenu::setItems(const Menu &items)
{
    QList<Entry> before = std::exchange(m_entries, {});
    for (const MenuItem &item : items)
        m_entries += {item, takeAction(item, before)};
    for (const Entry &gone : std::as_const(before)) {
        removeAction(gone.action);
        gone.action->deleteLater();
    }
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        QAction *there = actions().value(i);
        if (there != m_entries[i].action)
            insertAction(there, m_entries[i].action);
    }
    if (isVisible())
        keepOnScreen();
}

void PopupMenu::changeEvent(QEvent *event)
{
    QMenu::changeEvent(event);
    if (event->type() != QEvent::PaletteChange)
        return;
    for (const Entry &entry : std::as_const(m_entries))
        draw(entry.action, entry.item);
}

void PopupMenu::keepOnScreen()
{
    const QRect room = screen()->availableGeometry();
    QRect place(pos(), sizeHint());
    place.moveBottom(qMin(place.bottom(), room.bottom()));
    place.moveRight(qMin(place.right(), room.right()));
    move(qMax(place.left(), room.left()), qMax(place.top(), room.top()));
}

/// The action that shows the entry already, brought up to date, or a new one.
QAction *PopupMenu::takeAction(const MenuItem &item, QList<Entry> &before)
{
    const auto old = std::find_if(before.cbegin(), before.cend(),
                                  [&](const Entry &entry) { return entry.item.id == item.id; });
    if (old == before.cend()) {
        QAction *action = makeAction(item.id);
        draw(action, item);
        return action;
    }
    Entry entry = *old;
    before.erase(old);
    if (entry.item != item)
        draw(entry.action, item);
    return entry.action;
}

QAction *PopupMenu::makeAction(const QString &id)
{
    auto *action = new QAction(this);
    connect(action, &QAction::triggered, this, [this, id] { choose(id); });
    return action;
}

void PopupMenu::draw(QAction *action, const MenuItem &item) const
{
    MenuItem indented = item;
    const QString blanks(qsizetype(4) * qMax(0, item.indentation), u' ');
    indented.title.prepend(blanks);
    if (!item.detail.isEmpty())
        indented.detail.prepend(blanks);
    action->setSeparator(item.isSeparator);
    action->setText(MenuText::twoLines(indented, {}).replace(u'&', u"&&"_s));
    action->setToolTip(MenuText::plainLine(item.toolTip));
    action->setEnabled(item.isEnabled);
    action->setShortcut(item.shortcut.isEmpty() ? QKeySequence() : QKeySequence(u"Ctrl+"_s + item.shortcut));
    action->setIcon(item.image ? SymbolDrawing::icon(item.image->symbolName,
                                                     SymbolDrawing::color(item.image->color, palette()))
                               : QIcon());
}

void PopupMenu::choose(const QString &id)
{
    const auto entry = std::find_if(m_entries.cbegin(), m_entries.cend(),
                                    [&](const Entry &candidate) { return candidate.item.id == id; });
    if (entry != m_entries.cend())
        Q_EMIT chosen(MenuItem(entry->item));
}
