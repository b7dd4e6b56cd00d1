// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>
#include <QUuid>

#include <optional>

class SecretStore;

/// The tokens, one item per tunnel in the user's secret store, found by the tunnel's id.
class KeychainStore
{
public:
    /// `secrets` outlives the store.
    explicit KeychainStore(SecretStore &secrets)
        : m_secrets(secrets)
    {
    }

    /// Returns the token; none when nothing is stored, the store cannot be read, or the bytes are no UTF-8.
    std::optional<QString> token(const QUuid &id) const;
    /// Stores or replaces the token, unchanged. Returns whether that worked.
    bool setToken(const QString &token, const QUuid &id);
    /// Removes the token if there is one.
    void deleteToken(const QUuid &id);

private:
    SecretStore &m_secrets;
};
