// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopStatusItem.h"
#include "LauncherEntryProxy.h"
#include "PanelTest.h"
#include "StatusNotifierItemProxy.h"
#include "SymbolDrawing.h"
#include "dbusmenuProxy.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

class TestFreedesktopStatusItem : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FreedesktopStatusItem> makeItem()
    {
        auto item = std::make_unique<FreedesktopStatusItem>(QDBusConnection::sessionBus(), m_folder.path(),
                                                            QList<Symbol>());
        item->setCallbacks({[this] { m_events += u"about to show"_s; },
                            [this](const MenuItem &chosen) { m_events += chosen.id; }});
        item->setContent(Samples::content(Samples::idle(), 0));
        item->setMenu(Samples::menu(2));
        item->setDockMenu(Samples::menu(1));
        return item;
    }
    QString labelOfFirstTunnel()
    {
        auto menu = m_client.proxy<dbusmenuProxy>(u"/MenuBar"_s);
        const auto layout = qdbus_cast<MenuLayout>(answerTo(menu.GetLayout(0, 1, {})).arguments().value(1));
        return qdbus_cast<MenuLayout>(layout.children.value(2)).properties.value(u"label"_s).toString();
    }
    static QMenu *popup()
    {
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (auto *menu = qobject_cast<PopupMenu *>(widget); menu && menu->isVisible())
                return menu;
        }
        return nullptr;
    }
    QDBusMessage activate()
    {
        auto item = m_client.proxy<StatusNotifierItemProxy>(u"/StatusNotifierItem"_s);
        return answerTo(item.Activate(5, 5));
    }

    BusClient m_client{u"client"_s};
    QTemporaryDir m_folder;
    QStringList m_events;

private Q_SLOTS:
    void init() { m_events.clear(); }

    void registersAtEveryNewWatcher()
    {
        const auto item = makeItem();
        for (const auto &[refusals, isFrozen] : {std::pair(0, false), {2, false}, {0, true}, {0, false}}) {
            FakeWatcher watcher(u"watcher"_s);
            watcher.refusals = refusals; // it has its name before it is ready
            watcher.isFrozen = isFrozen;
            QVERIFY(watcher.start());
            QTRY_COMPARE(watcher.items, QStringList{QDBusConnection::sessionBus().baseService()});
        }
    }

    void startsAtAWatcherThatIsThere()
    {
        FakeWatcher watcher(u"watcher"_s);
        QVERIFY(watcher.start());
        const auto item = makeItem();
        QTRY_COMPARE(watcher.items.size(), 1);
        QTest::qWait(50);
        QCOMPARE(watcher.items.size(), 1); // two would be two icons in some panels
    }

    void hostsComeAndGo()
    {
        QProcess daemon;
        daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
        QTRY_VERIFY(daemon.canReadLine());
        const QString address = QString::fromLocal8Bit(daemon.readLine().trimmed());
        FakeWatcher watcher(u"panel of another bus"_s, address);
        QVERIFY(watcher.start());
        NotifierWatcher item(QDBusConnection::connectToBus(address, u"item on another bus"_s));
        QTRY_COMPARE(item.host(), NotifierWatcher::Host::Present);
        watcher.setHost(false);
        QTRY_COMPARE(item.host(), NotifierWatcher::Host::Absent);
        watcher.setHost(true);
        QTRY_COMPARE(item.host(), NotifierWatcher::Host::Present);
        daemon.kill(); // nobody tells that the watcher is gone
        QTRY_COMPARE(item.host(), NotifierWatcher::Host::Absent);
    }

    void plasmaGetsOneLineAndARefusal()
    {
        const auto item = makeItem();
        QTRY_COMPARE(labelOfFirstTunnel(), u"tunnel__1\nStopped · click to start"_s);
        BusClient plasma(u"plasma"_s);
        QVERIFY(plasma.bus().registerService(u"org.kde.plasmashell"_s));
        QTRY_COMPARE(labelOfFirstTunnel(), u"tunnel__1 — Stopped · click to start"_s);
        QCOMPARE(activate().type(), QDBusMessage::ErrorMessage);
        plasma.vanish();
        QTRY_COMPARE(labelOfFirstTunnel(), u"tunnel__1\nStopped · click to start"_s);
    }

    void activateOpensTheMenuAtThePointer()
    {
        const auto item = makeItem();
        QCursor::setPos(301, 207);
        activate();
        QTRY_VERIFY(popup());
        QCOMPARE(popup()->pos(), QPoint(301, 207));
        QCOMPARE(m_events, QStringList{u"about to show"_s});
        QCOMPARE(popup()->actions().size(), Samples::menu(2).size());
        QTest::mouseClick(popup(), Qt::LeftButton, {},
                          popup()->actionGeometry(popup()->actions()[2]).center());
        QTRY_COMPARE(m_events.last(), u"tunnel-1"_s);
        QVERIFY(!popup());
    }

    void dotOfTheChosenEntryStandsOut()
    {
        const auto item = makeItem();
        item->setMenu({Samples::connected(1)});
        activate();
        QTRY_VERIFY(popup());
        QAction *connected = popup()->actions().first();
        for (const QColor &highlight : {QColor(0x30, 0x8c, 0xc6), QColor(0x23, 0x9a, 0x47)}) {
            QPalette palette = popup()->palette();
            palette.setColor(QPalette::Highlight, highlight);
            popup()->setPalette(palette);
            popup()->setActiveAction(connected);
            const QImage entry = popup()->grab(popup()->actionGeometry(connected)).toImage();
            double best = 0;
            for (int x = 8; x < 24; ++x)
                for (int y = 4; y < entry.height() - 4; ++y)
                    best = std::max(best, SymbolDrawing::contrast(entry.pixelColor(x, y), highlight));
            QVERIFY2(best >= 3, qPrintable(QString::number(best)));
        }
        popup()->close();
    }

    void openPopupFollowsInPlace()
    {
        const auto item = makeItem();
        activate();
        QTRY_VERIFY(popup());
        const QList<QAction *> before = popup()->actions();
        Menu menu = Samples::menu(2);
        menu[2] = Samples::tunnel(1, u"a & b"_s, u"Connected (1 connection)"_s, ColorRole::Green);
        menu.insert(3, Samples::openAddress(1, u"a.example"_s));
        menu.removeAt(4);
        item->setMenu(menu);
        const QList<QAction *> after = popup()->actions();
        QCOMPARE(after.size(), menu.size());
        QCOMPARE(after[2], before[2]);
        QCOMPARE(after[2]->text(), u"a && b\nConnected (1 connection)"_s);
        QCOMPARE(after[2]->toolTip(), u"Click to stop the tunnel"_s);
        QCOMPARE(after[3]->text(), u"    Open a.example"_s);
        QCOMPARE(after[4], before[4]);
        QCOMPARE(after.last()->shortcut(), QKeySequence(u"Ctrl+Q"_s));
        QVERIFY(popup()->toolTipsVisible());
        QVERIFY(popup()->rect().contains(popup()->actionGeometry(after.last())));
        after[3]->trigger();
        QTRY_COMPARE(m_events.last(), u"open-1"_s);
        popup()->close();
    }

    void launcherHearsOfTheBadge()
    {
        LauncherEntryProxy anyone({}, {}, m_client.bus()); // a launcher listens to every program
        const QSignalSpy updates(&anyone, &LauncherEntryProxy::Update);
        labelOfFirstTunnel(); // the bus knows by now who listens
        const auto isShown = [&] { return updates.last().last().toMap().value(u"count-visible"_s).toBool(); };
        const auto item = makeItem();
        QTRY_COMPARE(updates.size(), 1);
        QVERIFY(!isShown());
        item->setContent(Samples::content(Samples::online(), 3));
        QTRY_COMPARE(updates.size(), 2);
        const QVariantMap properties{
            {u"count"_s, qint64(3)}, {u"count-visible"_s, true}, {u"quicklist"_s, u"/DockMenu"_s}};
        QCOMPARE(updates.last(),
                 QVariantList({u"application://com.ardentwick.Morvanel.desktop"_s, properties}));
        auto entry = m_client.proxy<LauncherEntryProxy>(u"/com/canonical/unity/launcherentry/morvanel"_s);
        QCOMPARE(qdbus_cast<QVariantMap>(answerTo(entry.Query()).arguments().value(1)), properties);
        item->setContent(Samples::content(Samples::problem(), 0));
        QTRY_COMPARE(updates.size(), 3);
        QVERIFY(!isShown());
        item->setContent(Samples::content(Samples::idle(), 0)); // the same badge
        QVERIFY(m_client.bus().registerService(u"com.canonical.Unity"_s));
        QTRY_COMPARE(updates.size(), 4); // a launcher that starts late
    }

    void runsWithoutABus()
    {
        QTest::failOnWarning(QRegularExpression(u"."_s));
        FreedesktopStatusItem item(QDBusConnection(u"no such bus"_s), m_folder.path(), {});
        item.setContent(Samples::content(Samples::online(), 2));
        item.setMenu(Samples::menu(2));
        item.setDockMenu(Samples::menu(2));
        QCoreApplication::processEvents();
    }
};

QTEST_MAIN(TestFreedesktopStatusItem)
#include "tst_freedesktopstatusitem.moc"
