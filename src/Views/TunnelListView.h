// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QListView>

/// The list of tunnels: rows are moved by dragging and by Alt+Up and Alt+Down.
class TunnelListView : public QListView
{
    Q_OBJECT

public:
    explicit TunnelListView(QWidget *parent = nullptr);

protected:
    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QList<int> &roles) override;
    void keyPressEvent(QKeyEvent *event) override;
    void startDrag(Qt::DropActions supported) override;

private:
    void moveSelectedRow(int distance);
};
