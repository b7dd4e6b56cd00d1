// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "AppDelegate.h"
#include "AutostartLoginItem.h"
#include "FreedesktopApplication.h"
#include "FreedesktopStatusItem.h"
#include "LinuxChildLauncher.h"
#include "LinuxProcessTable.h"
#include "PreferencesFile.h"
#include "ProcessSetup.h"
#include "SecretServiceStore.h"
#include "ThemePalette.h"
#include "TimerScheduler.h"
#include "TunnelManager.h"
#include "WindowPresenter.h"

#include <QObject>

class SingleInstance;

/// The program's parts, joined: the one place that knows which implementation stands behind each seam.
class Program : public QObject
{
    Q_OBJECT

public:
    /// `instance` outlives the program, and is this session's one.
    explicit Program(SingleInstance &instance, QObject *parent = nullptr);

    void launch();

private:
    void connectInstance();
    void reopen(const QVariantMap &platformData);
    void perform(const QString &action, const QVariantMap &platformData);
    void answerTerminationRequest();
    std::unique_ptr<StatusItemController> makeStatusItemController();

    SingleInstance &m_instance;
    LinuxChildLauncher m_launcher;
    LinuxProcessTable m_processes;
    TimerScheduler m_scheduler;
    PreferencesFile m_preferences;
    SecretServiceStore m_secrets;
    AutostartLoginItem m_loginItem;
    FreedesktopApplication m_application;
    ThemePalette m_palette;
    FreedesktopStatusItem m_statusItem;
    TunnelManager m_manager;
    WindowPresenter m_windows;
    AppDelegate m_delegate;
    TerminationSignals m_signals;
};
