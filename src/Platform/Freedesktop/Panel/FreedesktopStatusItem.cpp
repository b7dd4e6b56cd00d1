// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopStatusItem.h"

#include "LauncherEntryAdaptor.h"
#include "PanelIcon.h"
#include "StandardError.h"
#include "SymbolDrawing.h"
#include "X11Connection.h"

#include <QAbstractNativeEventFilter>
#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
#include <QSystemTrayIcon>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

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

/// Tells whether an old tray is there, as the System Tray Protocol of freedesktop.org has it: a selection of
/// the X server that a panel owns. Asks the X server alone, never the panel.
class X11Tray : private QAbstractNativeEventFilter
{
public:
    explicit X11Tray(std::function<void()> appeared)
        : m_appeared(std::move(appeared))
    {
        if (!X11::connection())
            return;
        m_selection = X11::atom("_NET_SYSTEM_TRAY_S" + std::to_string(X11::screenNumber()));
        m_manager = X11::atom("MANAGER");
        qGuiApp->installNativeEventFilter(this);
    }

    /// Returns false on other window systems too.
    bool isThere() const { return owner() != XCB_NONE; }

    /// Returns the colour in which the tray wants symbolic icons; where it does not say so, a grey for any
    /// ground.
    QColor textColor() const
    {
        // Red, green and blue of 16 bits each, of the text first of all.
        const std::vector<quint32> colors =
            X11::property(owner(), X11::atom("_NET_SYSTEM_TRAY_COLORS"), XCB_ATOM_CARDINAL);
        if (colors.size() < 3)
            return SymbolDrawing::colorOnAnyGround(ColorRole::None);
        const auto channel = [&colors](size_t index) { return int(colors[index] >> 8 & 0xff); };
        return {channel(0), channel(1), channel(2)};
    }

private:
    xcb_window_t owner() const
    {
        xcb_connection_t *connection = X11::connection();
        if (!connection)
            return XCB_NONE;
        const X11::Reply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            connection, xcb_get_selection_owner(connection, m_selection), nullptr));
        return reply ? reply->owner : xcb_window_t(XCB_NONE);
    }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<xcb_client_message_event_t *>(message);
        if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && event->type == m_manager &&
            event->data.data32[1] == m_selection)
            m_appeared();
        return false;
    }

    std::function<void()> m_appeared;
    quint32 m_selection = 0;
    quint32 m_manager = 0; ///< the message that new owners send to all
};

LauncherEntry::LauncherEntry(QDBusConnection bus, const QString &quicklistPath)
    : m_properties{{u"count"_s, 0LL}, {u"count-visible"_s, false}, {u"quicklist"_s, quicklistPath}}
{
    new LauncherEntryAdaptor(this);
    if (!bus.isConnected())
        return;
    bus.registerObject(u"/com/canonical/unity/launcherentry/morvanel"_s, this,
                       QDBusConnection::ExportAdaptors);
    m_launchers.setConnection(bus);
    m_launchers.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    m_launchers.addWatchedService(u"com.canonical.Unity"_s);
    connect(&m_launchers, &QDBusServiceWatcher::serviceRegistered, this, &LauncherEntry::announce);
    announce();
}

void LauncherEntry::setBadge(const QString &badge)
{
    QVariantMap properties = m_properties;
    bool isNumber = false;
    properties[u"count"_s] = badge.toLongLong(&isNumber);
    properties[u"count-visible"_s] = isNumber;
    if (std::exchange(m_properties, properties) != properties)
        announce();
}

QString LauncherEntry::Query(QVariantMap &properties) const
{
    properties = m_properties;
    return u"application://com.ardentwick.Morvanel.desktop"_s;
}

void LauncherEntry::announce()
{
    QVariantMap properties;
    const QString uri = Query(properties);
    Q_EMIT Update(uri, properties);
}

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
}

void FreedesktopStatusItem::reportMissingPanel() const
{
    if (m_watcher.host() == NotifierWatcher::Host::Absent && !m_tray)
        writeToStandardError(
            u"No panel shows status items here; launch Morvanel again to open its settings"_s);
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
