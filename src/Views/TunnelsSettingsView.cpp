// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelsSettingsView.h"

#include "Divider.h"
#include "SymbolLabel.h"
#include "TextLabel.h"
#include "TunnelEditor.h"
#include "TunnelListModel.h"
#include "TunnelRow.h"

#include <QAccessible>
#include <QApplication>
#include <QDrag>
#include <QKeyEvent>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QStyleOption>
#include <QVBoxLayout>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int sidebarWidth = 220;
constexpr int dividerPadding = 16;
constexpr int buttonBarPadding = 6;
constexpr QSize buttonSize(24, 20);
constexpr int buttonSymbolSide = 14;
constexpr int placeholderSymbolSide = 40;
constexpr int placeholderSpacing = 12;

/// The list of tunnels: rows are moved by dragging and by Alt+Up and Alt+Down, and removed by Delete.
class TunnelListView : public QListView
{
public:
    /// `onDelete` is called for each press of the key.
    TunnelListView(const std::function<void()> &onDelete, QWidget *parent);

protected:
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex &index,
                                                         const QEvent *event) const override;
    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QList<int> &roles) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void startDrag(Qt::DropActions supported) override;

private:
    void moveSelectedRow(int distance);

    std::function<void()> m_onDelete;
};

TunnelListView::TunnelListView(const std::function<void()> &onDelete, QWidget *parent)
    : QListView(parent)
    , m_onDelete(onDelete)
{
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragDropMode(QAbstractItemView::InternalMove);
    setDefaultDropAction(Qt::MoveAction);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
}

/// Leaves the selection alone where the pointer is on no row: input that was not saved would go with it.
QItemSelectionModel::SelectionFlags TunnelListView::selectionCommand(const QModelIndex &index,
                                                                     const QEvent *event) const
{
    return index.isValid() ? QListView::selectionCommand(index, event) : QItemSelectionModel::NoUpdate;
}

/// Paints only the row whose state has changed: its size stays, but the base would lay out all rows. A screen
/// reader is told of it.
void TunnelListView::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                                 const QList<int> &roles)
{
    if (!roles.contains(TunnelListModel::StateRole))
        return QListView::dataChanged(topLeft, bottomRight, roles);
    QAbstractItemView::dataChanged(topLeft, bottomRight, roles); // NOLINT(bugprone-parent-virtual-call)
    QAccessibleEvent change(this, QAccessible::DescriptionChanged);
    change.setChild(topLeft.row());
    QAccessible::updateAccessibility(&change);
}

void TunnelListView::keyPressEvent(QKeyEvent *event)
{
    const bool isMove = event->modifiers().testFlag(Qt::AltModifier) &&
                        (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down);
    if (isMove)
        moveSelectedRow(event->key() == Qt::Key_Up ? -1 : 1);
    else if (event->matches(QKeySequence::Delete) && !event->isAutoRepeat())
        m_onDelete();
    else
        QListView::keyPressEvent(event);
}

/// Draws the line for a drop below the last row as well, which the base does not.
void TunnelListView::paintEvent(QPaintEvent *event)
{
    QListView::paintEvent(event);
    if (state() != DraggingState || dropIndicatorPosition() != OnViewport)
        return;
    const QRect last = visualRect(model()->index(model()->rowCount() - 1, 0));
    QStyleOption line;
    line.initFrom(this);
    line.rect = QRect(last.left(), last.bottom(), last.width(), 0);
    QPainter painter(viewport());
    style()->drawPrimitive(QStyle::PE_IndicatorItemViewItemDrop, &line, &painter, this);
}

/// Holds the picture of the row beside the pointer: the base would lay it over the line that shows where the
/// row goes. Removes nothing: the dropped rows have moved in the model already.
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

/// Does nothing at the ends of the list.
void TunnelListView::moveSelectedRow(int distance)
{
    const QModelIndexList selected = selectedIndexes();
    if (selected.isEmpty())
        return;
    const int row = selected.first().row();
    model()->moveRow({}, row, {}, distance < 0 ? row - 1 : row + 2); // before which row it then stands
    scrollTo(currentIndex());
}

/// Stands where there is no tunnel to edit.
class EmptySelectionView : public QWidget
{
public:
    EmptySelectionView(bool hasTunnels, const std::function<void()> &onAdd, QWidget *parent)
        : QWidget(parent)
    {
        auto *symbol = new SymbolView(placeholderSymbolSide);
        symbol->setSymbol(u"bolt.horizontal.icloud"_s, ColorRole::SecondaryLabel);
        auto *text = new TextLabel(FontRole::Headline);
        text->setText(hasTunnels ? u"Select a tunnel"_s : u"No tunnels configured"_s);
        auto *addButton = new QPushButton(u"&Add Tunnel"_s);
        addButton->setAutoDefault(true); // Return presses it where it has the focus
        connect(addButton, &QPushButton::clicked, this, onAdd);
        auto *column = new QVBoxLayout(this);
        column->setSpacing(placeholderSpacing);
        column->addStretch();
        for (QWidget *item : std::initializer_list<QWidget *>{symbol, text, addButton})
            column->addWidget(item, 0, Qt::AlignHCenter);
        column->addStretch();
    }
};

} // namespace

TunnelsSettingsView::TunnelsSettingsView(TunnelManager &manager, QWidget *parent)
    : QWidget(parent)
    , m_manager(manager)
    , m_selection(manager)
    , m_model(new TunnelListModel(manager, this))
    , m_list(new TunnelListView([this] { remove(); }, this))
    , m_addButton(new SymbolButton(buttonSymbolSide, buttonSize, this))
    , m_deleteButton(new SymbolButton(buttonSymbolSide, buttonSize, this))
    , m_columns(new QHBoxLayout(this))
{
    m_list->setModel(m_model);
    m_list->setItemDelegate(new TunnelRow(m_list));
    m_list->setAccessibleName(u"Tunnels"_s);
    m_columns->setSpacing(0);
    m_columns->addWidget(makeSidebar());
    m_columns->addSpacing(dividerPadding);
    m_columns->addWidget(new Divider(QFrame::VLine, this));
    m_columns->addSpacing(dividerPadding);
    connectActions();
}

QWidget *TunnelsSettingsView::makeSidebar()
{
    auto *sidebar = new QWidget(this);
    sidebar->setFixedWidth(sidebarWidth);
    auto *bar = new QHBoxLayout;
    bar->setContentsMargins(0, buttonBarPadding, 0, 0);
    bar->setSpacing(0);
    m_addButton->setContent(u"plus"_s, u"Add tunnel"_s);
    m_deleteButton->setContent(u"minus"_s, u"Delete the selected tunnel"_s);
    bar->addWidget(m_addButton);
    bar->addWidget(m_deleteButton);
    bar->addStretch();

    auto *column = new QVBoxLayout(sidebar);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    m_list->setFrameShape(QFrame::NoFrame);
    column->addWidget(new FocusBorder(m_list, this), 1);
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

void TunnelsSettingsView::select(const QUuid &id)
{
    m_selection.select(id);
    if (isVisible())
        refresh();
}

/// Brings list and form in step with the manager and the selection; `m_isRefreshing` keeps the list's own
/// signals from being taken for the user's.
void TunnelsSettingsView::refresh()
{
    m_isRefreshing = true;
    m_model->refresh();
    refreshListSelection();
    m_isRefreshing = false;
    m_deleteButton->setEnabled(m_selection.selection().has_value());
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

/// Makes the form anew only for another tunnel: what is typed in it survives every other change.
void TunnelsSettingsView::refreshPane()
{
    const TunnelsSelection::Pane pane = m_selection.pane();
    const bool isSame = m_pane && m_shownPane.hasIdentityOf(pane);
    m_shownPane = pane;
    if (isSame) {
        if (pane.kind == TunnelsSelection::Pane::Kind::Tunnel)
            static_cast<TunnelEditor *>(m_pane)->refreshState();
        return;
    }
    if (m_pane) {
        m_pane->hide();
        m_columns->removeWidget(m_pane);
        m_pane->deleteLater(); // its signal may be what has led here
    }
    m_pane = makePane(pane);
    m_columns->addWidget(m_pane, 1);
    m_pane->show(); // at once: the layout alone would do it a turn later
    if (pane.kind == TunnelsSelection::Pane::Kind::NewTunnel)
        static_cast<TunnelEditor *>(m_pane)->focusName();
}

QWidget *TunnelsSettingsView::makePane(const TunnelsSelection::Pane &pane)
{
    if (pane.kind == TunnelsSelection::Pane::Kind::Placeholder)
        return new EmptySelectionView(
            pane.hasTunnels, [this] { addFromPlaceholder(); }, this);
    if (pane.kind == TunnelsSelection::Pane::Kind::Tunnel)
        return new TunnelEditor(
            m_manager, pane.tunnel, [](const QUuid &) {}, this);
    return new TunnelEditor(
        m_manager, std::nullopt, [this](const QUuid &id) { created(id); }, this);
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

void TunnelsSettingsView::addFromPlaceholder()
{
    m_selection.addFromPlaceholder();
    refresh();
}

/// Does nothing for the second half of a double click, which would delete the next tunnel as well.
void TunnelsSettingsView::remove()
{
    if (m_sinceRemoval.isValid() && m_sinceRemoval.elapsed() < QApplication::doubleClickInterval())
        return;
    m_selection.remove();
    m_sinceRemoval.start();
    refresh();
    if (m_shownPane.kind == TunnelsSelection::Pane::Kind::Placeholder)
        m_pane->findChild<QPushButton *>()->setFocus(Qt::OtherFocusReason); // Return adds a tunnel
}

void TunnelsSettingsView::created(const QUuid &id)
{
    m_selection.created(id);
    refresh();
    m_list->setFocus(Qt::OtherFocusReason);
}

#include "moc_TunnelsSettingsView.cpp"
