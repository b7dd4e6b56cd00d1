// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelManager.h"

#include "LoginItem.h"
#include "Preferences.h"
#include "TunnelRunner.h"

#include <QFileInfo>
#include <QPointer>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr auto tunnelsKey = "tunnels"_L1;
constexpr auto cloudflaredPathKey = "cloudflaredPath"_L1;
constexpr auto showsInDockKey = "showsInDock"_L1;

bool isExecutableFile(const QString &path)
{
    const QFileInfo file(path);
    return file.isFile() && file.isExecutable();
}

} // namespace

TunnelManager::TunnelManager(const TunnelServices &services, QObject *parent)
    : QObject(parent)
    , m_services(services)
    , m_ledger(services.preferences, services.launcher)
    , m_keychain(services.secrets, services.preferences, services.scheduler)
{
    connect(this, &TunnelManager::objectWillChange, this, &TunnelManager::announceLater);
    connect(&m_keychain, &KeychainStore::tokensRead, this, &TunnelManager::startWith);
    connect(&m_keychain, &KeychainStore::waiting, this, [this](const QUuid &id, const QString &cause) {
        if (TunnelRunner *found = runner(id))
            found->awaitToken(cause);
    });
    connect(&m_keychain, &KeychainStore::notStored, this, [this](const QUuid &id, const QString &reason) {
        if (TunnelRunner *found = runner(id))
            found->report(u"The token could not be stored: "_s + reason);
        Q_EMIT tokenNotStored(id, reason);
    });
    connect(&m_keychain, &KeychainStore::stored, this, &TunnelManager::tokenStored);
    m_cloudflaredPath = services.preferences.string(cloudflaredPathKey)
                            .value_or(detectCloudflared().value_or(candidatePaths().first()));
    m_showsInDock = services.preferences.boolean(showsInDockKey).value_or(true);
    m_tunnels = TunnelConfig::listFromJson(services.preferences.data(tunnelsKey).value_or(QByteArray()));
    for (const TunnelConfig &tunnel : std::as_const(m_tunnels))
        makeRunner(tunnel.id);
}

/// Sends `objectDidChange` on the next turn, once for all changes of this one.
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

void TunnelManager::save()
{
    m_services.preferences.setData(tunnelsKey, TunnelConfig::toJson(m_tunnels));
}

void TunnelManager::makeRunner(const QUuid &id)
{
    dropRunner(id);
    auto *runner = new TunnelRunner(id, m_services.launcher, m_services.scheduler, this);
    runner->onStateChange = [this] { Q_EMIT objectWillChange(); };
    runner->onProcessExited = [this](qint32 pid) { m_ledger.forgetChild(pid); };
    connect(runner, &TunnelRunner::reasonChanged, this, &TunnelManager::announceLater);
    m_runners[id] = runner;
}

const TunnelState &TunnelManager::state(const QUuid &id) const
{
    static const TunnelState neverStarted = TunnelState::stopped();
    const TunnelRunner *found = runner(id);
    return found ? found->state() : neverStarted;
}

/// Counts runners, not tunnels: a stored list may hold one id twice.
int TunnelManager::count(std::initializer_list<TunnelState::Case> states) const
{
    return int(std::count_if(m_runners.begin(), m_runners.end(), [&](const TunnelRunner *runner) {
        return std::find(states.begin(), states.end(), runner->state().kind()) != states.end();
    }));
}

int TunnelManager::runningCount() const
{
    using enum TunnelState::Case;
    return count({Connected, Starting, Reconnecting, Stopping});
}

int TunnelManager::connectedCount() const
{
    return count({TunnelState::Case::Connected});
}

OverallStatus TunnelManager::overallStatus() const
{
    using enum TunnelState::Case;
    if (count({Failed, Reconnecting}) > 0)
        return OverallStatus::Problem;
    if (count({Starting, Stopping}) > 0)
        return OverallStatus::Connecting;
    return connectedCount() > 0 ? OverallStatus::Connected : OverallStatus::Idle;
}

bool TunnelManager::isBusy() const
{
    return !m_retired.isEmpty() || !m_keychain.unstored().isEmpty() ||
           std::any_of(m_runners.begin(), m_runners.end(), std::mem_fn(&TunnelRunner::hasChild));
}

bool TunnelManager::isCloudflaredExecutable() const
{
    return isExecutableFile(m_cloudflaredPath);
}

bool TunnelManager::launchesAtLogin() const
{
    return m_services.loginItem.status() == LoginItemStatus::Enabled;
}

void TunnelManager::start(const QUuid &id)
{
    startEach([&](const TunnelConfig &tunnel) { return tunnel.id == id; });
}

void TunnelManager::startAll()
{
    startEach([this](const TunnelConfig &tunnel) { return !state(tunnel.id).isRunning(); });
}

void TunnelManager::startLaunchTunnels()
{
    startEach([](const TunnelConfig &tunnel) { return tunnel.startOnLaunch; },
              KeychainStore::Patience::ForStore);
}

void TunnelManager::startEach(const std::function<bool(const TunnelConfig &)> &isWanted,
                              KeychainStore::Patience patience)
{
    QList<QUuid> ids;
    for (const TunnelConfig &tunnel : std::as_const(m_tunnels)) {
        if (!m_refusesStarts && isWanted(tunnel))
            ids += tunnel.id;
    }
    m_keychain.readTokens(ids, patience);
}

void TunnelManager::startWith(const QList<StoredToken> &tokens)
{
    QList<qint32> pids;
    QList<QPointer<TunnelRunner>> runners;
    for (const StoredToken &token : tokens) {
        TunnelRunner *found = m_refusesStarts ? nullptr : runner(token.id);
        if (const std::optional<qint32> pid = found ? prepare(*found, token) : std::nullopt) {
            pids += *pid;
            runners += found;
        }
    }
    if (!pids.isEmpty())
        m_ledger.rememberChild(pids);
    // A runner may be gone: those who are told of a state can remove a tunnel.
    for (qsizetype i = 0; i < pids.size(); ++i) {
        if (runners[i] && !runners[i]->run())
            m_ledger.forgetChild(pids[i]);
    }
}

std::optional<qint32> TunnelManager::prepare(TunnelRunner &runner, const StoredToken &token)
{
    const QString missing = u"Missing token: set it in Settings"_s;
    QString reason = missing;
    if (!token.reason.isEmpty()) {
        reason = u"The token could not be read: "_s + token.reason;
        runner.report(reason);
    }
    if (token.token.value_or(QString()).isEmpty())
        runner.fail(missing, reason,
                    reason == missing ? TunnelStatus::Remedy::Token : TunnelStatus::Remedy::Log);
    else if (!isCloudflaredExecutable())
        runner.fail(u"cloudflared not found at "_s + m_cloudflaredPath, {}, TunnelStatus::Remedy::Program);
    else
        return runner.prepare(m_cloudflaredPath, *token.token);
    return std::nullopt;
}

void TunnelManager::stop(const QUuid &id)
{
    m_keychain.cancelRead(id);
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

void TunnelManager::stopAll()
{
    for (const QUuid &id : m_runners.keys()) // a copy: a tunnel may be removed in answer to its new state
        stop(id);
}

void TunnelManager::forceKillAll()
{
    for (TunnelRunner *runner : m_runners.values() + m_retired)
        runner->forceKill();
}

void TunnelManager::add(const TunnelConfig &tunnel, const QString &token)
{
    Q_EMIT objectWillChange();
    m_tunnels += tunnel;
    makeRunner(tunnel.id);
    save();
    m_keychain.setToken(tunnel.id, token);
}

void TunnelManager::update(const TunnelConfig &tunnel, const std::optional<QString> &token)
{
    const auto found = std::find_if(m_tunnels.begin(), m_tunnels.end(),
                                    [&](const TunnelConfig &known) { return known.id == tunnel.id; });
    if (found == m_tunnels.end())
        return;
    Q_EMIT objectWillChange();
    *found = tunnel;
    save();
    if (token)
        m_keychain.setToken(tunnel.id, *token);
}

void TunnelManager::remove(const QUuid &id)
{
    dropRunner(id);
    Q_EMIT objectWillChange();
    m_tunnels.removeIf([&](const TunnelConfig &tunnel) { return tunnel.id == id; });
    save();
    m_keychain.deleteToken(id);
}

void TunnelManager::dropRunner(const QUuid &id)
{
    TunnelRunner *runner = m_runners.take(id);
    if (!runner)
        return;
    runner->onStateChange = nullptr;
    runner->onProcessExited = [this, runner](qint32 pid) {
        m_ledger.forgetChild(pid);
        m_retired.removeOne(runner);
        runner->deleteLater();
    };
    runner->stop();
    if (runner->hasChild())
        m_retired += runner;
    else
        runner->deleteLater(); // it may be the one that calls
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

QString TunnelManager::normalizeToken(const QString &raw)
{
    static const QRegularExpression separator(uR"([\p{Z}\x{9}-\x{d}\x{85}=])"_s);
    static const QRegularExpression quotes(uR"(\A["']+|["']+\z)"_s);
    QStringList pieces = raw.split(separator);
    pieces.replaceInStrings(quotes, {});
    pieces.removeAll(QString());
    static const QRegularExpression token(u"eyJ.*"_s);
    if (const qsizetype place = pieces.indexOf(token); place >= 0)
        return pieces[place];
    const qsizetype flag = pieces.indexOf(u"--token"_s);
    if (flag >= 0 && flag + 1 < pieces.size())
        return pieces[flag + 1];
    return pieces.size() == 1 ? pieces.first() : raw.trimmed();
}

QStringList TunnelManager::candidatePaths()
{
    return {u"/opt/homebrew/bin/cloudflared"_s, u"/usr/local/bin/cloudflared"_s, u"/usr/bin/cloudflared"_s};
}

std::optional<QString> TunnelManager::detectCloudflared(const QStringList &paths)
{
    const auto found = std::find_if(paths.begin(), paths.end(), isExecutableFile);
    return found == paths.end() ? std::nullopt : std::optional(*found);
}

#include "moc_TunnelManager.cpp"
