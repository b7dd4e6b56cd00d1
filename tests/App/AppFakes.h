// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Application.h"
#include "StatusItem.h"
#include "Windows.h"

#include <QStringList>
#include <QUrl>

#include <utility>

/// Writes down what the desktop and the program's windows are asked for, in order.
class FakeDesktop : public Application, public Windows
{
public:
    void showSettings() override { m_asked += QStringLiteral("settings"); }
    void showTunnel(const QUuid &tunnel) override { m_asked += QStringLiteral("tunnel") + tunnel.toString(); }
    void showGeneral() override { m_asked += QStringLiteral("general"); }
    void showLogs(const std::optional<QUuid> &selecting) override
    {
        m_asked += QStringLiteral("logs") + (selecting ? selecting->toString() : QString());
    }
    void showLog(const QUuid &tunnel) override { m_asked += QStringLiteral("log") + tunnel.toString(); }
    void setActivationPolicy(ActivationPolicy policy) override
    {
        const bool isRegular = policy == ActivationPolicy::Regular;
        m_asked += isRegular ? QStringLiteral("regular") : QStringLiteral("accessory");
    }
    void activateIgnoringOtherApps() override { m_asked += QStringLiteral("activate"); }
    bool activate(QWindow &) override
    {
        m_asked += QStringLiteral("activate window");
        return true;
    }
    void replyToApplicationShouldTerminate(bool shouldTerminate) override
    {
        m_asked += shouldTerminate ? QStringLiteral("reply yes") : QStringLiteral("reply no");
    }
    void terminate() override { m_asked += QStringLiteral("terminate"); }
    void open(const QUrl &url) override { m_asked += QStringLiteral("open ") + url.toString(); }
    bool isTestHost() const override { return testHost; }

    /// Returns the requests since the last call.
    QString asked() { return std::exchange(m_asked, {}).join(QStringLiteral(", ")); }

    bool testHost = false;

private:
    QStringList m_asked;
};

/// Remembers what it was given; a test plays the user.
class FakeStatusItem : public StatusItem
{
public:
    void setCallbacks(Callbacks newCallbacks) override { callbacks = std::move(newCallbacks); }
    void setContent(const StatusItemContent &newContent) override
    {
        content = newContent;
        ++refreshes;
    }
    void setMenu(const Menu &newMenu) override { menu = newMenu; }
    void setDockMenu(const Menu &newMenu) override { dockMenu = newMenu; }

    Callbacks callbacks;
    StatusItemContent content;
    Menu menu;
    Menu dockMenu;
    int refreshes = 0;
};
