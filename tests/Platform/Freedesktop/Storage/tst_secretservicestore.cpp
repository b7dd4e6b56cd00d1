// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceStore.h"

#include "LowLimit.h"
#include "StandardErrorCapture.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

const SecretKey key = {u"com.ardentwick.Morvanel.test"_s, u"8A1D2C60-0D9C-4E56-A1A8-2F0C0F3B7A11"_s};
const SecretKey otherKey = {key.service, u"OTHER"_s};
const QByteArray secret = "s3cr3t-t0k3n";

/// Runs secret-tool for `key`. Returns what it printed.
QString secretTool(const QString &command, const QStringList &more = {}, const QByteArray &input = {})
{
    QProcess process;
    process.start(u"secret-tool"_s,
                  QStringList{command, u"service"_s, key.service, u"account"_s, key.account} + more);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
}

void stop(QProcess &process)
{
    process.kill();
    process.waitForFinished();
}

} // namespace

/// On a session bus that starts nothing by itself, with GNOME's keyring on it.
class SecretServiceStoreTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder; ///< the keyring's
    QProcess m_bus;
    QProcess m_keyring;
    std::unique_ptr<SecretServiceStore> m_store;

    /// Starts a bus under a new address, as after a log-in.
    void startBus()
    {
        m_bus.start(u"dbus-daemon"_s,
                    {u"--nofork"_s, u"--print-address"_s, u"--config-file"_s, QFINDTESTDATA("bus.conf")});
        QVERIFY(m_bus.waitForReadyRead());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.readLine().trimmed());
    }
    static QDBusConnection busConnection()
    {
        const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
        return QDBusConnection::connectToBus(address, address);
    }
    static bool isKeyringThere()
    {
        return busConnection().interface()->isServiceRegistered(u"org.freedesktop.secrets"_s);
    }

    /// Starts the keyring anew. With a password it creates and unlocks its default collection. Without one it
    /// leaves that locked, or does without while there is none.
    void startKeyring(const QByteArray &password = "password")
    {
        stopKeyring();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_DATA_HOME"_s, m_folder->path());
        environment.insert(u"XDG_RUNTIME_DIR"_s, m_folder->path());
        m_keyring.setProcessEnvironment(environment);
        m_keyring.setStandardErrorFile(QProcess::nullDevice());
        QStringList arguments = {u"--foreground"_s, u"--components=secrets"_s};
        if (!password.isEmpty())
            arguments.append(u"--unlock"_s);
        m_keyring.start(u"gnome-keyring-daemon"_s, arguments);
        m_keyring.write(password);
        m_keyring.closeWriteChannel();
        QTRY_VERIFY(isKeyringThere());
    }
    void stopKeyring()
    {
        stop(m_keyring);
        QTRY_VERIFY(!isKeyringThere());
    }
    /// Starts the keyring and stores the secret in it.
    void startFilledKeyring()
    {
        startKeyring();
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::Success);
    }
    QByteArray stored() const { return m_store->lookup(key).data; }

    /// Compares the outcome of all four calls, and the line that each failure but "not found" writes.
    void compareFailure(SecretStatus expected, const QString &words)
    {
        const StandardErrorCapture errors;
        QCOMPARE(m_store->lookup(key).status, expected);
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

private Q_SLOTS:
    void initTestCase() { startBus(); }
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_store = std::make_unique<SecretServiceStore>();
    }
    void cleanup() { stopKeyring(); }
    void cleanupTestCase()
    {
        m_store.reset();
        stop(m_bus);
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
        startKeyring();
        QCOMPARE(m_store->lookup(key).status, SecretStatus::NotFound);
        QCOMPARE(m_store->update(key, data), SecretStatus::NotFound);
        QCOMPARE(m_store->remove(key), SecretStatus::NotFound);

        QCOMPARE(m_store->add(key, "first", u"Lábel"_s), SecretStatus::Success);
        QCOMPARE(m_store->add(otherKey, "other", u"Other"_s), SecretStatus::Success);
        QCOMPARE(m_store->update(key, data), SecretStatus::Success);
        const SecretStore::Lookup found = SecretServiceStore().lookup(key);
        QCOMPARE(found.status, SecretStatus::Success);
        QCOMPARE(found.data, data);
        const QString item = secretTool(u"search"_s);
        QVERIFY2(item.contains(u"label = Lábel\n"_s), qPrintable(item));
        QVERIFY2(item.contains(u"schema = com.ardentwick.Morvanel\n"_s), qPrintable(item));

        QCOMPARE(m_store->remove(key), SecretStatus::Success);
        QCOMPARE(m_store->lookup(key).status, SecretStatus::NotFound);
        QCOMPARE(m_store->lookup(otherKey).data, "other");
        QCOMPARE(errors.lines(), QStringList());
    }

    void outlivesALackOfDescriptors()
    {
        startFilledKeyring();
        const StandardErrorCapture errors;
        const auto next = rlim_t(::dup(STDERR_FILENO));
        ::close(int(next));
        for (rlim_t left = 0; left < 24; ++left) {
            m_store = std::make_unique<SecretServiceStore>();
            const LowLimit limit(RLIMIT_NOFILE, next + left);
            QVERIFY(m_store->lookup(key).status != SecretStatus::NotFound);
        }
        QVERIFY(errors.lines().first().contains(u"too many open files"_s));
        QCOMPARE(stored(), secret);
    }

    /// Items as a user stores them: without this program's schema, and more than one.
    void treatsAllThatMatchAsOne()
    {
        startKeyring();
        const auto storeOther = [](const QString &mark, const QByteArray &data) {
            secretTool(u"store"_s, {u"mark"_s, mark, u"--label"_s, u"Mine "_s + mark}, data);
        };
        storeOther(u"a"_s, "a");
        QCOMPARE(stored(), "a");
        QCOMPARE(m_store->add(key, secret, u"Own"_s), SecretStatus::Success);
        storeOther(u"b"_s, "b");
        // Times of change count in seconds.
        QTRY_COMPARE((storeOther(u"a"_s, "newer"), stored()), "newer");
        QTRY_COMPARE((storeOther(u"b"_s, "newest"), stored()), "newest");

        QCOMPARE(m_store->update(key, secret), SecretStatus::Success);
        const QString items = secretTool(u"search"_s, {u"--all"_s});
        QCOMPARE(items.count(u"secret = "_s + QString::fromUtf8(secret)), 3);
        for (const QString &label : {u"Own"_s, u"Mine a"_s, u"Mine b"_s})
            QCOMPARE(items.count(u"label = "_s + label), 1);
        QCOMPARE(items.count(u"attribute.mark = "_s), 2);
        QCOMPARE(m_store->remove(key), SecretStatus::Success);
        QCOMPARE(m_store->lookup(key).status, SecretStatus::NotFound);
    }

    void saysWhyItCannot()
    {
        compareFailure(SecretStatus::NotAvailable, u"no Secret Service is running"_s);
        startFilledKeyring();
        startKeyring({});
        compareFailure(SecretStatus::Locked, u"locked"_s);
    }

    void saysThatThereIsNoCollectionYet()
    {
        startKeyring({});
        const StandardErrorCapture errors;
        QCOMPARE(m_store->update(key, secret), SecretStatus::NotFound);
        QCOMPARE(m_store->add(key, secret, u"label"_s), SecretStatus::Locked);
        QCOMPARE(errors.lines().size(), 1);
        QVERIFY(errors.lines().at(0).contains(u"there is no default collection yet"_s));
    }

    void goesOnWithARestartedService()
    {
        startFilledKeyring();
        const StandardErrorCapture errors;
        startKeyring();
        QCOMPARE(stored(), secret);
        startKeyring();
        QCOMPARE(m_store->update(key, "new"), SecretStatus::Success);
        startKeyring();
        QCOMPARE(m_store->add(otherKey, "other", u"label"_s), SecretStatus::Success);
        startKeyring();
        QCOMPARE(m_store->remove(otherKey), SecretStatus::Success);
        QCOMPARE(stored(), "new");
        QCOMPARE(errors.lines(), QStringList());
    }

    void doesNotWaitForAFrozenService()
    {
        startFilledKeyring();
        ::kill(pid_t(m_keyring.processId()), SIGSTOP);
        QElapsedTimer clock;
        clock.start();
        compareFailure(SecretStatus::NotAvailable, u"does not answer"_s);
        ::kill(pid_t(m_keyring.processId()), SIGCONT);
        QVERIFY2(clock.elapsed() < 7000, qPrintable(QString::number(clock.elapsed())));
        QTRY_COMPARE(stored(), secret);
    }

    /// The last one: the connection that GLib shares in the process may outlive its bus for a while.
    void outlivesTheSessionBus()
    {
        startFilledKeyring();
        const QDBusConnection witness = busConnection();
        stop(m_bus);
        QTRY_VERIFY(!witness.isConnected());
        compareFailure(SecretStatus::NotAvailable, u"the session bus cannot be reached"_s);
        startBus();
        startKeyring();
        QCOMPARE(stored(), secret);
    }
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "tst_secretservicestore.moc"
