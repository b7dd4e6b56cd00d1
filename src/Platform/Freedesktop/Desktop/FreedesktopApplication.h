// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Application.h"
#include "X11Windows.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QWindow>

#include <optional>

/// This program on a freedesktop.org desktop. Created after the `QGuiApplication` and gone before it.
///
/// An accessory's windows skip the task bar and the window switcher. On Wayland no program can ask for that:
/// there the policy changes nothing.
class FreedesktopApplication : public QObject, public Application
{
    Q_OBJECT

public:
    explicit FreedesktopApplication(QObject *parent = nullptr);

    void setActivationPolicy(ActivationPolicy policy) override;
    /// Also brings forward the windows that are shown before the event loop's next turn.
    void activateIgnoringOtherApps() override;
    void replyToApplicationShouldTerminate(bool shouldTerminate) override;
    void terminate() override;
    void open(const QUrl &url) override;
    bool isTestHost() const override;

    /// What another program handed over so that the next activation counts as the user's own wish: an
    /// xdg-activation token or a startup notification id. It is used once.
    void setActivationToken(const QByteArray &token) { m_activationToken = token; }

Q_SIGNALS:
    /// Somebody asks for the program's end. Whoever decides answers with `replyToApplicationShouldTerminate`,
    /// now or later.
    void terminationRequested();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void activate(QWindow &window);
    void finishActivation();
    void prepare(QWindow &window);
    void confirm(QWindow &window);
    void passFocusOnFrom(QWindow &window);

    std::optional<X11Windows> m_x11;
    ActivationPolicy m_policy = ActivationPolicy::Regular;
    QByteArray m_activationToken;
    bool m_isActivating = false;
    QList<QPointer<QWindow>> m_shownMeanwhile;
    QList<QPointer<QWindow>> m_unconfirmed; ///< prepared for the window manager, not on the screen yet
    QPointer<QWindow> m_lastFocused;
};
