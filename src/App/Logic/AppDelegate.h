// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Scheduler.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

class Application;
class StatusItemController;
class TunnelManager;
class Windows;

/// Brings the program up in order and quits it, and answers the questions that the desktop asks of the
/// program as a whole.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    enum class TerminateReply {
        Now,
        Later, ///< `Application::replyToApplicationShouldTerminate` follows
    };
    enum class LaunchTunnels {
        Start,
        Leave, ///< for a launch whose purpose is that tunnels stop
    };
    using MakeStatusItemController = std::function<std::unique_ptr<StatusItemController>()>;

    /// Everything outlives the delegate. `makeStatusItemController` is called once, when launching finishes.
    AppDelegate(TunnelManager &manager, Windows &windows, Application &application, Scheduler &scheduler,
                MakeStatusItemController makeStatusItemController, QObject *parent = nullptr);
    ~AppDelegate() override;

    void applicationWillFinishLaunching();
    /// Ends the children that an earlier run left behind, brings up the panel item and starts the launch
    /// tunnels. Does nothing in a process that a unit-test runner hosts.
    void applicationDidFinishLaunching(LaunchTunnels launchTunnels = LaunchTunnels::Start);
    /// Stops the tunnels where any run; asking again while they end changes nothing. Nothing is started any
    /// more, whatever the answer.
    TerminateReply applicationShouldTerminate();
    /// Answers a second start of the program or a click on its icon. Returns false: nothing else is to be
    /// done.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

private:
    void applyDockVisibility(bool show);
    void showsInDockAssigned(bool show);
    void waitForTunnelsThenTerminate(Scheduler::Duration deadline);

    TunnelManager &m_manager;
    Windows &m_windows;
    Application &m_application;
    Scheduler &m_scheduler;
    MakeStatusItemController m_makeStatusItemController;
    std::unique_ptr<StatusItemController> m_statusItemController;
    std::optional<bool> m_appliedDockVisibility; ///< since launching finished
    std::unique_ptr<ScheduledWork> m_quitCheck;
    bool m_isTerminating = false;
};
