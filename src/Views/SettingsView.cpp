// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SettingsView.h"

#include "GeneralSettingsView.h"
#include "SymbolDrawing.h"
#include "TextLabel.h"
#include "TunnelsSettingsView.h"

#include <QKeyEvent>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize minimumSettings(640, 400);
constexpr int tunnelsTab = 0;
constexpr int generalTab = 1;
constexpr int iconSide = 16;

} // namespace

SettingsView::SettingsView(TunnelManager &manager, QWidget *parent)
    : QWidget(parent)
    , m_tabs(new QTabWidget(this))
    , m_tunnels(new TunnelsSettingsView(manager))
{
    setMinimumSize(minimumSettings);
    m_tabs->addTab(m_tunnels, u"Tunnel"_s);
    m_tabs->addTab(new GeneralSettingsView(manager), u"General"_s);
    auto *page = new QVBoxLayout(this); // with the style's own margins
    page->addWidget(m_tabs);
    m_tabs->tabBar()->setFocusPolicy(Qt::StrongFocus); // else a click hands the keyboard to the first field
    m_tabs->installEventFilter(this);
    drawIcons();
}

void SettingsView::showTunnel(const QUuid &id)
{
    m_tabs->setCurrentIndex(tunnelsTab);
    m_tunnels->select(id);
}

void SettingsView::showGeneral()
{
    m_tabs->setCurrentIndex(generalTab);
}

bool SettingsView::event(QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest)
        setMinimumSize(minimumSettings.expandedTo(layout()->minimumSize()));
    return QWidget::event(event);
}

/// Passes on that the tabs need another size, which they keep to themselves.
bool SettingsView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_tabs && event->type() == QEvent::LayoutRequest)
        m_tabs->updateGeometry();
    return QWidget::eventFilter(watched, event);
}

void SettingsView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        drawIcons();
    } else if (event->type() == QEvent::FontChange) {
        renewFontRoles(this);
        drawIcons();
    }
}

/// Presses the default button by Return, which Qt does in dialogs only. Not by a shortcut: for a screen
/// reader Qt 6 holds keys back until that has seen them, but no shortcuts, and Return would overtake what was
/// typed.
void SettingsView::keyPressEvent(QKeyEvent *event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isReturn || (event->modifiers() & ~Qt::KeypadModifier) || event->isAutoRepeat())
        return QWidget::keyPressEvent(event);
    for (QPushButton *button : m_tabs->currentWidget()->findChildren<QPushButton *>()) {
        if (button->isDefault() && button->isVisible())
            return button->click();
    }
}

void SettingsView::drawIcons()
{
    const int side = grownWith(font(), iconSide);
    m_tabs->setIconSize({side, side});
    const QColor color = SymbolDrawing::color(ColorRole::None, palette());
    m_tabs->setTabIcon(tunnelsTab, SymbolDrawing::icon(u"bolt.horizontal.icloud"_s, color));
    m_tabs->setTabIcon(generalTab, SymbolDrawing::icon(u"gearshape"_s, color));
}

#include "moc_SettingsView.cpp"
