// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Cost of the item in the panel. bench_panel.py runs it in a session with the program:
//   bench_panel tunnel run    a tunnel's child: connected, then prints what is written into its FIFO
//   bench_panel client FIFO   a panel's side of the bus, that writes the child's lines itself
//   bench_panel menus         building and comparing menus, without a bus

#include "AppFakes.h"
#include "DBusMenu.h"
#include "Fakes.h"
#include "Measure.h"
#include "StatusItemController.h"

#include <QCoreApplication>
#include <QDBusAbstractInterface>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QTimer>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int latencyRounds = 500;
constexpr int changes = 1000;
constexpr int menuRounds = 300;

/// A second connection comes and goes: the text below the tunnel's name changes, and no more.
QByteArray changingLine(int number)
{
    return number % 2 == 0 ? "2026-11-24T17:16:51Z INF Registered tunnel connection connIndex=1\n"
                           : "2026-11-24T17:16:51Z INF Unregistered tunnel connection connIndex=1\n";
}

void writeAll(int descriptor, QByteArrayView bytes)
{
    if (::write(descriptor, bytes.data(), size_t(bytes.size())) != bytes.size())
        qFatal("cannot write");
}

int playChild()
{
    const QByteArray path = qgetenv("MORVANEL_FIFOS") + '/' + qgetenv("TUNNEL_TOKEN");
    ::mkfifo(path.constData(), 0600);
    const int fifo = ::open(path.constData(), O_RDWR | O_CLOEXEC); // with a writer, so that it never ends
    writeAll(STDERR_FILENO, "2026-11-24T17:16:50Z INF Registered tunnel connection connIndex=0\n");
    std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t count = ::read(fifo, buffer.data(), buffer.size());
        if (count <= 0)
            return 1;
        writeAll(STDERR_FILENO, {buffer.data(), count});
    }
}

} // namespace

/// The menu as a panel hears of it.
class PanelMenu : public QDBusAbstractInterface
{
    Q_OBJECT

public:
    explicit PanelMenu(const QDBusConnection &bus)
        : QDBusAbstractInterface(u"com.ardentwick.Morvanel"_s, u"/MenuBar"_s, "com.canonical.dbusmenu", bus,
                                 nullptr)
    {
        connect(this, &PanelMenu::ItemsPropertiesUpdated, this, [this] { ++heard; });
    }

    int heard = 0;

Q_SIGNALS:
    void ItemsPropertiesUpdated(const MenuPropertiesList &updated, const MenuPropertyNamesList &removed);
};

namespace {

/// Microseconds that a call takes.
double roundTrip(const QDBusMessage &call)
{
    QElapsedTimer timer;
    timer.start();
    if (QDBusConnection::sessionBus().call(call).type() != QDBusMessage::ReplyMessage)
        qFatal("no answer");
    return double(timer.nsecsElapsed()) / 1e3;
}

QDBusMessage bareCall()
{
    return QDBusMessage::createMethodCall(u"com.ardentwick.Morvanel"_s, u"/"_s,
                                          u"org.freedesktop.DBus.Peer"_s, u"Ping"_s);
}

QDBusMessage layoutCall()
{
    QDBusMessage call = QDBusMessage::createMethodCall(u"com.ardentwick.Morvanel"_s, u"/MenuBar"_s,
                                                       u"com.canonical.dbusmenu"_s, u"GetLayout"_s);
    call.setArguments({0, -1, QStringList()});
    return call;
}

/// Microseconds from the child's line to the signal.
double signalTime(PanelMenu &menu, int fifo, int number)
{
    const int before = menu.heard;
    QElapsedTimer timer;
    timer.start();
    writeAll(fifo, changingLine(number));
    while (menu.heard == before)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return double(timer.nsecsElapsed()) / 1e3;
}

/// Reports and returns the median of a bare round trip in microseconds.
double reportLatency(PanelMenu &menu, int fifo)
{
    Figures bare;
    Figures lines;
    for (int i = 0; i < latencyRounds; ++i) {
        bare.push_back(roundTrip(bareCall()));
        lines.push_back(signalTime(menu, fifo, i));
        std::this_thread::sleep_for(2ms); // each one finds the program at rest
    }
    std::printf("line to signal: %.0f us, bare round trip %.0f us: %.2f times (at most 5)\n", median(lines),
                median(bare), median(lines) / median(bare));
    return median(bare);
}

void reportStorm(PanelMenu &menu, int fifo, double bare)
{
    const int before = menu.heard;
    std::atomic<bool> isOver = false;
    QElapsedTimer timer;
    timer.start();
    std::thread writer([&] {
        auto next = std::chrono::steady_clock::now();
        for (int i = 0; i < changes; ++i) {
            writeAll(fifo, changingLine(i));
            std::this_thread::sleep_until(next += 1ms);
        }
        isOver = true;
    });
    Figures answers;
    while (!isOver)
        answers.push_back(roundTrip(layoutCall()));
    writer.join();
    const double seconds = double(timer.elapsed()) / 1e3;
    QTimer::singleShot(500, qApp, &QCoreApplication::quit);
    QCoreApplication::exec();
    std::printf("%d changes in %.2f s: %zu answers to GetLayout, median %.0f us, 99th percentile %.0f us, "
                "%.1f bare round trips (at most 20); %d signals (at most one a change)\n",
                changes, seconds, answers.size(), median(answers), quantile(answers, 0.99),
                quantile(answers, 0.99) / bare, menu.heard - before);
}

int playClient(const char *path)
{
    const int fifo = ::open(path, O_WRONLY | O_CLOEXEC);
    if (fifo < 0)
        qFatal("no FIFO");
    registerBusTypes();
    PanelMenu menu(QDBusConnection::sessionBus());
    roundTrip(bareCall());
    const double bare = reportLatency(menu, fifo);
    reportStorm(menu, fifo, bare);
    return 0;
}

/// A manager with connected tunnels, and its menu as it was last sent.
class SentMenu
{
public:
    explicit SentMenu(int tunnels)
        : m_manager(m_world.services())
    {
        for (int i = 0; i < tunnels; ++i) {
            const TunnelConfig tunnel =
                FakeWorld::addTunnel(m_manager, u"Tunnel %1"_s.arg(i), u"t%1.example.org"_s.arg(i));
            m_world.connect(m_manager, tunnel.id);
        }
        refresh();
    }

    /// Microseconds to build the menu after a change and to find what of it is to be sent.
    double change()
    {
        m_world.launcher.last().write(changingLine(m_number++));
        QElapsedTimer timer;
        timer.start();
        const MenuChange change = refresh(); // the launcher's menu is built as well
        const double taken = double(timer.nsecsElapsed()) / 1e3;
        if (change.updated.size() != 1 || change.isNewLayout)
            qFatal("the change was not found");
        return taken;
    }

private:
    MenuChange refresh()
    {
        m_item.callbacks.menuAboutToShow();
        return m_exported.update(m_item.menu, {});
    }

    FakeWorld m_world;
    TunnelManager m_manager;
    FakeDesktop m_desktop;
    FakeStatusItem m_item;
    StatusItemController m_controller{m_manager, m_desktop, m_item, m_desktop};
    ExportedMenu m_exported;
    int m_number = 0;
};

void reportBuilding()
{
    SentMenu few(10);
    SentMenu many(100);
    Figures ten;
    Figures hundred;
    for (int i = 0; i < menuRounds; ++i) {
        ten.push_back(few.change());
        hundred.push_back(many.change());
    }
    std::printf(
        "building and comparing the menu: 10 tunnels %.0f us, 100 tunnels %.0f us: %.2f times (at most "
        "10)\n",
        median(ten), median(hundred), median(hundred) / median(ten));
}

/// Number of refreshes under way: as many as follow once no more changes come.
void reportOutstanding()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    world.connect(manager, FakeWorld::addTunnel(manager, u"Home"_s).id);
    FakeDesktop desktop;
    FakeStatusItem item;
    const StatusItemController controller(manager, desktop, item, desktop);
    const int before = item.refreshes;
    for (int i = 0; i < changes; ++i)
        world.launcher.last().write(changingLine(i));
    QCoreApplication::processEvents();
    std::printf("refreshes outstanding after %d changes at once: %d (1)\n", changes, item.refreshes - before);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 1 && QByteArrayView(argv[1]) == "tunnel")
        return playChild();
    const QCoreApplication app(argc, argv);
    if (argc > 2)
        return playClient(argv[2]);
    reportBuilding();
    reportOutstanding();
    return 0;
}

#include "bench_panel.moc"
