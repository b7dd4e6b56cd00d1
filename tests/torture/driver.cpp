// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// The engine of the program without windows, over the real preferences, keyring and children of the session
// it runs in. It starts as the program does and then does one random operation after the other until it is
// killed:
//
//   driver SEED [OPERATIONS [PAUSE]]   with a count, it stops everything after so many operations and ends;
//                                      PAUSE is in milliseconds
//
// On standard output: "tunnel ID NAME TOKEN" for each tunnel that was loaded, TOKEN being "yes" or "no", then
// "dock 0|1" and "ready"; then "doing ..." before and "done" after each operation.

#include "AutostartLoginItem.h"
#include "LinuxChildLauncher.h"
#include "LinuxProcessTable.h"
#include "PosixFileAccess.h"
#include "PreferencesFile.h"
#include "ProcessSetup.h"
#include "SecretServiceStore.h"
#include "TimerScheduler.h"
#include "TunnelManager.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QTimer>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mostTunnels = 8;

void say(const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    if (::write(STDOUT_FILENO, bytes.constData(), size_t(bytes.size())) != bytes.size())
        ::_exit(1);
}

class Driver
{
public:
    Driver(quint32 seed, int operations, int pause)
        : m_random(seed)
        , m_seed(seed)
        , m_operations(operations)
    {
        m_manager.terminateOrphanedProcesses();
        KeychainStore keychain(m_secrets);
        for (const TunnelConfig &tunnel : m_manager.tunnels()) {
            say(u"tunnel %1 %2 %3"_s.arg(tunnelIdText(tunnel.id), tunnel.name,
                                         keychain.token(tunnel.id) ? u"yes"_s : u"no"_s));
        }
        say(u"dock %1"_s.arg(int(m_manager.showsInDock())));
        say(u"ready"_s);
        m_timer.callOnTimeout([this] { step(); });
        m_timer.start(pause);
    }

private:
    void step()
    {
        if (m_operations > 0 && m_count == m_operations)
            return finish();
        ++m_count;
        const qsizetype count = m_manager.tunnels().size();
        const int choice = m_random.bounded(100);
        if (count == 0 || (choice < 15 && count < mostTunnels))
            add();
        else if (choice < 25)
            remove(anyTunnel());
        else if (choice < 35)
            move(m_random.bounded(int(count)), m_random.bounded(int(count) + 1));
        else if (choice < 42)
            setDock(!m_manager.showsInDock());
        else if (choice < 80)
            start(anyTunnel());
        else
            stop(anyTunnel());
        say(u"done"_s);
    }
    const TunnelConfig &anyTunnel()
    {
        return m_manager.tunnels().at(m_random.bounded(int(m_manager.tunnels().size())));
    }
    void add()
    {
        const TunnelConfig tunnel{QUuid::createUuid(), u"t%1-%2"_s.arg(m_seed).arg(m_count), {}, false};
        say(u"doing add %1 %2"_s.arg(tunnelIdText(tunnel.id), tunnel.name));
        m_manager.add(tunnel, u"eyJ"_s + tunnel.name);
    }
    void remove(TunnelConfig tunnel)
    {
        say(u"doing remove %1"_s.arg(tunnelIdText(tunnel.id)));
        m_manager.remove(tunnel.id);
    }
    void move(int from, int to)
    {
        say(u"doing move %1 %2"_s.arg(from).arg(to));
        m_manager.moveTunnels({from}, to);
    }
    void setDock(bool shows)
    {
        say(u"doing dock %1"_s.arg(int(shows)));
        m_manager.setShowsInDock(shows);
    }
    void start(const TunnelConfig &tunnel)
    {
        say(u"doing start %1"_s.arg(tunnelIdText(tunnel.id)));
        m_manager.start(tunnel.id);
    }
    void stop(const TunnelConfig &tunnel)
    {
        say(u"doing stop %1"_s.arg(tunnelIdText(tunnel.id)));
        m_manager.stop(tunnel.id);
    }
    /// As at a quit: asks all children to end, and waits for them.
    void finish()
    {
        m_manager.stopAll();
        if (m_manager.childCount() == 0)
            QCoreApplication::quit();
    }

    QRandomGenerator m_random;
    quint32 m_seed;
    int m_operations;
    int m_count = 0;
    DescriptorWatcher m_watcher;
    LinuxChildLauncher m_launcher{m_watcher};
    LinuxProcessTable m_processes;
    PosixFileAccess m_files;
    TimerScheduler m_scheduler;
    PreferencesFile m_preferences{PreferencesFile::defaultPath()};
    SecretServiceStore m_secrets;
    AutostartLoginItem m_loginItem{AutostartLoginItem::defaultFolder(),
                                   QCoreApplication::applicationFilePath()};
    TunnelManager m_manager{
        TunnelServices{m_preferences, m_secrets, m_launcher, m_processes, m_files, m_loginItem, m_scheduler}};
    QTimer m_timer;
};

} // namespace

int main(int argc, char **argv)
{
    ProcessSetup::prepare();
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const Driver driver(arguments.value(1).toUInt(), arguments.value(2).toInt(), arguments.value(3).toInt());
    return QCoreApplication::exec();
}
