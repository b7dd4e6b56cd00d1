// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "SecretStore.h"

#include <QObject>

#include <memory>

/// The user's secrets in the Secret Service of the desktop (Secret Service API of freedesktop.org).
///
/// Items are found by their attributes `service` and `account` in any collection, whoever stored them, and
/// stored in the default collection under the schema `com.ardentwick.Morvanel`. A locked one is unlocked, for
/// which the service may ask the user; of several items those that stay locked are left as they are, and
/// `Locked` comes back when all do, or when one that is to be removed does.
///
/// Each task has a thread of its own. A missing service, a restarted one, one that does not answer and the
/// end of the session bus end in a status. At the end of the program a task that still waits is left behind,
/// and with it the question that the user was asked.
class SecretServiceStore final : public SecretStore
{
public:
    /// Connects to nothing before the first task.
    SecretServiceStore();
    ~SecretServiceStore() override;

    void perform(Task task) override;

private:
    class Way;

    QObject m_thread; ///< lives on the main thread, where answers go
    std::shared_ptr<Way> m_way;
};
