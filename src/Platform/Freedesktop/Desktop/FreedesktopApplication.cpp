// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopApplication.h"

#include "X11Windows.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>

#include <link.h>

#include <string_view>
#include <utility>

namespace {

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

/// The X server's time in a startup notification id, which ends in "_TIME" and the time; 0 without one.
quint32 startupTime(const QByteArray &token)
{
    constexpr std::string_view mark = "_TIME";
    const qsizetype at = token.lastIndexOf(mark.data());
    return at < 0 ? 0 : token.mid(at + qsizetype(mark.size())).toUInt();
}

/// Makes the thread that Qt paints large areas with, as the only one and for as long as the program runs.
/// Qt 6.4 makes such threads when it first paints, and waits for ever where the system has none left.
void keepOnePaintingThread()
{
    constexpr int never = -1;
    QThreadPool *pool = QThreadPool::globalInstance();
    pool->setMaxThreadCount(1);
    pool->setExpiryTimeout(never);
    pool->start([] {}); // the pool makes its thread with its first task
}

/// Returns whether dimmed text can be told from the ground and from other text.
bool hasDimmedText(const QPalette &palette)
{
    const QColor dimmed = palette.color(QPalette::PlaceholderText);
    const auto base = float(qGray(palette.color(QPalette::Base).rgb()));
    const auto text = float(qGray(palette.color(QPalette::Text).rgb()));
    const float shown = base + (float(qGray(dimmed.rgb())) - base) * dimmed.alphaF();
    constexpr float weakest = 0.3F;
    constexpr float strongest = 0.9F;
    const float share = text == base ? 0 : (shown - base) / (text - base);
    return share >= weakest && share <= strongest;
}

/// Gives the application's palette a colour for dimmed text, the text's own, half as strong, where it has
/// none that can be read: Qt's reader of Plasma's colours leaves it black on whatever ground. Only this
/// colour is set: the others go on to follow the desktop.
void completePalette()
{
    QPalette palette = QGuiApplication::palette();
    if (hasDimmedText(palette) || palette.color(QPalette::Text) == palette.color(QPalette::Base))
        return;
    constexpr float dimmed = 0.5F;
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QColor color = palette.color(group, QPalette::Text);
        color.setAlphaF(dimmed);
        palette.setColor(group, QPalette::PlaceholderText, color);
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
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](QWindow *window) {
        if (window)
            m_lastFocused = window;
    });
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

/// The token is good for one window. On Wayland, without one, Qt asks the compositor for a token on behalf of
/// the window that has the keyboard, and for nothing where no window of this program has it.
bool FreedesktopApplication::activate(QWindow &window)
{
    window.raise();
    const QByteArray token = std::exchange(m_activationToken, {});
    if (m_isOnX11) {
        X11Windows::activate(window, startupTime(token));
        return true;
    }
    if (!token.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", token); // where Qt looks for it, and takes it from
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

/// The window is about to be shown.
void FreedesktopApplication::prepare(QWindow &window)
{
    if (m_isOnX11) {
        X11Windows::prepareSkipsTaskbar(window, m_policy == ActivationPolicy::Accessory);
        m_unconfirmed.removeAll(nullptr); // windows that went unseen
        m_unconfirmed.append(&window);
    }
}

/// The window manager shows the window by now. One that saw an earlier withdrawal of it only after it had
/// been prepared has thrown that away.
void FreedesktopApplication::confirm(QWindow &window)
{
    if (window.isExposed() && m_unconfirmed.removeAll(&window) > 0)
        X11Windows::requestSkipsTaskbar(window, m_policy == ActivationPolicy::Accessory);
}

/// Some window managers give the keyboard to nobody rather than to a window that skips the task bar. So an
/// accessory sees to it itself that its next window has it when the one that had it goes.
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

/// The event loop may not run yet: the end then comes with its first turn.
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

/// A window that opens is on its way to the window manager first, which may ask for the launch that the
/// window belongs to.
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
