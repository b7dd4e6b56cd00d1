// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopStatusItem.h"

#include "PanelIcon.h"
#include "StandardError.h"
#include "X11Tray.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
#include <QSystemTrayIcon>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Time for a panel that knows both kinds of item, which it brings up one after the other.
constexpr auto settlingTime = 500ms;
/// Time for the panel to appear; at log-in the program may well start before it.
constexpr auto timeForPanelToStart = 10s;

const QString statusMenuPath = u"/MenuBar"_s;
const QString dockMenuPath = u"/DockMenu"_s;

bool canPlacePopups()
{
    return !QGuiApplication::platformName().startsWith("wayland"_L1);
}

} // namespace

FreedesktopStatusItem::FreedesktopStatusItem(const QDBusConnection &bus, const QString &runtimeFolder,
                                             const QList<Symbol> &icons)
    : m_statusMenu(bus, statusMenuPath)
    , m_dockMenu(bus, dockMenuPath)
    , m_item(bus, statusMenuPath, runtimeFolder, icons)
    , m_launcherEntry(bus, dockMenuPath)
    , m_watcher(bus)
    , m_x11Tray(std::make_unique<X11Tray>([this] { choosePanel(); }))
{
    connectMenus();
    connectPanels();
    qGuiApp->installEventFilter(this);
}

FreedesktopStatusItem::~FreedesktopStatusItem() = default;

void FreedesktopStatusItem::connectMenus()
{
    connect(&m_statusMenu, &DBusMenu::aboutToShow, this, &FreedesktopStatusItem::askForMenu);
    connect(&m_statusMenu, &DBusMenu::chosen, this, &FreedesktopStatusItem::choose);
    connect(&m_dockMenu, &DBusMenu::chosen, this, &FreedesktopStatusItem::choose);
    connect(&m_item, &StatusNotifierItem::activated, this, &FreedesktopStatusItem::showSomething);
    connect(&m_item, &StatusNotifierItem::activationTokenProvided, this,
            &FreedesktopStatusItem::activationTokenProvided);
}

void FreedesktopStatusItem::connectPanels()
{
    connect(&m_watcher, &NotifierWatcher::hostChanged, this, &FreedesktopStatusItem::choosePanel);
    connect(&m_watcher, &NotifierWatcher::quirksChanged, this, [this] {
        m_statusMenu.setQuirks(m_watcher.quirks());
        m_dockMenu.setQuirks(m_watcher.quirks());
        m_item.setQuirks(m_watcher.quirks());
        m_item.setContent(m_content);
    });
    m_settling.setSingleShot(true);
    m_settling.setInterval(settlingTime);
    connect(&m_settling, &QTimer::timeout, this, &FreedesktopStatusItem::useTrayIfAlone);
    QTimer::singleShot(timeForPanelToStart, this, &FreedesktopStatusItem::reportMissingPanel);
    choosePanel();
}

void FreedesktopStatusItem::setCallbacks(Callbacks callbacks)
{
    m_callbacks = std::move(callbacks);
}

void FreedesktopStatusItem::setContent(const StatusItemContent &content)
{
    if (content == m_content)
        return;
    m_content = content;
    m_launcherEntry.setBadge(content.badge);
    drawContent();
}

void FreedesktopStatusItem::drawContent()
{
    m_item.setContent(m_content);
    if (!m_tray)
        return;
    QIcon icon;
    for (const QImage &image : PanelIcon(m_content.image, m_content.title).images(m_x11Tray->textColor()))
        icon.addPixmap(QPixmap::fromImage(image));
    m_tray->setIcon(icon);
    m_tray->setToolTip(m_content.toolTip);
    m_tray->setVisible(!icon.isNull());
}

void FreedesktopStatusItem::setMenu(const Menu &menu)
{
    m_menu = menu;
    m_statusMenu.setMenu(menu);
    if (m_popup && m_popup->isVisible())
        m_popup->setItems(menu);
}

void FreedesktopStatusItem::setDockMenu(const Menu &menu)
{
    m_dockMenu.setMenu(menu);
}

bool FreedesktopStatusItem::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ApplicationPaletteChange && watched == qGuiApp)
        drawContent();
    return QObject::eventFilter(watched, event);
}

void FreedesktopStatusItem::askForMenu()
{
    if (m_callbacks.menuAboutToShow)
        m_callbacks.menuAboutToShow();
}

void FreedesktopStatusItem::choose(const MenuItem &item)
{
    if (m_callbacks.itemChosen)
        m_callbacks.itemChosen(item);
}

/// Prefers a panel that shows status items to an old tray, which comes into use only when the other one has
/// been missing for a while.
void FreedesktopStatusItem::choosePanel()
{
    if (m_watcher.host() == NotifierWatcher::Host::Absent) {
        m_settling.start();
        return;
    }
    m_settling.stop();
    if (m_watcher.host() == NotifierWatcher::Host::Present) {
        m_tray.reset();
        Q_EMIT panelAppeared();
    }
}

void FreedesktopStatusItem::useTrayIfAlone()
{
    if (m_tray || m_watcher.host() != NotifierWatcher::Host::Absent || !m_x11Tray->isThere())
        return;
    m_tray = std::make_unique<QSystemTrayIcon>();
    m_tray->setContextMenu(&popup());
    connect(m_tray.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger)
                    showSomething();
            });
    drawContent();
    Q_EMIT panelAppeared();
}

void FreedesktopStatusItem::reportMissingPanel()
{
    if (m_watcher.host() != NotifierWatcher::Host::Absent || m_tray)
        return;
    const QString text = u"No panel shows status items here; launch Morvanel again to open its settings"_s;
    writeToStandardError(text);
    Q_EMIT panelMissed(text);
}

PopupMenu &FreedesktopStatusItem::popup()
{
    if (!m_popup) {
        m_popup = std::make_unique<PopupMenu>();
        m_popup->setItems(m_menu);
        connect(m_popup.get(), &QMenu::aboutToShow, this, [this] {
            askForMenu();
            m_popup->setItems(m_menu);
        });
        // Queued, so that the menu is gone before anything else happens.
        connect(m_popup.get(), &PopupMenu::chosen, this, &FreedesktopStatusItem::choose,
                Qt::QueuedConnection);
    }
    return *m_popup;
}

/// Answers a click for which the panel has no menu.
void FreedesktopStatusItem::showSomething()
{
    if (!canPlacePopups()) {
        MenuItem settings;
        settings.action = MenuAction::OpenSettings;
        choose(settings);
        return;
    }
    popup().popup(QCursor::pos());
}

#include "moc_FreedesktopStatusItem.cpp"
