// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopApplication.h"

#include "SymbolDrawing.h"
#include "X11Windows.h"

#include <QEvent>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QSessionManager>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>

#include <link.h>

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr auto tokenVariable = "XDG_ACTIVATION_TOKEN";
/// In bytes. A message of the Wayland protocol takes 4 KiB; one with more ends the connection.
constexpr qsizetype longestToken = 1024;
/// Longest time from an activation to its loss that the user did not bring about. Qt alone takes 100 ms of
/// it.
constexpr auto timeToSettle = 500ms;

/// Windows that a window manager lists: no menus, tooltips and the like.
bool isListed(const QWindow &window)
{
    return window.isTopLevel() && (window.type() == Qt::Window || window.type() == Qt::Dialog);
}

QList<QWindow *> shownWindows()
{
    QList<QWindow *> shown;
    const QWindowList all = QGuiApplication::topLevelWindows();
    for (QWindow *window : all) {
        if (isListed(*window) && window->isVisible())
            shown.append(window);
    }
    return shown;
}

/// Returns the X server's time in a startup notification id, which ends in "_TIME" and the time; 0 without
/// one.
quint32 startupTime(const QByteArray &token)
{
    constexpr std::string_view mark = "_TIME";
    const qsizetype at = token.lastIndexOf(mark.data());
    return at < 0 ? 0 : token.mid(at + qsizetype(mark.size())).toUInt();
}

/// Makes the thread that Qt paints large areas with, as the only one and for as long as the program runs.
/// Qt 6.4 makes such threads when it first paints, and waits for ever where the system has none left. Qt 6.8
/// has a pool of its own for them, and asks the environment at its first painting whether to do without.
void keepOnePaintingThread()
{
    constexpr auto withoutPool = "QT_NO_GUI_THREADPOOL";
    const bool isSetByUser = qEnvironmentVariableIsSet(withoutPool);
    qputenv(withoutPool, "1");
    QImage small(8, 8, QImage::Format_ARGB32_Premultiplied);
    QPainter(&small).fillRect(small.rect(), QLinearGradient(0, 0, 8, 8));
    if (!isSetByUser)
        qunsetenv(withoutPool); // children would inherit it

    constexpr int never = -1;
    QThreadPool *pool = QThreadPool::globalInstance();
    pool->setMaxThreadCount(1);
    pool->setExpiryTimeout(never);
    pool->start([] {}); // the pool makes its thread with its first task
}

/// Returns the contrast of a colour to the one of a window's grounds on which it is read worst.
double contrastToGrounds(const QPalette &palette, const QColor &color)
{
    return std::min(SymbolDrawing::contrast(color, palette, QPalette::Base),
                    SymbolDrawing::contrast(color, palette, QPalette::Window));
}

/// Sets the placeholder colour, which dimmed texts have, where the desktop's cannot be read: the text colour
/// at the lowest opacity that gives 4.5:1. Qt 6.4 leaves it black under Plasma's colours, whatever the
/// ground. Only this colour is set: the others go on to follow the desktop.
void completePalette()
{
    constexpr double readable = 4.5; // of small text, as WCAG 2 has it
    constexpr double dimmed = 0.9;
    QPalette palette = QGuiApplication::palette();
    const QColor text = palette.color(QPalette::Text);
    const double strongest = dimmed * contrastToGrounds(palette, text);
    const double present = contrastToGrounds(palette, palette.color(QPalette::PlaceholderText));
    if (strongest < readable || (present >= readable && present <= strongest))
        return;
    constexpr int steps = 20;
    int step = steps / 2;
    QColor color = text;
    do
        color.setAlphaF(float(step) / steps);
    while (contrastToGrounds(palette, color) < readable && ++step < steps);
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QColor own = palette.color(group, QPalette::Text);
        own.setAlphaF(color.alphaF());
        palette.setColor(group, QPalette::PlaceholderText, own);
    }
    QGuiApplication::setPalette(palette);
}

} // namespace

FreedesktopApplication::FreedesktopApplication(std::function<void(const QUrl &url)> openAddress)
    : m_openAddress(std::move(openAddress))
    , m_isOnX11(X11Windows::isAvailable())
{
    QGuiApplication::setQuitOnLastWindowClosed(false);
    keepOnePaintingThread();
    completePalette();
    qGuiApp->installEventFilter(this);
    if (qgetenv(tokenVariable).size() > longestToken)
        qunsetenv(tokenVariable); // Qt would hand it to the compositor itself
    // Autostart is what starts the program; a restored session would add another start, which opens Settings.
    connect(qGuiApp, &QGuiApplication::saveStateRequest, this,
            [](QSessionManager &session) { session.setRestartHint(QSessionManager::RestartNever); });
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, &FreedesktopApplication::followFocus);
}

void FreedesktopApplication::setActivationToken(const QByteArray &token)
{
    m_activationToken = token.size() <= longestToken ? token : QByteArray();
}

void FreedesktopApplication::setActivationPolicy(ActivationPolicy policy)
{
    m_policy = policy;
    const QList<QWindow *> windows = shownWindows();
    for (QWindow *window : windows) {
        if (m_isOnX11)
            X11Windows::requestSkipsTaskbar(*window, policy == ActivationPolicy::Accessory);
    }
}

void FreedesktopApplication::activateIgnoringOtherApps()
{
    QList<QWindow *> windows = shownWindows();
    windows.removeIf([](const QWindow *window) { return window->windowStates() & Qt::WindowMinimized; });
    if (windows.isEmpty())
        return;
    for (QWindow *window : std::as_const(windows))
        window->raise();
    QWindow *last = m_lastFocused;
    (void)activate(windows.contains(last) ? *last : *windows.last());
}

/// Uses the token up: it is good for one window. On Wayland, without one, Qt asks the compositor for a token
/// on behalf of the window that has the keyboard, and for nothing where no window of this program has it.
bool FreedesktopApplication::activate(QWindow &window)
{
    window.raise();
    const QByteArray token = std::exchange(m_activationToken, {});
    if (m_isOnX11) {
        X11Windows::activate(window, startupTime(token));
        m_activated = &window;
        m_sinceActivation.start();
        return true;
    }
    if (!token.isEmpty())
        qputenv(tokenVariable, token); // where Qt looks for it, and takes it from
    window.requestActivate();
    return !QGuiApplication::platformName().startsWith(u"wayland");
}

bool FreedesktopApplication::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Quit && watched == qApp) { // the session manager's wish
        event->ignore();
        terminate();
        return true;
    }
    if (event->type() == QEvent::ApplicationPaletteChange && watched == qApp)
        completePalette();
    if (event->type() == QEvent::Expose && watched->isWindowType())
        confirm(static_cast<QWindow &>(*watched));
    const bool isShow = event->type() == QEvent::Show;
    if ((isShow || event->type() == QEvent::Hide) && watched->isWindowType()) {
        auto &window = static_cast<QWindow &>(*watched);
        if (isListed(window) && isShow)
            prepare(window);
        else if (isListed(window))
            passFocusOnFrom(window);
    }
    return QObject::eventFilter(watched, event);
}

/// Asks the window manager for the policy before the window is shown.
void FreedesktopApplication::prepare(QWindow &window)
{
    if (m_isOnX11) {
        X11Windows::prepareSkipsTaskbar(window, m_policy == ActivationPolicy::Accessory);
        m_unconfirmed.removeAll(nullptr); // windows that went unseen
        m_unconfirmed.append(&window);
    }
}

/// Asks once more when the window is on the screen: a window manager that saw an earlier withdrawal of it
/// only after `prepare` has thrown away what that asked for.
void FreedesktopApplication::confirm(QWindow &window)
{
    if (window.isExposed() && m_unconfirmed.removeAll(&window) > 0)
        X11Windows::requestSkipsTaskbar(window, m_policy == ActivationPolicy::Accessory);
}

/// Gives the keyboard to an accessory's next window when the one that had it goes: some window managers give
/// it to nobody rather than to a window that skips the task bar.
void FreedesktopApplication::passFocusOnFrom(QWindow &window)
{
    if (!m_isOnX11 || m_policy != ActivationPolicy::Accessory || m_lastFocused != &window)
        return;
    QList<QWindow *> others = shownWindows();
    others.removeOne(&window);
    QWindow *next = window.transientParent();
    if (!others.contains(next))
        next = others.isEmpty() ? nullptr : others.last();
    if (next) {
        const auto passOn = [this, window = QPointer(next)] {
            if (window && window->isVisible())
                (void)activate(*window);
        };
        QTimer::singleShot(0, this, passOn);
    }
}

/// Activates a window once more when it loses the keyboard right after it was activated. On X11, GNOME Shell
/// gives the keyboard back to where it was before the panel's menu opened, at times after the window that the
/// menu's entry has brought to the front.
void FreedesktopApplication::followFocus(QWindow *window)
{
    const QWindow *previous = m_lastFocused;
    if (window)
        m_lastFocused = window;
    if (!m_activated || previous != m_activated || window == m_activated ||
        m_sinceActivation.hasExpired(timeToSettle.count()))
        return;
    QWindow *lost = std::exchange(m_activated, nullptr);
    const bool isWanted = lost->isVisible() && !(lost->windowStates() & Qt::WindowMinimized);
    if (isWanted && !(window && window->transientParent() == lost))
        X11Windows::activate(*lost, 0);
}

/// Ends the event loop on its next turn, which is the first one where it does not run yet.
void FreedesktopApplication::replyToApplicationShouldTerminate(bool shouldTerminate)
{
    if (shouldTerminate)
        QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); });
}

/// Opens it on a later turn of the event loop, so that a menu that was just clicked closes first.
void FreedesktopApplication::open(const QUrl &url)
{
    QTimer::singleShot(0, this, [this, url] { m_openAddress(url); });
}

/// Tells so after a window that opens for the launch has reached the window manager, which may ask for the
/// launch that the window belongs to.
void FreedesktopApplication::completeStartup(const QByteArray &id)
{
    if (m_isOnX11 && !id.isEmpty())
        QTimer::singleShot(0, this, [id] { X11Windows::completeStartup(id); });
}

bool FreedesktopApplication::isTestHost() const
{
    const auto isTestLibrary = [](dl_phdr_info *info, size_t, void *) -> int {
        return std::string_view(info->dlpi_name ? info->dlpi_name : "").find("libQt6Test") !=
               std::string_view::npos;
    };
    return dl_iterate_phdr(isTestLibrary, nullptr) != 0;
}

#include "moc_FreedesktopApplication.cpp"
