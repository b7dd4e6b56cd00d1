// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any output of a child, in any pieces, between starts, stops and ends of it.

#include "Fakes.h"
#include "Fuzz.h"
#include "TunnelRunner.h"

using namespace Qt::StringLiterals;

namespace {

class Run
{
public:
    Run()
    {
        m_runner.onStateChange = [this] {
            Fuzz::expect(m_runner.state() != m_told, "a change of state is one");
            m_told = m_runner.state();
        };
    }

    void step(FuzzedDataProvider &input)
    {
        m_launcher.error = input.ConsumeBool() ? QString() : u"refused"_s;
        switch (input.ConsumeIntegralInRange(0, 5)) {
        case 0:
            m_runner.start(u"/opt/cloudflared"_s, u"token"_s);
            break;
        case 1:
            m_runner.stop();
            break;
        case 2:
            m_scheduler.advance(std::chrono::seconds(6));
            break;
        case 3:
            m_runner.clearLog();
            break;
        case 4:
            if (m_runner.hasChild())
                m_launcher.last().end(input.ConsumeIntegral<std::uint8_t>());
            break;
        default:
            if (m_runner.hasChild())
                m_launcher.last().write(QByteArray::fromStdString(input.ConsumeRandomLengthString()));
        }
        check();
    }

private:
    void check() const
    {
        const TunnelState &state = m_runner.state();
        Fuzz::expect(state == m_told, "each change of state is told");
        Fuzz::expect(state.isRunning() == m_runner.hasChild(), "what runs has a child");
        Fuzz::expect(m_runner.logLines().size() <= 2000, "the log is bounded");
        Fuzz::expect(m_runner.logLines().text().size() >= m_runner.logLines().size() - 1,
                     "the log can be read");
        if (!m_runner.hasChild())
            return;
        const QList<int> &sent = m_launcher.children.back()->signalsSent;
        Fuzz::expect(!sent.contains(9) || sent.first() == 15, "a child is asked to end before it is killed");
        Fuzz::expect(sent.isEmpty() || state == TunnelState::stopping(),
                     "a child that was asked is stopping");
    }

    FakeChildLauncher m_launcher;
    FakeScheduler m_scheduler;
    TunnelRunner m_runner{QUuid(), m_launcher, m_scheduler};
    TunnelState m_told = TunnelState::stopped();
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    Run run;
    while (input.remaining_bytes() > 0)
        run.step(input);
    return 0;
}
