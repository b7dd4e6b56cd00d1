// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "MainMenu.h"
#include "Windows.h"

#include <QObject>
#include <QPointer>

#include <memory>

class Application;
class QMainWindow;
class QMessageBox;
class QWidget;
class TunnelManager;

/// Owns the two windows, Settings and Logs: each made at its first request, kept when the user closes it, and
/// shown again at every later request.
class WindowPresenter : public QObject, public Windows
{
    Q_OBJECT

public:
    /// `manager` and `application` outlive the presenter.
    WindowPresenter(TunnelManager &manager, Application &application, QObject *parent = nullptr);
    ~WindowPresenter() override;

    void showSettings() override;
    void showLogs(const std::optional<QUuid> &selecting) override;

    /// Null until the first request.
    QMainWindow *settingsWindow() const { return m_settingsWindow.get(); }
    QMainWindow *logsWindow() const { return m_logsWindow.get(); }

public Q_SLOTS:
    void showSettingsAction() { showSettings(); }
    void showLogsAction() { showLogs(std::nullopt); }

private:
    std::unique_ptr<QMainWindow> makeWindow(QWidget *content, QSize contentSize, const QString &title);
    QList<QWidget *> openWindows() const;
    void perform(MainMenu::Action action);
    void showAbout();
    void hideAll();

    TunnelManager &m_manager;
    Application &m_application;
    std::unique_ptr<QMainWindow> m_settingsWindow;
    std::unique_ptr<QMainWindow> m_logsWindow;
    QPointer<QMessageBox> m_about;
};
