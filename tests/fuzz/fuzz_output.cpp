// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// A runner against a plain re-statement of its rules, after each of the steps that an input spells:
//
//   ESC s   start                     ESC o   ask to stop          ESC t   six seconds pass
//   ESC d   the child is dead         ESC e N its end with status N is handled
//   ESC l   the log is cleared        ESC f   700 lines            ESC x   the next launch fails
//
// and what stands between is output of the child, cut there and at each ESC that none of these letters
// follows.

#include "Fakes.h"
#include "Fuzz.h"
#include "TunnelRunner.h"

#include <QSet>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace {

const QString path = u"/opt/cloudflared"_s;

/// The rules, said as they are meant and without regard to what they cost.
class Model
{
public:
    TunnelState state = TunnelState::stopped();
    QStringList log;
    int stateChanges = 0;
    bool hasChild = false;
    bool isAlive = false;
    int terminations = 0;
    int kills = 0;

    void start(bool fails)
    {
        if (state.isRunning())
            return;
        m_connections.clear();
        m_hasEverConnected = m_stopRequested = false;
        m_lastError.reset();
        m_pending.clear();
        append(u"▶︎ Starting: "_s + path + u" tunnel run"_s);
        set(TunnelState::starting());
        if (fails) {
            append(u"✖︎ Could not start cloudflared: refused"_s);
            return set(TunnelState::failed(u"cloudflared could not be started"_s));
        }
        hasChild = isAlive = true;
        m_stopChecks = terminations = kills = 0;
    }
    void stop()
    {
        if (hasChild && isAlive) {
            m_stopRequested = true;
            set(TunnelState::stopping());
            append(u"■ Stop requested"_s);
            ++terminations;
            ++m_stopChecks;
        } else if (state.kind() == TunnelState::Case::Failed) {
            set(TunnelState::stopped());
        }
    }
    void passSixSeconds()
    {
        for (; m_stopChecks > 0; --m_stopChecks) {
            if (!hasChild || !isAlive)
                continue;
            append(u"■ cloudflared is not responding, killing it"_s);
            ++kills;
        }
    }
    void read(const QByteArray &chunk)
    {
        m_pending += chunk;
        while (m_pending.contains('\n')) {
            const QByteArray line = m_pending.left(m_pending.indexOf('\n'));
            m_pending = m_pending.mid(line.size() + 1);
            cut(line);
        }
    }
    void end(int status)
    {
        isAlive = false;
        cut(m_pending);
        m_pending.clear();
        hasChild = false;
        m_stopChecks = 0;
        m_connections.clear();
        if (m_stopRequested) {
            append(u"■ Tunnel stopped"_s);
            return set(TunnelState::stopped());
        }
        const QString message = m_lastError.value_or(u"cloudflared exited (code %1)"_s.arg(status));
        append(u"✖︎ "_s + message);
        set(TunnelState::failed(message));
    }

private:
    void cut(const QByteArray &bytes)
    {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString line = decoder(bytes);
        if (!line.isEmpty() && !decoder.hasError())
            handle(line);
    }
    void handle(const QString &line)
    {
        append(line);
        const QString index = indexOf(line);
        if (line.contains(u"Registered tunnel connection"_s)) {
            m_connections += index.isEmpty() ? u"unnumbered %1"_s.arg(++m_unnumbered) : index;
            m_hasEverConnected = true;
            m_lastError.reset();
        } else if (line.contains(u"Unregistered tunnel connection"_s) ||
                   line.contains(u"Serve tunnel error"_s) || line.contains(u"Connection terminated"_s)) {
            m_connections -= index;
        }
        if (line.contains(u" ERR "_s) || line.startsWith(u"ERR "_s) || line.contains(u"is not valid"_s))
            m_lastError = TunnelRunner::errorSummary(line);
        if (m_stopRequested || (hasChild && !isAlive))
            return;
        set(!m_connections.isEmpty() ? TunnelState::connected(m_connections.size())
            : m_hasEverConnected     ? TunnelState::reconnecting()
                                     : TunnelState::starting());
    }
    static QString indexOf(const QString &line)
    {
        QList<uint> number;
        if (line.contains(u"connIndex="_s))
            number = line.section(u"connIndex="_s, 1).toUcs4();
        qsizetype length = 0;
        while (length < number.size() && isNumber(QChar::category(number[length])))
            ++length;
        return QString::fromUcs4(reinterpret_cast<const char32_t *>(number.constData()), length);
    }
    static bool isNumber(QChar::Category category)
    {
        return category == QChar::Number_DecimalDigit || category == QChar::Number_Letter ||
               category == QChar::Number_Other;
    }
    void append(const QString &line)
    {
        log += line;
        while (log.size() > 2000)
            log.removeFirst();
    }
    void set(const TunnelState &next)
    {
        stateChanges += next == state ? 0 : 1;
        state = next;
    }

    QByteArray m_pending;
    QSet<QString> m_connections;
    std::optional<QString> m_lastError;
    int m_unnumbered = 0;
    int m_stopChecks = 0;
    bool m_hasEverConnected = false;
    bool m_stopRequested = false;
};

class Pair
{
public:
    Pair()
    {
        m_runner.onStateChange = [this] { ++m_stateChanges; };
        step('s');
    }

    void read(const QByteArray &chunk)
    {
        if (!m_model.hasChild || chunk.isEmpty())
            return;
        m_launcher.last().write(chunk);
        m_model.read(chunk);
        compare();
    }
    void step(int letter, int status = 0)
    {
        switch (letter) {
        case 's':
            m_runner.start(path, u"token"_s);
            m_model.start(!std::exchange(m_launcher.error, {}).isEmpty());
            break;
        case 'o':
            m_runner.stop();
            m_model.stop();
            break;
        case 't':
            m_scheduler.advance(std::chrono::seconds(6));
            m_model.passSixSeconds();
            break;
        case 'd':
            die();
            break;
        case 'e':
            end(status);
            break;
        case 'l':
            m_runner.clearLog();
            m_model.log.clear();
            break;
        case 'f':
            return flood();
        case 'x':
            m_launcher.error = m_model.state.isRunning() ? QString() : u"refused"_s;
            break;
        default:
            break;
        }
        compare();
    }
    void end(int status)
    {
        if (!m_model.hasChild)
            return;
        m_launcher.last().end(status);
        m_model.end(status);
    }

    void compareLogs() const
    {
        Fuzz::expect(m_runner.logLines().text() == m_model.log.join(u'\n'), "the log is that of the rules");
    }

private:
    void die()
    {
        if (!m_model.hasChild)
            return;
        m_launcher.last().die();
        m_model.isAlive = false;
    }
    void flood()
    {
        QByteArray chunk;
        for (int i = 0; i < 700; ++i)
            chunk += QByteArray::number(i) + '\n';
        read(chunk);
    }
    void compare() const
    {
        Fuzz::expect(m_runner.state() == m_model.state, "the state is that of the rules");
        Fuzz::expect(m_stateChanges == m_model.stateChanges, "each change of state is told once");
        Fuzz::expect(m_runner.hasChild() == m_model.hasChild, "a child is held until its end");
        const LogBuffer &log = m_runner.logLines();
        Fuzz::expect(log.size() == m_model.log.size(), "the log has the lines of the rules");
        Fuzz::expect(log.isEmpty() || (log.line(0) == m_model.log.first() &&
                                       log.line(log.size() - 1) == m_model.log.last()),
                     "the log begins and ends as by the rules");
        if (!m_model.hasChild)
            return;
        const QList<int> &sent = m_launcher.children.back()->signalsSent;
        Fuzz::expect(sent.count(15) == m_model.terminations && sent.count(9) == m_model.kills,
                     "the signals are those of the rules");
    }

    FakeChildLauncher m_launcher;
    FakeScheduler m_scheduler;
    TunnelRunner m_runner{QUuid(), m_launcher, m_scheduler};
    Model m_model;
    int m_stateChanges = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Fuzz::Input input(data, size);
    Pair pair;
    while (!input.isEmpty()) {
        pair.read(input.until('\x1b'));
        const int letter = input.byte();
        pair.step(letter, letter == 'e' ? input.byte() : 0);
    }
    pair.end(1);
    pair.compareLogs();
    return 0;
}
