// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "MainMenu.h"
#include "Windows.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

class Application;
class QMainWindow;
class QMessageBox;
class QWidget;
class SettingsView;
class TunnelManager;

/// Owns the two windows, Settings and Logs: each made at its first request, kept when the user closes it, and
/// shown again at every later request. Carries out the commands of their menus.
class WindowPresenter : public QObject, public Windows
{
    Q_OBJECT

public:
    /// `manager` and `application` outlive the presenter.
    WindowPresenter(TunnelManager &manager, Application &application, QObject *parent = nullptr);
    ~WindowPresenter() override;

    void showSettings() override;
    void showTunnel(const QUuid &tunnel) override;
    void showGeneral() override;
    void showLogs(const std::optional<QUuid> &selecting) override;
    void showLog(const QUuid &tunnel) override;

    /// Returns null until the first request.
    QMainWindow *settingsWindow() const { return m_settingsWindow.get(); }
    QMainWindow *logsWindow() const { return m_logsWindow.get(); }

protected:
    /// Centres a window when it comes to the screen for the first time.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    std::unique_ptr<QMainWindow> makeWindow(QWidget *content, QSize contentSize, const QString &title);
    SettingsView &settings();
    void bringUp(QWidget &window);
    void orderFront(QWidget &window);
    QList<QWidget *> openWindows() const;
    void perform(MainMenu::Action action, QWidget &window);
    void showSettingsAction() { showSettings(); }
    void showLogsAction() { showLogs(std::nullopt); }
    void showAbout(QWidget &parent);
    void addKeys(QWidget &window);
    void hideAll();

    TunnelManager &m_manager;
    Application &m_application;
    std::unique_ptr<QMainWindow> m_settingsWindow;
    std::unique_ptr<QMainWindow> m_logsWindow;
    QPointer<QMessageBox> m_about;
    QList<QPointer<QWidget>> m_hidden; ///< by `hideAll`, until the program is activated again
};
