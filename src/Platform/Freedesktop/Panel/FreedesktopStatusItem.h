// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "DBusMenu.h"
#include "LauncherEntry.h"
#include "NotifierWatcher.h"
#include "PopupMenu.h"
#include "StatusItem.h"
#include "StatusNotifierItem.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

class QSystemTrayIcon;
class X11Tray;

/// The status item on a freedesktop.org desktop, whatever its panel knows: StatusNotifierItem where a panel
/// for it is there, the old XEmbed tray where only that is, nothing without a panel. A panel may come, go and
/// freeze at any time.
///
/// | panel for StatusNotifierItem | XEmbed tray | shown in                                  |
/// |------------------------------|-------------|-------------------------------------------|
/// | not known yet                | any         | nothing beyond the object on the bus      |
/// | present                      | any         | the panel                                 |
/// | absent for half a second     | there       | the tray                                  |
/// | absent                       | none        | nothing; said once, some seconds from start |
class FreedesktopStatusItem : public QObject, public StatusItem
{
    Q_OBJECT

public:
    /// @param bus the session bus; the program runs without one as well
    /// @param runtimeFolder, icons as for StatusNotifierItem
    FreedesktopStatusItem(const QDBusConnection &bus, const QString &runtimeFolder,
                          const QList<Symbol> &icons);
    ~FreedesktopStatusItem() override;

    void setCallbacks(Callbacks callbacks) override;
    void setContent(const StatusItemContent &content) override;
    void setMenu(const Menu &menu) override;
    void setDockMenu(const Menu &menu) override;

Q_SIGNALS:
    /// Sent with the panel's xdg-activation token for the window that the user's click opens.
    void activationTokenProvided(const QByteArray &token);
    /// Sent once, some seconds from start, where no panel has appeared; the text says what the user can do.
    void panelMissed(const QString &text);
    void panelAppeared();

protected:
    /// Watches the application's palette, in whose text colour some pictures are drawn.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void connectMenus();
    void connectPanels();
    void drawContent();
    void askForMenu();
    void choose(const MenuItem &item);
    void choosePanel();
    void useTrayIfAlone();
    void reportMissingPanel();
    PopupMenu &popup();
    void showSomething();

    Callbacks m_callbacks;
    StatusItemContent m_content;
    Menu m_menu;
    DBusMenu m_statusMenu;
    DBusMenu m_dockMenu;
    StatusNotifierItem m_item;
    LauncherEntry m_launcherEntry;
    NotifierWatcher m_watcher;
    std::unique_ptr<X11Tray> m_x11Tray;
    std::unique_ptr<PopupMenu> m_popup; ///< made when first needed
    /// Made once it is known that no panel for StatusNotifierItem is there: Qt decides when its tray is first
    /// used, and once per process, which kind of panel it speaks to.
    std::unique_ptr<QSystemTrayIcon> m_tray;
    QTimer m_settling{this};
};
