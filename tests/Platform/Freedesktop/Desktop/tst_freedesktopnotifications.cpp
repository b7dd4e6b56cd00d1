// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopNotifications.h"

#include <QDBusMessage>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString busName = u"org.freedesktop.Notifications"_s;
const QString connectionName = u"server"_s;

/// Another program on the test's bus that shows notifications.
class FakeServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit FakeServer(const QStringList &capabilities)
        : m_capabilities(capabilities)
    {
        m_bus.registerObject(u"/org/freedesktop/Notifications"_s, this, QDBusConnection::ExportAllContents);
        m_bus.registerService(busName);
    }
    ~FakeServer() override { m_bus.unregisterService(busName); }

    QStringList journal;
    int questions = 0;

public Q_SLOTS:
    QStringList GetCapabilities()
    {
        ++questions;
        return m_capabilities;
    }
    // NOLINTNEXTLINE(readability-function-size): the interface's own arguments
    uint Notify(const QString &name, uint replaced, const QString &icon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int timeout)
    {
        journal += u"%1 %2 %3 %4: %5 %6"_s.arg(name).arg(replaced).arg(icon, summary, body).arg(timeout);
        journal.last() += u' ' + actions.join(u'|') + u' ' + hints.value(u"desktop-entry"_s).toString();
        return replaced ? replaced : ++m_lastId;
    }
    void CloseNotification(uint id) { journal += u"close %1"_s.arg(id); }

Q_SIGNALS:
    void NotificationClosed(uint id, uint reason);
    void ActionInvoked(uint id, const QString &key);
    void ActivationToken(uint id, const QString &token);

private:
    QStringList m_capabilities;
    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
    uint m_lastId = 6;
};

QString notified(int replaced, const QString &texts, const QString &actions = u"default||log|Log…"_s)
{
    return u"Morvanel %1 com.ardentwick.Morvanel %2 -1 %3 com.ardentwick.Morvanel"_s.arg(replaced).arg(
        texts, actions);
}

} // namespace

class TestFreedesktopNotifications : public QObject
{
    Q_OBJECT

    const QUuid a = QUuid::createUuid();
    const QUuid b = QUuid::createUuid();

private Q_SLOTS:
    void showsReplacesAndWithdraws()
    {
        FakeServer server({u"body-markup"_s, u"actions"_s});
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        notifications.show(a, u"1 < 2"_s, u"x & <y>"_s);
        QTRY_COMPARE(server.journal, QStringList{notified(0, u"1 < 2: x &amp; &lt;y&gt;"_s)});
        server.journal.clear();

        notifications.show(a, u"t"_s, u"second"_s); // while the first one's id may be on its way
        notifications.show(a, u"t"_s, u"third"_s);
        notifications.show(b, u"t"_s, u"other"_s);
        QTRY_VERIFY(server.journal.contains(notified(7, u"t: third"_s)) &&
                    server.journal.contains(notified(0, u"t: other"_s)));
        notifications.withdraw(a);
        QTRY_COMPARE(server.journal.last(), u"close 7"_s);
        QCOMPARE(server.questions, 1);

        notifications.show(a, u"t"_s, u"short"_s);
        notifications.withdraw(a);
        QTRY_COMPARE(server.journal.last(), u"close 9"_s);
        Q_EMIT server.NotificationClosed(8, 2);
        notifications.show(a, u"t"_s, u"end"_s);
        QTRY_COMPARE(server.journal.last(), notified(0, u"t: end"_s));
        notifications.withdraw(b); // was closed by the user
        notifications.withdraw(QUuid::createUuid());
        notifications.withdraw(a);
        QTRY_COMPARE(server.journal.last(), u"close 10"_s);
        QCOMPARE(server.journal.filter(u"close"_s).size(), 3);
    }

    void aClickIsToldWithItsToken()
    {
        FakeServer server({u"actions"_s});
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        QStringList told;
        notifications.setActivated([&](const QUuid &tag) { told += tag.toString(); });
        connect(&notifications, &FreedesktopNotifications::activationTokenProvided, this,
                [&](const QByteArray &token) { told += QString::fromLatin1(token); });
        notifications.show(a, u"t"_s, u"x"_s);
        notifications.show(b, u"t"_s, u"<b>"_s);
        QTRY_COMPARE(server.journal.size(), 2);
        QVERIFY(server.journal.contains(notified(0, u"t: <b>"_s)));
        const uint idOfA = server.journal.first().contains(u'x') ? 7 : 8;
        QTRY_VERIFY([&] {
            Q_EMIT server.ActivationToken(99, u"stranger's"_s);
            Q_EMIT server.ActionInvoked(99, u"log"_s);
            Q_EMIT server.ActivationToken(idOfA, u"token"_s);
            Q_EMIT server.ActionInvoked(idOfA, u"default"_s);
            return QTest::qWaitFor([&] { return !told.isEmpty(); }, 500);
        }());
        QTRY_COMPARE(told, (QStringList{u"token"_s, a.toString()}));
    }

    void serversComeAndGo()
    {
        FreedesktopNotifications notifications(QDBusConnection::sessionBus());
        for (const QString &capability : {u"actions"_s, u"body-markup"_s}) {
            QTest::qWait(100); // the program hears that the last one is gone
            FakeServer server({capability});
            notifications.show(a, u"t"_s, u"<"_s);
            const bool hasActions = capability == u"actions"_s;
            const QString expected = hasActions ? notified(0, u"t: <"_s) : notified(0, u"t: &lt;"_s, {});
            QTRY_COMPARE(server.journal, QStringList{expected});
        }
        notifications.withdraw(a);
    }
};

QTEST_GUILESS_MAIN(TestFreedesktopNotifications)
#include "tst_freedesktopnotifications.moc"
