// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Application.h"
#include "StatusItem.h"
#include "Windows.h"

#include <QStringList>
#include <QUrl>

#include <algorithm>

/// Calls that reached the desktop, in order, as text.
using Journal = QStringList;

class FakeWindows : public Windows
{
public:
    explicit FakeWindows(Journal &journal)
        : m_journal(journal)
    {
    }
    void showSettings() override { m_journal += QStringLiteral("settings"); }
    void showLogs(const std::optional<QUuid> &selecting) override
    {
        m_journal += QStringLiteral("logs") + (selecting ? selecting->toString() : QString());
    }
    void showLog(const QUuid &tunnel) override { m_journal += QStringLiteral("log") + tunnel.toString(); }

private:
    Journal &m_journal;
};

class FakeApplication : public Application
{
public:
    explicit FakeApplication(Journal &journal)
        : m_journal(journal)
    {
    }
    void setActivationPolicy(ActivationPolicy policy) override
    {
        m_journal +=
            policy == ActivationPolicy::Regular ? QStringLiteral("regular") : QStringLiteral("accessory");
    }
    void activateIgnoringOtherApps() override { m_journal += QStringLiteral("activate"); }
    bool activate(QWindow &) override
    {
        m_journal += QStringLiteral("activate window");
        return true;
    }
    void replyToApplicationShouldTerminate(bool shouldTerminate) override
    {
        m_journal += shouldTerminate ? QStringLiteral("reply yes") : QStringLiteral("reply no");
    }
    void terminate() override { m_journal += QStringLiteral("terminate"); }
    void open(const QUrl &url) override { m_journal += QStringLiteral("open ") + url.toString(); }
    bool isTestHost() const override { return testHost; }

    bool testHost = false;

private:
    Journal &m_journal;
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

    /// The entry of that title as it is drawn now; an empty one when there is none.
    MenuItem entry(const QString &title) const
    {
        const auto isIt = [&title](const MenuItem &item) { return item.title == title; };
        const auto found = std::find_if(menu.begin(), menu.end(), isIt);
        return found == menu.end() ? MenuItem() : *found;
    }

    Callbacks callbacks;
    StatusItemContent content;
    Menu menu;
    Menu dockMenu;
    int refreshes = 0;
};
