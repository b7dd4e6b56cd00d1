// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelsSelection.h"

#include <QWidget>

#include <optional>

class EmptySelectionView;
class QHBoxLayout;
class SymbolButton;
class TunnelEditor;
class TunnelListModel;
class TunnelListView;
class TunnelManager;

/// The tab that lists the tunnels, with the form of the selected or of a new one beside the list.
class TunnelsSettingsView : public QWidget
{
    Q_OBJECT

public:
    /// `manager` outlives the view.
    explicit TunnelsSettingsView(TunnelManager &manager, QWidget *parent = nullptr);

protected:
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    QWidget *makeSidebar();
    void connectActions();
    void retranslate();
    /// Shows what the manager and the selection are now.
    void refresh();
    void refreshListSelection();
    void refreshPane();
    void replacePane(const TunnelsSelection::Pane &pane);
    QWidget *makePane(const TunnelsSelection::Pane &pane);
    std::optional<QUuid> selectedId() const;
    void selectRow();
    void add();
    void remove();
    void created(const QUuid &id);

    TunnelManager &m_manager;
    TunnelsSelection m_selection;
    TunnelListModel *m_model;
    TunnelListView *m_list;
    SymbolButton *m_addButton;
    SymbolButton *m_deleteButton;
    QHBoxLayout *m_columns;
    bool m_isRefreshing = false;

    // One of the two stands in the right pane.
    std::optional<TunnelsSelection::Pane> m_shownPane;
    TunnelEditor *m_editor = nullptr;
    EmptySelectionView *m_placeholder = nullptr;
};
