// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelRunner.h"

#include "OutputLine.h"
#include "Text.h"

#include <QCoreApplication>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds stopDeadline{6000};

} // namespace

TunnelRunner::TunnelRunner(const QUuid &tunnelID, ChildLauncher &launcher, Scheduler &scheduler,
                           QObject *parent)
    : QObject(parent)
    , m_tunnelID(tunnelID)
    , m_launcher(launcher)
    , m_scheduler(scheduler)
{
}

TunnelRunner::~TunnelRunner() = default;

void TunnelRunner::start(const QString &cloudflaredPath, const QString &token)
{
    if (m_state.isRunning() || m_process)
        return;
    m_activeConnections.clear();
    m_hasEverConnected = false;
    m_stopRequested = false;
    m_lastErrorLine.reset();
    m_pendingOutput.clear();

    appendLog(u"▶︎ Starting: "_s + cloudflaredPath + u" tunnel run"_s);
    setState(TunnelState::starting());
    launch(cloudflaredPath, token);
}

void TunnelRunner::launch(const QString &cloudflaredPath, const QString &token)
{
    ChildCommand command{cloudflaredPath,
                         {u"tunnel"_s, u"run"_s},
                         {{"TUNNEL_TOKEN", token.toUtf8()},
                          {"NO_AUTOUPDATE", "true"},
                          {"TUNNEL_GRACE_PERIOD", "2s"},
                          {"NO_COLOR", "1"}}};
    std::optional<qint32> prepared;
    command.aboutToRun = [this, &prepared](qint32 pid) {
        prepared = pid;
        if (onProcessPrepared)
            onProcessPrepared(pid);
    };
    ChildProcess::Callbacks callbacks{
        [this](QByteArrayView chunk) { consume(chunk); },
        [this](int status) { handleTermination(status, m_process->pid()); },
    };
    ChildLauncher::Result launched = m_launcher.launch(command, std::move(callbacks));
    if (!launched.child) {
        if (prepared && onProcessNotStarted)
            onProcessNotStarted(*prepared);
        appendLog(u"✖︎ Could not start cloudflared: "_s + launched.error);
        setState(TunnelState::failed(
            QCoreApplication::translate("TunnelRunner", "cloudflared could not be started")));
        return;
    }
    m_process = std::move(launched.child);
    if (onProcessStarted)
        onProcessStarted(m_process->pid());
}

void TunnelRunner::stop()
{
    if (!m_process || !m_process->isRunning()) {
        if (m_state.kind() == TunnelState::Case::Failed)
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

void TunnelRunner::fail(const QString &message)
{
    appendLog(u"✖︎ "_s + message);
    setState(TunnelState::failed(message));
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
    m_isChildRunning = false;
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
        const std::string &text = *m_lastErrorLine;
        const QByteArrayView line(text.data(), qsizetype(text.size())); // NOLINT(clang-analyzer-*)
        const QString summary = errorSummary(Text::fromUtf8(line));
        fail(summary);
    } else {
        fail(QCoreApplication::translate("TunnelRunner", "cloudflared exited (code %1)").arg(status));
    }
}

void TunnelRunner::consume(QByteArrayView chunk)
{
    m_isChildRunning.reset();
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
}

void TunnelRunner::cutLine(QByteArrayView line)
{
    if (!line.isEmpty() && Text::isUtf8(line))
        handleLine(line);
}

void TunnelRunner::handleLine(QByteArrayView line)
{
    m_logLines.append(line);
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
    if (m_stopRequested)
        return;
    const TunnelState derived = !m_activeConnections.empty()
                                    ? TunnelState::connected(qint64(m_activeConnections.size()))
                                : m_hasEverConnected ? TunnelState::reconnecting()
                                                     : TunnelState::starting();
    if (derived == m_state)
        return;
    if (isChildRunning())
        setState(derived);
}

bool TunnelRunner::isChildRunning()
{
    if (!m_isChildRunning)
        m_isChildRunning = m_process && m_process->isRunning();
    return *m_isChildRunning;
}

void TunnelRunner::setState(const TunnelState &state)
{
    if (state == m_state)
        return;
    m_state = state;
    Q_EMIT stateChanged();
    if (onStateChange)
        onStateChange();
}

void TunnelRunner::appendLog(const QString &line)
{
    m_logLines.append(line.toUtf8());
    Q_EMIT logLinesChanged();
}

QString TunnelRunner::errorSummary(const QString &line)
{
    return OutputLine::errorSummary(line);
}
