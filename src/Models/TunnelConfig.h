// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

/// The configuration of one tunnel, edited by the user and kept in the preferences.
///
/// The tunnel's token is never part of it: it lives in the keyring under `id`.
struct TunnelConfig
{
    QUuid id;
    QString name;
    /// Public host name as typed; may be empty.
    QString hostname;
    bool startOnLaunch = false;

    /// Returns the public address to open in a browser; none without a host name or when it is no valid URL.
    /// A host name without a scheme of its own opens over https.
    std::optional<QUrl> browserURL() const;

    /// Returns the stored form: exactly the members "id", "name", "hostname" and "startOnLaunch".
    QJsonObject toJson() const;
    /// Reads the stored form strictly: none when a member is missing or of another type. Unknown members are
    /// ignored.
    static std::optional<TunnelConfig> fromJson(const QJsonObject &object);
    /// Returns the stored form of a list, a compact array.
    static QByteArray toJson(const QList<TunnelConfig> &tunnels);
    /// Returns the whole list or nothing: one record that cannot be read loses all of them.
    static QList<TunnelConfig> listFromJson(const QByteArray &json);

    bool operator==(const TunnelConfig &) const = default;
};

size_t qHash(const TunnelConfig &tunnel, size_t seed = 0) noexcept;

/// Returns the canonical text of a tunnel's id: 36 characters, upper case. Names the record and the keyring
/// item.
QString tunnelIdText(const QUuid &id);
