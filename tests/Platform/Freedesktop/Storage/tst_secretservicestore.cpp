// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceStore.h"

#include "LowLimit.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <functional>
#include <memory>

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

void write(const QString &path, const QString &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content.toUtf8());
}

void stop(QProcess &process)
{
    process.kill();
    process.waitForFinished();
}

/// Asks the user for GNOME's keyring, on the bus: shows nothing and is dismissed only when told.
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
        return true;
    }
    void dismiss(QDBusConnection bus) const
    {
        bus.send(QDBusMessage::createMethodCall(
            m_service, m_path, u"org.gnome.keyring.internal.Prompter.Callback"_s, u"PromptDone"_s));
    }

    int questions = 0;

private:
    QString m_service;
    QString m_path;
};

} // namespace

/// On a session bus of its own, with GNOME's keyring on it.
class SecretServiceStoreTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder; ///< the keyring's
    QTemporaryDir m_services;                ///< that the bus can start; none at first
    QProcess m_bus;
    QProcess m_keyring;
    std::unique_ptr<SecretServiceStore> m_store;

    using Results = QList<Secrets::Lookup>;
    /// Begins a task, which does these calls. Returns their results, none before its end.
    std::shared_ptr<Results> ask(const std::function<Results(Secrets &)> &calls)
    {
        auto asked = std::make_shared<Results>();
        m_store->perform([asked, calls](Secrets &secrets) -> std::function<void()> {
            return [asked, results = calls(secrets)] { *asked = results; };
        });
        return asked;
    }
    Results run(const std::function<Results(Secrets &)> &calls)
    {
        const std::shared_ptr<Results> asked = ask(calls);
        return QTest::qWaitFor([&] { return !asked->isEmpty(); }, 20'000) ? *asked : Results(8);
    }
    static Results allCalls(Secrets &secrets)
    {
        return {secrets.lookup(key),
                {secrets.update(key, "new")},
                {secrets.add(key, "new", u"label"_s)},
                {secrets.remove(key)}};
    }
    static QList<SecretStatus> statuses(const Results &results)
    {
        QList<SecretStatus> statuses;
        for (const Secrets::Lookup &result : results)
            statuses += result.status;
        return statuses;
    }
    Secrets::Lookup lookup()
    {
        return run([](Secrets &secrets) { return Results{secrets.lookup(key)}; })[0];
    }

    /// Starts a bus under a new address, as after a log-in.
    void startBus()
    {
        const QString config = m_services.filePath(u"bus.conf"_s);
        write(config,
              u"<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><servicedir>%1</servicedir>"
              "<policy context='default'><allow send_destination='*'/><allow receive_sender='*'/>"
              "<allow own='*'/></policy></busconfig>"_s.arg(m_services.path()));
        m_bus.start(u"dbus-daemon"_s, {u"--nofork"_s, u"--print-address"_s, u"--config-file"_s, config});
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
        const auto add = [](Secrets &secrets) { return Results{{secrets.add(key, secret, u"label"_s)}}; };
        QCOMPARE(run(add)[0].status, SecretStatus::Success);
    }

private Q_SLOTS:
    void initTestCase()
    {
        std::signal(SIGXFSZ, SIG_IGN); // of the keyring too, which has to outlive a full disk
        startBus();
    }
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
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no UTF-8, with NUL") << QByteArray("\xff\0\xfe\n", 4);
        QTest::newRow("100 kB") << QByteArray(100'000, 'x');
    }

    void keepsSecrets()
    {
        QFETCH(QByteArray, data);
        startKeyring();
        const Results results = run([&](Secrets &secrets) {
            return Results{secrets.lookup(key),
                           {secrets.update(key, data)},
                           {secrets.remove(key)},
                           {secrets.add(key, "first", u"Lábel"_s)},
                           {secrets.add(otherKey, "other", u"Other"_s)},
                           {secrets.update(key, data)},
                           secrets.lookup(key)};
        });
        using enum SecretStatus;
        QCOMPARE(statuses(results),
                 (QList{NotFound, NotFound, NotFound, Success, Success, Success, Success}));
        QCOMPARE(results.last().data, data);
        const QString item = secretTool(u"search"_s);
        QVERIFY2(item.contains(u"label = Lábel\n"_s), qPrintable(item));
        QVERIFY2(item.contains(u"schema = com.ardentwick.Morvanel\n"_s), qPrintable(item));

        const Results after = run([](Secrets &secrets) {
            return Results{{secrets.remove(key)}, secrets.lookup(key), secrets.lookup(otherKey)};
        });
        QCOMPARE(statuses(after), (QList{Success, NotFound, Success}));
        QCOMPARE(after.last().data, "other");
    }

    /// Without a look at what is left GLib would end the process.
    void outlivesALackOfDescriptors()
    {
        startFilledKeyring();
        const auto next = rlim_t(::dup(STDERR_FILENO));
        ::close(int(next));
        for (rlim_t left = 0; left < 24; ++left) {
            const LowLimit limit(RLIMIT_NOFILE, next + left);
            QVERIFY(lookup().status != SecretStatus::NotFound);
        }
        QCOMPARE(lookup().data, secret);
    }

    /// Items as a user stores them: without this program's schema, and more than one.
    void treatsAllThatMatchAsOne()
    {
        const auto storeOther = [](const QString &mark, const QByteArray &data) {
            secretTool(u"store"_s, {u"mark"_s, mark, u"--label"_s, u"Mine "_s + mark}, data);
        };
        startFilledKeyring();
        int changes = 0;
        for (const QString &mark : {u"a"_s, u"b"_s, u"a"_s, u"b"_s}) {
            const QByteArray data = QByteArray::number(++changes);
            QTRY_COMPARE((storeOther(mark, data), lookup().data), data); // times of change count in seconds
        }
        run([](Secrets &secrets) { return Results{{secrets.update(key, "all")}}; });
        const QString items = secretTool(u"search"_s, {u"--all"_s});
        QCOMPARE(items.count(u"secret = all"_s), 3);
        for (const QString &label : {u"label"_s, u"Mine a"_s, u"Mine b"_s})
            QCOMPARE(items.count(u"label = "_s + label), 1);
        run([](Secrets &secrets) { return Results{{secrets.remove(key)}}; });
        QCOMPARE(lookup().status, SecretStatus::NotFound);
    }

    void saysWhyItCannot_data()
    {
        QTest::addColumn<QList<SecretStatus>>("expected"); // of looking up, updating, adding and removing
        QTest::addColumn<QString>("reason");
        using enum SecretStatus;
        const auto row = [](const char *trouble, const QList<SecretStatus> &expected, const QString &reason) {
            QTest::newRow(trouble) << expected << reason;
        };
        const auto all = [](SecretStatus status) { return QList<SecretStatus>(4, status); };
        row("no service", all(NotAvailable), u"no Secret Service is running"_s);
        row("frozen", all(NotAvailable), u"the Secret Service does not answer"_s);
        row("disk full", {Success, Failed, Failed, Failed}, u"the Secret Service failed"_s);
        row("new", {NotFound, NotFound, Locked, NotFound}, u"there is no keyring yet"_s);
        row("locked, nobody asks", all(Locked), u"the keyring is locked"_s);
        row("locked, dismissed", all(Locked), u"the keyring is locked and was not unlocked"_s);
        row("locked, ended", all(NotAvailable), u"the Secret Service has ended"_s);
    }

    void saysWhyItCannot()
    {
        QFETCH(QString, reason);
        const QByteArray trouble = QTest::currentDataTag();
        const bool isEmpty = trouble == "no service" || trouble == "new";
        const bool isAsking = trouble == "locked, dismissed" || trouble == "locked, ended";
        if (!isEmpty)
            startFilledKeyring();
        if (trouble == "new" || trouble.startsWith("locked"))
            startKeyring({});
        Prompter prompter;
        QVERIFY(!isAsking || install(prompter));
        const rlimit none{0, RLIM_INFINITY};
        if (trouble == "disk full")
            ::prlimit(pid_t(m_keyring.processId()), RLIMIT_FSIZE, &none, nullptr);
        if (trouble == "frozen")
            ::kill(pid_t(m_keyring.processId()), SIGSTOP);

        const std::shared_ptr<Results> asked = ask(allCalls);
        if (isAsking) {
            QTRY_COMPARE(prompter.questions, 1);
            QTest::qWait(300); // however long the user takes
            QVERIFY(asked->isEmpty());
            if (trouble == "locked, ended")
                stop(m_keyring);
            else
                prompter.dismiss(busConnection());
        }
        QTRY_VERIFY_WITH_TIMEOUT(!asked->isEmpty(), 20'000);
        QTEST(statuses(*asked), "expected");
        for (const Secrets::Lookup &result : *asked) {
            if (result.status != SecretStatus::Success && result.status != SecretStatus::NotFound)
                QVERIFY2(result.reason.startsWith(reason), qPrintable(result.reason));
        }
        QCOMPARE(prompter.questions, isAsking ? 1 : 0);
        startKeyring();
        QCOMPARE(lookup().data, isEmpty ? QByteArray() : secret);
    }

    void tellsNothingOnceItIsGone()
    {
        startFilledKeyring();
        startKeyring({});
        Prompter prompter;
        QVERIFY(install(prompter));
        const std::shared_ptr<Results> asked = ask(allCalls);
        QTRY_COMPARE(prompter.questions, 1);
        m_store.reset();
        prompter.dismiss(busConnection());
        QTest::qWait(200);
        QVERIFY(asked->isEmpty());
    }

    void hasTheServiceStarted()
    {
        const QString file = m_services.filePath(u"org.freedesktop.secrets.service"_s);
        write(file, u"[D-BUS Service]\nName=org.freedesktop.secrets\n"
                    "Exec=/bin/sh -c \"echo | XDG_DATA_HOME=%1 XDG_RUNTIME_DIR=%1 "
                    "exec gnome-keyring-daemon --foreground --components=secrets --unlock\"\n"_s.arg(
                        m_folder->path()));
        const auto reload = [] {
            busConnection().call(
                QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                               u"org.freedesktop.DBus"_s, u"ReloadConfig"_s));
        };
        reload();
        QCOMPARE(lookup().status, SecretStatus::NotFound);
        QVERIFY(QFile::remove(file));
        reload();
        const uint keyring = busConnection().interface()->servicePid(u"org.freedesktop.secrets"_s);
        QVERIFY(keyring > 0);
        ::kill(pid_t(keyring), SIGKILL);
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
        QCOMPARE(lookup().data, secret);
    }
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "tst_secretservicestore.moc"
