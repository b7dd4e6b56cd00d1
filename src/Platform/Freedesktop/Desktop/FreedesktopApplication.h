// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Application.h"

#include <QDesktopServices>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QWindow>

#include <functional>

/// This program on a freedesktop.org desktop. Created after the `QGuiApplication` and gone before it.
///
/// An accessory's windows skip the task bar and the window switcher. On Wayland no program can ask for that:
/// there the policy changes nothing. The palette follows the desktop, with a colour for dimmed text also
/// where the desktop's theme gives none that can be read.
class FreedesktopApplication : public QObject, public Application
{
    Q_OBJECT

public:
    /// `openAddress` starts the user's program for an address.
    explicit FreedesktopApplication(
        std::function<void(const QUrl &url)> openAddress = QDesktopServices::openUrl);

    void setActivationPolicy(ActivationPolicy policy) override;
    void activateIgnoringOtherApps() override;
    [[nodiscard]] bool activate(QWindow &window) override;
    void replyToApplicationShouldTerminate(bool shouldTerminate) override;
    void terminate() override { Q_EMIT terminationRequested(); }
    void open(const QUrl &url) override;
    bool isTestHost() const override;

    /// Takes the xdg-activation token or the startup notification id that another program handed over, so
    /// that the next activation counts as the user's own wish. It is used once; one over 1 KiB is dropped.
    void setActivationToken(const QByteArray &token);
    /// Tells the desktop, on the next turn of the event loop, that the launch with this startup notification
    /// id has been served, also when no window opened for it. Does nothing for an empty id, and nothing on
    /// Wayland, where only a window can tell so.
    void completeStartup(const QByteArray &id);

Q_SIGNALS:
    /// Sent when the user, the session or a signal asks for the program's end. To be answered with
    /// `replyToApplicationShouldTerminate`, now or later.
    void terminationRequested();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void prepare(QWindow &window);
    void confirm(QWindow &window);
    void passFocusOnFrom(QWindow &window);
    void followFocus(QWindow *window);

    const std::function<void(const QUrl &url)> m_openAddress;
    const bool m_isOnX11;
    ActivationPolicy m_policy = ActivationPolicy::Regular;
    QByteArray m_activationToken;
    QList<QPointer<QWindow>> m_unconfirmed; ///< prepared for the window manager, not on the screen yet
    QPointer<QWindow> m_lastFocused;
    QPointer<QWindow> m_activated; ///< the last one, on X11; none once it was activated again
    QElapsedTimer m_sinceActivation;
};
