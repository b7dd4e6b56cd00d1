// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusIcon.h"
#include "StatusItemController.h"

#include "AppFakes.h"
#include "Fakes.h"
#include "Pictures.h"
#include "TunnelRunner.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QString joined(QStringList parts)
{
    parts.removeAll(QString());
    return parts.join(u", "_s);
}

QString text(const Symbol &image)
{
    static const QStringList colors{u"none"_s, u"green"_s, u"orange"_s, u"red"_s, u"secondary"_s, u"grey"_s};
    const QString isTemplate = image.isTemplate ? u"template"_s : QString();
    return joined(
        {image.symbolName, image.iconName, colors.at(int(image.color)), isTemplate, image.description});
}

/// All of an entry but its id.
QString text(const MenuItem &item)
{
    static const QStringList actions{{},        u"toggle"_s,   u"open"_s, u"start all"_s, u"stop all"_s,
                                     u"logs"_s, u"settings"_s, u"quit"_s};
    const auto *url = std::get_if<QUrl>(&item.data);
    return QString(qsizetype(4) * item.indentation, u' ') +
           joined({item.isSeparator ? u"---"_s
                   : item.isEnabled ? item.title
                                    : u'(' + item.title + u')',
                   item.detail, item.toolTip, item.shortcut, item.image ? text(*item.image) : QString(),
                   actions.at(int(item.action)), url ? QString::fromLatin1(url->toEncoded()) : QString()});
}

/// The entries; in front of them the ids that do not tell them apart.
QStringList text(const Menu &menu)
{
    QSet<QString> ids{QString()};
    QStringList lines;
    for (const MenuItem &item : menu) {
        if (ids.contains(item.id))
            lines.prepend(u"id: "_s + item.id);
        ids += item.id;
        lines += text(item);
    }
    return lines;
}

using Case = TunnelState::Case;

struct Tunnel
{
    Case state;
    QString hostname = {};
    QUuid id = QUuid::createUuid();
};

/// A controller over a real manager.
struct Desk
{
    FakeWorld world;
    TunnelManager manager{world.services()};
    FakeDesktop desktop;
    FakeStatusItem item;
    StatusItemController controller{manager, desktop, item, desktop};

    /// Adds a tunnel and brings it into a state.
    QUuid add(const Tunnel &tunnel)
    {
        manager.add({tunnel.id, u"web"_s, tunnel.hostname, false}, u"eyJ"_s);
        if (tunnel.state == Case::Failed)
            manager.runner(tunnel.id)->fail(u"no %1 way"_s);
        else if (tunnel.state != Case::Stopped)
            world.connect(manager, tunnel.id, tunnel.state == Case::Starting ? 0 : 2);
        return tunnel.id;
    }
    /// Returns the entry of that title as it is drawn then, which must be there.
    MenuItem entry(const QString &title)
    {
        QCoreApplication::processEvents();
        const auto isIt = [&title](const MenuItem &one) { return one.title == title; };
        const auto found = std::find_if(item.menu.cbegin(), item.menu.cend(), isIt);
        if (found == item.menu.cend())
            qFatal("The menu has no entry \"%s\".", qPrintable(title));
        return *found;
    }
    void choose(const MenuItem &chosen) { item.callbacks.itemChosen(chosen); }
    void choose(const QString &title) { choose(entry(title)); }
    Case state(const QUuid &id) const { return manager.state(id).kind(); }
};

} // namespace

class TestStatusItemController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// Everything that the desktop shows: the item, its menu but for the end, and the launcher's.
    void shows_data()
    {
        QTest::addColumn<QList<Tunnel>>("tunnels");
        QTest::addColumn<QString>("picture");
        QTest::newRow("no hint without cloudflared") << QList<Tunnel>() << uR"(
bolt.horizontal.icloud, morvanel-idle, none, template, No active tunnels
Morvanel: no active tunnels
(Morvanel)
---
(No tunnels configured)
Add Tunnel…, settings
---
⚠︎ cloudflared not found, settings
Log…, logs)"_s;
        const QUuid id = QUuid::createUuid();
        QTest::newRow("tunnels alike are told apart by nothing")
            << QList{Tunnel{Case::Stopped, u" a.example "_s},
                     {Case::Starting},
                     {Case::Connected, u"API.Example.org "_s, id},
                     {Case::Connected, u"HTTP://http:80/b?c"_s, id}}
            << uR"(
arrow.clockwise.icloud, morvanel-connecting, orange, Connecting
1, Morvanel: connecting
(Morvanel · 1/4 connected)
---
web, Stopped ·  a.example , Click to start the tunnel, circle.fill, grey, Stopped, toggle
web, Connecting…, Click to stop the tunnel, circle.fill, orange, Connecting…, toggle
web, Connected (2 connections), Click to stop the tunnel, circle.fill, green, Connected (2 connections), toggle
    Open API.Example.org, open, https://api.example.org
web, Connected (2 connections), Click to stop the tunnel, circle.fill, green, Connected (2 connections), toggle
    Open http, open, http://http:80/b?c
---
Start All, start all
Stop All, stop all
web — Stopped, circle.fill, grey, Stopped, toggle
web — Connecting…, circle.fill, orange, Connecting…, toggle
web — Connected (2 connections), circle.fill, green, Connected (2 connections), toggle
web — Connected (2 connections), circle.fill, green, Connected (2 connections), toggle
---
Stop All, stop all
Log…, logs)"_s;
        QTest::newRow("no count of connected ones")
            << QList{Tunnel{Case::Connected, u"file:///srv/a%20b"_s}, {Case::Connected}} << uR"(
bolt.horizontal.icloud.fill, morvanel-connected, green, Tunnels connected
 2, 2, Morvanel: 2 of 2 tunnels connected
(Morvanel · 2/2 connected)
---
web, Connected (2 connections), Click to stop the tunnel, circle.fill, green, Connected (2 connections), toggle
    Open file:///srv/a%20b, open, file:///srv/a%20b
web, Connected (2 connections), Click to stop the tunnel, circle.fill, green, Connected (2 connections), toggle
---
(Start All), start all
Stop All, stop all
web — Connected (2 connections), circle.fill, green, Connected (2 connections), toggle
web — Connected (2 connections), circle.fill, green, Connected (2 connections), toggle
---
Stop All, stop all
Log…, logs)"_s;
        QTest::newRow("no reason of a failure") << QList{Tunnel{Case::Failed}} << uR"(
exclamationmark.icloud.fill, morvanel-problem, red, A tunnel has a problem
Morvanel: a tunnel has a problem
(Morvanel · 0/1 connected)
---
web, Error · no %1 way, Click to start the tunnel, circle.fill, red, Error: no %1 way, toggle
---
(Stop All), stop all
web — Error: no %1 way, circle.fill, red, Error: no %1 way, toggle
---
(Stop All), stop all
Log…, logs)"_s;
    }
    void shows()
    {
        QFETCH(QList<Tunnel>, tunnels);
        QFETCH(QString, picture);
        Desk desk;
        for (const Tunnel &tunnel : tunnels)
            desk.add(tunnel);
        QCoreApplication::processEvents();
        if (tunnels.isEmpty())
            QVERIFY(QFile::remove(desk.world.cloudflaredPath));
        desk.item.callbacks.menuAboutToShow(); // nothing announces that the file has gone
        const auto &[image, title, toolTip, badge] = desk.item.content;
        const QStringList menu = text(desk.item.menu);
        QVERIFY(StatusIcon::images().contains(*image));
        const QStringList shown{{}, text(*image), joined({title, badge, toolTip})};
        NO_FAULT(Pictures::difference(
            (shown + menu.sliced(0, menu.size() - 5) + text(desk.item.dockMenu)).join(u'\n'), picture));
        QCOMPARE(menu.sliced(menu.size() - 5).join(u'\n'),
                 u"---\nLog…, l, logs\nSettings…, ,, settings\n---\nQuit Morvanel, q, quit"_s);
    }

    void longTextsAreCut()
    {
        Desk desk;
        const QString message(100, u'x');
        const TunnelConfig tunnel = FakeWorld::addTunnel(desk.manager, QString(300, u'漢'));
        desk.manager.runner(tunnel.id)->fail(message);
        QCOMPARE(desk.entry(tunnel.name).detail, u"Error · "_s + message.first(70));
        QCOMPARE(desk.item.dockMenu.first().title,
                 QString(100, u'漢') + u'…' + QString(99, u'漢') + u" — Error: "_s + message);
    }

    /// A burst does not make the desktop work for each of its steps, and no count is an old one.
    void announcementsOfOneTurnGiveOneRefresh()
    {
        Desk desk;
        const QUuid web = desk.add({Case::Connected});
        const QUuid other = desk.add({Case::Connected});
        const int before = desk.item.refreshes;
        const auto shown = [&] {
            QCoreApplication::processEvents();
            return u"%1 after %2 refreshes"_s.arg(desk.item.content.toolTip)
                .arg(desk.item.refreshes - before);
        };
        QCOMPARE(shown(), u"Morvanel: 2 of 2 tunnels connected after 1 refreshes"_s);
        for (int i = 0; i < 1000; ++i)
            desk.world.launcher.children[0]->write("INF Unregistered tunnel connection connIndex=0\n");
        desk.manager.remove(other);
        QCOMPARE(shown(), u"Morvanel: 1 of 1 tunnels connected after 2 refreshes"_s);
        QCOMPARE(desk.entry(u"web"_s).detail, u"Connected (1 connection)"_s);
        desk.manager.remove(web);
        QCOMPARE(shown(), u"Morvanel: no active tunnels after 3 refreshes"_s);
    }

    void entriesActOnTheStateOfThatMoment()
    {
        Desk desk;
        const QUuid web = desk.add({Case::Stopped, u"web.example.org"_s});
        const MenuItem drawnStopped = desk.entry(u"web"_s);
        desk.choose(drawnStopped);
        QCOMPARE(desk.state(web), Case::Starting);
        desk.choose(drawnStopped); // it runs by now
        QCOMPARE(desk.state(web), Case::Stopping);
        desk.world.launcher.last().end(0);
        desk.manager.runner(web)->fail(u"x"_s);
        desk.choose(u"Stop All"_s); // disabled; would clear the failure
        QCOMPARE(desk.state(web), Case::Failed);
        desk.choose(desk.item.dockMenu.first());
        QCOMPARE(desk.state(web), Case::Starting);
        desk.world.launcher.last().write("INF Registered tunnel connection connIndex=0\n");
        const MenuItem drawn = desk.entry(u"Open web.example.org"_s);
        desk.manager.stop(web);
        desk.choose(drawn);
        QCOMPARE(desk.desktop.asked(), u"open https://web.example.org"_s);
    }

    void commandsAct()
    {
        Desk desk;
        for (const QString &title : {u"Add Tunnel…"_s, u"Log…"_s, u"Settings…"_s, u"Quit Morvanel"_s})
            desk.choose(title);
        QCOMPARE(desk.desktop.asked(), u"settings, logs, settings, terminate"_s);
        const QList<QUuid> ids{desk.add({Case::Stopped}), desk.add({Case::Stopped})};
        for (const auto &[title, state] :
             {std::pair(u"Start All"_s, Case::Starting), std::pair(u"Stop All"_s, Case::Stopping)}) {
            desk.choose(title);
            QCOMPARE((QList{desk.state(ids[0]), desk.state(ids[1])}), (QList{state, state}));
        }
    }
};

QTEST_GUILESS_MAIN(TestStatusItemController)
#include "tst_statusitemcontroller.moc"
