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

using Variables = QList<std::pair<QString, QString>>;

const QString program = qEnvironmentVariable("MORVANEL_LAUNCHED");

/// One launch of the program; killed at the end of its scope.
class Launch
{
public:
    explicit Launch(const Variables &variables = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const auto &[name, value] : variables)
            environment.insert(name, value);
        m_process.setProcessEnvironment(environment);
        m_process.start(program, {});
    }
    ~Launch()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    QProcess &process() { return m_process; }
    bool ended() const { return m_process.state() == QProcess::NotRunning; }
    QByteArray output() { return m_output += m_process.readAllStandardOutput(); }
    QByteArray errors() { return m_errors += m_process.readAllStandardError(); }
    void signal(int number) { ::kill(pid_t(m_process.processId()), number); }
    /// Returns whether it waits for the end of another process.
    bool watchesAProcess() const
    {
        const QString command = u"readlink /proc/%1/fd/* | grep -q pidfd"_s.arg(m_process.processId());
        return QProcess::execute(u"/bin/sh"_s, {u"-c"_s, command}) == 0;
    }

private:
    QProcess m_process;
    QByteArray m_output;
    QByteArray m_errors;
};

const std::pair noBus{u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s};

/// Takes the place of the desktop's notifications.
class Notifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList shown;

public Q_SLOTS:
    uint Notify(const QString &, uint, const QString &, const QString &summary, const QString &,
                const QStringList &, const QVariantMap &, int)
    {
        shown += summary;
        return 1;
    }
};

QDBusMessage ask(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(u"com.ardentwick.Morvanel"_s, u"/com/ardentwick/Morvanel"_s,
                                       u"org.freedesktop.Application"_s, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

QString action(const QString &name)
{
    return ask(u"ActivateAction"_s, {name, QVariantList(), QVariantMap()}).errorName();
}

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void handsOver()
    {
        Launch first({{u"DBUS_STARTER_BUS_TYPE"_s, u"session"_s}}); // from a shell that the bus started
        QTRY_COMPARE(first.output(), "runs\n");
        Launch second({{u"XDG_ACTIVATION_TOKEN"_s, u"t-1"_s}, {u"DESKTOP_STARTUP_ID"_s, u"s_TIME2"_s}});
        QTRY_VERIFY(second.ended());
        QCOMPARE(second.process().exitCode(), 0);
        QCOMPARE(second.errors(), "");
        Launch third({{u"XDG_ACTIVATION_TOKEN"_s, QString()}});
        QTRY_COMPARE(first.output(), "runs\n"
                                     "activated activation-token=t-1 desktop-startup-id=s_TIME2\n"
                                     "activated\n");
    }

    void oneOfEightStays()
    {
        std::array<Launch, 8> launches;
        const auto ended = [&] { return std::ranges::count_if(launches, &Launch::ended); };
        QTRY_COMPARE(ended(), 7);
        for (Launch &launch : launches) {
            if (launch.ended()) {
                QCOMPARE(launch.process().exitCode(), 0);
                QCOMPARE(launch.output(), "");
            } else {
                // A request that came before it listened is taken before it says that it runs.
                QTRY_COMPARE(launch.output().count("activated\n"), 7);
                QTRY_COMPARE(launch.output().count("runs\n"), 1);
            }
        }
    }

    void diedOwnerIsReplaced()
    {
        Launch first;
        QTRY_COMPARE(first.output(), "runs\n");
        first.signal(SIGSTOP);
        Launch second;
        QTest::qWait(500); // it asks the first one, and waits for an answer
        QVERIFY(!second.ended());
        first.signal(SIGKILL);
        QTRY_COMPARE(second.output(), "runs\n");
    }

    void frozenOwnerIsReported()
    {
        Launch first;
        QTRY_COMPARE(first.output(), "runs\n");
        first.signal(SIGSTOP);
        QElapsedTimer elapsed;
        elapsed.start();
        Launch second;
        QTRY_VERIFY_WITH_TIMEOUT(second.ended(), 30'000);
        QCOMPARE_GE(elapsed.elapsed(), 2000); // of 3000; the timer in QtDBus is coarse
        QCOMPARE(second.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.process().exitCode(), 1);
        QVERIFY(second.errors().contains(QByteArray::number(first.process().processId())));
        QCOMPARE(second.errors().count('\n'), 1);
    }

    void runsWithoutBusOrFolder()
    {
        Launch first({{u"HOME"_s, u"/dev/null"_s}, noBus});
        QTRY_COMPARE(first.output(), "runs\n");
        QVERIFY(first.errors().contains("no session bus"));
        QVERIFY(first.errors().contains("/dev/null/.config/lock cannot be locked"));
        QCOMPARE(first.errors().count('\n'), 2);
    }

    void runsWhereTheBusRefusesTheName()
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
        const QString address = QString::fromLatin1(bus.readLine().trimmed());
        Launch first({{u"DBUS_SESSION_BUS_ADDRESS"_s, address}});
        QTRY_COMPARE(first.output(), "runs\n");
        QVERIFY(first.errors().contains("does not hand out the name com.ardentwick.Morvanel"));
        bus.kill();
        QVERIFY(bus.waitForFinished());
        QTRY_VERIFY(first.errors().contains("The session bus is gone"));
        QVERIFY(!first.ended());
    }

    void yieldsToAnotherSession()
    {
        Notifications notifications;
        QDBusConnection::sessionBus().registerObject(u"/org/freedesktop/Notifications"_s, &notifications,
                                                     QDBusConnection::ExportAllSlots);
        QVERIFY(QDBusConnection::sessionBus().registerService(u"org.freedesktop.Notifications"_s));
        Launch other({noBus});
        QTRY_COMPARE(other.output(), "runs\n");
        const QString sentence =
            u"Morvanel runs in another session (process %1)."_s.arg(other.process().processId());

        Launch late;
        QTRY_VERIFY(late.watchesAProcess());
        QTRY_VERIFY_WITH_TIMEOUT(late.ended(), 30'000);
        QCOMPARE(late.process().exitCode(), 1);
        QCOMPARE(late.output(), "");
        QCOMPARE(late.errors(), "morvanel: " + sentence.toUtf8() + '\n');
        QCOMPARE(notifications.shown, QStringList{sentence});

        Launch successor;
        QTRY_VERIFY(successor.watchesAProcess());
        other.signal(SIGKILL);
        QTRY_COMPARE(successor.output(), "runs\n");
    }

    void requests()
    {
        const QVariantMap data{{u"activation-token"_s, u"t"_s}};
        Launch first;
        QTRY_COMPARE(first.output(), "runs\n");
        for (const QString &name : {u"settings"_s, u"logs"_s, u"start-all"_s, u"stop-all"_s})
            QCOMPARE(ask(u"ActivateAction"_s, {name, QVariantList(), data}).errorName(), QString());
        QCOMPARE(ask(u"Activate"_s, {data}).errorName(), QString());
        QCOMPARE(action(u"Quit"_s), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
        QCOMPARE(ask(u"Open"_s, {QStringList{u"file:///x"_s}, data}).errorName(),
                 u"org.freedesktop.DBus.Error.NotSupported"_s);
        QCOMPARE(action(u"logs"_s), QString());
        QTRY_COMPARE(first.output(), "runs\n"
                                     "settings activation-token=t\n"
                                     "logs activation-token=t\n"
                                     "start-all activation-token=t\n"
                                     "stop-all activation-token=t\n"
                                     "activated activation-token=t\n"
                                     "logs\n");
    }

    void quittingOwnerIsReplaced()
    {
        Launch first;
        QTRY_COMPARE(first.output(), "runs\n");
        QCOMPARE(action(u"quit"_s), QString());
        QCOMPARE(action(u"logs"_s), u"com.ardentwick.Morvanel.Error.Quitting"_s);
        QCOMPARE(action(u"quit"_s), QString());
        Launch second;
        QTRY_VERIFY(second.watchesAProcess());
        QCOMPARE(second.output(), "");
        QCOMPARE(first.output(), "runs\nquit\nquit\n");
        first.process().closeWriteChannel(); // which it waits for
        QTRY_COMPARE(second.output(), "runs\n");
        QTRY_VERIFY(first.ended());
        QCOMPARE(second.errors(), "");
    }

    void startedByTheBus()
    {
        const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/dbus-1/services"_s;
        QVERIFY(QDir().mkpath(folder));
        QFile service(folder + u"/com.ardentwick.Morvanel.service"_s);
        QVERIFY(service.open(QFile::WriteOnly));
        const QString told = qEnvironmentVariable("HOME") + u"/told"_s;
        service.write(u"[D-BUS Service]\nName=com.ardentwick.Morvanel\n"
                      "Exec=/bin/sh -c \"exec %1 >%2\"\n"_s.arg(program, told)
                          .toLocal8Bit());
        service.close();
        QDBusConnection::sessionBus().call(
            QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                           u"org.freedesktop.DBus"_s, u"ReloadConfig"_s));

        QVERIFY(ask(u"Activate"_s, {QVariantMap{{u"activation-token"_s, u"t"_s}}}).errorName().isEmpty());
        QVERIFY(ask(u"Activate"_s, {QVariantMap()}).errorName().isEmpty());
        action(u"quit"_s);
        QFile lines(told);
        QVERIFY(lines.open(QFile::ReadOnly));
        QByteArray text;
        QTRY_COMPARE(text += lines.readAll(), "launched activation-token=t\nruns\nactivated\nquit\n");

        lines.close();
        QTRY_VERIFY(
            !QDBusConnection::sessionBus().interface()->isServiceRegistered(u"com.ardentwick.Morvanel"_s));
        action(u"quit"_s);
        QVERIFY(lines.open(QFile::ReadOnly));
        text.clear();
        QTRY_COMPARE(text += lines.readAll(), "for quit\nquit\nruns\n");
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
