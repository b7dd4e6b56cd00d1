// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LogBuffer.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <optional>

/// The output of one tunnel's children as bytes, and what its lines tell: the log, the connections that stand
/// and the last error.
class TunnelOutput
{
public:
    /// Forgets what the last child has told. Its lines stay in the log.
    void restart();

    /// Cuts the next line off the front of a piece of output, which may begin and end inside of lines; skips
    /// lines that are empty or no UTF-8, and what a line has beyond 1 MiB. Returns none once the piece is
    /// used up, the beginning of a line at its end being kept for the next piece. A line is valid until the
    /// next call.
    std::optional<QByteArrayView> cutLine(QByteArrayView &piece);
    /// Logs a line of the child and takes over what it tells.
    void handleLine(QByteArrayView line);

    const LogBuffer &log() const { return m_log; }
    /// Adds a line of this program's own.
    void appendLog(const QString &line);
    void clearLog() { m_log.clear(); }
    /// Logs that the state is read from lines that this child prints otherwise or not at all, and why.
    void doubtState(const QString &cause);
    /// Returns the cause of the doubt about this child; empty for none.
    const QString &doubt() const { return m_doubt; }
    /// Returns whether this child has printed a line of level INF.
    bool hasInfo() const { return m_hasInfo; }

    /// Returns how many connections were registered and not lost.
    qsizetype connectionCount() const { return m_activeConnections.size(); }
    /// Forgets the connections: the child has ended.
    void clearConnections() { m_activeConnections.clear(); }
    bool hasEverConnected() const { return m_hasEverConnected; }
    /// Returns the summary of the last error line since the start or the last registration; empty for none.
    QString lastError() const;
    /// Returns the reason in the last of these lines that explains something, so is no help; empty for none.
    QString reason() const;
    /// Returns the bare sentence with which the child has ended its output, printed help left out; else an
    /// empty text.
    QString lastWords() const;

private:
    /// Returns what there is of a line once it is complete or too long; none while more is to come.
    std::optional<QByteArrayView> join(QByteArrayView part, bool isComplete);
    void trackConnection(QByteArrayView line, bool isRegistration);

    LogBuffer m_log;
    QByteArray m_pendingOutput; ///< bytes since the last line feed
    QByteArray m_line;          ///< the storage of a line that came in pieces
    bool m_dropsRest = false;   ///< of a line that was too long
    bool m_hasCutLine = false;
    QSet<QByteArray> m_activeConnections;
    bool m_hasEverConnected = false;
    bool m_hasInfo = false;
    QString m_doubt;
    int m_linesToCheck = 0;     ///< of the child's output, for whether they are JSON
    qsizetype m_childLines = 0; ///< at the log's end, behind this program's own lines
    QByteArray m_lastErrorLine; ///< read when it is asked for, like the next one
    QByteArray m_reasonLine;
};
