// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "LogBuffer.h"
#include "OutputLine.h"
#include "Scheduler.h"
#include "TunnelConfig.h"

#include <QObject>

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>

/// Keeps one tunnel: launches its `cloudflared`, turns the child's output into a state and a bounded log,
/// and ends the child on request, first with SIGTERM and after 6 seconds with SIGKILL. It never starts a
/// child again by itself.
///
/// | from                    | event                              | to                       |
/// | ----------------------- | ---------------------------------- | ------------------------ |
/// | stopped, failed         | start, or a wait for its token     | starting                 |
/// | starting                | launch fails                       | failed                   |
/// | running                 | start                              | unchanged                |
/// | any, child runs         | stop                               | stopping                 |
/// | failed or waiting, no child | stop                           | stopped                  |
/// | child runs, not stopping | line; n > 0 connections           | connected(n)             |
/// | child runs, not stopping | line; none, never connected       | starting                 |
/// | child runs, not stopping | line; none, connected before      | reconnecting             |
/// | any                     | child ended after a stop request   | stopped                  |
/// | any                     | child ended by itself              | failed(last error or exit code) |
///
/// Lives on the main thread. Destroying a runner does not signal its child: its owner stops it first.
class TunnelRunner : public QObject
{
    Q_OBJECT

public:
    /// End of a program's path by which the next run knows a child that was left behind.
    static constexpr QLatin1StringView knownPathEnd{"/cloudflared"};

    /// `launcher` and `scheduler` outlive the runner.
    TunnelRunner(const QUuid &tunnelID, ChildLauncher &launcher, Scheduler &scheduler,
                 QObject *parent = nullptr);

    QUuid tunnelID() const { return m_tunnelID; }
    const TunnelState &state() const { return m_state; }
    const LogBuffer &logLines() const { return m_logLines; }
    /// Returns whether a child lives or waits to have its end handled.
    bool hasChild() const { return m_process != nullptr; }
    /// Returns why the tunnel is not connected, on one line: while it is starting or reconnecting the summary
    /// of the last error line, or that the keyring is waited for; after a failure its message, or the child's
    /// last line where that is a bare sentence and the message no more than an exit code. Empty in other
    /// states and when nothing is known.
    QString reason() const;
    /// Returns "Last error: " and the reason of a tunnel that is starting or reconnecting; else an empty
    /// text.
    QString lastErrorNote() const;
    /// Returns how often the tunnel has failed so far; it tells failures with one reason apart.
    int failureCount() const { return m_failureCount; }

    /// Makes a child that waits for `run`, unless the state is a running one or a child is held (a tunnel can
    /// fail while its child lives, when it is started again without a token). The token reaches the child in
    /// its environment, padded, and nowhere else. A child that the next run could not tell, because the path
    /// leads to a file of another name, ends with this process. Returns the child's process id; none when
    /// nothing is to be run.
    [[nodiscard]] std::optional<qint32> prepare(const QString &cloudflaredPath, const QString &token);
    /// Lets the child that waits run its program. Returns whether it does.
    [[nodiscard]] bool run();
    /// Prepares a child and lets it run.
    void start(const QString &cloudflaredPath, const QString &token);
    /// Shows, unless the tunnel runs, that its start waits for the token.
    void awaitToken();
    /// Asks a running child to end; clears a failure and ends a wait when none runs.
    void stop();
    /// Logs `message` as something that went wrong.
    void report(const QString &message);
    /// Logs `message` as a failure and sets the state to failed with it; `reason()` returns `reason`.
    void fail(const QString &message, const QString &reason);
    void fail(const QString &message) { fail(message, message); }
    /// Sends SIGKILL to a child that still runs; no log line, no change of state.
    void forceKill();
    void clearLog();

    static QString errorSummary(const QString &line) { return OutputLine::errorSummary(line); }

    // Set by the owner, called on the main thread.
    std::function<void()> onStateChange;
    std::function<void(qint32 pid)> onProcessStarted;
    std::function<void(qint32 pid)> onProcessExited;

Q_SIGNALS:
    /// Sent when lines may have been appended or the log was cleared; once for each piece of output.
    void logLinesChanged();
    /// Sent when the reason may be another one although the state is the same, or the tunnel failed again; at
    /// most once for each piece of output.
    void reasonChanged();

private:
    /// Returns whether a start waits for its token.
    bool isWaiting() const { return !m_process && m_state.kind() == TunnelState::Case::Starting; }
    void reset();
    void warnOfState(const QString &cause);
    void failToStart(const QString &error);
    void setFailed(const QString &message, const QString &reason);
    bool isTrying() const;
    QString lastError() const;
    void consume(QByteArrayView chunk);
    void cutLine(QByteArrayView line);
    void handleLine(QByteArrayView line);
    void trackConnection(QByteArrayView line, bool isRegistration);
    void refreshRunningState();
    void handleTermination(int status, qint32 pid);
    void checkStopped(qint32 pid);
    void setState(const TunnelState &state);
    void appendLog(const QString &line);

    const QUuid m_tunnelID;
    ChildLauncher &m_launcher;
    Scheduler &m_scheduler;

    TunnelState m_state = TunnelState::stopped();
    LogBuffer m_logLines;

    std::unique_ptr<ChildProcess> m_process;
    std::list<std::unique_ptr<ScheduledWork>> m_stopChecks;
    std::string m_pendingOutput; ///< bytes since the last line feed
    std::unordered_set<std::string> m_activeConnections;
    bool m_hasEverConnected = false;
    bool m_stopRequested = false;
    int m_linesToCheck = 0;  ///< of the child's output, for whether they are JSON
    quint64 m_outputEnd = 0; ///< the log's end after the child's last line; 0 while there is none
    QString m_failure;       ///< the reason for `Failed`
    int m_failureCount = 0;
    QString m_toldReason; ///< by `reasonChanged`
    /// The last error line since the start or the last registration; summarised when it is asked for.
    std::optional<std::string> m_lastErrorLine;
};
