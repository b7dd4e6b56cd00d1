// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "OutputLine.h"
#include "Scheduler.h"
#include "TunnelOutput.h"
#include "TunnelStatus.h"

#include <QObject>
#include <QUuid>

#include <functional>
#include <list>
#include <memory>
#include <optional>

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
    /// `launcher` and `scheduler` outlive the runner.
    TunnelRunner(const QUuid &tunnelID, ChildLauncher &launcher, Scheduler &scheduler,
                 QObject *parent = nullptr);

    QUuid tunnelID() const { return m_tunnelID; }
    const TunnelState &state() const { return m_state; }
    /// Returns the state with the reason that is known for it now.
    TunnelStatus status() const;
    const LogBuffer &logLines() const { return m_output.log(); }
    /// Returns whether a child lives or waits to have its end handled.
    bool hasChild() const { return m_process != nullptr; }

    /// Makes a child that waits for `run`, unless the tunnel runs (a wait for its token apart) or a child is
    /// held (a tunnel can fail while its child lives, when it is started again without a token). The token
    /// reaches the child in its environment, padded, and nowhere else. Returns the child's process id; none
    /// when nothing is to be run.
    [[nodiscard]] std::optional<qint32> prepare(const QString &cloudflaredPath, const QString &token);
    /// Lets the child that waits run its program. Returns whether it does.
    [[nodiscard]] bool run();
    /// Prepares a child and lets it run.
    void start(const QString &cloudflaredPath, const QString &token);
    /// Shows, unless the tunnel runs, that its start waits for the token, with the cause of the wait.
    void awaitToken(const QString &cause);
    /// Asks a running child to end; clears a failure and ends a wait when none runs.
    void stop();
    /// Logs `message` as something that went wrong.
    void report(const QString &message);
    /// Logs `message` as a failure and sets the state to failed with it. `reason` is what windows and
    /// notifications say; empty: the message.
    void fail(const QString &message, const QString &reason = {},
              TunnelStatus::Remedy remedy = TunnelStatus::Remedy::Log);
    /// Sends SIGKILL to a child that still runs; no log line, no change of state.
    void forceKill();
    void clearLog();

    /// Reads like the function of that name; see `OutputLine`.
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
    void doubtState(const QString &cause);
    void failToStart(const QString &error);
    void setFailed(const QString &message, const QString &reason, TunnelStatus::Remedy remedy);
    void consume(QByteArrayView chunk);
    void handleLine(QByteArrayView line);
    void refreshRunningState();
    void handleTermination(int status, const QString &signal, qint32 pid);
    void setState(const TunnelState &state);
    void appendLog(const QString &line);

    const QUuid m_tunnelID;
    ChildLauncher &m_launcher;
    Scheduler &m_scheduler;

    TunnelState m_state = TunnelState::stopped();
    TunnelOutput m_output;

    std::unique_ptr<ChildProcess> m_process;
    std::list<std::unique_ptr<ScheduledWork>> m_stopChecks;
    std::unique_ptr<ScheduledWork> m_readableCheck; ///< until the child prints a line of level INF
    bool m_stopRequested = false;
    QString m_failure; ///< the reason for `Failed`
    TunnelStatus::Remedy m_remedy{};
    QString m_waitCause; ///< while a start waits for its token
    int m_failureCount = 0;
    QString m_announcedReason; ///< by the last `reasonChanged`
};
