// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelOutput.h"

#include "OutputLine.h"
#include "Text.h"

#include <QUuid>

#include <algorithm>
#include <cstring>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// Number of lines that are looked at for JSON: a child prints some plain ones before its own log begins.
constexpr int firstLines = 10;
constexpr qsizetype longestLine = 1'048'576;

/// Returns the number of bytes in front of the last UTF-8 character, which may lack its end.
qsizetype wholeCharacters(QByteArrayView bytes)
{
    qsizetype size = bytes.size();
    while (size > 0 && (bytes[size - 1] & '\xC0') == '\x80')
        --size;
    return std::max(size - 1, qsizetype(0));
}

} // namespace

void TunnelOutput::restart()
{
    m_pendingOutput.clear();
    m_dropsRest = false;
    m_hasCutLine = false;
    m_activeConnections.clear();
    m_hasEverConnected = false;
    m_hasInfo = false;
    m_doubt.clear();
    m_linesToCheck = firstLines;
    m_childLines = 0;
    m_lastErrorLine.clear();
    m_reasonLine.clear();
}

/// Drops lines that are empty or no UTF-8, as a child may print anything.
std::optional<QByteArrayView> TunnelOutput::cutLine(QByteArrayView &piece)
{
    while (!piece.isEmpty()) {
        const void *feed = std::memchr(piece.data(), '\n', size_t(piece.size()));
        const qsizetype end = feed ? static_cast<const char *>(feed) - piece.data() : piece.size();
        // Nearly every line is whole, and not copied.
        const bool isWhole = feed && end <= longestLine && m_pendingOutput.isEmpty() && !m_dropsRest;
        const std::optional<QByteArrayView> line = isWhole ? piece.first(end) : join(piece.first(end), feed);
        piece = piece.sliced(feed ? end + 1 : end);
        if (line && !line->isEmpty() && Text::isUtf8(*line))
            return line;
    }
    return std::nullopt;
}

/// Keeps the part of a line until its end comes, at most 1 MiB: a child may never print a line feed. The rest
/// of a longer one is dropped.
std::optional<QByteArrayView> TunnelOutput::join(QByteArrayView part, bool isComplete)
{
    if (m_dropsRest) {
        m_dropsRest = !isComplete;
        return std::nullopt;
    }
    const qsizetype room = longestLine - m_pendingOutput.size();
    const bool isTooLong = part.size() > room;
    m_pendingOutput.append(part.first(std::min(part.size(), room)));
    if (!isComplete && !isTooLong)
        return std::nullopt;
    m_line = std::exchange(m_pendingOutput, {});
    if (isTooLong) {
        m_dropsRest = !isComplete;
        m_line.truncate(wholeCharacters(m_line));
        if (!std::exchange(m_hasCutLine, true))
            appendLog(u"▶︎ Cut a line after 1 MiB, as others will be"_s);
    }
    return m_line;
}

void TunnelOutput::handleLine(QByteArrayView line)
{
    const bool isAmongFirst = m_linesToCheck > 0;
    m_linesToCheck -= isAmongFirst ? 1 : 0;
    if (isAmongFirst && line.startsWith('{'))
        doubtState(u"cloudflared prints its log as JSON"_s);
    m_log.append(line);
    ++m_childLines;
    m_hasInfo = m_hasInfo || line.contains(" INF ");
    const OutputLine::Marks marks = OutputLine::marksOf(line);
    if (marks.isRegistration || marks.isLoss)
        trackConnection(line, marks.isRegistration);
    if (marks.isError)
        m_lastErrorLine = line.toByteArray();
    if (marks.mayExplain)
        m_reasonLine = m_lastErrorLine;
}

/// Counts connections by their index. One without an index counts on its own, and nothing takes it back.
void TunnelOutput::trackConnection(QByteArrayView line, bool isRegistration)
{
    QByteArray key = OutputLine::connectionIndex(line).toByteArray();
    if (!isRegistration) {
        m_activeConnections.remove(key);
        return;
    }
    if (key.isEmpty())
        key = QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
    m_activeConnections.insert(key);
    m_hasEverConnected = true;
    m_lastErrorLine.clear();
    m_reasonLine.clear();
}

void TunnelOutput::appendLog(const QString &line)
{
    m_log.append(line.toUtf8());
    m_childLines = 0;
}

void TunnelOutput::doubtState(const QString &cause)
{
    m_linesToCheck = 0;
    m_doubt = cause;
    appendLog(u"▶︎ The state shown may be wrong: "_s + cause);
}

QString TunnelOutput::lastError() const
{
    return m_lastErrorLine.isEmpty() ? QString() : OutputLine::errorSummary(Text::fromUtf8(m_lastErrorLine));
}

QString TunnelOutput::reason() const
{
    return OutputLine::reason(m_reasonLine);
}

/// Looks at the end of what this child has printed for a line of its own, before the help that it prints
/// after a wrong argument.
QString TunnelOutput::lastWords() const
{
    const qsizetype begin = m_log.size() - std::min(m_childLines, m_log.size());
    qsizetype last = m_log.size() - 1;
    while (last >= begin && OutputLine::isHelp(m_log.bytes(last)))
        --last;
    return last >= begin && OutputLine::isBare(m_log.bytes(last)) ? OutputLine::reason(m_log.bytes(last))
                                                                  : QString();
}
