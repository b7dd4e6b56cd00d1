// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "LoginItem.h"
#include "Preferences.h"
#include "Scheduler.h"
#include "SecretStore.h"
#include "TunnelConfig.h"
#include "TunnelManager.h"

#include <QFile>
#include <QMap>
#include <QTemporaryDir>
#include <QVariant>

#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <vector>

/// Preferences in memory; a second manager over the same object is the next run of the program.
class FakePreferences : public Preferences
{
public:
    using Integers = QList<qint32>;

    std::optional<QString> string(const QString &key) const override { return get<QString>(key); }
    std::optional<bool> boolean(const QString &key) const override { return get<bool>(key); }
    std::optional<QByteArray> data(const QString &key) const override { return get<QByteArray>(key); }
    std::optional<Integers> integers(const QString &key) const override { return get<Integers>(key); }
    void setString(const QString &key, const QString &value) override { set(key, value); }
    void setBoolean(const QString &key, bool value) override { set(key, value); }
    void setData(const QString &key, const QByteArray &value) override { set(key, value); }
    void setIntegers(const QString &key, const Integers &value,
                     Durability durability = Durability::OnDisk) override
    {
        set(key, QVariant::fromValue(value));
        waits += durability == Durability::OnDisk ? 1 : 0;
    }
    void remove(const QString &key) override { values.remove(key); }

    QVariantMap values;
    int writes = 0;
    int waits = 0; ///< writes of integers that wait for the disk

private:
    template <typename T> std::optional<T> get(const QString &key) const
    {
        const QVariant value = values.value(key);
        return value.metaType() == QMetaType::fromType<T>() ? std::optional(value.value<T>()) : std::nullopt;
    }
    void set(const QString &key, const QVariant &value)
    {
        values[key] = value;
        ++writes;
    }
};

/// Secrets in memory; the user is asked to unlock them when a test says so.
class FakeSecretStore : public SecretStore
{
public:
    void setCallbacks(Callbacks callbacks) override { m_callbacks = std::move(callbacks); }
    void exchange(const Calls &calls, bool mayAsk, Done done) override
    {
        m_waiting = [this, calls, done = std::move(done)] {
            QList<SecretReply> replies;
            for (const SecretCall &call : calls)
                replies += replyTo(call);
            done(replies);
        };
        if (!isLocked)
            std::exchange(m_waiting, {})();
        else if (!mayAsk)
            refuse();
    }
    bool isAsking() const { return bool(m_waiting); }
    /// Ends the wait of the calls, which find the store open or this failure.
    void answer(SecretStatus status = SecretStatus::Success)
    {
        failure = status;
        isLocked = false;
        std::exchange(m_waiting, {})();
    }
    /// Puts the question on the screen.
    void ask() { m_callbacks.asking(true); }
    /// Has a store appear, which is open.
    void appear()
    {
        failure = SecretStatus::Success;
        m_callbacks.appeared();
    }

    QMap<QString, QByteArray> items;              ///< by account
    QMap<QString, QString> labels;                ///< of the services and the items
    SecretStatus failure = SecretStatus::Success; ///< of every call
    bool isLocked = false;                        ///< calls wait for `answer`

private:
    void refuse()
    {
        failure = SecretStatus::Locked;
        std::exchange(m_waiting, {})();
        failure = SecretStatus::Success;
    }
    SecretReply replyTo(const SecretCall &call)
    {
        const QString &account = call.key.account;
        if (failure != SecretStatus::Success)
            return {{failure, QStringLiteral("the keyring is closed")}};
        if (call.kind == SecretCall::Kind::Store) {
            if (!items.contains(account))
                labels[account] = call.key.service + QStringLiteral(": ") + call.label;
            items[account] = call.data;
            return {};
        }
        if (!items.contains(account))
            return {{SecretStatus::NotFound}};
        return {{}, call.kind == SecretCall::Kind::Remove ? items.take(account) : items[account]};
    }

    Callbacks m_callbacks;
    std::function<void()> m_waiting;
};

/// Time that moves only when told.
class FakeScheduler : public Scheduler
{
public:
    Duration now() const override { return m_now; }
    std::unique_ptr<ScheduledWork> after(Duration delay, std::function<void()> work) override
    {
        auto handle = std::make_unique<Handle>();
        handle->work = std::make_shared<std::function<void()>>(std::move(work));
        m_entries.emplace(m_now + delay, handle->work);
        return handle;
    }

    /// Lets the time pass and runs what falls due, in order.
    void advance(Duration duration)
    {
        const Duration end = m_now + duration;
        while (!m_entries.empty() && m_entries.begin()->first <= end) {
            const auto due = m_entries.extract(m_entries.begin());
            m_now = due.key();
            if (const auto work = due.mapped().lock())
                (*work)();
        }
        m_now = end;
    }
    /// Work that waits and has not been cancelled.
    qsizetype pendingCount() const
    {
        return std::ranges::count_if(m_entries, [](const auto &entry) { return !entry.second.expired(); });
    }

private:
    struct Handle : ScheduledWork
    {
        std::shared_ptr<std::function<void()>> work;
    };

    Duration m_now{0};
    std::multimap<Duration, std::weak_ptr<std::function<void()>>> m_entries;
};

/// Children driven by hand: a test writes their output and ends them.
class FakeChildLauncher : public ChildLauncher
{
public:
    struct Child
    {
        qint32 pid;
        ChildCommand command;
        ChildProcess::Callbacks callbacks;
        bool isRunning = true;
        bool isHeld = true; ///< its handle has not been destroyed
        QList<int> signalsSent = {};

        void write(const QByteArray &bytes)
        {
            if (isHeld)
                callbacks.output(bytes);
        }
        void end(int status, const QString &signal = {})
        {
            isRunning = false;
            if (isHeld)
                ChildProcess::Callbacks(callbacks).ended(status, signal);
        }
    };

    Prepared prepare(const ChildCommand &command, ChildProcess::Callbacks callbacks) override
    {
        if (int(children.size()) == mostChildren)
            return {nullptr, error};
        children.push_back(std::make_shared<Child>(Child{m_nextPid++, command, std::move(callbacks)}));
        auto handle = std::make_unique<Handle>();
        handle->launcher = this;
        handle->child = children.back();
        return {std::move(handle), {}};
    }
    void terminateOrphan(qint32 pid, QByteArrayView pathEnd) override
    {
        if (orphanPaths.value(pid).endsWith(pathEnd))
            terminatedOrphans += pid;
    }
    Child &last()
    {
        if (children.empty())
            qFatal("A test asks for the last child, but none was started.");
        return *children.back();
    }

    std::vector<std::shared_ptr<Child>> children;
    QMap<qint32, QByteArray> orphanPaths; ///< the processes that this user may signal
    QList<qint32> terminatedOrphans;
    int mostChildren = -1; ///< there is no process for more
    QString error;         ///< not empty: no program can be run, for this reason
    std::function<void()> aboutToRun;

private:
    struct Handle : ChildProcess
    {
        ~Handle() override { child->isHeld = false; }
        qint32 pid() const override { return child->pid; }
        QString run() override
        {
            if (launcher->aboutToRun)
                launcher->aboutToRun();
            if (!launcher->error.isEmpty())
                std::erase(launcher->children, child);
            return launcher->error;
        }
        bool isRunning() const override { return child->isRunning; }
        void terminate() override { child->signalsSent += 15; }
        void kill() override { child->signalsSent += 9; }

        FakeChildLauncher *launcher = nullptr;
        std::shared_ptr<Child> child;
    };

    qint32 m_nextPid = 1000;
};

struct FakeLoginItem : LoginItem
{
    LoginItemStatus status() const override { return current; }
    void registerItem() override { change(LoginItemStatus::Enabled); }
    void unregisterItem() override { change(LoginItemStatus::NotRegistered); }
    void change(LoginItemStatus status)
    {
        ++requests;
        if (!refusal.isEmpty())
            throw LoginItemError(refusal);
        current = status;
    }

    LoginItemStatus current = LoginItemStatus::NotRegistered;
    QString refusal; ///< not empty: changes fail with it
    int requests = 0;
};

/// Everything a manager touches, faked, with an executable file at `cloudflaredPath`.
struct FakeWorld
{
    FakePreferences preferences;
    FakeSecretStore secrets;
    FakeChildLauncher launcher;
    FakeLoginItem loginItem;
    FakeScheduler scheduler;
    QTemporaryDir folder;
    const QString cloudflaredPath = folder.filePath(QStringLiteral("cloudflared"));

    FakeWorld()
    {
        preferences.values[QStringLiteral("cloudflaredPath")] = cloudflaredPath;
        install(cloudflaredPath);
    }

    /// Puts an executable file there.
    static void install(const QString &path)
    {
        if (!QFile::copy(QStringLiteral("/bin/true"), path))
            qFatal("No executable file can be made.");
    }

    TunnelServices services() { return {preferences, secrets, launcher, loginItem, scheduler}; }

    /// Adds a tunnel with a token; the manager is the test's own.
    static TunnelConfig addTunnel(TunnelManager &manager, const QString &name, const QString &hostname = {},
                                  const QString &token = QStringLiteral("eyJ-token"))
    {
        TunnelConfig tunnel{QUuid::createUuid(), name, hostname, false};
        manager.add(tunnel, token);
        return tunnel;
    }

    /// Starts the tunnel and gives its child's connections.
    FakeChildLauncher::Child &connect(TunnelManager &manager, const QUuid &id, int connections = 1)
    {
        manager.start(id);
        FakeChildLauncher::Child &child = launcher.last();
        for (int i = 0; i < connections; ++i)
            child.write("INF Registered tunnel connection connIndex=" + QByteArray::number(i) + "\n");
        return child;
    }
};
