// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelListView.h"

#include "TunnelListModel.h"

#include <QDrag>
#include <QKeyEvent>

TunnelListView::TunnelListView(QWidget *parent)
    : QListView(parent)
{
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragDropMode(QAbstractItemView::InternalMove);
    setDefaultDropAction(Qt::MoveAction);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
}

/// A changed state changes no row's size: only that row is painted, where the base would lay out all of them.
void TunnelListView::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                                 const QList<int> &roles)
{
    if (roles.contains(TunnelListModel::StateRole))
        QAbstractItemView::dataChanged(topLeft, bottomRight, roles); // NOLINT(bugprone-parent-virtual-call)
    else
        QListView::dataChanged(topLeft, bottomRight, roles);
}

void TunnelListView::keyPressEvent(QKeyEvent *event)
{
    const bool isMove = event->modifiers().testFlag(Qt::AltModifier) &&
                        (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down);
    if (isMove)
        moveSelectedRow(event->key() == Qt::Key_Up ? -1 : 1);
    else
        QListView::keyPressEvent(event);
}

/// The base would hold the picture of the row where it was taken, over the line that shows where it goes.
/// What is dropped moves in the model: nothing is left to be removed here.
void TunnelListView::startDrag(Qt::DropActions supported)
{
    constexpr QPoint pictureOffset(16, 20); // from the pointer
    const QModelIndexList selected = selectedIndexes();
    if (selected.isEmpty())
        return;
    auto *drag = new QDrag(this);
    drag->setMimeData(model()->mimeData(selected));
    drag->setPixmap(viewport()->grab(visualRect(selected.first()) & viewport()->rect()));
    drag->setHotSpot(-pictureOffset);
    drag->exec(supported, defaultDropAction());
}

/// Nothing happens at the ends of the list.
void TunnelListView::moveSelectedRow(int distance)
{
    const QModelIndexList selected = selectedIndexes();
    if (selected.isEmpty())
        return;
    const int row = selected.first().row();
    model()->moveRow({}, row, {}, distance < 0 ? row - 1 : row + 2); // before which row it then stands
    scrollTo(currentIndex());
}
