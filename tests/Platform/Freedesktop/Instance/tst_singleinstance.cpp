// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryFile>
#include <QTest>

#include <algorithm>
#include <array>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

/// One launch of the program; killed at the end of its scope.
class Launch : public QProcess
{
public:
    explicit Launch(const QList<std::pair<QString, QString>> &variables = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const auto &[name, value] : variables)
            environment.insert(name, value);
        setProcessEnvironment(environment);
        setProcessChannelMode(MergedChannels);
        start(qEnvironmentVariable("MORVANEL_LAUNCHED"), {});
    }
    ~Launch() override
    {
        kill();
        waitForFinished();
    }

    bool ended() const { return state() == NotRunning; }
    QByteArray output() { return m_output += readAll(); } ///< and errors
    void freeze() { ::kill(pid_t(processId()), SIGSTOP); }
    /// Returns whether it waits for the end of another process.
    bool watchesAProcess() const
    {
        const QString command = u"readlink /proc/%1/fd/* | grep -q pidfd"_s.arg(processId());
        return execute(u"/bin/sh"_s, {u"-c"_s, command}) == 0;
    }

private:
    QByteArray m_output;
};

/// Takes the place of the desktop's notifications.
class Notifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList shown;

public Q_SLOTS:
    uint Notify(const QString &, uint, const QString &, const QString &, const QString &body,
                const QStringList &, const QVariantMap &, int)
    {
        shown += body;
        return 1;
    }
};

/// Calls the program's object; returns the name of the error.
QString request(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(u"com.ardentwick.Morvanel"_s, u"/com/ardentwick/Morvanel"_s,
                                       u"org.freedesktop.Application"_s, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message).errorName();
}

QString action(const QString &name, const QVariantMap &data = {})
{
    return request(u"ActivateAction"_s, {name, QVariantList(), data});
}

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private:
    Notifications m_notifications;

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnection::sessionBus().registerObject(u"/org/freedesktop/Notifications"_s, &m_notifications,
                                                     QDBusConnection::ExportAllSlots);
        QVERIFY(QDBusConnection::sessionBus().registerService(u"org.freedesktop.Notifications"_s));
    }
    void init() { m_notifications.shown.clear(); }

    void theFirstServesUntilItQuits()
    {
        Launch first({{u"DBUS_STARTER_BUS_TYPE"_s, u"session"_s}}); // from a shell that the bus started
        QTRY_COMPARE(first.output(), "runs\n");
        Launch second({{u"XDG_ACTIVATION_TOKEN"_s, u"t-1"_s}, {u"DESKTOP_STARTUP_ID"_s, u"s_TIME2"_s}});
        QTRY_VERIFY(second.ended());
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(second.output(), "");
        Launch third({{u"XDG_ACTIVATION_TOKEN"_s, QString()}});
        QTRY_VERIFY(third.ended());

        const QVariantMap data{{u"activation-token"_s, u"t"_s}};
        for (const QString &name : {u"settings"_s, u"logs"_s, u"start-all"_s, u"stop-all"_s})
            QCOMPARE(action(name, data), QString());
        QCOMPARE(request(u"Activate"_s, {data}), QString());
        QCOMPARE(action(u"Quit"_s), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
        QCOMPARE(request(u"Open"_s, {QStringList{u"file:///x"_s}, data}),
                 u"org.freedesktop.DBus.Error.NotSupported"_s);
        QCOMPARE(action(u"quit"_s), QString());
        QCOMPARE(action(u"logs"_s), u"com.ardentwick.Morvanel.Error.Quitting"_s);
        QCOMPARE(action(u"quit"_s), QString());

        Launch next;
        QTRY_VERIFY(next.watchesAProcess());
        QCOMPARE(next.output(), "");
        QTRY_COMPARE(first.output(), "runs\n"
                                     "activated activation-token=t-1 desktop-startup-id=s_TIME2\n"
                                     "activated\n"
                                     "settings activation-token=t\n"
                                     "logs activation-token=t\n"
                                     "start-all activation-token=t\n"
                                     "stop-all activation-token=t\n"
                                     "activated activation-token=t\n"
                                     "quit\nquit\n");
        first.closeWriteChannel(); // which it waits for
        QTRY_COMPARE(next.output(), "runs\n");
    }

    void oneOfEightStays()
    {
        std::array<Launch, 8> launches;
        QTRY_COMPARE(std::ranges::count_if(launches, &Launch::ended), 7);
        QByteArrayList told; // a request that came before it listened is kept
        for (Launch &launch : launches) {
            QCOMPARE(launch.exitCode(), 0);
            QTRY_VERIFY(launch.ended() || launch.output().count('\n') == 8);
            told += launch.output().split('\n');
        }
        std::ranges::sort(told);
        QCOMPARE(told, QByteArrayList(8, "") + QByteArrayList(7, "activated") + QByteArrayList{"runs"});
    }

    void frozenOwnerIsReportedAndADeadOneReplaced()
    {
        Launch first;
        QTRY_COMPARE(first.output(), "runs\n");
        first.freeze();
        QElapsedTimer elapsed;
        elapsed.start();
        Launch second;
        QTRY_VERIFY_WITH_TIMEOUT(second.ended(), 30'000);
        QCOMPARE_GE(elapsed.elapsed(), 2000); // of 3000; the timer in QtDBus is coarse
        QCOMPARE(second.exitCode(), 1);
        QVERIFY(second.output().contains(QByteArray::number(first.processId())));
        QCOMPARE(second.output().count('\n'), 1);

        QProcess monitor;
        monitor.start(u"dbus-monitor"_s, {u"interface=org.freedesktop.Application"_s});
        QByteArray heard;
        QTRY_VERIFY((heard += monitor.readAll()).contains("NameLost")); // from here on it hears all
        Launch third;
        QTRY_VERIFY((heard += monitor.readAll()).contains("member=Activate")); // it asks the first one
        first.kill();
        QTRY_COMPARE(third.output(), "runs\n");
        monitor.kill();
        monitor.waitForFinished();
    }

    void runsWithoutANameOrAFolder()
    {
        QTemporaryFile rules; // nobody may own a name
        QVERIFY(rules.open());
        rules.write(
            "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context='default'>"
            "<allow send_destination='*'/><allow receive_sender='*'/></policy></busconfig>");
        rules.close();
        QProcess bus;
        bus.start(u"dbus-daemon"_s,
                  {u"--nofork"_s, u"--print-address"_s, u"--config-file"_s, rules.fileName()});
        QVERIFY(bus.waitForReadyRead());
        Launch first({{u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromLatin1(bus.readLine().trimmed())},
                      {u"HOME"_s, u"/dev/null"_s}});
        QTRY_VERIFY(first.output().endsWith("runs\n"));
        QVERIFY(first.output().contains("does not hand out the name com.ardentwick.Morvanel"));
        QVERIFY(first.output().contains("/dev/null/.config/lock cannot be locked"));
        bus.kill();
        QVERIFY(bus.waitForFinished());
        QTRY_VERIFY(first.output().contains("The session bus is gone"));
        QCOMPARE(first.output().count('\n'), 4);
        QVERIFY(!first.ended());
    }

    void yieldsToAnotherSession()
    {
        Launch other({{u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s}});
        QTRY_VERIFY(other.output().endsWith("runs\n"));
        QVERIFY(other.output().contains("no session bus"));
        const QString sentence = u"Morvanel runs in another session (process %1)."_s.arg(other.processId());

        Launch late;
        QTRY_VERIFY(late.watchesAProcess());
        QTRY_VERIFY_WITH_TIMEOUT(late.ended(), 30'000);
        QCOMPARE(late.exitCode(), 1);
        QCOMPARE(late.output(), "morvanel: " + sentence.toUtf8() + '\n');
        QCOMPARE(m_notifications.shown, QStringList{sentence});

        Launch successor;
        QTRY_VERIFY(successor.watchesAProcess());
        other.kill();
        QTRY_COMPARE(successor.output(), "runs\n");
    }

    /// A desktop asks over the bus and shows no error, so the program itself has to tell the user.
    void startedWithoutADisplay()
    {
        Launch first({{u"WITHOUT_WINDOWS"_s, u"1"_s}});
        QTRY_COMPARE(first.output(), "runs\n");
        Launch second;
        QTRY_VERIFY(second.ended());
        QCOMPARE(second.exitCode(), 1);
        QVERIFY(second.output().contains("without windows"));
        QCOMPARE(action(u"logs"_s), u"com.ardentwick.Morvanel.Error.Windowless"_s);
        QTRY_COMPARE(m_notifications.shown.filter(u"Quit it, then start it again"_s).size(), 2);
        QCOMPARE(action(u"start-all"_s), QString());
        QTRY_COMPARE(first.output(), "runs\nstart-all\n");
    }

    void startedByTheBus()
    {
        const QDir folder(qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/dbus-1/services"_s);
        QVERIFY(folder.mkpath(u"."_s));
        QFile service(folder.filePath(u"com.ardentwick.Morvanel.service"_s));
        QVERIFY(service.open(QFile::WriteOnly));
        service.write("[D-BUS Service]\nName=com.ardentwick.Morvanel\n"
                      "Exec=/bin/sh -c \"exec $MORVANEL_LAUNCHED >>$HOME/told\"\n");
        service.close();
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        bus->call(u"ReloadConfig"_s);

        QCOMPARE(request(u"Activate"_s, {QVariantMap{{u"activation-token"_s, u"t"_s}}}), QString());
        QCOMPARE(request(u"Activate"_s, {QVariantMap()}), QString());
        action(u"quit"_s);
        QTRY_VERIFY(!bus->isServiceRegistered(u"com.ardentwick.Morvanel"_s));
        action(u"quit"_s);
        QFile told(qEnvironmentVariable("HOME") + u"/told"_s);
        QVERIFY(told.open(QFile::ReadOnly));
        QByteArray lines;
        QTRY_COMPARE(lines += told.readAll(), "launched activation-token=t\nruns\nactivated\nquit\n"
                                              "for quit\nquit\nruns\n");
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
