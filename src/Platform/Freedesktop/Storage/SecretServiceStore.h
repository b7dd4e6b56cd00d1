// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "SecretStore.h"

#include <QDBusServiceWatcher>
#include <QObject>

#include <chrono>
#include <memory>

/// The user's secrets in the Secret Service of the desktop (Secret Service API of freedesktop.org).
///
/// Items are found by their attributes `service` and `account` in any collection, whoever stored them, and
/// stored in the default collection under the schema `com.ardentwick.Morvanel`. A locked one is unlocked, for
/// which the service may ask the user; of several items those that stay locked are left as they are, and
/// `Locked` comes back when all do, or when one that is to be removed does.
///
/// Each exchange has a thread of its own with its own way to the bus: what runs there gets its calls by
/// value, sends its replies to the main thread and touches nothing else of this object. A missing service, a
/// restarted one, one that does not answer and the end of the session bus end in a status. At the end of the
/// program an exchange that still waits is left behind, and with it the question that the user was asked.
class SecretServiceStore final : public SecretStore
{
public:
    /// `bus` is the session bus; it tells when a service appears. Exchanges connect by themselves.
    /// `answerTime` is the longest time for a running service to answer.
    explicit SecretServiceStore(const QDBusConnection &bus,
                                std::chrono::milliseconds answerTime = std::chrono::seconds(15));
    ~SecretServiceStore() override;

    void setCallbacks(Callbacks callbacks) override { m_callbacks = std::move(callbacks); }
    void exchange(const Calls &calls, bool mayAsk, Done done) override;

private:
    class ReplyChannel;

    const std::chrono::milliseconds m_answerTime;
    Callbacks m_callbacks;
    QDBusServiceWatcher m_service; ///< the replies' receiver as well
    std::shared_ptr<ReplyChannel> m_channel;
};
