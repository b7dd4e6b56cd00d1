// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusIcon.h"
#include "StatusPresentation.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QUuid first(u"11111111-1111-1111-1111-111111111111"_s);
const QUuid second(u"22222222-2222-2222-2222-222222222222"_s);

QString text(ColorRole color)
{
    static const QStringList names{u"none"_s, u"green"_s, u"orange"_s, u"red"_s, u"secondary"_s, u"grey"_s};
    return names.at(int(color));
}

QString text(const Symbol &image)
{
    return image.symbolName + u" \""_s + image.description + u"\" "_s + QString::number(image.pointSize) +
           u' ' + text(image.color) + (image.isTemplate ? u" template"_s : QString());
}

QString text(MenuAction action)
{
    static const QStringList names{u"nothing"_s,  u"toggle"_s, u"open"_s,     u"start all"_s,
                                   u"stop all"_s, u"logs"_s,   u"settings"_s, u"quit"_s};
    return names.at(int(action));
}

/// All of an entry but its id: `    title / detail (tooltip) ^key {dot} disabled -> action object`.
QString text(const MenuItem &item)
{
    QString line = item.isSeparator ? u"---"_s : QString(4 * item.indentation, u' ') + item.title;
    if (!item.detail.isEmpty())
        line += u" / "_s + item.detail;
    if (!item.toolTip.isEmpty())
        line += u" ("_s + item.toolTip + u")"_s;
    if (!item.shortcut.isEmpty())
        line += u" ^"_s + item.shortcut;
    if (item.image)
        line += u" {"_s + text(*item.image) + u"}"_s;
    if (!item.isEnabled)
        line += u" disabled"_s;
    if (item.action != MenuAction::None)
        line += u" -> "_s + text(item.action);
    if (const auto *id = std::get_if<QUuid>(&item.data))
        line += u" %1"_s.arg(*id == first ? 1 : 2);
    if (const auto *url = std::get_if<QUrl>(&item.data))
        line += u' ' + QString::fromLatin1(url->toEncoded());
    return line;
}

QStringList text(const Menu &menu)
{
    QStringList lines;
    for (const MenuItem &item : menu)
        lines += text(item);
    return lines;
}

TunnelsSnapshot::Entry entry(const QUuid &id, const QString &name, const QString &hostname,
                             const TunnelState &state)
{
    return {{id, name, hostname, false}, state};
}

/// The counts as a manager would give them; no rule shown here depends on how it finds the overall status.
TunnelsSnapshot snapshot(const QList<TunnelsSnapshot::Entry> &entries,
                         OverallStatus status = OverallStatus::Idle)
{
    TunnelsSnapshot result{entries, status, 0, 0, true};
    for (const auto &entry : entries) {
        result.runningCount += entry.state.isRunning();
        result.connectedCount += entry.state.kind() == TunnelState::Case::Connected;
    }
    return result;
}

TunnelsSnapshot withoutCloudflared(TunnelsSnapshot result)
{
    result.isCloudflaredExecutable = false;
    return result;
}

const QStringList commands{u"---"_s, u"Log… ^l -> logs"_s, u"Settings… ^, -> settings"_s, u"---"_s,
                           u"Quit Morvanel ^q -> quit"_s};
const TunnelsSnapshot::Entry web = entry(first, u"web"_s, u" web.example.org "_s, TunnelState::connected(2));
const TunnelsSnapshot::Entry ssh = entry(second, u"ssh"_s, {}, TunnelState::stopped());
const QString webEntry = u"web / Connected (2 connections) (Click to stop the tunnel) "
                         "{circle.fill \"Connected (2 connections)\" 9 green} -> toggle 1"_s;
const QString webAddress = u"    Open web.example.org -> open https://web.example.org"_s;
const QString sshEntry = u"ssh / Stopped · click to start (Click to start the tunnel) "
                         "{circle.fill \"Stopped\" 9 grey} -> toggle 2"_s;

} // namespace

class TestStatusPresentation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void panelImages();
    void content_data();
    void content();
    void tunnelEntries_data();
    void tunnelEntries();
    void menu_data();
    void menu();
    void dockMenu_data();
    void dockMenu();
    void failureIsCutAfterCharactersNotCodeUnits();
    void openAddress_data();
    void openAddress();
    void entryIdsAreUniqueAndStable();
};

void TestStatusPresentation::panelImages()
{
    const auto image = [](OverallStatus status) { return text(StatusIcon::image(status)); };
    QCOMPARE(image(OverallStatus::Idle), u"bolt.horizontal.icloud \"No active tunnels\" 15 none template"_s);
    QCOMPARE(image(OverallStatus::Connecting), u"arrow.clockwise.icloud \"Connecting\" 15 orange"_s);
    QCOMPARE(image(OverallStatus::Connected),
             u"bolt.horizontal.icloud.fill \"Tunnels connected\" 15 green"_s);
    QCOMPARE(image(OverallStatus::Problem),
             u"exclamationmark.icloud.fill \"A tunnel has a problem\" 15 red"_s);
}

void TestStatusPresentation::content_data()
{
    QTest::addColumn<OverallStatus>("status");
    QTest::addColumn<int>("connected");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("badge");
    QTest::addColumn<QString>("toolTip");
    using enum OverallStatus;
    QTest::newRow("idle") << Idle << 0 << u""_s << u""_s << u"Morvanel: no active tunnels"_s;
    QTest::newRow("connecting") << Connecting << 0 << u""_s << u""_s << u"Morvanel: connecting"_s;
    QTest::newRow("one connected") << Connected << 1 << u""_s << u"1"_s
                                   << u"Morvanel: 1 of 12 tunnels connected"_s;
    QTest::newRow("two connected") << Connected << 2 << u" 2"_s << u"2"_s
                                   << u"Morvanel: 2 of 12 tunnels connected"_s;
    QTest::newRow("all connected") << Connected << 12 << u" 12"_s << u"12"_s
                                   << u"Morvanel: 12 of 12 tunnels connected"_s;
    QTest::newRow("three connected, one failed")
        << Problem << 3 << u" 3"_s << u"3"_s << u"Morvanel: a tunnel has a problem"_s;
}

void TestStatusPresentation::content()
{
    QFETCH(OverallStatus, status);
    QFETCH(int, connected);
    QList<TunnelsSnapshot::Entry> entries(connected, web);
    entries.resize(12, ssh);
    const StatusItemContent content = StatusPresentation::content(snapshot(entries, status));
    QCOMPARE(content.image, StatusIcon::image(status));
    QTEST(content.title, "title");
    QTEST(content.badge, "badge");
    QTEST(content.toolTip, "toolTip");
}

void TestStatusPresentation::tunnelEntries_data()
{
    QTest::addColumn<TunnelsSnapshot>("tunnel");
    QTest::addColumn<QStringList>("lines");
    const auto row = [](const char *name, const QString &hostname, const TunnelState &state,
                        const QStringList &lines) {
        QTest::newRow(name) << snapshot({entry(first, u"web"_s, hostname, state)}) << lines;
    };
    const auto line = [](const QString &detail, const QString &verb, const QString &label,
                         const QString &dot) {
        return u"web / %1 (Click to %2 the tunnel) {circle.fill \"%3\" 9 %4} -> toggle 1"_s.arg(detail, verb,
                                                                                                label, dot);
    };
    const auto plain = [&](const QString &label, const QString &dot) {
        return line(label, u"stop"_s, label, dot);
    };

    row("connected once", {}, TunnelState::connected(1), {plain(u"Connected (1 connection)"_s, u"green"_s)});
    row("connected, host name", u"a.example"_s, TunnelState::connected(0),
        {plain(u"Connected (0 connections)"_s, u"green"_s),
         u"    Open a.example -> open https://a.example"_s});
    row("starting, host name", u"a.example"_s, TunnelState::starting(),
        {plain(u"Connecting…"_s, u"orange"_s)});
    row("reconnecting, host name", u"a.example"_s, TunnelState::reconnecting(),
        {plain(u"Reconnecting…"_s, u"orange"_s)});
    row("stopping", {}, TunnelState::stopping(), {plain(u"Stopping…"_s, u"orange"_s)});
    row("stopped", {}, TunnelState::stopped(),
        {line(u"Stopped · click to start"_s, u"start"_s, u"Stopped"_s, u"grey"_s)});
    row("stopped, host name as typed", u" a.example "_s, TunnelState::stopped(),
        {line(u"Stopped ·  a.example "_s, u"start"_s, u"Stopped"_s, u"grey"_s)});
    row("stopped, blank host name", u" "_s, TunnelState::stopped(),
        {line(u"Stopped ·  "_s, u"start"_s, u"Stopped"_s, u"grey"_s)});
    row("failed", u"a.example"_s, TunnelState::failed(u"no %1 way"_s),
        {line(u"Error · no %1 way"_s, u"start"_s, u"Error: no %1 way"_s, u"red"_s)});
    row("failed without a message", {}, TunnelState::failed({}),
        {line(u"Error · "_s, u"start"_s, u"Error: "_s, u"red"_s)});
}

void TestStatusPresentation::tunnelEntries()
{
    QFETCH(TunnelsSnapshot, tunnel);
    const QStringList lines = text(StatusPresentation::menu(tunnel));
    QTEST(lines.mid(2, lines.size() - 2 - 2 - commands.size()), "lines");
}

void TestStatusPresentation::menu_data()
{
    QTest::addColumn<TunnelsSnapshot>("tunnels");
    QTest::addColumn<QStringList>("lines");
    const QStringList none{u"Morvanel disabled"_s, u"---"_s, u"No tunnels configured disabled"_s,
                           u"Add Tunnel… -> settings"_s};
    const QStringList warning{u"---"_s, u"⚠︎ cloudflared not found -> settings"_s};
    const QStringList one{u"Morvanel · 1/1 connected disabled"_s, u"---"_s, webEntry, webAddress};
    const QString start = u"Start All -> start all"_s;
    const QString stop = u"Stop All -> stop all"_s;
    const QString noStart = u"Start All disabled -> start all"_s;
    const QString noStop = u"Stop All disabled -> stop all"_s;

    QTest::newRow("none") << snapshot({}) << none + commands;
    QTest::newRow("none, no cloudflared") << withoutCloudflared(snapshot({})) << none + warning + commands;
    QTest::newRow("one") << snapshot({web}) << one + QStringList{u"---"_s, stop} + commands;
    QTest::newRow("one, no cloudflared")
        << withoutCloudflared(snapshot({web})) << one + warning + QStringList{u"---"_s, stop} + commands;
    QTest::newRow("two, one running") << snapshot({ssh, web})
                                      << QStringList{u"Morvanel · 1/2 connected disabled"_s,
                                                     u"---"_s,
                                                     sshEntry,
                                                     webEntry,
                                                     webAddress,
                                                     u"---"_s,
                                                     start,
                                                     stop} +
                                             commands;
    QTest::newRow("two, all running") << snapshot({web, web})
                                      << QStringList{u"Morvanel · 2/2 connected disabled"_s,
                                                     u"---"_s,
                                                     webEntry,
                                                     webAddress,
                                                     webEntry,
                                                     webAddress,
                                                     u"---"_s,
                                                     noStart,
                                                     stop} +
                                             commands;
    QTest::newRow("two, none running")
        << withoutCloudflared(snapshot({ssh, ssh}))
        << QStringList{u"Morvanel · 0/2 connected disabled"_s, u"---"_s, sshEntry, sshEntry} + warning +
               QStringList{u"---"_s, start, noStop} + commands;
}

void TestStatusPresentation::menu()
{
    QFETCH(TunnelsSnapshot, tunnels);
    QTEST(text(StatusPresentation::menu(tunnels)), "lines");
}

void TestStatusPresentation::dockMenu_data()
{
    QTest::addColumn<TunnelsSnapshot>("tunnels");
    QTest::addColumn<QStringList>("lines");
    const QString sshLine = u"ssh — Stopped {circle.fill \"Stopped\" 9 grey} -> toggle 2"_s;
    const QString longMessage(100, u'x');
    QTest::newRow("none") << withoutCloudflared(snapshot({})) << QStringList{u"Log… -> logs"_s};
    QTest::newRow("none running") << snapshot({ssh, ssh})
                                  << QStringList{sshLine, sshLine, u"---"_s,
                                                 u"Stop All disabled -> stop all"_s, u"Log… -> logs"_s};
    QTest::newRow("long name")
        << snapshot({entry(second, QString(300, u'漢'), {}, TunnelState::failed(longMessage))})
        << QStringList{u"%1…%2 — Error: %3 {circle.fill \"Error: %3\" 9 red} -> toggle 2"_s.arg(
                           QString(100, u'漢'), QString(99, u'漢'), longMessage),
                       u"---"_s, u"Stop All disabled -> stop all"_s, u"Log… -> logs"_s};
    QTest::newRow("failed and connected")
        << snapshot({entry(second, u"ssh"_s, u"b.example"_s, TunnelState::failed(longMessage)), web})
        << QStringList{u"ssh — Error: %1 {circle.fill \"Error: %1\" 9 red} -> toggle 2"_s.arg(longMessage),
                       u"web — Connected (2 connections) {circle.fill \"Connected (2 connections)\" 9 green} "
                       "-> toggle 1"_s,
                       u"---"_s, u"Stop All -> stop all"_s, u"Log… -> logs"_s};
}

void TestStatusPresentation::dockMenu()
{
    QFETCH(TunnelsSnapshot, tunnels);
    QTEST(text(StatusPresentation::dockMenu(tunnels)), "lines");
}

void TestStatusPresentation::failureIsCutAfterCharactersNotCodeUnits()
{
    const QString prefix = u"Error · "_s;
    const auto detail = [](const TunnelState &state) {
        return StatusPresentation::menu(snapshot({entry(first, u"n"_s, {}, state)})).at(2).detail;
    };
    // One character each for a user: a letter, a letter with two marks, a flag, a family, a line break.
    for (const QString &character :
         {u"x"_s, u"e\u0301\u0323"_s, u"🇩🇪"_s, u"👨‍👩‍👧"_s, u"\r\n"_s}) {
        const QString seventy = character.repeated(70);
        QCOMPARE(detail(TunnelState::failed(seventy)), prefix + seventy);
        QCOMPARE(detail(TunnelState::failed(character.repeated(100))), prefix + seventy);
        QCOMPARE(detail(TunnelState::failed(character.repeated(69))), prefix + character.repeated(69));
    }
}

void TestStatusPresentation::openAddress_data()
{
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QString>("line");
    QTest::newRow("none") << u"  "_s << QString();
    QTest::newRow("not an address") << u"a b"_s << QString();
    QTest::newRow("own scheme and path")
        << u"http://a.example/b?c"_s << u"    Open a.example -> open http://a.example/b?c"_s;
    QTest::newRow("port") << u"a.example:8443"_s << u"    Open a.example -> open https://a.example:8443"_s;
    QTest::newRow("no host") << u"file:///srv/a%20b"_s
                             << u"    Open file:///srv/a%20b -> open file:///srv/a%20b"_s;
}

void TestStatusPresentation::openAddress()
{
    QFETCH(QString, hostname);
    QFETCH(QString, line);
    const Menu menu =
        StatusPresentation::menu(snapshot({entry(first, u"n"_s, hostname, TunnelState::connected(1))}));
    QCOMPARE(text(menu.at(3)), line.isEmpty() ? u"---"_s : line);
}

void TestStatusPresentation::entryIdsAreUniqueAndStable()
{
    const auto ids = [](const Menu &menu) {
        QStringList result;
        for (const MenuItem &item : menu)
            result += item.id;
        return result;
    };
    // A stored list may hold one tunnel twice.
    const TunnelsSnapshot before = withoutCloudflared(snapshot({web, web, ssh}));
    for (const Menu &menu : {StatusPresentation::menu(before), StatusPresentation::dockMenu(before)}) {
        const QStringList all = ids(menu);
        QCOMPARE(QSet<QString>(all.begin(), all.end()).size(), all.size());
        QVERIFY(!all.contains(QString()));
    }

    // What stays the same entry keeps its id when others come, go, move or change.
    const TunnelsSnapshot after =
        snapshot({ssh, entry(first, u"renamed"_s, {}, TunnelState::failed(u"x"_s))});
    const QStringList was = ids(StatusPresentation::menu(before));
    const QStringList is = ids(StatusPresentation::menu(after));
    for (const QString &id : is)
        QVERIFY2(was.contains(id), qPrintable(id));
}

QTEST_GUILESS_MAIN(TestStatusPresentation)
#include "tst_statuspresentation.moc"
