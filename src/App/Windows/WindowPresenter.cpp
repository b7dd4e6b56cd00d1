// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "WindowPresenter.h"

#include "Application.h"
#include "LogView.h"
#include "SettingsView.h"
#include "WindowMenuBar.h"

#include <QApplication>
#include <QCursor>
#include <QMainWindow>
#include <QMessageBox>
#include <QScreen>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize settingsSize(720, 460);
constexpr QSize logsSize(820, 480);

/// On the screen where the user is working.
void centre(QWidget &window)
{
    const QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    QRect frame(QPoint(), window.size());
    frame.moveCenter(screen->availableGeometry().center());
    window.move(frame.topLeft());
}

} // namespace

WindowPresenter::WindowPresenter(TunnelManager &manager, Application &application, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_application(application)
{
}

WindowPresenter::~WindowPresenter() = default;

void WindowPresenter::showSettings()
{
    m_application.activateIgnoringOtherApps();
    if (!m_settingsWindow)
        m_settingsWindow = makeWindow(new SettingsView(m_manager), settingsSize, tr("Morvanel Settings"));
    orderFront(*m_settingsWindow);
}

void WindowPresenter::showLogs(const std::optional<QUuid> &selecting)
{
    m_application.activateIgnoringOtherApps();
    if (!m_logsWindow)
        m_logsWindow = makeWindow(new LogView(m_manager, selecting), logsSize, tr("Tunnel Logs"));
    orderFront(*m_logsWindow);
}

/// `contentSize` is what the content gets, below the menu bar.
std::unique_ptr<QMainWindow> WindowPresenter::makeWindow(QWidget *content, QSize contentSize,
                                                         const QString &title)
{
    if (QApplication::windowIcon().isNull()) // drawn only once there is a window to show it
        QApplication::setWindowIcon(QIcon(u":/icons/com.ardentwick.Morvanel.svg"_s));
    auto window = std::make_unique<QMainWindow>();
    window->setWindowTitle(title);
    window->setAttribute(Qt::WA_QuitOnClose, false);
    window->setContextMenuPolicy(Qt::NoContextMenu);
    window->setCentralWidget(content);
    auto *bar = new WindowMenuBar(*window, [this] { return openWindows(); });
    connect(bar, &WindowMenuBar::chosen, this, &WindowPresenter::perform);
    window->setMenuBar(bar);
    const int barHeight = bar->isNativeMenuBar() ? 0 : bar->heightForWidth(contentSize.width());
    window->resize(contentSize.width(), contentSize.height() + barHeight);
    centre(*window);
    return window;
}

QList<QWidget *> WindowPresenter::openWindows() const
{
    QList<QWidget *> open;
    for (QMainWindow *window : {m_settingsWindow.get(), m_logsWindow.get()}) {
        if (window && window->isVisible())
            open.append(window);
    }
    return open;
}

void WindowPresenter::perform(MainMenu::Action action)
{
    switch (action) {
    case MainMenu::Action::About:
        return showAbout();
    case MainMenu::Action::Settings:
        return showSettingsAction();
    case MainMenu::Action::TunnelLogs:
        return showLogsAction();
    case MainMenu::Action::Hide:
        return hideAll();
    case MainMenu::Action::Quit:
        return m_application.terminate();
    default:
        return;
    }
}

void WindowPresenter::showAbout()
{
    if (!m_about) {
        m_about = new QMessageBox(QApplication::activeWindow());
        m_about->setAttribute(Qt::WA_DeleteOnClose);
        m_about->setAttribute(Qt::WA_QuitOnClose, false);
        m_about->setModal(false);
        m_about->setWindowTitle(tr("About Morvanel"));
        m_about->setIconPixmap(QApplication::windowIcon().pixmap(64));
        m_about->setText(tr("Morvanel %1").arg(QCoreApplication::applicationVersion()).trimmed());
        m_about->setInformativeText(tr("Keeps Cloudflare tunnels running and shows how they are.\n\n"
                                       "Copyright © 2026 The Morvanel authors\n"
                                       "Free software under the MIT licence, without any warranty."));
    }
    orderFront(*m_about);
}

/// Nothing of the program stays on screen but its item in the panel, which brings each window back.
void WindowPresenter::hideAll()
{
    if (m_about)
        m_about->close();
    const QList<QWidget *> open = openWindows();
    for (QWidget *window : open)
        window->hide();
}
