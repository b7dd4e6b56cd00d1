// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// What the Settings window costs: opened against an empty QMainWindow with a QTabWidget, and for a change of
// one tunnel's state with 5 and with 500 tunnels.

#include "Fakes.h"
#include "SettingsView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QListView>
#include <QMainWindow>
#include <QTabWidget>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize windowSize(720, 460);

/// Counts the paintings of a widget.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *widget)
        : QObject(widget)
    {
        widget->installEventFilter(this);
    }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        count += event->type() == QEvent::Paint;
        return QObject::eventFilter(watched, event);
    }

    int count = 0;
};

/// Lets the event loop turn until the widget has been painted once more.
void waitForPaint(const PaintCounter &paints)
{
    const int before = paints.count;
    while (paints.count == before)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

double millisecondsOf(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

/// From nothing to the first painted frame.
template <typename Make> double openingTime(Make makeContent)
{
    QElapsedTimer timer;
    timer.start();
    QMainWindow window;
    window.setCentralWidget(makeContent());
    const PaintCounter paints(&window);
    window.resize(windowSize);
    window.show();
    waitForPaint(paints);
    return millisecondsOf(timer);
}

void reportOpening()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    for (int i = 0; i < 5; ++i)
        FakeWorld::addTunnel(manager, QString::number(i), u"host.example"_s);
    double empty = 1e9;
    double settings = 1e9;
    for (int round = 0; round < 20; ++round) {
        empty = std::min(empty, openingTime([] {
                             auto *tabs = new QTabWidget;
                             tabs->addTab(new QWidget, u"Tunnel"_s);
                             tabs->addTab(new QWidget, u"General"_s);
                             return tabs;
                         }));
        settings = std::min(settings, openingTime([&] { return new SettingsView(manager); }));
    }
    std::printf("opening: empty window with tabs %.2f ms, Settings %.2f ms: %.2f times (at most 1.5)\n",
                empty, settings, settings / empty);
}

/// From a change of one tunnel's state to the painted row, the fastest of many.
double stateChangeTime(int tunnels)
{
    FakeWorld world;
    TunnelManager manager(world.services());
    for (int i = 0; i < tunnels; ++i)
        FakeWorld::addTunnel(manager, QString::number(i), u"host.example"_s);
    QMainWindow window;
    auto *content = new SettingsView(manager);
    window.setCentralWidget(content);
    window.resize(windowSize);
    const PaintCounter paints(content->findChild<QListView *>()->viewport());
    window.show();
    waitForPaint(paints);
    FakeChildLauncher::Child &child = world.connect(manager, manager.tunnels()[1].id);
    waitForPaint(paints);
    double fastest = 1e9;
    for (int round = 0; round < 400; ++round) {
        QElapsedTimer timer;
        timer.start();
        child.write(round % 2 ? "INF Unregistered tunnel connection connIndex=1\n"
                              : "INF Registered tunnel connection connIndex=1\n");
        waitForPaint(paints);
        fastest = std::min(fastest, millisecondsOf(timer));
    }
    return fastest;
}

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    reportOpening();
    const double few = stateChangeTime(5);
    const double many = stateChangeTime(500);
    std::printf("change of a state: 5 tunnels %.3f ms, 500 tunnels %.3f ms: %.2f times (at most 1.5)\n", few,
                many, many / few);
    return 0;
}
