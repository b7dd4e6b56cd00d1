// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <stdexcept>

/// State of a `LoginItem`.
enum class LoginItemStatus {
    NotRegistered,
    Enabled,
    RequiresApproval, ///< registered, but switched off by the user's desktop
};

/// The reason why the program could not be registered or unregistered, in the platform's own words.
class LoginItemError : public std::runtime_error
{
public:
    explicit LoginItemError(const QString &message)
        : std::runtime_error(message.toStdString())
        , m_message(message)
    {
    }
    QString message() const { return m_message; }

private:
    QString m_message;
};

/// The registration of this program with the desktop, to be started when the user logs in.
class LoginItem
{
public:
    virtual ~LoginItem() = default;

    /// Reads the status afresh: the desktop and the user may change it too.
    virtual LoginItemStatus status() const = 0;
    /// Registers the program, also where the desktop switched it off. Throws `LoginItemError`.
    virtual void registerItem() = 0;
    /// Removes the registration; fine when there is none. Throws `LoginItemError`.
    virtual void unregisterItem() = 0;
};
