// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceStore.h"

#include "LowLimit.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <functional>
#include <memory>
#include <tuple>

#include <gio/gio.h>

using namespace Qt::StringLiterals;
using enum SecretStatus;

namespace {

using Outcomes = QList<Secrets::Lookup>;
/// Outcomes of calls, with the secret or the first words of the reason.
using Results = QList<std::pair<SecretStatus, QString>>;

const SecretKey key = {u"com.ardentwick.Morvanel.test"_s, u"8A1D2C60-0D9C-4E56-A1A8-2F0C0F3B7A11"_s};
const SecretKey otherKey = {key.service, u"OTHER"_s};
const QByteArray secret = "s3cr3t-t0k3n";
const std::pair kept{Success, u"s3cr3t-t0k3n"_s};
const std::pair absent{NotFound, QString()};
const std::pair done{Success, QString()};

Outcomes allCalls(Secrets &secrets)
{
    return {secrets.lookup(key),
            {secrets.update(key, "new")},
            {secrets.add(key, "new", u"label"_s)},
            {secrets.remove(key)}};
}

/// Runs secret-tool for `key`. Returns what it printed.
QString secretTool(const QString &command, const QString &input = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"/bin/sh"_s, {u"-c"_s, u"printf %1 | secret-tool %2 service %3 account %4"_s.arg(
                                              input, command, key.service, key.account)});
    process.waitForFinished();
    return QString::fromUtf8(process.readAll());
}

/// Asks the user for GNOME's keyring, on the bus: shows nothing and is dismissed only when told.
class Prompter : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &bus) override
    {
        bus.send(message.createReply());
        if (message.member() == "BeginPrompting"_L1)
            questions += message;
        return true;
    }
    void dismiss(const QDBusConnection &bus) const
    {
        const auto path = questions.last().arguments().at(0).value<QDBusObjectPath>().path();
        bus.send(QDBusMessage::createMethodCall(questions.last().service(), path,
                                                u"org.gnome.keyring.internal.Prompter.Callback"_s,
                                                u"PromptDone"_s));
    }

    QList<QDBusMessage> questions;
};

} // namespace

/// On a session bus of its own, with GNOME's keyring on it.
class SecretServiceStoreTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_data;     ///< the keyring's
    QTemporaryDir m_services; ///< that the bus can start; none at first
    GTestDBus *m_bus = nullptr;
    QProcess m_keyring;
    std::unique_ptr<SecretServiceStore> m_store;

    /// Begins a task, which does these calls. Returns their outcomes, none before its end.
    std::shared_ptr<Outcomes> ask(const std::function<Outcomes(Secrets &)> &calls)
    {
        auto asked = std::make_shared<Outcomes>();
        m_store->perform([asked, calls](Secrets &secrets) -> std::function<void()> {
            return [asked, outcomes = calls(secrets)] { *asked = outcomes; };
        });
        return asked;
    }
    /// Returns what the task brings in that time; none when it has not ended.
    static Results await(const std::shared_ptr<Outcomes> &asked, int milliseconds = 20'000)
    {
        std::ignore = QTest::qWaitFor([&] { return !asked->isEmpty(); }, milliseconds);
        Results results;
        for (const Secrets::Lookup &outcome : *asked)
            results.append(
                {outcome.status, outcome.reason.section(u':', 0, 0) + QString::fromLatin1(outcome.data)});
        return results;
    }
    Results run(const std::function<Outcomes(Secrets &)> &calls) { return await(ask(calls)); }
    Results lookUp()
    {
        return run([](Secrets &secrets) { return Outcomes{secrets.lookup(key)}; });
    }

    void startBus()
    {
        m_bus = g_test_dbus_new(G_TEST_DBUS_NONE);
        g_test_dbus_add_service_dir(m_bus, QFile::encodeName(m_services.path()).constData());
        g_test_dbus_up(m_bus);
    }
    QDBusConnection busConnection() const
    {
        const QString address = QString::fromLatin1(g_test_dbus_get_bus_address(m_bus));
        return QDBusConnection::connectToBus(address, address);
    }
    bool isKeyringThere() const
    {
        return busConnection().interface()->isServiceRegistered(u"org.freedesktop.secrets"_s);
    }
    /// Starts the keyring anew. With a password it creates and unlocks its default collection. Without one it
    /// leaves that locked, or does without while there is none.
    void startKeyring(const QByteArray &password = "password")
    {
        cleanup();
        m_keyring.start(u"gnome-keyring-daemon"_s,
                        QStringList{u"--foreground"_s, u"--components=secrets"_s} +
                            QStringList(password.isEmpty() ? 0 : 1, u"--unlock"_s));
        m_keyring.write(password);
        m_keyring.closeWriteChannel();
        QTRY_VERIFY(isKeyringThere());
    }
    /// Starts the keyring and stores the secret in it.
    void startFilledKeyring()
    {
        startKeyring();
        run([](Secrets &secrets) { return Outcomes{{secrets.add(key, secret, u"label"_s)}}; });
    }

private Q_SLOTS:
    void initTestCase()
    {
        std::signal(SIGXFSZ, SIG_IGN); // of the keyring too, which has to outlive a full disk
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path()));
        m_keyring.setStandardErrorFile(QProcess::nullDevice());
        startBus();
    }
    void init()
    {
        QDir(m_data.filePath(u"keyrings"_s)).removeRecursively();
        m_store = std::make_unique<SecretServiceStore>();
    }
    void cleanup()
    {
        m_keyring.kill();
        m_keyring.waitForFinished();
        QTRY_VERIFY(!isKeyringThere());
    }
    void cleanupTestCase() { g_test_dbus_stop(m_bus); }

    void keepsSecrets()
    {
        startKeyring();
        const QByteArray data = QByteArray("\xff\0\xfe\n", 4) + QByteArray(100'000, 'x');
        const auto change = [&](Secrets &secrets) {
            return Outcomes{secrets.lookup(key),
                            {secrets.update(key, data)},
                            {secrets.remove(key)},
                            {secrets.add(key, "first", u"Lábel"_s)},
                            {secrets.add(otherKey, "", u"Other"_s)},
                            {secrets.update(key, data)},
                            secrets.lookup(key)};
        };
        const QString text = QString::fromLatin1(data);
        QCOMPARE(run(change), (Results{absent, absent, absent, done, done, done, {Success, text}}));
        const QString item = secretTool(u"search"_s);
        QVERIFY2(item.contains(u"label = Lábel\n"_s), qPrintable(item));
        QVERIFY2(item.contains(u"schema = com.ardentwick.Morvanel\n"_s), qPrintable(item));
        const auto remove = [](Secrets &secrets) {
            return Outcomes{{secrets.remove(key)}, secrets.lookup(key), secrets.lookup(otherKey)};
        };
        QCOMPARE(run(remove), (Results{done, absent, done}));
    }

    /// Without a look at what is left GLib would end the process.
    void outlivesALackOfDescriptors()
    {
        startFilledKeyring();
        const auto next = rlim_t(::dup(STDERR_FILENO));
        ::close(int(next));
        for (rlim_t left = 0; left < 24; ++left) {
            const LowLimit limit(RLIMIT_NOFILE, next + left);
            QVERIFY(!lookUp().contains(absent));
        }
        QCOMPARE(lookUp(), Results{kept});
    }

    /// Items as a user stores them: without this program's schema, and more than one.
    void treatsAllThatMatchAsOne()
    {
        startFilledKeyring();
        int changes = 0;
        for (const QString &mark : {u"a"_s, u"b"_s, u"a"_s, u"b"_s}) {
            const Results stored{{Success, QString::number(++changes)}};
            // Times of change count in seconds.
            QTRY_COMPARE((secretTool(u"store --label=Mine mark "_s + mark, stored[0].second), lookUp()),
                         stored);
        }
        run([](Secrets &secrets) { return Outcomes{{secrets.update(key, "all")}}; });
        const QString items = secretTool(u"search --all"_s);
        QCOMPARE(items.count(u"secret = all"_s), 3);
        QCOMPARE(items.count(u"label = Mine"_s), 2);
        run([](Secrets &secrets) { return Outcomes{{secrets.remove(key)}}; });
        QCOMPARE(lookUp(), Results{absent});
    }

    void saysWhyItCannot_data()
    {
        QTest::addColumn<Results>("expected"); // of looking up, updating, adding and removing
        const auto row = [](const char *trouble, const Results &expected) {
            QTest::newRow(trouble) << expected;
        };
        const auto all = [](SecretStatus status, const QString &reason) {
            return Results(4, {status, reason});
        };
        const std::pair failed{Failed, u"the Secret Service failed"_s};
        row("no service", all(NotAvailable, u"no Secret Service is running"_s));
        row("frozen", all(NotAvailable, u"the Secret Service does not answer"_s));
        row("disk full", {kept, failed, failed, failed});
        row("new", {absent, absent, {Locked, u"there is no keyring yet and none was created"_s}, absent});
        row("locked", all(Locked, u"the keyring is locked and was not unlocked"_s));
        row("dismissed", all(Locked, u"the keyring is locked and was not unlocked"_s));
        row("killed", all(NotAvailable, u"the Secret Service has ended"_s));
        row("ended", all(NotAvailable, u"the Secret Service has ended"_s));
        row("abandoned", {});
    }

    void saysWhyItCannot()
    {
        const QByteArray trouble = QTest::currentDataTag();
        const bool isEmpty = trouble == "no service" || trouble == "new";
        const bool isAsking = trouble == "dismissed" || trouble == "ended" || trouble == "abandoned";
        if (!isEmpty)
            startFilledKeyring();
        if (isAsking || trouble == "new" || trouble == "locked")
            startKeyring({});
        Prompter prompter;
        QDBusConnection bus = busConnection();
        QVERIFY(!isAsking || (bus.registerService(u"org.gnome.keyring.SystemPrompter"_s) &&
                              bus.registerVirtualObject(u"/org/gnome/keyring/Prompter"_s, &prompter)));
        const rlimit none{0, RLIM_INFINITY};
        if (trouble == "disk full")
            ::prlimit(pid_t(m_keyring.processId()), RLIMIT_FSIZE, &none, nullptr);
        if (trouble == "frozen" || trouble == "killed")
            ::kill(pid_t(m_keyring.processId()), SIGSTOP);

        const std::shared_ptr<Outcomes> asked = ask(allCalls);
        if (trouble == "killed" && await(asked, 300).isEmpty())
            m_keyring.kill();
        if (isAsking) {
            QTRY_COMPARE(prompter.questions.size(), 1);
            QCOMPARE(await(asked, 300), Results()); // however long the user takes
            if (trouble == "abandoned")
                m_store = std::make_unique<SecretServiceStore>();
            if (trouble == "ended")
                cleanup();
            else
                prompter.dismiss(bus);
        }
        QFETCH(Results, expected);
        QCOMPARE(await(asked, trouble == "abandoned" ? 200 : 20'000), expected);
        QCOMPARE(prompter.questions.size(), isAsking ? 1 : 0);
        startKeyring();
        QCOMPARE(lookUp(), Results{isEmpty ? absent : kept});
    }

    void hasTheServiceStarted()
    {
        QFile file(m_services.filePath(u"org.freedesktop.secrets.service"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[D-BUS Service]\nName=org.freedesktop.secrets\n"
                   "Exec=/bin/sh -c \"echo | exec gnome-keyring-daemon --foreground --components=secrets "
                   "--unlock\"");
        file.close();
        QCOMPARE(lookUp(), Results{absent});
        QVERIFY(file.remove());
        const uint pid = busConnection().interface()->servicePid(u"org.freedesktop.secrets"_s);
        QVERIFY(pid > 0);
        ::kill(pid_t(pid), SIGKILL);
    }

    /// The last one: the connection that GLib shares in the process may outlive its bus for a while.
    void outlivesTheSessionBus()
    {
        startFilledKeyring();
        const QDBusConnection witness = busConnection();
        g_test_dbus_stop(m_bus);
        QTRY_VERIFY(!witness.isConnected());
        QCOMPARE(run(allCalls), Results(4, {NotAvailable, u"the session bus cannot be reached"_s}));
        startBus();
        startKeyring();
        QCOMPARE(lookUp(), Results{kept});
    }
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "tst_secretservicestore.moc"
