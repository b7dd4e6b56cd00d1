// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "SecretStore.h"

#include <memory>

class SecretServiceLink;

/// The user's secrets in the Secret Service of the desktop (Secret Service API of freedesktop.org).
///
/// Items are found by their attributes `service` and `account` in any collection, whoever stored them, and
/// stored in the default collection under the schema `com.ardentwick.Morvanel`. What is locked is unlocked,
/// for which the service may ask the user; of several items those that stay locked are left as they are, and
/// `Locked` comes back when all do.
///
/// A missing service, a restarted one, one that does not answer (two seconds at most) and the end of the
/// session bus end in a status. Longer waits are for a service that is just being started, and for the user.
class SecretServiceStore final : public SecretStore
{
public:
    /// Connects to nothing before the first call.
    SecretServiceStore();
    ~SecretServiceStore() override;

    Lookup lookup(const SecretKey &key) override;
    SecretStatus update(const SecretKey &key, const QByteArray &data) override;
    SecretStatus add(const SecretKey &key, const QByteArray &data, const QString &label) override;
    /// Returns `Locked` when an item stays because it is locked.
    SecretStatus remove(const SecretKey &key) override;

private:
    std::unique_ptr<SecretServiceLink> m_link;
};
