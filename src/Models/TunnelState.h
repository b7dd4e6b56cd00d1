// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// A colour by its role; `SymbolDrawing::color` has the shades.
enum class ColorRole { None, Green, Orange, Red, SecondaryLabel, TertiaryLabel };

/// The run state of one tunnel.
///
/// | case         | payload            | a child runs           |
/// | ------------ | ------------------ | ---------------------- |
/// | Connected    | number of connections | yes                 |
/// | Failed       | one-line message   | no, unless it ran when a second start failed |
/// | Stopped      |                    | no; the initial state  |
/// | Starting     |                    | yes, not connected yet; no while it waits for its token |
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
