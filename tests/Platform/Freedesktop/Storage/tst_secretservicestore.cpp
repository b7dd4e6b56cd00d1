// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceStore.h"

#include "LowLimit.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

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

/// Asks the user for GNOME's keyring, on the bus: shows nothing and answers only when told.
class Prompter : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &bus) override
    {
        bus.send(message.createReply());
        if (message.member() != "BeginPrompting"_L1)
            return true;
        ++questions;
        m_service = message.service();
        m_path = message.arguments().at(0).value<QDBusObjectPath>().path();
        if (isDismissing)
            dismiss(bus);
        return true;
    }
    void dismiss(QDBusConnection bus) const
    {
        bus.send(QDBusMessage::createMethodCall(
            m_service, m_path, u"org.gnome.keyring.internal.Prompter.Callback"_s, u"PromptDone"_s));
    }

    int questions = 0;
    bool isDismissing = false;

private:
    QString m_service;
    QString m_path;
};

/// Outcome of a task.
struct Asked
{
    bool isDone = false;
    QList<Secrets::Lookup> results = {}; ///< of the calls, one after the other
};

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

    using Calls = std::function<QList<Secrets::Lookup>(Secrets &)>;
    /// Begins a task.
    std::shared_ptr<Asked> ask(const Calls &calls)
    {
        auto asked = std::make_shared<Asked>();
        m_store->perform([asked, calls](Secrets &secrets) -> std::function<void()> {
            return [asked, results = calls(secrets)] { *asked = {true, results}; };
        });
        return asked;
    }
    /// Runs a task to its end. Whatever the keyring does, the event loop goes on.
    QList<Secrets::Lookup> run(const Calls &calls)
    {
        QElapsedTimer sinceLast;
        qint64 longest = 0;
        QTimer ticks;
        ticks.callOnTimeout([&] { longest = std::max(longest, sinceLast.restart()); });
        sinceLast.start();
        ticks.start(20ms);
        const std::shared_ptr<Asked> asked = ask(calls);
        [&] { QTRY_VERIFY_WITH_TIMEOUT(asked->isDone, 20'000); }();
        longest = std::max(longest, sinceLast.elapsed());
        [&] { QVERIFY2(longest < 250, qPrintable(u"held up for %1 ms"_s.arg(longest))); }();
        return asked->results.isEmpty() ? QList<Secrets::Lookup>(4) : asked->results;
    }
    SecretStatus add(const SecretKey &key, const QByteArray &data, const QString &label = u"label"_s)
    {
        return run([=](Secrets &secrets) { return QList{Secrets::Lookup{secrets.add(key, data, label)}}; })[0]
            .status;
    }
    SecretStatus update(const SecretKey &key, const QByteArray &data)
    {
        return run([=](Secrets &secrets) { return QList{Secrets::Lookup{secrets.update(key, data)}}; })[0]
            .status;
    }
    SecretStatus remove(const SecretKey &key)
    {
        return run([=](Secrets &secrets) { return QList{Secrets::Lookup{secrets.remove(key)}}; })[0].status;
    }
    Secrets::Lookup lookup(const SecretKey &key)
    {
        return run([=](Secrets &secrets) { return QList{secrets.lookup(key)}; })[0];
    }
    static QList<Secrets::Lookup> allCalls(Secrets &secrets)
    {
        return {secrets.lookup(key),
                {secrets.update(key, secret)},
                {secrets.add(key, secret, u"label"_s)},
                {secrets.remove(key)}};
    }

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
    static bool install(Prompter &prompter)
    {
        QDBusConnection bus = busConnection();
        return bus.registerService(u"org.gnome.keyring.SystemPrompter"_s) &&
               bus.registerVirtualObject(u"/org/gnome/keyring/Prompter"_s, &prompter);
    }
    static void uninstall()
    {
        QDBusConnection bus = busConnection();
        bus.unregisterObject(u"/org/gnome/keyring/Prompter"_s);
        bus.unregisterService(u"org.gnome.keyring.SystemPrompter"_s);
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
        QCOMPARE(add(key, secret), SecretStatus::Success);
    }
    QByteArray stored() { return lookup(key).data; }

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
        startKeyring();
        QCOMPARE(lookup(key).status, SecretStatus::NotFound);
        QCOMPARE(update(key, data), SecretStatus::NotFound);
        QCOMPARE(remove(key), SecretStatus::NotFound);

        QCOMPARE(add(key, "first", u"Lábel"_s), SecretStatus::Success);
        QCOMPARE(add(otherKey, "other", u"Other"_s), SecretStatus::Success);
        QCOMPARE(update(key, data), SecretStatus::Success);
        const Secrets::Lookup found = lookup(key);
        QCOMPARE(found.status, SecretStatus::Success);
        QCOMPARE(found.data, data);
        const QString item = secretTool(u"search"_s);
        QVERIFY2(item.contains(u"label = Lábel\n"_s), qPrintable(item));
        QVERIFY2(item.contains(u"schema = com.ardentwick.Morvanel\n"_s), qPrintable(item));

        QCOMPARE(remove(key), SecretStatus::Success);
        QCOMPARE(lookup(key).status, SecretStatus::NotFound);
        QCOMPARE(lookup(otherKey).data, "other");
    }

    void outlivesALackOfDescriptors()
    {
        startFilledKeyring();
        const auto next = rlim_t(::dup(STDERR_FILENO));
        ::close(int(next));
        for (rlim_t left = 0; left < 24; ++left) {
            const LowLimit limit(RLIMIT_NOFILE, next + left);
            const Secrets::Lookup result = lookup(key);
            QVERIFY(result.status != SecretStatus::NotFound);
            QVERIFY(left > 0 || result.reason == u"there are too many open files"_s);
        }
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
        QCOMPARE(add(key, secret, u"Own"_s), SecretStatus::Success);
        storeOther(u"b"_s, "b");
        // Times of change count in seconds.
        QTRY_COMPARE((storeOther(u"a"_s, "newer"), stored()), "newer");
        QTRY_COMPARE((storeOther(u"b"_s, "newest"), stored()), "newest");

        QCOMPARE(update(key, secret), SecretStatus::Success);
        const QString items = secretTool(u"search"_s, {u"--all"_s});
        QCOMPARE(items.count(u"secret = "_s + QString::fromUtf8(secret)), 3);
        for (const QString &label : {u"Own"_s, u"Mine a"_s, u"Mine b"_s})
            QCOMPARE(items.count(u"label = "_s + label), 1);
        QCOMPARE(items.count(u"attribute.mark = "_s), 2);
        QCOMPARE(remove(key), SecretStatus::Success);
        QCOMPARE(lookup(key).status, SecretStatus::NotFound);
    }

    void saysWhyItCannot_data()
    {
        QTest::addColumn<QString>("trouble");
        QTest::addColumn<SecretStatus>("status");
        QTest::addColumn<QString>("words");

        QTest::newRow("none") << u"none"_s << SecretStatus::NotAvailable << u"no Secret Service is running"_s;
        QTest::newRow("nobody asks") << u"locked"_s << SecretStatus::Locked << u"locked"_s;
        QTest::newRow("dismissed") << u"dismissed"_s << SecretStatus::Locked << u"locked"_s;
        QTest::newRow("frozen") << u"frozen"_s << SecretStatus::NotAvailable << u"does not answer"_s;
    }

    void saysWhyItCannot()
    {
        QFETCH(QString, trouble);
        QFETCH(QString, words);
        QFETCH(SecretStatus, status);
        Prompter prompter;
        if (trouble != u"none"_s)
            startFilledKeyring();
        if (trouble == u"locked"_s || trouble == u"dismissed"_s)
            startKeyring({});
        if (trouble == u"dismissed"_s)
            QVERIFY(install(prompter));
        prompter.isDismissing = true;
        if (trouble == u"frozen"_s)
            ::kill(pid_t(m_keyring.processId()), SIGSTOP);
        const QList<Secrets::Lookup> results = run(allCalls);
        if (trouble == u"frozen"_s)
            ::kill(pid_t(m_keyring.processId()), SIGCONT);
        uninstall();
        for (const Secrets::Lookup &result : results) {
            QCOMPARE(result.status, status);
            QVERIFY2(result.reason.contains(words), qPrintable(result.reason));
            QVERIFY(!result.reason.contains(QString::fromUtf8(secret)));
        }
        QCOMPARE(prompter.questions, trouble == u"dismissed"_s ? 1 : 0);
        startKeyring();
        QCOMPARE(stored(), trouble == u"none"_s ? QByteArray() : secret);
    }

    void saysThatThereIsNoCollectionYet()
    {
        startKeyring({});
        QCOMPARE(update(key, secret), SecretStatus::NotFound);
        const Secrets::Lookup result =
            run([](Secrets &secrets) { return QList{Secrets::Lookup{secrets.add(key, secret, u"l"_s)}}; })[0];
        QCOMPARE(result.status, SecretStatus::Locked);
        QVERIFY(result.reason.contains(u"there is no keyring yet"_s));
    }

    /// Nobody answers the question for a long time; the store may go meanwhile.
    void waitsForTheUser_data()
    {
        QTest::addColumn<QString>("end");
        QTest::addColumn<QString>("reason");
        QTest::newRow("dismissed") << u"dismissed"_s << u"the keyring is locked and was not unlocked"_s;
        QTest::newRow("the keyring ends") << u"killed"_s << u"the Secret Service has ended"_s;
        QTest::newRow("the store ends") << u"left"_s << QString();
    }

    void waitsForTheUser()
    {
        QFETCH(QString, end);
        QFETCH(QString, reason);
        startFilledKeyring();
        startKeyring({});
        Prompter prompter;
        QVERIFY(install(prompter));
        const std::shared_ptr<Asked> asked = ask(allCalls);
        QTRY_COMPARE(prompter.questions, 1);
        QTest::qWait(500);
        QVERIFY(!asked->isDone);
        if (end == u"left"_s)
            m_store = std::make_unique<SecretServiceStore>();
        if (end == u"killed"_s)
            stop(m_keyring);
        else
            prompter.dismiss(busConnection());
        if (end == u"left"_s)
            QTest::qWait(200);
        else
            QTRY_VERIFY(asked->isDone);
        for (const Secrets::Lookup &result : std::as_const(asked->results))
            QCOMPARE(result.reason, reason);
        uninstall();
        QCOMPARE(asked->isDone, end != u"left"_s);
        QCOMPARE(prompter.questions, 1);
    }

    /// The last one: the connection that GLib shares in the process may outlive its bus for a while.
    void outlivesTheSessionBus()
    {
        startFilledKeyring();
        const QDBusConnection witness = busConnection();
        stop(m_bus);
        QTRY_VERIFY(!witness.isConnected());
        for (const Secrets::Lookup &result : run(allCalls)) {
            QCOMPARE(result.status, SecretStatus::NotAvailable);
            QVERIFY(result.reason.contains(u"the session bus cannot be reached"_s));
        }
        startBus();
        startKeyring();
        const Secrets::Lookup found = lookup(key);
        QCOMPARE(found.reason, QString());
        QCOMPARE(found.data, secret);
    }
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "tst_secretservicestore.moc"
