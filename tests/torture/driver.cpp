// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// The engine of the program without windows, over the real preferences, keyring and children of the session
// it runs in: driver SEED PAUSE. It starts as the program does and then does one random operation after the
// other, every PAUSE milliseconds, until it is killed. On standard output:
//
//   bare ID          a tunnel that was loaded has no token
//   want STATE       an operation begins that will lead to this state
//   have STATE       the state that was loaded, or that the operation has led to

#include "AutostartLoginItem.h"
#include "LinuxChildLauncher.h"
#include "LinuxProcessTable.h"
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

void say(const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    if (::write(STDOUT_FILENO, bytes.constData(), size_t(bytes.size())) != bytes.size())
        ::_exit(1);
}

void sayState(const QString &word, bool showsInDock, const QList<TunnelConfig> &tunnels)
{
    QStringList words{word, showsInDock ? u"dock"_s : u"no-dock"_s};
    for (const TunnelConfig &tunnel : tunnels)
        words += tunnelIdText(tunnel.id);
    say(words.join(u' '));
}

/// The keyring, and whether it has stored everything so far.
class ObservedStore : public SecretStore
{
public:
    void perform(Task task) override
    {
        ++m_tasks;
        m_store.perform([this, task = std::move(task)](Secrets &secrets) -> std::function<void()> {
            return [this, answer = task(secrets)] {
                --m_tasks;
                answer();
            };
        });
    }
    bool isIdle() const { return m_tasks == 0; }

private:
    SecretServiceStore m_store;
    int m_tasks = 0;
};

class Driver : public QObject
{
public:
    Driver(quint32 seed, std::chrono::milliseconds pause)
        : m_random(seed)
    {
        m_manager.terminateOrphanedProcesses();
        QList<QUuid> ids;
        for (const TunnelConfig &tunnel : m_manager.tunnels())
            ids += tunnel.id;
        connect(&m_keychain, &KeychainStore::tokensRead, this, [](const QList<StoredToken> &tokens) {
            for (const StoredToken &read : tokens) {
                if (!read.token)
                    say(u"bare "_s + tunnelIdText(read.id));
            }
        });
        m_keychain.readTokens(ids);
        // A change is complete when its token is stored too.
        m_timer.callOnTimeout([this] {
            if (!m_secrets.isIdle())
                return;
            sayState(u"have"_s, m_manager.showsInDock(), m_manager.tunnels());
            step();
        });
        m_timer.start(pause);
    }

private:
    void step()
    {
        constexpr qsizetype mostTunnels = 8;
        QList<TunnelConfig> tunnels = m_manager.tunnels();
        bool showsInDock = m_manager.showsInDock();
        const int choice = m_random.bounded(100);
        const qsizetype any = tunnels.isEmpty() ? 0 : m_random.bounded(int(tunnels.size()));
        const QUuid id = tunnels.isEmpty() ? QUuid() : tunnels[any].id;
        if (tunnels.isEmpty() || (choice < 15 && tunnels.size() < mostTunnels)) {
            const TunnelConfig added{QUuid::createUuid(), u"tunnel"_s, {}, false};
            sayState(u"want"_s, showsInDock, tunnels + QList{added});
            m_manager.add(added, u"eyJtoken"_s);
        } else if (choice < 25) {
            tunnels.removeAt(any);
            sayState(u"want"_s, showsInDock, tunnels);
            m_manager.remove(id);
        } else if (choice < 35) {
            sayState(u"want"_s, !showsInDock, tunnels);
            m_manager.setShowsInDock(!showsInDock);
        } else if (choice < 80) {
            m_manager.start(id);
        } else {
            m_manager.stop(id);
        }
    }

    QRandomGenerator m_random;
    LinuxChildLauncher m_launcher;
    LinuxProcessTable m_processes;
    TimerScheduler m_scheduler;
    PreferencesFile m_preferences{PreferencesFile::defaultPath()};
    ObservedStore m_secrets;
    KeychainStore m_keychain{m_secrets, m_scheduler}; ///< for what an earlier run left
    AutostartLoginItem m_loginItem{AutostartLoginItem::defaultFolder(),
                                   QCoreApplication::applicationFilePath()};
    TunnelManager m_manager{
        TunnelServices{m_preferences, m_secrets, m_launcher, m_processes, m_loginItem, m_scheduler}};
    QTimer m_timer;
};

} // namespace

int main(int argc, char **argv)
{
    ProcessSetup::prepare();
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const Driver driver(arguments.value(1).toUInt(), std::chrono::milliseconds(arguments.value(2).toInt()));
    return QCoreApplication::exec();
}
