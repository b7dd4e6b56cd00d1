// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelRunner.h"

#include <QJsonDocument>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds timeToBeRead(20);

/// Returns "NAME=value" of an inherited variable that stops cloudflared from logging the lines that are read
/// here; none where it logs them.
std::optional<QString> settingThatHidesState()
{
    const std::initializer_list<std::pair<const char *, QByteArrayList>> settings = {
        {"TUNNEL_LOG_OUTPUT", {"json"}}, {"TUNNEL_LOGLEVEL", {"warn", "error", "fatal", "panic"}}};
    for (const auto &[name, values] : settings) {
        const QByteArray value = qgetenv(name);
        if (values.contains(value))
            return QString::fromLatin1(name) + u'=' + QString::fromLatin1(value);
    }
    return std::nullopt;
}

/// Returns the token with the padding of Base64 (RFC 4648, section 4), which `cloudflared` asks for and a
/// stored token lacks, where that makes it the JSON object that a tunnel's token is; any other as it is.
QByteArray paddedToken(const QString &token)
{
    const QByteArray plain = token.toUtf8();
    const QByteArray padded = plain + QByteArray((4 - plain.size() % 4) % 4, '=');
    const auto decoded = QByteArray::fromBase64Encoding(padded, QByteArray::AbortOnBase64DecodingErrors);
    return decoded && QJsonDocument::fromJson(*decoded).isObject() ? padded : plain;
}

} // namespace

TunnelRunner::TunnelRunner(const QUuid &tunnelID, ChildLauncher &launcher, Scheduler &scheduler,
                           QObject *parent)
    : QObject(parent)
    , m_tunnelID(tunnelID)
    , m_launcher(launcher)
    , m_scheduler(scheduler)
{
}

std::optional<qint32> TunnelRunner::prepare(const QString &cloudflaredPath, const QString &token)
{
    if (m_process || (m_state.isRunning() && !isWaiting()))
        return std::nullopt;
    reset();
    const ChildCommand command{cloudflaredPath,
                               {u"tunnel"_s, u"run"_s},
                               {{"TUNNEL_TOKEN", paddedToken(token)},
                                {"NO_AUTOUPDATE", "true"},
                                {"TUNNEL_GRACE_PERIOD", "2s"},
                                {"NO_COLOR", "1"}}};
    ChildLauncher::Prepared prepared = m_launcher.prepare(
        command,
        {[this](QByteArrayView chunk) { consume(chunk); },
         [this](int status, const QString &signal) { handleTermination(status, signal, m_process->pid()); }});
    // Held before anybody is told: who removes the tunnel in answer to the new state stops this child as
    // well.
    m_process = std::move(prepared.child);
    const std::optional<qint32> pid = m_process ? std::optional(m_process->pid()) : std::nullopt;
    appendLog(u"▶︎ Starting: "_s + cloudflaredPath + u" tunnel run"_s);
    if (const std::optional<QString> setting = settingThatHidesState())
        doubtState(u"the environment sets "_s + *setting);
    setState(TunnelState::starting());
    if (!pid)
        failToStart(prepared.error);
    return pid;
}

bool TunnelRunner::run()
{
    const QString error = m_process->run();
    if (!error.isEmpty()) {
        m_process.reset();
        failToStart(error);
        return false;
    }
    m_readableCheck = m_scheduler.after(timeToBeRead, [this] {
        if (m_output.doubt().isEmpty())
            doubtState(u"cloudflared has printed no line of level INF; its configuration may set loglevel"_s);
    });
    if (onProcessStarted)
        onProcessStarted(m_process->pid());
    return true;
}

void TunnelRunner::start(const QString &cloudflaredPath, const QString &token)
{
    if (prepare(cloudflaredPath, token))
        std::ignore = run();
}

void TunnelRunner::reset()
{
    m_output.restart();
    m_stopRequested = false;
    m_announcedReason.clear();
}

/// Tells where the log is read why the state cannot be trusted.
void TunnelRunner::doubtState(const QString &cause)
{
    m_output.doubtState(cause);
    Q_EMIT logLinesChanged();
}

void TunnelRunner::failToStart(const QString &error)
{
    const QString reason = u"Could not start cloudflared: "_s + error;
    report(reason);
    setFailed(u"cloudflared could not be started"_s, reason, TunnelStatus::Remedy::Program);
}

void TunnelRunner::awaitToken(const QString &cause)
{
    if (m_process || (isWaiting() && m_waitCause == cause))
        return;
    reset();
    m_waitCause = cause;
    appendLog(u"▶︎ "_s + cause);
    setState(TunnelState::starting());
    Q_EMIT reasonChanged();
}

TunnelStatus TunnelRunner::status() const
{
    TunnelStatus status{.state = m_state, .failureCount = m_failureCount};
    switch (m_state.kind()) {
    case TunnelState::Case::Failed:
        status.reason = m_failure;
        status.remedy = m_remedy;
        break;
    case TunnelState::Case::Starting:
    case TunnelState::Case::Reconnecting:
        status.reason = isWaiting() ? m_waitCause : m_output.reason();
        status.isLastError = !isWaiting() && !status.reason.isEmpty();
        status.doubt = isWaiting() ? QString() : m_output.doubt();
        break;
    case TunnelState::Case::Connected:
    case TunnelState::Case::Stopping:
    case TunnelState::Case::Stopped:
        break;
    }
    return status;
}

void TunnelRunner::stop()
{
    if (!m_process || !m_process->isRunning()) {
        if (m_state.kind() == TunnelState::Case::Failed || isWaiting())
            setState(TunnelState::stopped());
        return;
    }
    m_stopRequested = true;
    setState(TunnelState::stopping());
    appendLog(u"■ Stop requested"_s);
    m_process->terminate();
    const qint32 pid = m_process->pid();
    // Each request has its own deadline, and the first one that is over ends the child.
    m_stopChecks.push_back(m_scheduler.after(ChildPatience::usual, [this, pid] {
        if (!m_process || m_process->pid() != pid || !m_process->isRunning())
            return;
        appendLog(u"■ cloudflared is not responding, killing it"_s);
        m_process->kill();
    }));
}

void TunnelRunner::report(const QString &message)
{
    appendLog(u"✖︎ "_s + message);
}

void TunnelRunner::fail(const QString &message, const QString &reason, TunnelStatus::Remedy remedy)
{
    report(message);
    setFailed(message, reason, remedy);
}

/// Counts the failure, which may look like the last one.
void TunnelRunner::setFailed(const QString &message, const QString &reason, TunnelStatus::Remedy remedy)
{
    m_failure = reason.isEmpty() ? message : reason;
    m_remedy = remedy;
    ++m_failureCount;
    setState(TunnelState::failed(message));
    Q_EMIT reasonChanged();
}

void TunnelRunner::forceKill()
{
    if (m_process && m_process->isRunning())
        m_process->kill();
}

void TunnelRunner::clearLog()
{
    m_output.clearLog();
    Q_EMIT logLinesChanged();
}

/// Reads what is left as a line, though nothing ends it: a child that dies seldom prints a line feed last.
void TunnelRunner::handleTermination(int status, const QString &signal, qint32 pid)
{
    QByteArrayView lineEnd = "\n";
    if (const std::optional<QByteArrayView> line = m_output.cutLine(lineEnd))
        handleLine(*line);
    m_stopChecks.clear();
    m_readableCheck.reset();
    m_process.reset();
    m_output.clearConnections();
    if (onProcessExited)
        onProcessExited(pid);
    if (m_stopRequested) {
        appendLog(u"■ Tunnel stopped"_s);
        return setState(TunnelState::stopped());
    }
    const QString exited = u"cloudflared exited (code %1)"_s.arg(status);
    const QString error = m_output.lastError();
    QString reason = signal.isEmpty() ? m_output.reason() : u"cloudflared was ended by "_s + signal;
    if (reason.isEmpty())
        reason = m_output.lastWords();
    fail(error.isEmpty() ? exited : error, reason.isEmpty() ? exited : reason);
}

/// Takes a piece of output, which may end anywhere, also inside a character.
void TunnelRunner::consume(QByteArrayView chunk)
{
    while (const std::optional<QByteArrayView> line = m_output.cutLine(chunk))
        handleLine(*line);
    Q_EMIT logLinesChanged();
    const QString now = status().reason;
    if (std::exchange(m_announcedReason, now) != now)
        Q_EMIT reasonChanged();
}

void TunnelRunner::handleLine(QByteArrayView line)
{
    m_output.handleLine(line);
    if (m_output.hasInfo())
        m_readableCheck.reset();
    refreshRunningState();
}

/// Follows the connections. A child that is to end, or has ended, goes on printing of them.
void TunnelRunner::refreshRunningState()
{
    if (m_stopRequested || !m_process->isRunning())
        return;
    const qsizetype connections = m_output.connectionCount();
    setState(connections > 0               ? TunnelState::connected(connections)
             : m_output.hasEverConnected() ? TunnelState::reconnecting()
                                           : TunnelState::starting());
}

void TunnelRunner::setState(const TunnelState &state)
{
    if (state == m_state)
        return;
    m_state = state;
    if (onStateChange)
        onStateChange();
}

void TunnelRunner::appendLog(const QString &line)
{
    m_output.appendLog(line);
    Q_EMIT logLinesChanged();
}

#include "moc_TunnelRunner.cpp"
