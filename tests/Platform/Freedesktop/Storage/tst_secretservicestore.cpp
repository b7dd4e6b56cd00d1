// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceStore.h"

#include "LowLimit.h"
#include "StandardErrorCapture.h"

#include <QTest>

#include <pthread.h>
#include <unistd.h>

#include "PrivateDesktop.h"

#include <gio/gio.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const SecretKey key = {u"com.ardentwick.Morvanel.test"_s, u"8A1D2C60-0D9C-4E56-A1A8-2F0C0F3B7A11"_s};
const SecretKey otherKey = {key.service, u"OTHER"_s};
const QByteArray secret = "s3cr3t-t0k3n";
const QByteArray password = "password";

/// No thread can be made while it lives: each would take more memory than there are addresses.
class NoThreads
{
public:
    NoThreads()
    {
        ::pthread_getattr_default_np(&m_before);
        pthread_attr_t endless;
        ::pthread_getattr_default_np(&endless);
        ::pthread_attr_setstacksize(&endless, size_t(1) << 50);
        ::pthread_setattr_default_np(&endless);
        ::pthread_attr_destroy(&endless);
    }
    ~NoThreads()
    {
        ::pthread_setattr_default_np(&m_before);
        ::pthread_attr_destroy(&m_before);
    }
    Q_DISABLE_COPY_MOVE(NoThreads)

private:
    pthread_attr_t m_before;
};

QStringList matchingArguments(const QString &command)
{
    return {command, u"service"_s, key.service, u"account"_s, key.account};
}

} // namespace

class SecretServiceStoreTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<PrivateDesktop> m_desktop;
    std::unique_ptr<SecretServiceStore> m_store;

    /// Compares the outcome of all four calls, and the line that each failure but "not found" writes.
    void compareFailure(SecretStatus expected, const QString &words)
    {
        const StandardErrorCapture errors;
        QCOMPARE(m_store->copyMatching(key).status, expected);
        QCOMPARE(m_store->update(key, secret), expected);
        QCOMPARE(m_store->add(key, secret, u"label"_s), expected);
        QCOMPARE(m_store->remove(key), expected);
        const QStringList lines = errors.lines();
        QCOMPARE(lines.size(), 4);
        for (const QString &line : lines) {
            QVERIFY2(line.contains(words), qPrintable(line));
            QVERIFY2(!line.contains(QString::fromUtf8(secret)), qPrintable(line));
        }
    }
    QByteArray stored() const { return m_store->copyMatching(key).data; }

    /// Until GLib's own thread has let the connection to this bus go, the next test would get it.
    static void waitForSharedConnection()
    {
        GDBusConnection *shared = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
        if (!shared)
            return;
        std::atomic<bool> isGone = false;
        g_dbus_connection_set_exit_on_close(shared, FALSE);
        const auto note = [](gpointer flag, GObject *) { *static_cast<std::atomic<bool> *>(flag) = true; };
        g_object_weak_ref(G_OBJECT(shared), note, &isGone);
        g_object_unref(shared);
        QTRY_VERIFY_WITH_TIMEOUT(isGone, 30'000);
    }

private Q_SLOTS:
    void init()
    {
        m_desktop = std::make_unique<PrivateDesktop>();
        m_store = std::make_unique<SecretServiceStore>();
    }
    void cleanup()
    {
        m_store.reset();
        waitForSharedConnection();
        m_desktop.reset();
    }

    /// The first of all: GLib keeps the threads that it has made.
    void outlivesALackOfThreads()
    {
        QVERIFY(m_desktop->startKeyring(password));
        const StandardErrorCapture errors;
        {
            const NoThreads none;
            QCOMPARE(m_store->copyMatching(key).status, SecretStatus::NotAvailable);
        }
        QVERIFY(errors.lines().first().contains(u"too many processes"_s));
        QCOMPARE(m_store->copyMatching(key).status, SecretStatus::ItemNotFound);
    }

    void keepsSecrets_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("text") << secret;
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no UTF-8, with NUL") << QByteArray("\xff\0\xfe\n", 4);
        QTest::newRow("100 kB") << QByteArray(100'000, 'x');
    }

    void keepsSecrets()
    {
        QFETCH(QByteArray, data);
        const StandardErrorCapture errors;
        QVERIFY(m_desktop->startKeyring(password));
        QCOMPARE(m_store->copyMatching(key).status, SecretStatus::ItemNotFound);
        QCOMPARE(m_store->update(key, data), SecretStatus::ItemNotFound);
        QCOMPARE(m_store->remove(key), SecretStatus::ItemNotFound);

        QCOMPARE(m_store->add(key, "first", u"Lábel"_s), SecretStatus::Success);
        QCOMPARE(m_store->add(otherKey, "other", u"Other"_s), SecretStatus::Success);
        QCOMPARE(m_store->update(key, data), SecretStatus::Success);
        const SecretStore::Lookup found = SecretServiceStore().copyMatching(key);
        QCOMPARE(found.status, SecretStatus::Success);
        QCOMPARE(found.data, data);
        const QString item = PrivateDesktop::secretTool(matchingArguments(u"search"_s));
        QVERIFY2(item.contains(u"label = Lábel\n"_s), qPrintable(item));
        QVERIFY2(item.contains(u"schema = com.ardentwick.Morvanel\n"_s), qPrintable(item));

        QCOMPARE(m_store->remove(key), SecretStatus::Success);
        QCOMPARE(m_store->copyMatching(key).status, SecretStatus::ItemNotFound);
        QCOMPARE(m_store->copyMatching(otherKey).data, "other");
        QCOMPARE(errors.lines(), QStringList());
    }

    void outlivesALackOfDescriptors()
    {
        QVERIFY(m_desktop->startKeyring(password));
        const StandardErrorCapture errors;
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::Success);
        const auto next = rlim_t(::dup(STDERR_FILENO));
        ::close(int(next));
        for (rlim_t left = 0; left < 24; ++left) {
            for (const bool isFirstUse : {false, true}) {
                if (isFirstUse)
                    m_store = std::make_unique<SecretServiceStore>();
                const LowLimit limit(RLIMIT_NOFILE, next + left);
                const SecretStatus status = m_store->copyMatching(key).status;
                QVERIFY(status == SecretStatus::Success || status == SecretStatus::NotAvailable);
            }
        }
        QVERIFY(errors.lines().first().contains(u"too many open files"_s));
        QCOMPARE(stored(), secret);
    }

    /// Items as a user stores them: without this program's schema, and more than one.
    void treatsAllThatMatchAsOne()
    {
        QVERIFY(m_desktop->startKeyring(password));
        const auto storeOther = [](const QString &mark, const QByteArray &data) {
            PrivateDesktop::secretTool(matchingArguments(u"store"_s) +
                                           QStringList{u"mark"_s, mark, u"--label"_s, u"Mine "_s + mark},
                                       data);
        };
        storeOther(u"a"_s, "a");
        QCOMPARE(stored(), "a");
        QCOMPARE(m_store->add(key, secret, u"Own"_s), SecretStatus::Success);
        storeOther(u"b"_s, "b");
        // Times of change count in seconds.
        QTRY_COMPARE((storeOther(u"a"_s, "newer"), stored()), "newer");
        QTRY_COMPARE((storeOther(u"b"_s, "newest"), stored()), "newest");

        QCOMPARE(m_store->update(key, secret), SecretStatus::Success);
        const QString items =
            PrivateDesktop::secretTool(matchingArguments(u"search"_s) + QStringList{u"--all"_s});
        QCOMPARE(items.count(u"secret = "_s + QString::fromUtf8(secret)), 3);
        for (const QString &label : {u"Own"_s, u"Mine a"_s, u"Mine b"_s})
            QCOMPARE(items.count(u"label = "_s + label), 1);
        QCOMPARE(items.count(u"attribute.mark = "_s), 2);
        QCOMPARE(m_store->remove(key), SecretStatus::Success);
        QCOMPARE(m_store->copyMatching(key).status, SecretStatus::ItemNotFound);
    }

    void saysThatThereIsNoService()
    {
        compareFailure(SecretStatus::NotAvailable, u"no Secret Service is running"_s);
    }

    void saysThatItIsLocked()
    {
        QVERIFY(m_desktop->startKeyring(password));
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::Success);
        m_desktop->stopKeyring();
        QVERIFY(m_desktop->startKeyring());
        compareFailure(SecretStatus::InteractionNotAllowed, u"locked"_s);
    }

    void saysThatThereIsNoCollectionYet()
    {
        QVERIFY(m_desktop->startKeyring());
        const StandardErrorCapture errors;
        QCOMPARE(m_store->copyMatching(key).status, SecretStatus::ItemNotFound);
        QCOMPARE(m_store->update(key, secret), SecretStatus::ItemNotFound);
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::InteractionNotAllowed);
        QCOMPARE(errors.lines().size(), 1);
        QVERIFY(errors.lines().at(0).contains(u"there is no default collection yet"_s));
    }

    void goesOnWithARestartedService()
    {
        QVERIFY(m_desktop->startKeyring(password));
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::Success);
        const StandardErrorCapture errors;
        for (const QByteArray &data : {QByteArray("one"), QByteArray("two")}) {
            m_desktop->stopKeyring();
            QVERIFY(m_desktop->startKeyring(password));
            QCOMPARE(m_store->update(key, data), SecretStatus::Success);
            m_desktop->stopKeyring();
            QVERIFY(m_desktop->startKeyring(password));
            QCOMPARE(stored(), data);
        }
        QCOMPARE(errors.lines(), QStringList());
    }

    void doesNotWaitForAFrozenService()
    {
        QVERIFY(m_desktop->startKeyring(password));
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::Success);
        m_desktop->signalKeyring(SIGSTOP);
        QElapsedTimer clock;
        clock.start();
        compareFailure(SecretStatus::NotAvailable, u"does not answer"_s);
        m_desktop->signalKeyring(SIGCONT);
        QVERIFY2(clock.elapsed() < 7000, qPrintable(QString::number(clock.elapsed())));
        QTRY_COMPARE(stored(), secret);
    }

    void outlivesTheSessionBus()
    {
        QVERIFY(m_desktop->startKeyring(password));
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::Success);
        QDBusConnection witness =
            QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), u"witness"_s);
        m_desktop->stopBus();
        QTRY_VERIFY(!witness.isConnected());
        compareFailure(SecretStatus::NotAvailable, u"the session bus cannot be reached"_s);
        m_desktop->stopKeyring();
        QVERIFY(m_desktop->startBus());
        QVERIFY(m_desktop->startKeyring(password));
        QCOMPARE(stored(), secret);
    }
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "tst_secretservicestore.moc"
