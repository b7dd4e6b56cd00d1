// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelsSelection.h"

#include <QElapsedTimer>
#include <QWidget>

class QHBoxLayout;
class QListView;
class SymbolButton;
class TunnelListModel;

/// The tab that lists the tunnels, with the form of the selected or of a new one beside the list.
class TunnelsSettingsView : public QWidget
{
    Q_OBJECT

public:
    /// `manager` outlives the view.
    explicit TunnelsSettingsView(TunnelManager &manager, QWidget *parent = nullptr);

    /// Selects the tunnel, and shows it as soon as the tab is on screen.
    void select(const QUuid &id);

protected:
    void showEvent(QShowEvent *event) override;

private:
    QWidget *makeSidebar();
    void connectActions();
    /// Shows what the manager and the selection are now.
    void refresh();
    void refreshListSelection();
    void refreshPane();
    QWidget *makePane(const TunnelsSelection::Pane &pane);
    std::optional<QUuid> selectedId() const;
    void selectRow();
    void add();
    void addFromPlaceholder();
    /// Does nothing so soon after the last time that this may be the second half of a double click.
    void remove();
    void created(const QUuid &id);

    TunnelManager &m_manager;
    TunnelsSelection m_selection;
    TunnelListModel *m_model;
    QListView *m_list;
    SymbolButton *m_addButton;
    SymbolButton *m_deleteButton;
    QHBoxLayout *m_columns;
    bool m_isRefreshing = false;
    QElapsedTimer m_sinceRemoval;
    TunnelsSelection::Pane m_shownPane;
    QWidget *m_pane = nullptr; ///< stands on the right
};
