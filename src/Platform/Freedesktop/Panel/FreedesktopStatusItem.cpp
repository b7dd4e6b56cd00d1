// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopStatusItem.h"

#include "StandardError.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A panel that knows both kinds of item brings them up one after the other.
constexpr auto settlingTime = 500ms;
/// At log-in the program may well start before the panel.
constexpr auto timeForPanelToStart = 10s;

bool canPlacePopups()
{
    return !QGuiApplication::platformName().startsWith("wayland"_L1);
}

} // namespace

FreedesktopStatusItem::FreedesktopStatusItem(const QDBusConnection &bus, const QString &runtimeFolder,
                                             QObject *parent)
    : QObject(parent)
    , m_statusMenu(bus, u"/MenuBar"_s)
    , m_dockMenu(bus, u"/DockMenu"_s)
    , m_item(bus, m_statusMenu.path(), runtimeFolder)
    , m_launcherEntry(bus, m_dockMenu.path())
    , m_watcher(bus)
{
    connectMenus();
    connectPanels();
    qGuiApp->installEventFilter(this);
}

FreedesktopStatusItem::~FreedesktopStatusItem() = default;

void FreedesktopStatusItem::connectMenus()
{
    connect(&m_statusMenu, &DBusMenuExporter::aboutToShow, this, &FreedesktopStatusItem::askForMenu);
    connect(&m_statusMenu, &DBusMenuExporter::chosen, this, &FreedesktopStatusItem::choose);
    connect(&m_dockMenu, &DBusMenuExporter::chosen, this, &FreedesktopStatusItem::choose);
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
        m_item.setRefusesActivate(m_watcher.quirks().refusesActivate);
    });
    connect(&m_x11Tray, &X11Tray::appeared, this, &FreedesktopStatusItem::choosePanel);
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
    m_item.setContent(content);
    m_launcherEntry.setBadge(content.badge);
    if (m_tray)
        m_tray->setContent(content);
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
    if (event->type() == QEvent::ApplicationPaletteChange && watched == qGuiApp) {
        m_item.redraw();
        if (m_tray)
            m_tray->setContent(m_content);
    }
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

void FreedesktopStatusItem::choosePanel()
{
    if (m_watcher.host() == NotifierWatcher::Host::Absent) {
        m_settling.start();
        return;
    }
    m_settling.stop();
    if (m_watcher.host() == NotifierWatcher::Host::Present)
        m_tray.reset();
}

void FreedesktopStatusItem::useTrayIfAlone()
{
    if (m_tray || m_watcher.host() != NotifierWatcher::Host::Absent || !m_x11Tray.isThere())
        return;
    makePopup();
    m_tray = std::make_unique<TrayIcon>(*m_popup);
    connect(m_tray.get(), &TrayIcon::activated, this, &FreedesktopStatusItem::showSomething);
    m_tray->setContent(m_content);
}

void FreedesktopStatusItem::reportMissingPanel() const
{
    if (m_watcher.host() == NotifierWatcher::Host::Absent && !m_tray)
        writeToStandardError(
            u"No panel shows status items here; launch Morvanel again to open its settings"_s);
}

void FreedesktopStatusItem::makePopup()
{
    if (m_popup)
        return;
    m_popup = std::make_unique<PopupMenu>();
    m_popup->setItems(m_menu);
    connect(m_popup.get(), &QMenu::aboutToShow, this, &FreedesktopStatusItem::updatePopup);
    // In the next turn, so that the menu is gone before anything else happens.
    connect(m_popup.get(), &PopupMenu::chosen, this, &FreedesktopStatusItem::choose, Qt::QueuedConnection);
}

void FreedesktopStatusItem::updatePopup()
{
    askForMenu();
    m_popup->setItems(m_menu);
}

void FreedesktopStatusItem::showSomething()
{
    if (!canPlacePopups()) {
        MenuItem settings;
        settings.action = MenuAction::OpenSettings;
        choose(settings);
        return;
    }
    makePopup();
    m_popup->popup(QCursor::pos());
}
