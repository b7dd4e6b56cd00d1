// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any output of a child, in any pieces, between starts, stops and ends of it.

#include "Fakes.h"
#include "Fuzz.h"
#include "TunnelRunner.h"

using namespace Qt::StringLiterals;

namespace {

void step(TunnelRunner &runner, FakeChildLauncher &launcher, FakeScheduler &scheduler,
          FuzzedDataProvider &input)
{
    launcher.error = input.ConsumeBool() ? QString() : u"refused"_s;
    const int choice = input.ConsumeIntegralInRange(0, 5);
    if (choice == 0)
        runner.start(u"/opt/cloudflared"_s, u"token"_s);
    else if (choice == 1)
        runner.stop();
    else if (choice == 2)
        scheduler.advance(std::chrono::seconds(6));
    else if (choice == 3)
        runner.clearLog();
    else if (choice == 4 && runner.hasChild())
        launcher.last().end(input.ConsumeIntegral<std::uint8_t>());
    else if (runner.hasChild())
        launcher.last().write(QByteArray::fromStdString(input.ConsumeRandomLengthString()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    FakeChildLauncher launcher;
    FakeScheduler scheduler;
    TunnelRunner runner(QUuid(), launcher, scheduler);
    TunnelState told = runner.state();
    runner.onStateChange = [&] { told = runner.state(); };
    while (input.remaining_bytes() > 0) {
        step(runner, launcher, scheduler, input);
        expect(runner.state() == told, "each change of state is told");
        expect(told.isRunning() == runner.hasChild(), "what runs has a child");
        expect(runner.logLines().size() <= 2000, "the log is bounded");
        expect(runner.logLines().text().size() >= runner.logLines().size() - 1, "the log can be read");
        const bool isAsked = runner.hasChild() && !launcher.last().signalsSent.isEmpty();
        expect(!isAsked || told == TunnelState::stopping(), "a child that was asked to end is stopping");
        expect(!isAsked || launcher.last().signalsSent.first() == 15, "it is asked before it is killed");
    }
    return 0;
}
