// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelRunner.h"

#include "Text.h"

#include <QFileInfo>
#include <QJsonDocument>

#include <cstring>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds stopDeadline(6);
/// Number of lines that are looked at for JSON: a child prints some plain ones before its own log begins.
constexpr int firstLines = 10;

/// Returns the setting in this program's environment, which children inherit, that keeps them from printing
/// the lines that tell a tunnel's state, as "NAME=value"; none where they print them.
std::optional<QString> blindingSetting()
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
                                {"NO_COLOR", "1"}},
                               !QFileInfo(cloudflaredPath).canonicalFilePath().endsWith(knownPathEnd)};
    ChildLauncher::Prepared prepared =
        m_launcher.prepare(command, {[this](QByteArrayView chunk) { consume(chunk); },
                                     [this](int status) { handleTermination(status, m_process->pid()); }});
    // Held before anybody is told: who removes the tunnel in answer to the new state stops this child as
    // well.
    m_process = std::move(prepared.child);
    const std::optional<qint32> pid = m_process ? std::optional(m_process->pid()) : std::nullopt;
    appendLog(u"▶︎ Starting: "_s + cloudflaredPath + u" tunnel run"_s);
    if (const std::optional<QString> setting = blindingSetting())
        warnOfState(u"the environment sets "_s + *setting);
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
    m_activeConnections.clear();
    m_hasEverConnected = false;
    m_stopRequested = false;
    m_lastErrorLine.reset();
    m_toldReason.clear();
    m_pendingOutput.clear();
    m_outputEnd = 0;
    m_linesToCheck = firstLines;
}

/// Logs a warning: the state is read from the child's usual lines, which this one prints otherwise or not.
void TunnelRunner::warnOfState(const QString &cause)
{
    m_linesToCheck = 0;
    appendLog(u"▶︎ The state shown may be wrong: "_s + cause);
}

void TunnelRunner::failToStart(const QString &error)
{
    const QString reason = u"Could not start cloudflared: "_s + error;
    report(reason);
    setFailed(u"cloudflared could not be started"_s, reason);
}

void TunnelRunner::awaitToken()
{
    if (m_process || m_state.isRunning())
        return;
    reset();
    appendLog(u"▶︎ Waiting for the keyring to be unlocked"_s);
    setState(TunnelState::starting());
}

bool TunnelRunner::isTrying() const
{
    return m_state.kind() == TunnelState::Case::Starting || m_state.kind() == TunnelState::Case::Reconnecting;
}

QString TunnelRunner::reason() const
{
    if (m_state.kind() == TunnelState::Case::Failed)
        return m_failure;
    if (isWaiting())
        return u"Waiting for the keyring to be unlocked"_s;
    return isTrying() ? lastError() : QString();
}

QString TunnelRunner::lastErrorNote() const
{
    const QString error = isTrying() ? lastError() : QString();
    return error.isEmpty() ? error : u"Last error: "_s + error;
}

/// Returns the summary of the last error line; empty for none.
QString TunnelRunner::lastError() const
{
    return m_lastErrorLine ? errorSummary(Text::fromUtf8(*m_lastErrorLine)) : QString();
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
    m_stopChecks.push_back(m_scheduler.after(stopDeadline, [this, pid] { checkStopped(pid); }));
}

void TunnelRunner::checkStopped(qint32 pid)
{
    if (!m_process || m_process->pid() != pid || !m_process->isRunning())
        return;
    appendLog(u"■ cloudflared is not responding, killing it"_s);
    m_process->kill();
}

void TunnelRunner::report(const QString &message)
{
    appendLog(u"✖︎ "_s + message);
}

void TunnelRunner::fail(const QString &message, const QString &reason)
{
    report(message);
    setFailed(message, reason);
}

void TunnelRunner::setFailed(const QString &message, const QString &reason)
{
    m_failure = reason;
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
    m_logLines.clear();
    Q_EMIT logLinesChanged();
}

void TunnelRunner::handleTermination(int status, qint32 pid)
{
    if (!m_pendingOutput.empty()) {
        const std::string partial = std::exchange(m_pendingOutput, {});
        cutLine({partial.data(), qsizetype(partial.size())});
    }
    m_stopChecks.clear();
    m_process.reset();
    m_activeConnections.clear();
    if (onProcessExited)
        onProcessExited(pid);
    if (m_stopRequested) {
        appendLog(u"■ Tunnel stopped"_s);
        setState(TunnelState::stopped());
    } else if (m_lastErrorLine) {
        fail(lastError());
    } else {
        const QString message = u"cloudflared exited (code %1)"_s.arg(status);
        const qsizetype last = m_logLines.size() - 1;
        const bool isChilds = last >= 0 && m_logLines.endNumber() == m_outputEnd;
        fail(message,
             isChilds && OutputLine::isBare(m_logLines.bytes(last)) ? m_logLines.line(last) : message);
    }
}

void TunnelRunner::consume(QByteArrayView chunk)
{
    const char *at = chunk.data();
    const char *const end = at + chunk.size();
    while (at != end) {
        const auto *feed = static_cast<const char *>(std::memchr(at, '\n', size_t(end - at)));
        if (!feed)
            break;
        if (m_pendingOutput.empty()) {
            cutLine({at, feed - at});
        } else {
            m_pendingOutput.append(at, feed);
            const std::string line = std::exchange(m_pendingOutput, {});
            cutLine({line.data(), qsizetype(line.size())});
        }
        at = feed + 1;
    }
    m_pendingOutput.append(at, end);
    Q_EMIT logLinesChanged();
    const QString now = reason();
    if (std::exchange(m_toldReason, now) != now)
        Q_EMIT reasonChanged();
}

void TunnelRunner::cutLine(QByteArrayView line)
{
    if (!line.isEmpty() && Text::isUtf8(line))
        handleLine(line);
}

void TunnelRunner::handleLine(QByteArrayView line)
{
    const bool isAmongFirst = m_linesToCheck > 0;
    m_linesToCheck -= isAmongFirst ? 1 : 0;
    if (isAmongFirst && line.startsWith('{'))
        warnOfState(u"cloudflared prints its log as JSON"_s);
    m_logLines.append(line);
    m_outputEnd = m_logLines.endNumber();
    const OutputLine::Marks marks = OutputLine::marksOf(line);
    if (marks.isRegistration || marks.isLoss)
        trackConnection(line, marks.isRegistration);
    if (marks.isError)
        m_lastErrorLine.emplace(line.data(), size_t(line.size()));
    refreshRunningState();
}

void TunnelRunner::trackConnection(QByteArrayView line, bool isRegistration)
{
    const QByteArrayView index = OutputLine::connectionIndex(line);
    std::string key(index.data(), size_t(index.size()));
    if (!isRegistration) {
        m_activeConnections.erase(key);
        return;
    }
    if (key.empty())
        key = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
    m_activeConnections.insert(std::move(key));
    m_hasEverConnected = true;
    m_lastErrorLine.reset();
}

void TunnelRunner::refreshRunningState()
{
    if (m_stopRequested || !m_process->isRunning())
        return;
    setState(!m_activeConnections.empty() ? TunnelState::connected(qint64(m_activeConnections.size()))
             : m_hasEverConnected         ? TunnelState::reconnecting()
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
    m_logLines.append(line.toUtf8());
    Q_EMIT logLinesChanged();
}
