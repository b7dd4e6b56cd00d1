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
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>

#include <climits>
#include <csignal>
#include <functional>
#include <map>
#include <memory>

#include <gio/gio.h>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"com.ardentwick.Morvanel.test"_s;
const QString account = u"8A1D2C60-0D9C-4E56-A1A8-2F0C0F3B7A11"_s;

/// Returns the call that a letter stands for: look up, store "new" or a first secret, or remove; a capital
/// letter is for another key.
SecretCall callFor(QChar letter)
{
    const SecretKey key{service, letter.isUpper() ? u"OTHER"_s : account};
    if (letter.toLower() == u'l')
        return {SecretCall::Kind::Lookup, key};
    if (letter.toLower() == u'r')
        return {SecretCall::Kind::Remove, key};
    const QByteArray data = letter.toLower() == u'n' ? QByteArray("new") : QByteArray("s3cr\xff\0t", 7);
    return {SecretCall::Kind::Store, key, data, u"Lábel"_s};
}

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
    std::unique_ptr<SecretServiceStore> m_store;
    QStringList m_told;
    bool m_hasAppeared = false;
    std::shared_ptr<QStringList> m_results; ///< of the last task, none before its end

    void ask(const QString &letters, bool mayAsk = true)
    {
        SecretStore::Calls calls;
        for (const QChar letter : letters)
            calls += callFor(letter);
        m_results = std::make_shared<QStringList>();
        m_store->exchange(calls, mayAsk, [results = m_results](const QList<SecretReply> &replies) {
            for (const SecretReply &reply : replies)
                *results += describe(reply);
        });
    }
    /// Returns what the task brings in that time.
    QString await(int milliseconds = 20'000)
    {
        const auto hasEnded = [this] { return !m_results->isEmpty(); };
        return QTest::qWaitFor(hasEnded, milliseconds) ? m_results->join(u" | "_s) : u"nothing"_s;
    }
    QString run(const QString &letters)
    {
        ask(letters);
        return await();
    }

    void startBus()
    {
        m_bus = g_test_dbus_new(G_TEST_DBUS_NONE);
        g_test_dbus_add_service_dir(m_bus, QFile::encodeName(m_services.path()).constData());
        g_test_dbus_up(m_bus);
        busConnection().registerVirtualObject(u"/org/gnome/keyring/Prompter"_s, &m_prompter);
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
    /// Does what a word says, maybe with another one, and writes down what comes of it.
    void act(const QString &step)
    {
        const QString word = step.section(u' ', 1);
        // No process has the largest number; 0 would stand for this one.
        const auto keyring = m_keyring.processId() > 0 ? pid_t(m_keyring.processId()) : INT_MAX;
        const rlimit none{0, RLIM_INFINITY};
        const QRegularExpression details(u"^(label|schema) "_s);
        QFile file(m_services.filePath(u"org.freedesktop.secrets.service"_s));
        const std::map<QString, std::function<void()>> actions{
            {u"run"_s, [&] { m_told += run(word); }},
            {u"ask"_s, [&] { ask(word); }},
            {u"await"_s, [&] { m_told += await(word.toInt()); }},
            {u"keyring"_s, [&] { startKeyring(); }},
            {u"locked-keyring"_s, [&] { startKeyring({}); }},
            {u"appears"_s, [&] { QTRY_VERIFY2(m_hasAppeared, "nobody was told of the keyring"); }},
            {u"freeze"_s, [&] { ::kill(keyring, SIGSTOP); }},
            {u"kill"_s, [&] { ::kill(keyring, SIGKILL); }},
            {u"fill-disk"_s, [&] { ::prlimit(keyring, RLIMIT_FSIZE, &none, nullptr); }},
            {u"search"_s, [&] { m_told += secretTool(u"search"_s).split(u'\n').filter(details); }},
            {u"store"_s, [&] { m_told += secretTool(u"store --label=Mine mark "_s + word, word); }},
            {u"read"_s, [&] { m_told += secretTool(u"lookup mark "_s + word); }},
            {u"prompter"_s, [&] { busConnection().registerService(prompterName); }},
            {u"question"_s, [&] { QTRY_COMPARE(m_prompter.questions.size(), 1); }},
            {u"dismiss"_s, [&] { m_prompter.dismiss(busConnection()); }},
            {u"abandon"_s, [&] { m_store = std::make_unique<SecretServiceStore>(busConnection()); }},
            {u"bus-ends"_s, [&] { g_test_dbus_stop(m_bus); }},
            {u"bus"_s, [&] { startBus(); }},
            {u"service"_s, [&] {
                 QVERIFY(file.open(QIODevice::WriteOnly));
                 file.write("[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/sh -c \"echo | exec "
                            "gnome-keyring-daemon --foreground --components=secrets --unlock\"");
             }}};
        actions.at(step.section(u' ', 0, 0))();
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
        QCOMPARE(run(u"a"_s), u"done"_s);
        const auto next = rlim_t(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
        ::close(int(next));
        for (rlim_t left = 0; left < 24; ++left) {
            const LowLimit limit(RLIMIT_NOFILE, next + left);
            QVERIFY(run(u"l"_s) != u"absent"_s);
        }
        QCOMPARE(run(u"l"_s), u"done s3cr~FF~00t"_s);
    }

    void lives_data()
    {
        QTest::addColumn<QString>("told");
        const auto row = [](const QString &steps, const QString &told) {
            QTest::newRow(qPrintable(steps)) << told;
        };
        const auto all = [](const QString &text) { return QStringList(3, text).join(u" | "_s); };
        const QString added = u"done | %1 | done s3cr~FF~00t"_s;
        const QString locked = all(u"locked the keyring is locked and was not unlocked"_s);
        const QString ended = all(u"unavailable the Secret Service has ended"_s);
        row(u"keyring, run lr, run aAnl, search, run rlL"_s,
            u"absent | absent | done | done | done | done new | label = Lábel | "
            "schema = com.ardentwick.Morvanel | done | absent | done s3cr~FF~00t"_s);
        // Items as a user stores them: without this program's schema, and more than one.
        row(u"keyring, store 1, run l, store 2, read 1, read 2, run n, read 1, read 2, run rl"_s,
            u" | done 1 |  | 1 | 2 | done | new | new | done | absent"_s);
        row(u"run lar, keyring, appears, run l"_s,
            all(u"nobody there no Secret Service is running"_s) + u" | absent"_s);
        row(u"locked-keyring, run lar"_s,
            u"absent | locked there is no keyring yet and none was created | absent"_s);
        row(u"keyring, run a, freeze, run lar, keyring, run l"_s,
            added.arg(all(u"unavailable the Secret Service does not answer"_s)));
        row(u"keyring, run a, freeze, ask lar, await 300, kill, await 20000, keyring, run l"_s,
            added.arg(u"nothing | "_s + ended));
        const QString failed = u"failed the Secret Service failed"_s;
        row(u"keyring, run a, fill-disk, run lar, keyring, run l"_s,
            added.arg(u"done s3cr~FF~00t | %1 | %1"_s.arg(failed)));
        row(u"keyring, run a, locked-keyring, run lar, keyring, run l"_s, added.arg(locked));
        const QString asks =
            u"keyring, run a, locked-keyring, prompter, ask lar, question, await 300, %1, keyring, run l"_s;
        row(asks.arg(u"dismiss, await 20000"_s), added.arg(u"nothing | "_s + locked));
        row(asks.arg(u"kill, await 20000"_s), added.arg(u"nothing | "_s + ended));
        row(asks.arg(u"freeze, await 40000"_s),
            added.arg(u"nothing | "_s + all(u"unavailable the Secret Service does not answer"_s)));
        row(asks.arg(u"abandon, dismiss, await 200"_s), added.arg(u"nothing | nothing"_s));
        row(u"service, run l"_s, u"absent"_s);
        // The last one: the connection that GLib shares in the process may outlive its bus for a while.
        row(u"keyring, run a, bus-ends, run lar, bus, keyring, run l"_s,
            added.arg(all(u"unavailable the session bus cannot be reached"_s)));
    }

    void lives()
    {
        QFETCH(QString, told);
        for (const QString &step : QString::fromUtf8(QTest::currentDataTag()).split(u", "_s))
            act(step);
        QCOMPARE(m_told.join(u" | "_s).split(u" | "_s), told.split(u" | "_s));
        QVERIFY(m_prompter.questions.size() <= 1);
    }
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "tst_secretservicestore.moc"
