// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

class QUrl;
class QWindow;

/// Visibility of the program's windows in the task bar and the window switcher.
enum class ActivationPolicy {
    Regular,   ///< shown in both
    Accessory, ///< in neither; the program lives in the panel alone
};

/// The desktop's view of the program as a whole.
class Application
{
public:
    virtual ~Application() = default;

    /// Takes effect for open windows as well.
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    /// Brings the program's windows in front of those of other programs; the one that was last in use gets
    /// the keyboard.
    virtual void activateIgnoringOtherApps() = 0;
    /// Brings a shown window in front of everything else and gives it the keyboard. Returns false where the
    /// desktop may decline, and only new windows are sure to come to the front.
    [[nodiscard]] virtual bool activate(QWindow &window) = 0;
    /// Decides a termination that was postponed: true lets it proceed.
    virtual void replyToApplicationShouldTerminate(bool shouldTerminate) = 0;
    /// Asks for the program's orderly end.
    virtual void terminate() = 0;
    /// Hands an address to the user's default program for it. Does not wait, and does not tell whether it
    /// worked.
    virtual void open(const QUrl &url) = 0;
    /// Returns whether a unit-test runner hosts this process.
    virtual bool isTestHost() const = 0;
};
