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

/// A colour by its role; `SymbolDrawing::color` has the shades.
enum class ColorRole { None, Green, Orange, Red, SecondaryLabel, TertiaryLabel };

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

/// Returns the id that a canonical text of either letter case stands for; none for any other text.
std::optional<QUuid> tunnelIdFromText(QStringView text);

/// The run state of one tunnel.
///
/// | case         | payload            | a child runs           |
/// | ------------ | ------------------ | ---------------------- |
/// | Connected    | number of connections | yes                 |
/// | Failed       | one-line message   | no, unless it ran when a second start failed |
/// | Stopped      |                    | no; the initial state  |
/// | Starting     |                    | yes, not connected yet |
/// | Reconnecting |                    | yes, lost all its connections |
/// | Stopping     |                    | yes, was asked to end  |
class TunnelState
{
public:
    enum class Case { Connected, Failed, Stopped, Starting, Reconnecting, Stopping };

    TunnelState() = default; // stopped

    static TunnelState connected(qint64 connections) { return {Case::Connected, connections, {}}; }
    static TunnelState failed(const QString &message) { return {Case::Failed, 0, message}; }
    static TunnelState stopped() { return {Case::Stopped, 0, {}}; }
    static TunnelState starting() { return {Case::Starting, 0, {}}; }
    static TunnelState reconnecting() { return {Case::Reconnecting, 0, {}}; }
    static TunnelState stopping() { return {Case::Stopping, 0, {}}; }

    Case kind() const { return m_case; }
    /// Returns the message of `Failed`; empty in every other case.
    QString message() const { return m_message; }

    /// Returns the one-line text that every view shows.
    QString label() const;
    /// Returns the colour of the dot that stands for the state wherever it is shown.
    ColorRole colorRole() const;
    /// Returns whether the tunnel counts as running: every case but `Stopped` and `Failed`. A tunnel that
    /// does not run is started by a click, any other is stopped.
    bool isRunning() const { return m_case != Case::Stopped && m_case != Case::Failed; }

    bool operator==(const TunnelState &) const = default;

private:
    TunnelState(Case kind, qint64 connections, const QString &message)
        : m_case(kind)
        , m_connections(connections)
        , m_message(message)
    {
    }

    Case m_case = Case::Stopped;
    qint64 m_connections = 0; ///< of `Connected`
    QString m_message;
};

/// The aggregate over all tunnels that the panel's icon shows.
enum class OverallStatus {
    Idle,       ///< none is connected, busy or in trouble
    Connecting, ///< some tunnel is starting or stopping
    Connected,  ///< at least one is connected, none is busy or in trouble
    Problem,    ///< some tunnel has failed or is reconnecting
};
