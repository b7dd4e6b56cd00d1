// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Cost of the Settings window: from the request to its first painted frame against an empty QMainWindow
// with a QTabWidget and one word, the first time in a process and later; and what a changed state costs in a
// list of 500 tunnels against one of 5. With an argument it opens that one window in a fresh process and
// prints the milliseconds.

#include "AppFakes.h"
#include "Fakes.h"
#include "Measure.h"
#include "SettingsView.h"
#include "StatusIcon.h"
#include "SymbolDrawing.h"
#include "WindowPresenter.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QListView>
#include <QMainWindow>
#include <QProcess>
#include <QTabWidget>

#include <cstdio>
#include <ctime>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int firstRounds = 15;
constexpr int laterRounds = 40;
constexpr int changes = 200;
constexpr QSize windowSize(720, 460);

double processorMilliseconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

void waitForFrame(QWidget *widget)
{
    PaintCounter counter(widget);
    counter.quitsAtFirst = true;
    QCoreApplication::exec();
}

/// A program's worth of parts behind the Settings window, with so many tunnels.
struct Parts
{
    explicit Parts(int tunnels)
        : manager(world.services())
    {
        for (int i = 0; i < tunnels; ++i)
            ids += FakeWorld::addTunnel(manager, u"Tunnel %1"_s.arg(i), u"t%1.example.org"_s.arg(i)).id;
    }

    FakeWorld world;
    TunnelManager manager;
    QList<QUuid> ids;
};

/// Milliseconds from the request to the first painted frame, as the program opens the window.
double settingsTime(Parts &parts)
{
    FakeDesktop desktop;
    WindowPresenter presenter(parts.manager, desktop);
    QElapsedTimer timer;
    timer.start();
    presenter.showSettings();
    waitForFrame(presenter.settingsWindow());
    return double(timer.nsecsElapsed()) / 1e6;
}

/// One tab with one word: a process loads its font for that alone, whatever else it shows.
void fillEmpty(QMainWindow &window)
{
    auto *tabs = new QTabWidget;
    tabs->addTab(new QLabel(u"Empty"_s), QString());
    window.setCentralWidget(tabs);
    window.resize(windowSize);
}

double emptyTime()
{
    QElapsedTimer timer;
    timer.start();
    QMainWindow window;
    fillEmpty(window);
    window.show();
    waitForFrame(&window);
    return double(timer.nsecsElapsed()) / 1e6;
}

double firstTime(const QString &which)
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {which});
    process.waitForFinished();
    return process.readAllStandardOutput().toDouble();
}

/// The same for a window that was closed, as it is at every later request.
double reopeningTime(QWidget *window, const std::function<void()> &request)
{
    window->hide();
    QCoreApplication::processEvents();
    QElapsedTimer timer;
    timer.start();
    request();
    waitForFrame(window);
    return double(timer.nsecsElapsed()) / 1e6;
}

void report(const char *when, const Figures &empty, const Figures &settings)
{
    std::printf("Settings, %-21s %6.2f ms, empty window with tabs %6.2f ms: %.2f times (at most 1.5)\n", when,
                median(settings), median(empty), median(settings) / median(empty));
}

void reportOpening()
{
    Figures empty;
    Figures settings;
    for (int round = 0; round < firstRounds; ++round) {
        empty.push_back(firstTime(u"empty"_s));
        settings.push_back(firstTime(u"settings"_s));
    }
    report("first in the process:", empty, settings);
    Parts parts(3);
    empty.clear();
    settings.clear();
    for (int round = 0; round < laterRounds; ++round) {
        empty.push_back(emptyTime());
        settings.push_back(settingsTime(parts));
    }
    report("made again:", empty, settings);
}

void reportReopening()
{
    Parts parts(3);
    FakeDesktop desktop;
    WindowPresenter presenter(parts.manager, desktop);
    presenter.showSettings();
    QMainWindow plain;
    fillEmpty(plain);
    Figures empty;
    Figures settings;
    for (int round = 0; round < laterRounds; ++round) {
        empty.push_back(reopeningTime(&plain, [&] { plain.show(); }));
        settings.push_back(reopeningTime(presenter.settingsWindow(), [&] { presenter.showSettings(); }));
    }
    report("closed and reopened:", empty, settings);
}

/// A shown list of tunnels, one of whose rows changes.
class ShownList
{
public:
    explicit ShownList(int tunnels)
        : m_parts(tunnels)
        , m_view(m_parts.manager)
        , m_list(m_view.findChild<QListView *>())
        , m_child(m_parts.world.connect(m_parts.manager, m_parts.ids[2], 1))
    {
        auto *tabs = m_view.findChild<QTabWidget *>();
        for (int tab = 0; tab < tabs->count(); ++tab) {
            if (tabs->widget(tab)->isAncestorOf(m_list))
                tabs->setCurrentIndex(tab);
        }
        m_view.resize(windowSize);
        m_view.show();
        waitForFrame(m_list->viewport());
        QCoreApplication::processEvents();
    }

    void change()
    {
        PaintCounter paints(m_list->viewport());
        paints.quitsAtFirst = true;
        const double begin = processorMilliseconds();
        m_isConnected = !m_isConnected;
        m_child.write(m_isConnected ? "INF Registered tunnel connection connIndex=0\n"
                                    : "INF Unregistered tunnel connection connIndex=0\n");
        QCoreApplication::exec();
        cost.push_back(processorMilliseconds() - begin);
        QCoreApplication::processEvents();
        paintings += paints.count;
        rows += double(paints.height) / m_list->visualRect(m_list->model()->index(2, 0)).height();
    }

    Figures cost; ///< milliseconds of processor time
    int paintings = 0;
    double rows = 0;

private:
    Parts m_parts;
    SettingsView m_view;
    QListView *m_list;
    FakeChildLauncher::Child &m_child;
    bool m_isConnected = true;
};

void reportList()
{
    ShownList few(5);
    ShownList many(500);
    for (int i = 0; i < changes; ++i) {
        few.change();
        many.change();
    }
    for (const auto &[list, tunnels] : {std::pair(&few, 5), std::pair(&many, 500)}) {
        std::printf(
            "a changed state among %3d tunnels: %.3f ms of processor time, %.2f paintings of %.2f rows "
            "(1 of 1)\n",
            tunnels, median(list->cost), double(list->paintings) / changes, list->rows / changes);
    }
    std::printf("a changed state among 500 against among 5: %.2f times (at most 1.5)\n",
                median(many.cost) / median(few.cost));
}

} // namespace

int main(int argc, char **argv)
{
    const QApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    if (argc > 1) {
        Parts parts(3);
        // Done by the panel's menu long before.
        SymbolDrawing::image(StatusIcon::dot(TunnelState::stopped()).symbolName, 16, Qt::black);
        std::printf("%f\n", QByteArrayView(argv[1]) == "empty" ? emptyTime() : settingsTime(parts));
        return 0;
    }
    reportOpening();
    reportReopening();
    reportList();
    return 0;
}
