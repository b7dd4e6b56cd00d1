// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "DotImages.h"
#include "ExportedMenu.h"

#include <QDBusConnection>
#include <QObject>
#include <QVariantList>

/// A menu as an object on the session bus, for a panel or launcher to show: com.canonical.dbusmenu.
///
/// Menus set within one turn of the event loop are sent as one refresh in the next, with nothing but what
/// changed; there is never more than one refresh under way. A click is answered at once and acts in the next
/// turn, so that a panel never waits for what it starts.
class DBusMenuExporter : public QObject
{
    Q_OBJECT

public:
    /// Stands on the bus at `path` for as long as it lives.
    DBusMenuExporter(const QDBusConnection &bus, const QString &path, QObject *parent = nullptr);
    ~DBusMenuExporter() override;

    QString path() const { return m_path; }
    void setMenu(const Menu &menu);
    void setQuirks(const HostQuirks &quirks);

    /// What the bus sees: the menu as last sent, and the number of its layout.
    const ExportedMenu &menu() const { return m_exported; }
    uint revision() const { return m_revision; }
    /// Lets the menu be brought up to date; tells whether its layout changed.
    bool prepareToShow();
    /// "clicked" chooses the entry; "opened" is what some panels say of the menu instead of asking before
    /// they show it. False for an unknown entry.
    bool handleEvent(int id, const QString &eventId);

Q_SIGNALS:
    void aboutToShow();
    void chosen(const MenuItem &item); ///< as it was drawn

private:
    void refreshLater();
    bool refresh();
    void emitOnBus(const QString &name, const QVariantList &arguments) const;

    QDBusConnection m_bus;
    QString m_path;
    DotImages m_dots;
    ExportedMenu m_exported;
    Menu m_menu;
    HostQuirks m_quirks;
    uint m_revision = 1;
    bool m_isRefreshDue = false;
};
