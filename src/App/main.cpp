// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AppDelegate.h"
#include "AutostartLoginItem.h"
#include "DisplayServer.h"
#include "FreedesktopApplication.h"
#include "FreedesktopNotifications.h"
#include "FreedesktopStatusItem.h"
#include "Keeper.h"
#include "LinuxChildLauncher.h"
#include "PreferencesFile.h"
#include "ProcessSetup.h"
#include "SecretServiceStore.h"
#include "SingleInstance.h"
#include "StandardError.h"
#include "StatusIcon.h"
#include "StatusItemController.h"
#include "SymbolDrawing.h"
#include "TerminationSignals.h"
#include "TimerScheduler.h"
#include "TunnelManager.h"
#include "TunnelNotifications.h"
#include "WindowPresenter.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDesktopServices>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUuid>

#include <array>
#include <optional>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int iconPixels = 64;     ///< of a notification
constexpr QUuid panelNotification; ///< its tag, which no tunnel has

/// The program's parts, joined: the one place that knows which implementation stands behind each seam.
class Program : public QObject
{
public:
    /// Both outlive the program; `instance` is this session's one.
    Program(SingleInstance &instance, Keeper &keeper)
        : m_instance(instance)
        , m_launcher(keeper)
        , m_preferences(PreferencesFile::defaultPath())
        , m_secrets(QDBusConnection::sessionBus())
        , m_loginItem(AutostartLoginItem::defaultFolder(), QCoreApplication::applicationFilePath())
        , m_application([](const QUrl &url) {
            const ProcessSetup::OriginalLimits limits;
            QDesktopServices::openUrl(url);
        })
        , m_manager(TunnelServices{m_preferences, m_secrets, m_launcher, m_loginItem, m_scheduler})
        , m_windows(m_manager, m_application)
        , m_desktopNotifications(
              QDBusConnection::sessionBus(),
              [] { return SymbolDrawing::image(u"com.ardentwick.Morvanel"_s, iconPixels, Qt::black); })
        , m_notifications(m_manager, m_windows, m_desktopNotifications, m_scheduler)
        , m_delegate(m_manager, m_windows, m_application, m_scheduler,
                     [this] { return makeStatusItemController(); })
    {
        m_preferences.setTold([this](const PreferencesFile::Failure &failure) {
            m_notifications.tellPreferencesFailure(failure);
        });
        connect(&m_application, &FreedesktopApplication::terminationRequested, this,
                &Program::answerTerminationRequest);
        connect(&m_desktopNotifications, &FreedesktopNotifications::activationTokenProvided, &m_application,
                &FreedesktopApplication::setActivationToken);
        connect(&m_signals, &TerminationSignals::received, &m_application,
                &FreedesktopApplication::terminate);
        connect(&m_instance, &SingleInstance::launched, this, &Program::takeActivationToken);
        connect(&m_instance, &SingleInstance::activated, this, &Program::reopen);
        connect(&m_instance, &SingleInstance::actionRequested, this, &Program::perform);
        connect(&m_instance, &SingleInstance::served, this, &Program::completeStartup);
    }

    void launch()
    {
        const QString action = m_instance.launchAction();
        if (action == "quit"_L1) {
            m_manager.terminateOrphanedProcesses();
        } else {
            m_delegate.applicationWillFinishLaunching();
            m_delegate.applicationDidFinishLaunching(action == "stop-all"_L1
                                                         ? AppDelegate::LaunchTunnels::Leave
                                                         : AppDelegate::LaunchTunnels::Start);
        }
        m_instance.listen();
        completeStartup(m_instance.launcherData());
    }

private:
    void takeActivationToken(const QVariantMap &platformData)
    {
        const QVariant token =
            platformData.value(u"activation-token"_s, platformData.value(u"desktop-startup-id"_s));
        m_application.setActivationToken(token.toString().toUtf8());
    }

    void reopen(const QVariantMap &platformData)
    {
        takeActivationToken(platformData);
        m_delegate.applicationShouldHandleReopen(false);
    }

    void perform(const QString &action, const QVariantMap &platformData)
    {
        if (action == "settings"_L1 || action == "logs"_L1) // others would leave it to a later window
            takeActivationToken(platformData);
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

    /// Ends the wait of the launcher that asked for something, with or without a window.
    void completeStartup(const QVariantMap &platformData)
    {
        m_application.completeStartup(platformData.value(u"desktop-startup-id"_s).toString().toUtf8());
    }

    void answerTerminationRequest()
    {
        m_instance.setQuitting();
        m_notifications.end();
        m_desktopNotifications.withdraw(panelNotification);
        if (m_delegate.applicationShouldTerminate() == AppDelegate::TerminateReply::Now)
            m_application.replyToApplicationShouldTerminate(true);
    }

    std::unique_ptr<StatusItemController> makeStatusItemController()
    {
        m_statusItem.emplace(QDBusConnection::sessionBus(),
                             QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation),
                             StatusIcon::images());
        connect(&*m_statusItem, &FreedesktopStatusItem::activationTokenProvided, &m_application,
                &FreedesktopApplication::setActivationToken);
        connect(&*m_statusItem, &FreedesktopStatusItem::panelMissed, this, [this](const QString &text) {
            m_desktopNotifications.show(panelNotification,
                                        {u"Morvanel"_s, text, [this] { m_windows.showSettings(); }});
        });
        connect(&*m_statusItem, &FreedesktopStatusItem::panelAppeared, this,
                [this] { m_desktopNotifications.withdraw(panelNotification); });
        return std::make_unique<StatusItemController>(m_manager, m_windows, *m_statusItem, m_application);
    }

    SingleInstance &m_instance;
    LinuxChildLauncher m_launcher;
    TimerScheduler m_scheduler;
    PreferencesFile m_preferences;
    SecretServiceStore m_secrets;
    AutostartLoginItem m_loginItem;
    FreedesktopApplication m_application;
    std::optional<FreedesktopStatusItem> m_statusItem; ///< on the bus from the moment it is made
    TunnelManager m_manager;
    WindowPresenter m_windows;
    FreedesktopNotifications m_desktopNotifications;
    TunnelNotifications m_notifications;
    AppDelegate m_delegate;
    TerminationSignals m_signals;
};

/// Returns the arguments for Qt. Without a display the tunnels run all the same, and the bus still reaches
/// them.
std::vector<char *> argumentsForQt(int argc, char **argv, const DisplayServer &display)
{
    std::vector<char *> arguments(argv, argv + argc);
    if (!display.problem().isEmpty()) {
        writeToStandardError(display.problem() + u"; running without windows"_s);
        static std::array<char, sizeof "-platform"> option{"-platform"};
        static std::array<char, sizeof "offscreen"> value{"offscreen"};
        arguments.insert(arguments.end(), {option.data(), value.data()});
    }
    arguments.push_back(nullptr);
    return arguments;
}

} // namespace

int main(int argc, char **argv)
{
    ProcessSetup::prepare();
    Keeper keeper;
    SingleInstance instance;
    const QString folder = QFileInfo(PreferencesFile::defaultPath()).path();
    if (const std::optional<int> status = instance.handOver(folder + u"/lock"_s))
        return *status;
    keeper.lookForEarlier(folder + u"/keeper-lock"_s);
    QApplication::setDesktopFileName(u"com.ardentwick.Morvanel"_s);
    QApplication::setApplicationVersion(QStringLiteral(MORVANEL_VERSION));
    std::optional<DisplayServer> display(std::in_place);
    std::vector<char *> arguments = argumentsForQt(argc, argv, *display);
    int count = int(arguments.size()) - 1;
    const QApplication app(count, arguments.data());
    if (!display->problem().isEmpty())
        instance.setWindowless();
    display.reset();
    Program program(instance, keeper);
    program.launch();
    return QApplication::exec();
}
