// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Program.h"

#include "SingleInstance.h"
#include "StartupNotification.h"
#include "StatusItemController.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QStandardPaths>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

QByteArray activationToken(const QVariantMap &platformData)
{
    const QVariant token =
        platformData.value(u"activation-token"_s, platformData.value(u"desktop-startup-id"_s));
    return token.toString().toUtf8();
}

/// What a launcher asked for is done, with or without a window. One that opens is on its way to the window
/// manager first, which may want to know whose launch it belongs to.
void completeStartup(const QVariantMap &platformData)
{
    const QByteArray id = platformData.value(u"desktop-startup-id"_s).toString().toUtf8();
    QTimer::singleShot(0, qApp, [id] { StartupNotification::complete(id); });
}

} // namespace

Program::Program(SingleInstance &instance, QObject *parent)
    : QObject(parent)
    , m_instance(instance)
    , m_preferences(PreferencesFile::defaultPath())
    , m_loginItem(AutostartLoginItem::defaultFolder(), QCoreApplication::applicationFilePath())
    , m_statusItem(QDBusConnection::sessionBus(),
                   QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation))
    , m_manager(TunnelServices{m_preferences, m_secrets, m_launcher, m_processes, m_loginItem, m_scheduler})
    , m_windows(m_manager, m_application)
    , m_delegate(m_manager, m_windows, m_application, m_scheduler,
                 [this] { return makeStatusItemController(); })
{
    m_launcher.endAllAtExit();
    connect(&m_application, &FreedesktopApplication::terminationRequested, this,
            &Program::answerTerminationRequest);
    connect(&m_signals, &TerminationSignals::received, &m_application, &FreedesktopApplication::terminate);
    connect(&m_statusItem, &FreedesktopStatusItem::activationTokenProvided, &m_application,
            &FreedesktopApplication::setActivationToken);
    connectInstance();
}

void Program::launch()
{
    const QString action = m_instance.launchAction();
    if (action != "quit"_L1) {
        m_delegate.applicationWillFinishLaunching();
        m_delegate.applicationDidFinishLaunching(action == "stop-all"_L1 ? AppDelegate::LaunchTunnels::Leave
                                                                         : AppDelegate::LaunchTunnels::Start);
    }
    m_instance.listen();
    completeStartup(m_instance.launcherData());
}

void Program::connectInstance()
{
    connect(&m_instance, &SingleInstance::launched, this, [this](const QVariantMap &platformData) {
        m_application.setActivationToken(activationToken(platformData));
    });
    connect(&m_instance, &SingleInstance::activated, this, &Program::reopen);
    connect(&m_instance, &SingleInstance::actionRequested, this, &Program::perform);
    connect(&m_instance, &SingleInstance::served, this, &completeStartup);
}

void Program::reopen(const QVariantMap &platformData)
{
    m_application.setActivationToken(activationToken(platformData));
    m_delegate.applicationShouldHandleReopen(false);
}

void Program::perform(const QString &action, const QVariantMap &platformData)
{
    if (action == "settings"_L1 || action == "logs"_L1) // others would leave it to a window shown much later
        m_application.setActivationToken(activationToken(platformData));
    if (action == "settings"_L1)
        m_windows.showSettings();
    else if (action == "logs"_L1)
        m_windows.showLogs(std::nullopt);
    else if (action == "start-all"_L1)
        m_manager.startAll();
    else if (action == "stop-all"_L1)
        m_manager.stopAll();
    else if (action == "quit"_L1)
        m_application.terminate();
}

void Program::answerTerminationRequest()
{
    m_instance.setQuitting();
    if (m_delegate.applicationShouldTerminate() == AppDelegate::TerminateReply::Now)
        m_application.replyToApplicationShouldTerminate(true);
}

std::unique_ptr<StatusItemController> Program::makeStatusItemController()
{
    return std::make_unique<StatusItemController>(m_manager, m_windows, m_statusItem, m_application);
}
