// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Cost of the Logs window: opened with a full log against an empty QPlainTextEdit, and shown while a child
// prints nearly 50,000 lines a second. The argument is the seconds of the flood.

#include "Fakes.h"
#include "Keeper.h"
#include "LinuxChildLauncher.h"
#include "LogView.h"
#include "Measure.h"
#include "TunnelRunner.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize windowSize(820, 480);

/// The longest time for which the event loop did not turn.
class StallMeter : public QObject
{
public:
    StallMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, [this] { longest = std::max(longest, m_last.restart()); });
        m_timer.start(1);
        m_last.start();
    }

    qint64 longest = 0; ///< milliseconds

private:
    QTimer m_timer;
    QElapsedTimer m_last;
};

double processorSeconds()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Milliseconds from nothing to the first painted frame.
template <typename Make> double openingTime(Make make)
{
    QElapsedTimer timer;
    timer.start();
    const std::unique_ptr<QWidget> window = make();
    auto *edit = qobject_cast<QPlainTextEdit *>(window.get());
    PaintCounter counter((edit ? edit : window->findChild<QPlainTextEdit *>())->viewport());
    counter.quitsAtFirst = true;
    window->resize(windowSize);
    window->show();
    QCoreApplication::exec();
    return double(timer.nsecsElapsed()) / 1e6;
}

void reportOpening(TunnelManager &manager)
{
    double log = 1e9;
    double plain = 1e9;
    for (int round = 0; round < 20; ++round) {
        plain = std::min(plain, openingTime([] { return std::make_unique<QPlainTextEdit>(); }));
        log = std::min(log, openingTime([&] { return std::make_unique<LogView>(manager, std::nullopt); }));
    }
    std::printf("opening: empty QPlainTextEdit %.2f ms, Logs window with 2000 lines %.2f ms: %.2f ms more "
                "(at most 20)\n",
                plain, log, log - plain);
}

/// Runs the flood of a child to its end, and tells what the process did meanwhile.
void reportFlood(const char *name, TunnelRunner &runner, QWidget *viewport, const QString &executable)
{
    PaintCounter paints(viewport);
    runner.onProcessExited = [](qint32) { QCoreApplication::quit(); };
    runner.start(executable, u"eyJ"_s);
    QElapsedTimer timer;
    timer.start();
    const double processor = processorSeconds();
    const quint64 first = runner.logLines().endNumber();
    StallMeter stalls;
    QCoreApplication::exec();
    const double seconds = double(timer.elapsed()) / 1e3;
    std::printf("%-28s %.0f lines/s, longest stall %lld ms (at most 100), %.1f frames/s, "
                "processor %.0f %% (at most 25)\n",
                name, double(runner.logLines().endNumber() - first) / seconds, stalls.longest,
                paints.count / seconds, 100 * (processorSeconds() - processor) / seconds);
}

} // namespace

int main(int argc, char **argv)
{
    const QApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const QString executable = qEnvironmentVariable("MORVANEL_CLOUDFLARED");
    FakeWorld world;
    world.preferences.values.remove(u"cloudflaredPath"_s);
    Keeper keeper;
    LinuxChildLauncher launcher(keeper);
    TunnelManager manager({world.preferences, world.secrets, launcher, world.loginItem, world.scheduler});
    TunnelRunner &runner = *manager.runner(FakeWorld::addTunnel(manager, u"Home"_s).id);

    qputenv("MORVANEL_SCRIPT", "blast 2500 150\nexit 0");
    runner.onProcessExited = [](qint32) { QCoreApplication::quit(); };
    runner.start(executable, u"eyJ"_s);
    if (!runner.hasChild())
        qFatal("MORVANEL_CLOUDFLARED names no program");
    QCoreApplication::exec();
    reportOpening(manager);

    const int seconds = argc > 1 ? QByteArray(argv[1]).toInt() : 10;
    qputenv("MORVANEL_SCRIPT", "blast 500 150\npause 10\nloop " + QByteArray::number(100 * seconds));
    LogView view(manager, std::nullopt);
    view.resize(windowSize);
    QWidget *viewport = view.findChild<QPlainTextEdit *>()->viewport();
    reportFlood("flood, window not shown:", runner, viewport, executable);
    view.show();
    reportFlood("flood, window shown:", runner, viewport, executable);
    return 0;
}
