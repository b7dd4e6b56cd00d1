// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopNotifications.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Another program on the test's bus that shows notifications.
class FakeServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit FakeServer(const QStringList &capabilities, const QString &version = u"0.7.3"_s)
        : m_capabilities(capabilities)
        , m_version(version)
    {
        m_bus.registerObject(u"/org/freedesktop/Notifications"_s, this, QDBusConnection::ExportAllContents);
        m_bus.registerService(u"org.freedesktop.Notifications"_s);
    }
    ~FakeServer() override { m_bus.unregisterService(u"org.freedesktop.Notifications"_s); }

    QStringList journal;
    bool leaves = false; ///< while it is called next

public Q_SLOTS:
    QString GetServerInformation(QString &vendor, QString &version, QString &protocol)
    {
        vendor = protocol = u"any"_s;
        version = m_version;
        return u"Xfce Notify Daemon"_s;
    }
    QStringList GetCapabilities()
    {
        journal += u"asked"_s;
        return m_capabilities;
    }
    // NOLINTNEXTLINE(readability-function-size): the interface's own arguments
    uint Notify(const QString &name, uint replaced, const QString &icon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int timeout)
    {
        const QStringList always{u"Morvanel"_s, u"com.ardentwick.Morvanel"_s, u"com.ardentwick.Morvanel"_s};
        const auto picture = hints.value(u"image-data"_s).value<QDBusArgument>();
        if (timeout == -1 && picture.currentSignature() == "(iiibiiay)"_L1 &&
            QStringList{name, icon, hints.value(u"desktop-entry"_s).toString()} == always)
            journal += u"%1 %2: %3 "_s.arg(replaced).arg(summary, body) + actions.join(u'|');
        if (leaves)
            m_bus.unregisterService(u"org.freedesktop.Notifications"_s);
        return replaced ? replaced : ++m_lastId;
    }
    void CloseNotification(uint id) { journal += u"close %1"_s.arg(id); }

Q_SIGNALS:
    void NotificationClosed(uint id, uint reason);
    void ActionInvoked(uint id, const QString &key);
    void ActivationToken(uint id, const QString &token);

private:
    QStringList m_capabilities;
    QString m_version;
    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"server"_s);
    uint m_lastId = 6;
};

} // namespace

class TestFreedesktopNotifications : public QObject
{
    Q_OBJECT

    const QUuid a = QUuid::createUuid();
    const QUuid b = QUuid::createUuid();
    const QString m_buttons = u" default||log|Log…"_s;
    const Notification::Button m_log{u"log"_s, u"Log…"_s, [] {}};
    const std::function<QImage()> icon = [] { return QImage(3, 2, QImage::Format_RGB32); };

private Q_SLOTS:
    void initTestCase() { qputenv("XDG_DATA_DIRS", "/nowhere"); } // the program counts as not installed

    void showsReplacesAndWithdraws()
    {
        FakeServer server({u"body-markup"_s, u"actions"_s});
        FreedesktopNotifications notifications(QDBusConnection::sessionBus(), icon);
        notifications.show(a, {u"t"_s, u"first"_s, {}, {m_log}});
        notifications.show(a, {u"1 < 2"_s, u"x & <y>"_s, {}, {m_log}});
        QTRY_COMPARE(server.journal, (QStringList{u"asked"_s, u"0 1 < 2: x &amp; &lt;y&gt;"_s + m_buttons}));

        notifications.show(a,
                           {u"t"_s, u"second"_s, {}, {m_log}}); // while the first one's id may be on its way
        notifications.show(a, {u"t"_s, u"third"_s, {}, {m_log}});
        QTRY_COMPARE(server.journal.last(), u"7 t: third"_s + m_buttons);
        notifications.show(b, {u"t"_s, u"other"_s, {}, {m_log}});
        QTRY_COMPARE(server.journal.last(), u"0 t: other"_s + m_buttons);
        notifications.withdraw(a);
        QTRY_COMPARE(server.journal.last(), u"close 7"_s);
        server.journal.clear();
        notifications.show(a, {u"t"_s, u"short"_s, {}, {m_log}});
        notifications.withdraw(a);
        QTRY_COMPARE(server.journal, (QStringList{u"0 t: short"_s + m_buttons, u"close 9"_s}));

        Q_EMIT server.NotificationClosed(8, 2);
        notifications.show(a, {u"t"_s, u"end"_s, {}, {m_log}});
        QTRY_COMPARE(server.journal.last(), u"0 t: end"_s + m_buttons);
        notifications.show(a, {u"t"_s, u"again"_s, {}, {m_log}});
        Q_EMIT server.NotificationClosed(10, 2); // too late for the one that replaces it
        QTRY_COMPARE(server.journal.last(), u"10 t: again"_s + m_buttons);
        notifications.withdraw(b); // was closed by the user
        notifications.update(b, {u"t"_s, u"stays closed"_s});
        notifications.withdraw(QUuid::createUuid());
        notifications.withdraw(a);
        QTRY_COMPARE(server.journal.mid(4), QStringList{u"close 10"_s});
    }

    void aClickIsToldWithItsToken()
    {
        FakeServer server({u"actions"_s});
        FreedesktopNotifications notifications(QDBusConnection::sessionBus(), icon);
        QStringList told;
        connect(&notifications, &FreedesktopNotifications::activationTokenProvided, this,
                [&](const QByteArray &token) { told += QString::fromLatin1(token); });
        const auto tell = [&](const QString &text) { return [&told, text] { told += text; }; };
        notifications.show(b, {u"t"_s, u"x"_s, tell(u"other"_s)});
        QTRY_COMPARE(server.journal.size(), 2);
        notifications.show(a,
                           {u"t"_s, u"<b>"_s, tell(u"clicked"_s), {{u"log"_s, u"Log…"_s, tell(u"log"_s)}}});
        QTRY_COMPARE(server.journal.last(), u"0 t: <b>"_s + m_buttons);
        for (const auto &[id, token] : {std::pair(99U, u"stranger's"_s), std::pair(8U, u"token"_s)}) {
            Q_EMIT server.ActivationToken(id, token);
            Q_EMIT server.ActionInvoked(id, u"log"_s);
            Q_EMIT server.ActionInvoked(id, u"default"_s);
        }
        QTRY_COMPARE(told, (QStringList{u"token"_s, u"log"_s, u"clicked"_s}));
    }

    void aDrawnDefaultActionHasALabel()
    {
        FakeServer server({u"actions"_s}, u"0.9.7"_s);
        FreedesktopNotifications notifications(QDBusConnection::sessionBus(), icon);
        Notification notification{u"t"_s, u"x"_s, [] {}, {m_log}};
        notifications.show(a, notification);
        QTRY_COMPARE(server.journal.value(1), u"0 t: x default|Settings…|log|Log…"_s);
        notification.clickLabel = m_log.label; // one button for both
        notifications.show(b, notification);
        QTRY_COMPARE(server.journal.value(2), u"0 t: x log|Log…"_s);
    }

    void serversComeAndGo()
    {
        FreedesktopNotifications notifications(QDBusConnection::sessionBus(), icon);
        for (const auto &[capability, shown] : {std::pair(u"actions"_s, u"0 t: <"_s + m_buttons),
                                                std::pair(u"body-markup"_s, u"0 t: &lt; "_s)}) {
            // Once the bus answers anything, it is known that the last one is gone.
            QDBusConnection::sessionBus().interface()->isServiceRegistered(u"any"_s);
            QCoreApplication::processEvents();
            FakeServer server({capability});
            notifications.show(a, {u"t"_s, u"<"_s, {}, {m_log}});
            QTRY_COMPARE(server.journal.join(u'\n'), u"asked\n"_s + shown);
            server.leaves = true;
            notifications.show(a, {u"t"_s, u"no more"_s, {}, {m_log}});
            QTRY_COMPARE(server.journal.size(), 3); // its answer comes after its end
        }
        notifications.withdraw(a);
    }
};

QTEST_GUILESS_MAIN(TestFreedesktopNotifications)
#include "tst_freedesktopnotifications.moc"
