// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AppDelegate.h"

#include "Application.h"
#include "ChildLauncher.h"
#include "StatusItemController.h"
#include "TunnelManager.h"
#include "Windows.h"

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds quitCheckInterval = 200ms;

} // namespace

AppDelegate::AppDelegate(TunnelManager &manager, Windows &windows, Application &application,
                         Scheduler &scheduler, MakeStatusItemController makeStatusItemController,
                         QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_windows(windows)
    , m_application(application)
    , m_scheduler(scheduler)
    , m_makeStatusItemController(std::move(makeStatusItemController))
{
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationWillFinishLaunching()
{
    applyDockVisibility(m_manager.showsInDock());
}

void AppDelegate::applicationDidFinishLaunching(LaunchTunnels launchTunnels)
{
    if (m_application.isTestHost())
        return;
    m_manager.terminateOrphanedProcesses();
    m_statusItemController = m_makeStatusItemController();
    if (launchTunnels == LaunchTunnels::Start)
        m_manager.startLaunchTunnels();
    connect(&m_manager, &TunnelManager::showsInDockAssigned, this, &AppDelegate::showsInDockAssigned);
    if (m_manager.tunnels().isEmpty() || m_manager.showsInDock())
        m_windows.showSettings();
}

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate()
{
    if (m_isTerminating)
        return TerminateReply::Later;
    m_manager.refuseStarts();
    // A token that waits to be stored, or the child of a removed tunnel, holds the end up as well.
    if (m_manager.runningCount() < 1 && !m_manager.isBusy())
        return TerminateReply::Now;
    m_isTerminating = true;
    m_manager.stopAll();
    waitForTunnelsThenTerminate(m_scheduler.now() + ChildPatience::atQuit);
    return TerminateReply::Later;
}

bool AppDelegate::applicationShouldHandleReopen(bool)
{
    m_windows.showSettings();
    return false;
}

void AppDelegate::applyDockVisibility(bool show)
{
    m_application.setActivationPolicy(show ? ActivationPolicy::Regular : ActivationPolicy::Accessory);
    if (!show) {
        // A window that leaves the task bar may lose the keyboard to the one below it.
        QMetaObject::invokeMethod(
            this, [this] { m_application.activateIgnoringOtherApps(); }, Qt::QueuedConnection);
    }
}

void AppDelegate::showsInDockAssigned(bool show)
{
    if (m_appliedDockVisibility == show)
        return;
    m_appliedDockVisibility = show;
    applyDockVisibility(show);
}

/// Looks again and again until all children have ended or the time is over, then kills the rest and ends.
void AppDelegate::waitForTunnelsThenTerminate(Scheduler::Duration deadline)
{
    if (m_manager.isBusy() && m_scheduler.now() <= deadline) {
        m_quitCheck =
            m_scheduler.after(quitCheckInterval, [this, deadline] { waitForTunnelsThenTerminate(deadline); });
        return;
    }
    m_manager.forceKillAll();
    m_application.replyToApplicationShouldTerminate(true);
}

#include "moc_AppDelegate.cpp"
