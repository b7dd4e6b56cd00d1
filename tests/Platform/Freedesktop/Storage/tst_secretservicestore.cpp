// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceStore.h"

#include "LowLimit.h"
#include "Pictures.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QDateTime>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>

#include <csignal>
#include <functional>
#include <memory>

#include <gio/gio.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString service = u"com.ardentwick.Morvanel.test"_s;
const QString account = u"8A1D2C60-0D9C-4E56-A1A8-2F0C0F3B7A11"_s;

const SecretKey key{service, account};
const SecretKey otherKey{service, u"OTHER"_s};
const SecretCall lookUp{SecretCall::Kind::Lookup, key};
const SecretCall lookUpOther{SecretCall::Kind::Lookup, otherKey};
const SecretCall store{SecretCall::Kind::Store, key, QByteArray("s3cr\xff\0t", 7), u"Lábel"_s};
const SecretCall storeOther{SecretCall::Kind::Store, otherKey, store.data, u"Lábel"_s};
const SecretCall storeNew{SecretCall::Kind::Store, key, "new", u"Lábel"_s};
const SecretCall removeIt{SecretCall::Kind::Remove, key};
const QList<SecretCall> allKinds{lookUp, store, removeIt};

/// Returns the status and the data or the first words of the reason.
QString describe(const SecretReply &reply)
{
    const QStringList statuses{u"done"_s,         u"absent"_s,      u"locked"_s,
                               u"nobody there"_s, u"unavailable"_s, u"failed"_s};
    const QString text =
        reply.reason.section(u':', 0, 0) + QString::fromLatin1(reply.data.toPercentEncoding({}, {}, '~'));
    return QString(statuses[int(reply.status)] + u' ' + text).trimmed();
}

/// Runs secret-tool for the key. Returns what it printed.
QString secretTool(const QString &command, const QString &input = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"/bin/sh"_s, {u"-c"_s, u"printf '%1' | secret-tool %2 service %3 account %4"_s.arg(
                                              input, command, service, account)});
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

/// A Secret Service with nothing in it, one of whose methods returns what nobody understands.
class NonsenseService : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &bus) override
    {
        const QVariant none = QVariant::fromValue(QDBusObjectPath(u"/"_s));
        const QVariant empty = QVariant::fromValue(QList<QDBusObjectPath>());
        const QHash<QString, QVariantList> replies{
            {u"ReadAlias"_s, {none}},
            {u"OpenSession"_s, {QVariant::fromValue(QDBusVariant(QString())), none}},
            {u"SearchItems"_s, {empty, empty}},
            {u"GetAll"_s, {QVariantMap()}},
            {nonsense, {7}}};
        const bool isRefused = message.arguments().value(0).toString().startsWith(u"dh-"_s); // no encryption
        bus.send(isRefused ? message.createErrorReply(QDBusError::NotSupported, QString())
                           : message.createReply(replies.value(message.member())));
        return true;
    }

    QString nonsense; ///< the method
};

const QString keyringName = u"org.freedesktop.secrets"_s;
const QString prompterName = u"org.gnome.keyring.SystemPrompter"_s;

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
    Prompter m_prompter;
    NonsenseService m_nonsense;
    std::unique_ptr<SecretServiceStore> m_store;
    QStringList m_told;
    bool m_hasAppeared = false;
    std::shared_ptr<QStringList> m_results; ///< of the last task, none before its end
    const QString m_secret = u"done s3cr~FF~00t"_s;

    using Deed = std::function<void()>;
    using Deeds = QList<Deed>;

    void begin(const QList<SecretCall> &calls)
    {
        m_results = std::make_shared<QStringList>();
        m_store->exchange(calls, true, [results = m_results](const QList<SecretReply> &replies) {
            for (const SecretReply &reply : replies)
                *results += describe(reply);
        });
    }
    /// Returns what the task brings in that time.
    QString results(std::chrono::milliseconds time = 20s) const
    {
        const auto hasEnded = [this] { return !m_results->isEmpty(); };
        return QTest::qWaitFor(hasEnded, int(time.count())) ? m_results->join(u", "_s) : u"nothing yet"_s;
    }
    QString resultsOf(const QList<SecretCall> &calls)
    {
        begin(calls);
        return results();
    }

    void startBus()
    {
        m_bus = g_test_dbus_new(G_TEST_DBUS_NONE);
        g_test_dbus_add_service_dir(m_bus, QFile::encodeName(m_services.path()).constData());
        g_test_dbus_up(m_bus);
        busConnection().registerVirtualObject(u"/org/gnome/keyring/Prompter"_s, &m_prompter);
        busConnection().registerVirtualObject(u"/org/freedesktop/secrets"_s, &m_nonsense,
                                              QDBusConnection::SubPath);
    }
    QDBusConnection busConnection() const
    {
        const QString address = QString::fromLatin1(g_test_dbus_get_bus_address(m_bus));
        return QDBusConnection::connectToBus(address, address);
    }
    bool isKeyringThere() const { return busConnection().interface()->isServiceRegistered(keyringName); }
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
    void signalKeyring(int number)
    {
        if (m_keyring.processId() <= 0) // 0 would stand for this process and all beside it
            qFatal("A test signals the keyring, but did not start one.");
        ::kill(pid_t(m_keyring.processId()), number);
    }

    Deed run(const QList<SecretCall> &calls)
    {
        return [=, this] { m_told += resultsOf(calls); };
    }
    Deed ask(const QList<SecretCall> &calls)
    {
        return [=, this] { begin(calls); };
    }
    Deed await(std::chrono::milliseconds time)
    {
        return [=, this] { m_told += results(time); };
    }
    /// Another program stores an item of its own for the key, later than what is there.
    Deed userStores(const QString &mark, const QString &data)
    {
        return [=, this] {
            const qint64 second = QDateTime::currentSecsSinceEpoch(); // the keyring counts no less
            QTRY_VERIFY(QDateTime::currentSecsSinceEpoch() > second);
            m_told += secretTool(u"store --label=Mine mark "_s + mark, data);
        };
    }
    Deed userReads(const QString &mark)
    {
        return [=, this] { m_told += secretTool(u"lookup mark "_s + mark); };
    }
    Deed serveNonsense(const QString &method)
    {
        return [=, this] {
            m_nonsense.nonsense = method;
            busConnection().registerService(keyringName);
        };
    }
    const Deed keyring = [this] { startKeyring(); };
    const Deed lockedKeyring = [this] { startKeyring({}); };
    const Deed appears = [this] { QTRY_VERIFY2(m_hasAppeared, "nobody was told of the keyring"); };
    const Deed freeze = [this] { signalKeyring(SIGSTOP); };
    const Deed killKeyring = [this] { signalKeyring(SIGKILL); };
    const Deed fillDisk = [this] {
        const rlimit none{0, RLIM_INFINITY};
        ::prlimit(pid_t(m_keyring.processId()), RLIMIT_FSIZE, &none, nullptr);
    };
    const Deed search = [this] {
        m_told += secretTool(u"search"_s).split(u'\n').filter(QRegularExpression(u"^(label|schema) "_s));
    };
    const Deed prompter = [this] { busConnection().registerService(prompterName); };
    const Deed question = [this] { QTRY_COMPARE(m_prompter.questions.size(), 1); };
    const Deed dismiss = [this] { m_prompter.dismiss(busConnection()); };
    const Deed abandon = [this] { m_store = std::make_unique<SecretServiceStore>(busConnection()); };
    const Deed haveLittlePatience = [this] {
        m_store = std::make_unique<SecretServiceStore>(busConnection(), 3s);
    };
    const Deed bus = [this] { startBus(); };
    const Deed endBus = [this] { g_test_dbus_stop(m_bus); };
    const Deed installService = [this] {
        QFile file(m_services.filePath(u"org.freedesktop.secrets.service"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/sh -c \"echo | exec "
                   "gnome-keyring-daemon --foreground --components=secrets --unlock\"");
    };

    static void row(const char *name, const Deeds &deeds, const QStringList &told)
    {
        QTest::newRow(name) << deeds << told.join(u", "_s);
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
        m_store = std::make_unique<SecretServiceStore>(busConnection());
        busConnection().unregisterService(prompterName);
        m_prompter.questions.clear();
        m_told.clear();
        m_hasAppeared = false;
        m_store->setCallbacks({{}, [this] { m_hasAppeared = true; }});
    }
    void cleanup()
    {
        m_keyring.kill();
        m_keyring.waitForFinished();
        busConnection().unregisterService(keyringName);
        const uint started = busConnection().interface()->servicePid(keyringName);
        if (QFile::remove(m_services.filePath(u"org.freedesktop.secrets.service"_s)) && started > 0)
            ::kill(pid_t(started), SIGKILL);
        QTRY_VERIFY(!isKeyringThere());
    }
    void cleanupTestCase() { g_test_dbus_stop(m_bus); }

    /// Without a look at what is left GLib would end the process.
    void outlivesALackOfDescriptors()
    {
        startKeyring();
        QCOMPARE(resultsOf({store}), u"done"_s);
        const auto next = rlim_t(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
        ::close(int(next));
        for (rlim_t left = 0; left < 24; ++left) {
            const LowLimit limit(RLIMIT_NOFILE, next + left);
            QVERIFY2(resultsOf({lookUp}) != u"absent"_s, "a secret that cannot be read counts as absent");
        }
        QCOMPARE(resultsOf({lookUp}), m_secret);
    }

    void lives_data()
    {
        QTest::addColumn<Deeds>("deeds");
        QTest::addColumn<QString>("told");
        const auto all = [](const QString &text) { return QStringList(3, text).join(u", "_s); };
        const QString locked = all(u"locked the keyring is locked and was not unlocked"_s);
        const QString ended = all(u"unavailable the Secret Service has ended"_s);
        const QString stuck = all(u"unavailable the Secret Service does not answer"_s);
        const QString failed = u"failed the Secret Service failed"_s;
        const QString done = u"done"_s;
        const QString absent = u"absent"_s;
        const QString nothing = u"nothing yet"_s;

        row("one key's secret is another's, or is not kept",
            {keyring, run({lookUp, removeIt}), run({store, storeOther, storeNew, lookUp}), search,
             run({removeIt, lookUp, lookUpOther})},
            {absent, absent, done, done, done, u"done new"_s, u"label = Lábel"_s,
             u"schema = com.ardentwick.Morvanel"_s, done, absent, m_secret});
        row("items of other programs are not found, or an older one is used",
            {keyring, userStores(u"1"_s, u"a"_s), run({lookUp}), userStores(u"2"_s, u"b"_s), run({lookUp}),
             userStores(u"1"_s, u"c"_s), run({lookUp}), run({storeNew}), userReads(u"1"_s), userReads(u"2"_s),
             run({removeIt, lookUp})},
            {{}, u"done a"_s, {}, u"done b"_s, {}, u"done c"_s, done, u"new"_s, u"new"_s, done, absent});
        row("a keyring that comes later is not told", {run(allKinds), keyring, appears, run({lookUp})},
            {all(u"nobody there no Secret Service is running"_s), absent});
        row("a service that the bus can start is not started", {installService, run({lookUp})}, {absent});
        row("a keyring is made without the user", {lockedKeyring, run(allKinds)},
            {absent, u"locked there is no keyring yet and none was created"_s, absent});
        row("a full disk costs the old secret",
            {keyring, run({store}), fillDisk, run(allKinds), keyring, run({lookUp})},
            {done, m_secret, failed, failed, m_secret});
        for (const char *method : {"ReadAlias", "OpenSession", "SearchItems", "CreateCollection"})
            row(qPrintable(u"nonsense from %1 ends the program"_s.arg(QLatin1StringView(method))),
                {serveNonsense(QString::fromLatin1(method)), run({store})}, {failed});
        row("a frozen service is waited for without end",
            {keyring, run({store}), haveLittlePatience, freeze, run(allKinds), keyring, run({lookUp})},
            {done, stuck, m_secret});
        row("one that ends while it is frozen is waited for",
            {keyring, run({store}), freeze, ask(allKinds), await(300ms), killKeyring, await(20s), keyring,
             run({lookUp})},
            {done, nothing, ended, m_secret});
        row("nobody can ask, which is waited for",
            {keyring, run({store}), lockedKeyring, run(allKinds), keyring, run({lookUp})},
            {done, locked, m_secret});

        const Deeds asked{keyring,       run({store}), lockedKeyring, prompter,
                          ask(allKinds), question,     await(300ms)};
        const Deeds again{keyring, run({lookUp})};
        row("a dismissed question is put again", asked + Deeds{dismiss, await(20s)} + again,
            {done, nothing, locked, m_secret});
        row("the end of who asks is missed", asked + Deeds{killKeyring, await(20s)} + again,
            {done, nothing, ended, m_secret});
        row("a question that freezes is waited for without end",
            Deeds{haveLittlePatience} + asked + Deeds{freeze, await(20s)} + again,
            {done, nothing, stuck, m_secret});
        row("an answer reaches a store that is gone", asked + Deeds{abandon, dismiss, await(200ms)} + again,
            {done, nothing, nothing, m_secret});
        // The last one: the connection that GLib shares in the process may outlive its bus for a while.
        row("the bus's end ends the program",
            {keyring, run({store}), endBus, run(allKinds), bus, keyring, run({lookUp})},
            {done, all(u"unavailable the session bus cannot be reached"_s), m_secret});
    }

    void lives()
    {
        QFETCH(Deeds, deeds);
        QFETCH(QString, told);
        for (qsizetype i = 0; i < deeds.size() && !QTest::currentTestFailed(); ++i)
            deeds[i]();
        NO_FAULT(Pictures::difference(m_told.join(u", "_s), told));
        QVERIFY2(m_prompter.questions.size() <= 1, "the user is asked more than once");
    }
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "tst_secretservicestore.moc"
