// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelManager.h"

#include "ChildProcess.h"
#include "FileAccess.h"
#include "LoginItem.h"
#include "Preferences.h"
#include "TunnelRunner.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr auto tunnelsKey = "tunnels"_L1;
constexpr auto cloudflaredPathKey = "cloudflaredPath"_L1;
constexpr auto showsInDockKey = "showsInDock"_L1;

/// The whole list or nothing: one record that cannot be read loses all of them.
QList<TunnelConfig> decodeTunnels(const QByteArray &json)
{
    QList<TunnelConfig> tunnels;
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isArray())
        return {};
    const QJsonArray records = document.array();
    for (const QJsonValue record : records) {
        const std::optional<TunnelConfig> tunnel = TunnelConfig::fromJson(record.toObject());
        if (!tunnel)
            return {};
        tunnels += *tunnel;
    }
    return tunnels;
}

QByteArray encodeTunnels(const QList<TunnelConfig> &tunnels)
{
    QJsonArray records;
    for (const TunnelConfig &tunnel : tunnels)
        records += tunnel.toJson();
    return QJsonDocument(records).toJson(QJsonDocument::Compact);
}

} // namespace

TunnelManager::TunnelManager(const TunnelServices &services, QObject *parent)
    : QObject(parent)
    , m_services(services)
    , m_keychain(services.secrets)
    , m_ledger(services.preferences, services.processes)
{
    connect(this, &TunnelManager::objectWillChange, this, &TunnelManager::announceLater);
    load();
}

TunnelManager::~TunnelManager() = default;

void TunnelManager::announceLater()
{
    if (std::exchange(m_isAnnouncing, true))
        return;
    const auto announce = [this] {
        m_isAnnouncing = false;
        Q_EMIT objectDidChange();
    };
    QMetaObject::invokeMethod(this, announce, Qt::QueuedConnection);
}

void TunnelManager::load()
{
    const Preferences &preferences = m_services.preferences;
    if (const std::optional<QString> stored = preferences.string(cloudflaredPathKey))
        m_cloudflaredPath = *stored;
    else
        m_cloudflaredPath = detectCloudflared().value_or(candidatePaths().first());
    m_showsInDock = preferences.boolean(showsInDockKey).value_or(true);
    if (const std::optional<QByteArray> stored = preferences.data(tunnelsKey))
        m_tunnels = decodeTunnels(*stored);
    for (const TunnelConfig &tunnel : std::as_const(m_tunnels))
        makeRunner(tunnel.id);
}

void TunnelManager::save()
{
    m_services.preferences.setData(tunnelsKey, encodeTunnels(m_tunnels));
}

void TunnelManager::makeRunner(const QUuid &id)
{
    auto runner = std::make_unique<TunnelRunner>(id, m_services.launcher, m_services.scheduler);
    runner->onStateChange = [this] { Q_EMIT objectWillChange(); };
    runner->onProcessPrepared = [this](qint32 pid) { m_ledger.remember(pid); };
    runner->onProcessNotStarted = [this](qint32 pid) { m_ledger.forget(pid); };
    runner->onProcessExited = [this](qint32 pid) { m_ledger.forget(pid); };
    dropRunner(id);
    m_runners[id] = std::move(runner);
}

TunnelRunner *TunnelManager::runner(const QUuid &id) const
{
    const auto found = m_runners.find(id);
    return found == m_runners.end() ? nullptr : found->second.get();
}

const TunnelState &TunnelManager::state(const QUuid &id) const
{
    static const TunnelState neverStarted = TunnelState::stopped();
    const TunnelRunner *found = runner(id);
    return found ? found->state() : neverStarted;
}

int TunnelManager::runningCount() const
{
    return int(std::count_if(m_runners.begin(), m_runners.end(),
                             [](const auto &entry) { return entry.second->state().isRunning(); }));
}

int TunnelManager::connectedCount() const
{
    return int(std::count_if(m_runners.begin(), m_runners.end(), [](const auto &entry) {
        return entry.second->state().kind() == TunnelState::Case::Connected;
    }));
}

OverallStatus TunnelManager::overallStatus() const
{
    bool isBusy = false;
    bool isConnected = false;
    for (const auto &[id, runner] : m_runners) {
        switch (runner->state().kind()) {
        case TunnelState::Case::Failed:
        case TunnelState::Case::Reconnecting:
            return OverallStatus::Problem;
        case TunnelState::Case::Starting:
        case TunnelState::Case::Stopping:
            isBusy = true;
            break;
        case TunnelState::Case::Connected:
            isConnected = true;
            break;
        case TunnelState::Case::Stopped:
            break;
        }
    }
    if (isBusy)
        return OverallStatus::Connecting;
    return isConnected ? OverallStatus::Connected : OverallStatus::Idle;
}

int TunnelManager::childCount() const
{
    return int(m_retired.size()) +
           int(std::count_if(m_runners.begin(), m_runners.end(),
                             [](const auto &entry) { return entry.second->hasChild(); }));
}

bool TunnelManager::isCloudflaredExecutable() const
{
    return m_services.files.isExecutableFile(m_cloudflaredPath);
}

bool TunnelManager::launchesAtLogin() const
{
    return m_services.loginItem.status() == LoginItemStatus::Enabled;
}

void TunnelManager::start(const QUuid &id)
{
    TunnelRunner *found = runner(id);
    if (!found || m_refusesStarts)
        return;
    const std::optional<QString> token = m_keychain.token(id);
    if (!token || token->isEmpty()) {
        found->fail(QCoreApplication::translate("TunnelManager", "Missing token: set it in Settings"));
        return;
    }
    if (!isCloudflaredExecutable()) {
        found->fail(QCoreApplication::translate("TunnelManager", "cloudflared not found at ") +
                    m_cloudflaredPath);
        return;
    }
    found->start(m_cloudflaredPath, *token);
}

void TunnelManager::stop(const QUuid &id)
{
    if (TunnelRunner *found = runner(id))
        found->stop();
}

void TunnelManager::toggle(const QUuid &id)
{
    if (state(id).isRunning())
        stop(id);
    else
        start(id);
}

void TunnelManager::startAll()
{
    const QList<TunnelConfig> tunnels = m_tunnels;
    for (const TunnelConfig &tunnel : tunnels) {
        if (!state(tunnel.id).isRunning())
            start(tunnel.id);
    }
}

void TunnelManager::stopAll()
{
    QList<QUuid> ids;
    for (const auto &[id, runner] : m_runners)
        ids += id;
    for (const QUuid &id : std::as_const(ids))
        stop(id);
}

void TunnelManager::refuseStarts()
{
    m_refusesStarts = true;
}

void TunnelManager::startLaunchTunnels()
{
    const QList<TunnelConfig> tunnels = m_tunnels;
    for (const TunnelConfig &tunnel : tunnels) {
        if (tunnel.startOnLaunch)
            start(tunnel.id);
    }
}

void TunnelManager::forceKillAll()
{
    for (const auto &[id, runner] : m_runners)
        runner->forceKill();
    for (const auto &runner : m_retired)
        runner->forceKill();
}

void TunnelManager::add(const TunnelConfig &tunnel, const QString &token)
{
    Q_EMIT objectWillChange();
    m_tunnels += tunnel;
    m_keychain.setToken(token, tunnel.id);
    makeRunner(tunnel.id);
    save();
}

void TunnelManager::update(const TunnelConfig &tunnel, const std::optional<QString> &token)
{
    const auto record =
        std::find_if(m_tunnels.cbegin(), m_tunnels.cend(),
                     [&](const TunnelConfig &candidate) { return candidate.id == tunnel.id; });
    if (record == m_tunnels.cend())
        return;
    const qsizetype index = record - m_tunnels.cbegin();
    Q_EMIT objectWillChange();
    m_tunnels[index] = tunnel;
    if (token)
        m_keychain.setToken(*token, tunnel.id);
    save();
}

void TunnelManager::remove(const QUuid &id)
{
    dropRunner(id);
    Q_EMIT objectWillChange();
    m_tunnels.removeIf([&](const TunnelConfig &tunnel) { return tunnel.id == id; });
    m_keychain.deleteToken(id);
    save();
}

void TunnelManager::dropRunner(const QUuid &id)
{
    stop(id);
    auto dropped = m_runners.extract(id);
    if (!dropped.empty())
        retire(std::move(dropped.mapped()));
}

void TunnelManager::retire(std::unique_ptr<TunnelRunner> runner)
{
    runner->onStateChange = nullptr;
    if (!runner->hasChild()) {
        runner.release()->deleteLater();
        return;
    }
    TunnelRunner *retired = runner.get();
    retired->onProcessExited = [this, retired](qint32 pid) {
        m_ledger.forget(pid);
        const auto place = std::find_if(m_retired.begin(), m_retired.end(),
                                        [&](const auto &candidate) { return candidate.get() == retired; });
        place->release()->deleteLater();
        m_retired.erase(place);
    };
    m_retired.push_back(std::move(runner));
}

void TunnelManager::moveTunnels(const std::set<qsizetype> &fromOffsets, qsizetype toOffset)
{
    QList<TunnelConfig> before;
    QList<TunnelConfig> moved;
    QList<TunnelConfig> after;
    for (qsizetype i = 0; i < m_tunnels.size(); ++i) {
        if (fromOffsets.contains(i))
            moved += m_tunnels[i];
        else
            (i < toOffset ? before : after) += m_tunnels[i];
    }
    Q_EMIT objectWillChange();
    m_tunnels = before + moved + after;
    save();
}

void TunnelManager::setCloudflaredPath(const QString &path)
{
    Q_EMIT objectWillChange();
    m_cloudflaredPath = path;
    m_services.preferences.setString(cloudflaredPathKey, path);
}

void TunnelManager::setShowsInDock(bool shows)
{
    Q_EMIT objectWillChange();
    m_showsInDock = shows;
    m_services.preferences.setBoolean(showsInDockKey, shows);
    Q_EMIT showsInDockAssigned(shows);
}

void TunnelManager::setLaunchesAtLogin(bool launches)
{
    if (launches)
        m_services.loginItem.registerItem();
    else
        m_services.loginItem.unregisterItem();
    Q_EMIT objectWillChange();
}

const QStringList &TunnelManager::candidatePaths()
{
    static const QStringList paths{u"/opt/homebrew/bin/cloudflared"_s, u"/usr/local/bin/cloudflared"_s,
                                   u"/usr/bin/cloudflared"_s};
    return paths;
}

std::optional<QString> TunnelManager::detectCloudflared() const
{
    for (const QString &path : candidatePaths()) {
        if (m_services.files.isExecutableFile(path))
            return path;
    }
    return std::nullopt;
}

void TunnelManager::terminateOrphanedProcesses()
{
    m_ledger.terminateOrphans();
}
