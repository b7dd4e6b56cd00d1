// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

/// A session bus that starts nothing by itself, and GNOME's keyring on it with files of its own. The process
/// takes it for the session bus while it lives.
class PrivateDesktop
{
public:
    PrivateDesktop() { startBus(); }
    ~PrivateDesktop()
    {
        stopKeyring();
        stopBus();
    }

    /// A new bus under a new address, as after a log-in.
    bool startBus()
    {
        QFile configuration(m_folder.filePath(QStringLiteral("bus.conf")));
        configuration.open(QIODevice::WriteOnly);
        configuration.write(R"(<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>)");
        configuration.close();
        m_bus.start(QStringLiteral("dbus-daemon"),
                    {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                     QStringLiteral("--config-file=") + configuration.fileName()});
        if (!m_bus.waitForReadyRead())
            return false;
        m_address = m_bus.readLine().trimmed();
        return qputenv("DBUS_SESSION_BUS_ADDRESS", m_address);
    }
    void stopBus() { stop(m_bus); }

    /// A keyring with a password creates and unlocks its default collection. Without one it leaves that
    /// locked, or does without while there is none.
    bool startKeyring(const QByteArray &password = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_DATA_HOME"), m_folder.path());
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_folder.path());
        m_keyring.setProcessEnvironment(environment);
        m_keyring.setStandardErrorFile(QProcess::nullDevice());
        QStringList arguments = {QStringLiteral("--foreground"), QStringLiteral("--components=secrets")};
        if (!password.isEmpty())
            arguments.append(QStringLiteral("--unlock"));
        m_keyring.start(QStringLiteral("gnome-keyring-daemon"), arguments);
        m_keyring.write(password);
        m_keyring.closeWriteChannel();
        const QString name = QString::fromUtf8(m_address);
        QDBusConnection bus = QDBusConnection::connectToBus(name, name);
        return QTest::qWaitFor([&] {
            return bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets")).value();
        });
    }
    void stopKeyring() { stop(m_keyring); }
    void signalKeyring(int number) { ::kill(pid_t(m_keyring.processId()), number); }

    /// Runs secret-tool; what it printed.
    static QString secretTool(const QStringList &arguments, const QByteArray &secret = {})
    {
        QProcess tool;
        tool.setProcessChannelMode(QProcess::MergedChannels);
        tool.start(QStringLiteral("secret-tool"), arguments);
        tool.write(secret);
        tool.closeWriteChannel();
        tool.waitForFinished();
        return QString::fromUtf8(tool.readAll());
    }

private:
    static void stop(QProcess &process)
    {
        process.kill();
        process.waitForFinished();
    }

    QTemporaryDir m_folder;
    QProcess m_bus;
    QProcess m_keyring;
    QByteArray m_address;
};
