// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLedger.h"
#include "KeychainStore.h"
#include "TunnelConfig.h"
#include "TunnelState.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QStringList>

#include <functional>
#include <initializer_list>
#include <optional>
#include <set>

class ChildLauncher;
class LoginItem;
class Preferences;
class Scheduler;
class SecretStore;
class TunnelRunner;

/// Everything that a `TunnelManager` touches outside of itself. Everything outlives the manager.
struct TunnelServices
{
    Preferences &preferences;
    SecretStore &secrets;
    ChildLauncher &launcher;
    LoginItem &loginItem;
    Scheduler &scheduler;
};

/// Owns the list of tunnels, one runner for each, and the preferences. Everything that starts, stops, adds,
/// edits or removes a tunnel goes through it; everything that shows tunnels or honours a preference
/// reads it again after `objectDidChange`.
///
/// Lives on the main thread. Nothing is started, stopped or changed for an id that has no tunnel.
class TunnelManager : public QObject
{
    Q_OBJECT

public:
    /// Loads the tunnels and the preferences, which are not read again, and starts nothing.
    explicit TunnelManager(const TunnelServices &services, QObject *parent = nullptr);

    /// Returns the tunnels in the order in which they are stored and shown everywhere.
    const QList<TunnelConfig> &tunnels() const { return m_tunnels; }
    /// Returns the runner of a tunnel, which the manager owns; null for an unknown id.
    TunnelRunner *runner(const QUuid &id) const { return m_runners.value(id); }
    QString cloudflaredPath() const { return m_cloudflaredPath; }
    bool showsInDock() const { return m_showsInDock; }

    /// Returns the tunnel's state; stopped for an unknown id.
    const TunnelState &state(const QUuid &id) const;
    /// Returns how many tunnels are connected, starting, reconnecting or stopping.
    int runningCount() const;
    /// Returns how many tunnels are connected, whatever their connections.
    int connectedCount() const;
    OverallStatus overallStatus() const;
    /// Returns whether a child lives or waits to have its end handled, that of a removed tunnel included, or
    /// a token is on its way to the keyring.
    bool isBusy() const;
    /// Returns whether `cloudflaredPath` names an executable file right now.
    bool isCloudflaredExecutable() const;
    /// Returns the tunnels whose tokens the keyring has not taken yet: the program's end loses them.
    QList<QUuid> unstoredTokens() const { return m_keychain.unstored(); }
    bool launchesAtLogin() const;

    void start(const QUuid &id);
    void stop(const QUuid &id);
    /// Does what a click on the tunnel means, wherever it is shown: starts one that does not run, stops any
    /// other.
    void toggle(const QUuid &id);
    void startAll();
    void stopAll();
    /// Starts them patiently: a keyring may come later at log-in.
    void startLaunchTunnels();
    /// Lets nothing be started from now on: the program is ending.
    void refuseStarts() { m_refusesStarts = true; }
    /// Sends SIGKILL to every child that still runs.
    void forceKillAll();

    void add(const TunnelConfig &tunnel, const QString &token);
    /// Replaces the record with the same id; without a token the stored one stays.
    void update(const TunnelConfig &tunnel, const std::optional<QString> &token);
    void remove(const QUuid &id);
    /// Moves the records at these offsets in front of the one now at `toOffset`, and keeps their order.
    void moveTunnels(const std::set<qsizetype> &fromOffsets, qsizetype toOffset);

    void setCloudflaredPath(const QString &path);
    void setShowsInDock(bool shows);
    /// Throws `LoginItemError`.
    void setLaunchesAtLogin(bool launches);

    /// Ends what an earlier run left behind; to be called once, before anything is started.
    void terminateOrphanedProcesses() { m_ledger.terminateOrphanedProcesses(); }

    /// Returns the bare token in whatever was pasted: the token itself or a command line that holds it.
    static QString normalizeToken(const QString &raw);
    /// Returns the places where `cloudflared` is looked for, in this order.
    static QStringList candidatePaths();
    /// Returns the first of the paths that holds an executable file.
    static std::optional<QString> detectCloudflared(const QStringList &paths = candidatePaths());

Q_SIGNALS:
    /// Sent just before a published property changes; right after a state or the start at log-in has.
    void objectWillChange();
    /// Sent once on the next turn of the event loop after any number of `objectWillChange` and of changed
    /// reasons of tunnels: the time to read again what is shown.
    void objectDidChange();
    /// Sent when the keyring has taken a tunnel's token, or when that was given up, with the reason in words.
    void tokenStored(const QUuid &id);
    void tokenNotStored(const QUuid &id, const QString &reason);
    /// Sent after every assignment, also of the same value.
    void showsInDockAssigned(bool shows);

private:
    void announceLater();
    void save();
    void makeRunner(const QUuid &id);
    /// Stops the runner of `id`, if there is one, and keeps it until its child has ended.
    void dropRunner(const QUuid &id);
    /// Starts those tunnels, in order, as soon as their tokens are known.
    void startEach(const std::function<bool(const TunnelConfig &)> &isWanted,
                   KeychainStore::Patience patience = KeychainStore::Patience::None);
    /// Starts tunnels with their tokens. All their children exist and are remembered before the first one
    /// runs.
    void startWith(const QList<StoredToken> &tokens);
    /// Checks what a start needs, and makes the child. Returns its process id; none when nothing is to be
    /// run.
    std::optional<qint32> prepare(TunnelRunner &runner, const StoredToken &token);
    int count(std::initializer_list<TunnelState::Case> states) const;

    TunnelServices m_services;
    ChildLedger m_ledger;
    KeychainStore m_keychain;
    QList<TunnelConfig> m_tunnels;
    QString m_cloudflaredPath;
    bool m_showsInDock = true;
    bool m_refusesStarts = false;
    bool m_isAnnouncing = false;            ///< `objectDidChange` is on its way
    QHash<QUuid, TunnelRunner *> m_runners; ///< children of this object
    QList<TunnelRunner *> m_retired;        ///< of removed tunnels whose child has not ended yet
};
