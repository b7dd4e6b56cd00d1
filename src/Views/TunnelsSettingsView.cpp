// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelsSettingsView.h"

#include "DividerLine.h"
#include "EmptySelectionView.h"
#include "SymbolButton.h"
#include "TunnelEditor.h"
#include "TunnelListModel.h"
#include "TunnelListView.h"
#include "TunnelManager.h"
#include "TunnelRow.h"

#include <QHBoxLayout>
#include <QShowEvent>

using namespace Qt::StringLiterals;

namespace {

constexpr int sidebarWidth = 220;
constexpr int dividerPadding = 16;
constexpr int buttonBarPadding = 6;
constexpr QSize buttonSize(24, 20);
constexpr QSize buttonSymbolSize(14, 14);

} // namespace

TunnelsSettingsView::TunnelsSettingsView(TunnelManager &manager, QWidget *parent)
    : QWidget(parent)
    , m_manager(manager)
    , m_selection(manager)
    , m_model(new TunnelListModel(manager, this))
    , m_list(new TunnelListView(this))
    , m_addButton(new SymbolButton(this))
    , m_deleteButton(new SymbolButton(this))
    , m_columns(new QHBoxLayout(this))
{
    m_list->setModel(m_model);
    m_list->setItemDelegate(new TunnelRow(m_list));
    m_columns->setSpacing(0);
    m_columns->addWidget(makeSidebar());
    m_columns->addSpacing(dividerPadding);
    m_columns->addWidget(new DividerLine(this));
    m_columns->addSpacing(dividerPadding);
    connectActions();
    retranslate();
}

QWidget *TunnelsSettingsView::makeSidebar()
{
    auto *sidebar = new QWidget(this);
    sidebar->setFixedWidth(sidebarWidth);
    auto *bar = new QHBoxLayout;
    bar->setContentsMargins(0, buttonBarPadding, 0, 0);
    bar->setSpacing(0);
    m_addButton->setSymbol(u"plus"_s);
    m_deleteButton->setSymbol(u"minus"_s);
    for (SymbolButton *button : {m_addButton, m_deleteButton}) {
        button->setFixedSize(buttonSize);
        button->setIconSize(buttonSymbolSize);
        bar->addWidget(button);
    }
    bar->addStretch();

    auto *column = new QVBoxLayout(sidebar);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_list, 1);
    column->addLayout(bar);
    return sidebar;
}

void TunnelsSettingsView::connectActions()
{
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &TunnelsSettingsView::selectRow);
    connect(m_addButton, &QToolButton::clicked, this, &TunnelsSettingsView::add);
    connect(m_deleteButton, &QToolButton::clicked, this, &TunnelsSettingsView::remove);
    connect(&m_manager, &TunnelManager::objectDidChange, this, [this] {
        if (isVisible())
            refresh();
    });
}

void TunnelsSettingsView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    m_selection.appear();
    refresh();
    if (!window()->focusWidget()) // the tabs keep the keyboard
        m_list->setFocus(Qt::OtherFocusReason);
}

void TunnelsSettingsView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void TunnelsSettingsView::retranslate()
{
    m_list->setAccessibleName(tr("Tunnels"));
    m_addButton->setTitle(tr("Add tunnel"));
    m_deleteButton->setTitle(tr("Delete the selected tunnel"));
}

void TunnelsSettingsView::refresh()
{
    m_isRefreshing = true;
    m_model->refresh();
    refreshListSelection();
    m_isRefreshing = false;
    m_deleteButton->setEnabled(m_selection.canDelete());
    refreshPane();
}

std::optional<QUuid> TunnelsSettingsView::selectedId() const
{
    const QModelIndexList selected = m_list->selectionModel()->selectedIndexes();
    return selected.isEmpty() ? std::nullopt
                              : std::optional(selected.first().data(TunnelListModel::IdRole).toUuid());
}

void TunnelsSettingsView::refreshListSelection()
{
    const std::optional<QUuid> &wanted = m_selection.selection();
    if (selectedId() == wanted)
        return;
    const int row = wanted ? m_model->rowOf(*wanted) : -1;
    if (row >= 0)
        m_list->setCurrentIndex(m_model->index(row));
    else
        m_list->selectionModel()->clear();
}

void TunnelsSettingsView::refreshPane()
{
    const TunnelsSelection::Pane pane = m_selection.pane();
    if (!m_shownPane || !m_shownPane->hasIdentityOf(pane))
        replacePane(pane);
    else if (m_editor && pane.kind == TunnelsSelection::Pane::Kind::Tunnel)
        m_editor->setTunnel(pane.tunnel);
    m_shownPane = pane;
    if (m_placeholder)
        m_placeholder->setHasTunnels(!m_manager.tunnels().isEmpty());
}

/// The old pane may be the one whose signal has led here: it goes once that has been dealt with.
void TunnelsSettingsView::replacePane(const TunnelsSelection::Pane &pane)
{
    for (QWidget *old : std::initializer_list<QWidget *>{m_editor, m_placeholder}) {
        if (!old)
            continue;
        old->hide();
        m_columns->removeWidget(old);
        old->deleteLater();
    }
    m_editor = nullptr;
    m_placeholder = nullptr;
    QWidget *shown = makePane(pane);
    m_columns->addWidget(shown, 1);
    shown->show(); // at once: the layout alone would do it a turn later
    if (pane.kind == TunnelsSelection::Pane::Kind::NewTunnel)
        m_editor->focusName();
}

QWidget *TunnelsSettingsView::makePane(const TunnelsSelection::Pane &pane)
{
    switch (pane.kind) {
    case TunnelsSelection::Pane::Kind::NewTunnel:
        m_editor = new TunnelEditor(
            m_manager, std::nullopt, [this](const QUuid &id) { created(id); }, this);
        return m_editor;
    case TunnelsSelection::Pane::Kind::Tunnel:
        m_editor = new TunnelEditor(
            m_manager, pane.tunnel, [](const QUuid &) {}, this);
        return m_editor;
    case TunnelsSelection::Pane::Kind::Placeholder:
        break;
    }
    m_placeholder = new EmptySelectionView(!m_manager.tunnels().isEmpty(), this);
    connect(m_placeholder, &EmptySelectionView::addRequested, this, [this] {
        m_selection.addFromPlaceholder();
        refresh();
    });
    return m_placeholder;
}

void TunnelsSettingsView::selectRow()
{
    if (m_isRefreshing)
        return;
    m_selection.select(selectedId());
    refresh();
}

void TunnelsSettingsView::add()
{
    m_selection.add();
    refresh();
}

void TunnelsSettingsView::remove()
{
    m_selection.remove();
    refresh();
    if (m_placeholder)
        m_placeholder->focusAddButton();
}

void TunnelsSettingsView::created(const QUuid &id)
{
    m_selection.created(id);
    refresh();
    m_list->setFocus(Qt::OtherFocusReason);
}
