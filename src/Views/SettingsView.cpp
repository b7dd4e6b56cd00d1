// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SettingsView.h"

#include "FontRole.h"
#include "GeneralSettingsView.h"
#include "SymbolDrawing.h"
#include "TunnelsSettingsView.h"

#include <QEvent>
#include <QTabWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize minimumContent(640, 400);
constexpr int tunnelsTab = 0;
constexpr int generalTab = 1;

} // namespace

SettingsView::SettingsView(TunnelManager &manager, QWidget *parent)
    : QWidget(parent)
    , m_tabs(new QTabWidget(this))
{
    setMinimumSize(minimumContent);
    m_tabs->addTab(new TunnelsSettingsView(manager), QString());
    m_tabs->addTab(new GeneralSettingsView(manager), QString());
    auto *page = new QVBoxLayout(this); // with the style's own margins
    page->addWidget(m_tabs);
    m_tabs->installEventFilter(this);
    retranslate();
    drawIcons();
}

bool SettingsView::event(QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest)
        setMinimumSize(minimumContent.expandedTo(layout()->minimumSize()));
    return QWidget::event(event);
}

/// The tabs keep to themselves that what they hold needs another size.
bool SettingsView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_tabs && event->type() == QEvent::LayoutRequest)
        m_tabs->updateGeometry();
    return QWidget::eventFilter(watched, event);
}

void SettingsView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    else if (event->type() == QEvent::PaletteChange)
        drawIcons();
    else if (event->type() == QEvent::FontChange)
        renewFontRoles(this);
}

void SettingsView::retranslate()
{
    m_tabs->setTabText(tunnelsTab, tr("Tunnel"));
    m_tabs->setTabText(generalTab, tr("General"));
}

void SettingsView::drawIcons()
{
    const QColor color = SymbolDrawing::color(ColorRole::None, palette());
    m_tabs->setTabIcon(tunnelsTab, SymbolDrawing::icon(u"bolt.horizontal.icloud"_s, color));
    m_tabs->setTabIcon(generalTab, SymbolDrawing::icon(u"gearshape"_s, color));
}
