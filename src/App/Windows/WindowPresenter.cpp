// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "WindowPresenter.h"

#include "Application.h"
#include "LogView.h"
#include "SettingsView.h"
#include "SymbolDrawing.h"
#include "WindowMenuBar.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QMainWindow>
#include <QMessageBox>
#include <QScreen>
#include <QShortcut>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr QSize settingsSize(720, 460);
constexpr QSize logsSize(820, 480);
/// Time after which the desktop counts as having declined to activate a window.
constexpr auto timeToActivate = 300ms;

/// Returns the part for windows of the screen where the user is working.
QRect availableGeometry()
{
    const QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
    return (screen ? screen : QGuiApplication::primaryScreen())->availableGeometry();
}

/// Makes the window taller, where its content needs that and the screen has room.
void fit(QWidget &window)
{
    const int frame = window.frameGeometry().height() - window.height();
    const int height = std::min(window.sizeHint().height(), availableGeometry().height() - frame);
    window.resize(window.width(), std::max(window.height(), height));
}

/// Centres the window, its frame included, on the screen where the user is working; its title stays on the
/// screen in any case.
void centre(QWidget &window)
{
    const QRect available = availableGeometry();
    QRect frame = window.frameGeometry();
    frame.moveCenter(available.center());
    window.move(std::max(frame.x(), available.x()), std::max(frame.y(), available.y()));
}

} // namespace

WindowPresenter::WindowPresenter(TunnelManager &manager, Application &application, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_application(application)
{
}

WindowPresenter::~WindowPresenter() = default;

SettingsView &WindowPresenter::settings()
{
    if (!m_settingsWindow)
        m_settingsWindow = makeWindow(new SettingsView(m_manager), settingsSize, u"Morvanel Settings"_s);
    return *static_cast<SettingsView *>(m_settingsWindow->centralWidget());
}

void WindowPresenter::showSettings()
{
    settings();
    bringUp(*m_settingsWindow);
}

void WindowPresenter::showTunnel(const QUuid &tunnel)
{
    settings().showTunnel(tunnel);
    bringUp(*m_settingsWindow);
}

void WindowPresenter::showGeneral()
{
    settings().showGeneral();
    bringUp(*m_settingsWindow);
}

void WindowPresenter::showLogs(const std::optional<QUuid> &selecting)
{
    if (!m_logsWindow)
        m_logsWindow = makeWindow(new LogView(m_manager, selecting), logsSize, u"Tunnel Logs"_s);
    bringUp(*m_logsWindow);
}

void WindowPresenter::showLog(const QUuid &tunnel)
{
    if (m_logsWindow)
        static_cast<LogView *>(m_logsWindow->centralWidget())->select(tunnel);
    showLogs(tunnel);
}

/// Makes a window of a size that leaves `contentSize` below the menu bar.
std::unique_ptr<QMainWindow> WindowPresenter::makeWindow(QWidget *content, QSize contentSize,
                                                         const QString &title)
{
    if (QApplication::windowIcon().isNull()) // drawn only once there is a window to show it
        QApplication::setWindowIcon(SymbolDrawing::icon(u"com.ardentwick.Morvanel"_s, Qt::black));
    auto window = std::make_unique<QMainWindow>();
    window->setWindowTitle(title);
    window->setAttribute(Qt::WA_QuitOnClose, false);
    window->setContextMenuPolicy(Qt::NoContextMenu);
    window->setCentralWidget(content);
    auto *bar = new WindowMenuBar(*window, [this] { return openWindows(); });
    connect(bar, &WindowMenuBar::chosen, this,
            [this, window = window.get()](MainMenu::Action action) { perform(action, *window); });
    connect(bar, &WindowMenuBar::windowChosen, this, [this](QWidget *chosen) { orderFront(*chosen); });
    window->setMenuBar(bar);
    const int barHeight = bar->isNativeMenuBar() ? 0 : bar->heightForWidth(contentSize.width());
    window->resize(contentSize.width(), contentSize.height() + barHeight);
    centre(*window);
    window->winId(); // makes its QWindow
    window->windowHandle()->installEventFilter(this);
    return window;
}

/// Makes a window as tall as it needs to be and centres it once more when it is first exposed: only then are
/// its content and its frame known.
bool WindowPresenter::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Expose) {
        watched->removeEventFilter(this);
        for (QMainWindow *window : {m_settingsWindow.get(), m_logsWindow.get()}) {
            if (window && window->windowHandle() == watched) {
                fit(*window);
                centre(*window);
            }
        }
    }
    return QObject::eventFilter(watched, event);
}

/// Shows the hidden windows as well, and this one in front of them.
void WindowPresenter::bringUp(QWidget &window)
{
    for (const QPointer<QWidget> &hidden : std::exchange(m_hidden, {})) {
        if (hidden && hidden != &window)
            hidden->show();
    }
    orderFront(window);
}

/// Shows the window, also from the minimised state, and activates it; shows it anew where that is declined.
void WindowPresenter::orderFront(QWidget &window)
{
    const bool wasVisible = window.isVisible();
    window.setWindowState((window.windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window.show();
    if (m_application.activate(*window.windowHandle()) || !wasVisible)
        return;
    // A Wayland compositor activates a window without a token only when it is new.
    QTimer::singleShot(timeToActivate, &window, [&window] {
        if (window.isVisible() && !window.isActiveWindow() && !QApplication::activeModalWidget()) {
            window.hide();
            window.show();
        }
    });
}

/// Returns the windows that the menu "Window" lists.
QList<QWidget *> WindowPresenter::openWindows() const
{
    QList<QWidget *> open;
    for (QMainWindow *window : {m_settingsWindow.get(), m_logsWindow.get()}) {
        if (window && window->isVisible())
            open.append(window);
    }
    return open;
}

void WindowPresenter::perform(MainMenu::Action action, QWidget &window)
{
    switch (action) {
    case MainMenu::Action::About:
        return showAbout(window);
    case MainMenu::Action::Settings:
        return showSettingsAction();
    case MainMenu::Action::TunnelLogs:
        return showLogsAction();
    case MainMenu::Action::Hide:
        return hideAll();
    case MainMenu::Action::Quit:
        return m_application.terminate();
    case MainMenu::Action::Minimize:
        return window.showMinimized();
    case MainMenu::Action::Close:
        window.close();
        return;
    default:
        return;
    }
}

void WindowPresenter::showAbout(QWidget &parent)
{
    if (!m_about) {
        m_about = new QMessageBox(&parent);
        m_about->setAttribute(Qt::WA_DeleteOnClose);
        m_about->setAttribute(Qt::WA_QuitOnClose, false);
        m_about->setModal(false);
        m_about->setWindowTitle(u"About Morvanel"_s);
        m_about->setIconPixmap(QApplication::windowIcon().pixmap(64));
        m_about->setText(u"Morvanel %1"_s.arg(QCoreApplication::applicationVersion()).trimmed());
        m_about->setInformativeText(u"Keeps Cloudflare tunnels running and shows how they are.\n\n"
                                    "Copyright © 2026 The Morvanel authors\n"
                                    "Free software under the MIT licence, without any warranty."_s);
        addKeys(*m_about);
    }
    orderFront(*m_about);
}

/// Makes the menu's keys work in a window without a menu bar, but for those that edit or minimise.
void WindowPresenter::addKeys(QWidget &window)
{
    const QList<MainMenu::Submenu> submenus = MainMenu::make();
    for (const MainMenu::Submenu &submenu : submenus) {
        for (const MainMenu::Item &item : submenu.items) {
            if (item.key.isEmpty() || MainMenu::isEditing(item.action) ||
                item.action == MainMenu::Action::Minimize)
                continue;
            const auto key = QKeySequence::fromString(item.key, QKeySequence::PortableText);
            const auto *shortcut = new QShortcut(key, &window);
            connect(shortcut, &QShortcut::activated, this,
                    [this, &window, action = item.action] { perform(action, window); });
        }
    }
}

/// Hides all windows: nothing of the program stays on screen but its item in the panel.
void WindowPresenter::hideAll()
{
    QList<QWidget *> shown = openWindows();
    if (m_about && m_about->isVisible())
        shown.append(m_about);
    for (QWidget *window : std::as_const(shown)) {
        m_hidden.append(window);
        window->hide();
    }
}

#include "moc_WindowPresenter.cpp"
