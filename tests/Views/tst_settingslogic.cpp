// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "LoginSwitch.h"
#include "TunnelEditorModel.h"
#include "TunnelListModel.h"
#include "TunnelsSelection.h"

#include <QAbstractItemModelTester>
#include <QTest>

using namespace Qt::StringLiterals;
using Pane = TunnelsSelection::Pane;

class TestSettingsLogic : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void input_data();
    void input();
    void saves_data();
    void saves();
    void addsANewTunnel();
    void tokenPrompt();

    void appears();
    void selectingEndsCreating();
    void staleSelection();

    void loginSwitch_data();
    void loginSwitch();
    void loginSwitchFollowsTheDesktop();

    void listFollowsTheManager();
    void listMoves_data();
    void listMoves();
};

void TestSettingsLogic::input_data()
{
    QTest::addColumn<bool>("isNew");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("token");
    QTest::addColumn<bool>("canSave");
    QTest::addColumn<bool>("warns");

    QTest::newRow("new, all empty") << true << u""_s << u""_s << false << false;
    QTest::newRow("new, no token") << true << u"a"_s << u""_s << false << false;
    QTest::newRow("new, no name") << true << u""_s << u"eyJx"_s << false << false;
    QTest::newRow("new, both") << true << u"a"_s << u"eyJx"_s << true << false;
    QTest::newRow("new, command line")
        << true << u"a"_s << u"cloudflared tunnel run\n --token \"eyJx==\"\n"_s << true << false;
    QTest::newRow("new, other token") << true << u"a"_s << u"abc"_s << true << true;
    QTest::newRow("new, token in other case") << true << u"a"_s << u"EYJx"_s << true << true;
    QTest::newRow("new, blank token") << true << u"a"_s << u" "_s << false << true;
    QTest::newRow("new, token of line breaks") << true << u"a"_s << u"\r\n"_s << false << true;
    QTest::newRow("new, quotes only") << true << u"a"_s << u"''"_s << true << true;
    QTest::newRow("blank name") << true << u" \t\u00a0\u3000"_s << u"eyJx"_s << false << false;
    QTest::newRow("name of a line break") << true << u"\n"_s << u"eyJx"_s << true << false;
    QTest::newRow("existing, no token") << false << u"a"_s << u""_s << true << false;
    QTest::newRow("existing, blank token") << false << u"a"_s << u" "_s << true << true;
    QTest::newRow("existing, no name") << false << u" "_s << u"eyJx"_s << false << false;
}

void TestSettingsLogic::input()
{
    QFETCH(bool, isNew);
    FakeWorld world;
    TunnelManager manager(world.services());
    const TunnelConfig tunnel = FakeWorld::addTunnel(manager, u"stored"_s);
    TunnelEditorModel model(manager, isNew ? std::nullopt : std::optional(tunnel));
    QFETCH(QString, name);
    QFETCH(QString, token);
    model.name = name;
    model.token = token;
    QTEST(model.canSave(), "canSave");
    QTEST(model.showsTokenWarning(), "warns");
}

void TestSettingsLogic::saves_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QString>("token");
    QTest::addColumn<TunnelConfig>("saved");
    QTest::addColumn<QByteArray>("storedToken");

    const auto saved = [](const QString &name, const QString &hostname) {
        return TunnelConfig{{}, name, hostname, true};
    };
    QTest::newRow("keeps the token") << u"b"_s << u""_s << u""_s << saved(u"b"_s, {})
                                     << QByteArray("eyJ-old");
    QTest::newRow("blank token keeps it")
        << u"b"_s << u""_s << u" \n"_s << saved(u"b"_s, {}) << QByteArray("eyJ-old");
    QTest::newRow("replaces the token") << u"b"_s << u""_s << u"cloudflared tunnel run --token=abc"_s
                                        << saved(u"b"_s, {}) << QByteArray("abc");
    QTest::newRow("blanks go") << u"\t b c \u2003"_s << u" h.example\t"_s << u""_s
                               << saved(u"b c"_s, u"h.example"_s) << QByteArray("eyJ-old");
    QTest::newRow("line breaks stay") << u" \n b\r\n"_s << u"\u2028h\n "_s << u""_s
                                      << saved(u"\n b\r\n"_s, u"\u2028h\n"_s) << QByteArray("eyJ-old");
    QTest::newRow("as it is") << u"<b>&\"نفق\u202e"_s << u"https://h/p a"_s << u""_s
                              << saved(u"<b>&\"نفق\u202e"_s, u"https://h/p a"_s) << QByteArray("eyJ-old");
}

void TestSettingsLogic::saves()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const TunnelConfig tunnel = FakeWorld::addTunnel(manager, u"a"_s, u"a.example"_s, u"eyJ-old"_s);
    TunnelEditorModel model(manager, tunnel);
    model.load();
    QCOMPARE(model.name, u"a"_s);
    QCOMPARE(model.hostname, u"a.example"_s);
    QVERIFY(model.token.isEmpty());

    QFETCH(QString, name);
    QFETCH(QString, hostname);
    QFETCH(QString, token);
    QFETCH(TunnelConfig, saved);
    model.name = name;
    model.hostname = hostname;
    model.token = token;
    model.startOnLaunch = true;
    QCOMPARE(model.save(), tunnel.id);
    saved.id = tunnel.id;
    QCOMPARE(manager.tunnels(), QList{saved});
    QTEST(world.secrets.items[tunnelIdText(tunnel.id)], "storedToken");
    QVERIFY(model.token.isEmpty());
    QCOMPARE(model.name, name); // the fields go on showing what was typed
}

void TestSettingsLogic::addsANewTunnel()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const TunnelConfig first = FakeWorld::addTunnel(manager, u"first"_s);
    TunnelEditorModel model(manager, std::nullopt);
    model.load();
    QCOMPARE(model.name + model.hostname + model.token, QString());
    QVERIFY(!model.startOnLaunch);

    model.name = u" b "_s;
    model.token = u"cloudflared tunnel run --token eyJnew"_s;
    const QUuid id = model.save();
    QVERIFY(!id.isNull() && id != first.id);
    QCOMPARE(manager.tunnels(), (QList{first, TunnelConfig{id, u"b"_s, {}, false}}));
    QCOMPARE(world.secrets.items[tunnelIdText(id)], QByteArray("eyJnew"));
    QVERIFY(model.save() != id);
}

void TestSettingsLogic::tokenPrompt()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    QCOMPARE(TunnelEditorModel(manager, std::nullopt).tokenPrompt(), u"Paste the tunnel token"_s);
    QCOMPARE(TunnelEditorModel(manager, FakeWorld::addTunnel(manager, u"a"_s)).tokenPrompt(),
             u"Stored in the Keychain · paste to replace it"_s);
}

void TestSettingsLogic::appears()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    TunnelsSelection selection(manager);
    QCOMPARE(selection.pane().kind, Pane::Kind::Placeholder);
    selection.appear();
    QCOMPARE(selection.pane().kind, Pane::Kind::NewTunnel);
    QVERIFY(!selection.canDelete());

    const TunnelConfig first = FakeWorld::addTunnel(manager, u"first"_s);
    const TunnelConfig second = FakeWorld::addTunnel(manager, u"second"_s);
    selection.created(second.id);
    QCOMPARE(selection.pane().tunnel, second);
    selection.appear();
    QCOMPARE(selection.selection(), second.id);

    TunnelsSelection other(manager);
    other.appear();
    QCOMPARE(other.pane().tunnel, first);
    other.add();
    other.appear(); // nothing was selected
    QCOMPARE(other.pane().tunnel, first);
}

void TestSettingsLogic::selectingEndsCreating()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const TunnelConfig first = FakeWorld::addTunnel(manager, u"first"_s);
    TunnelsSelection selection(manager);
    selection.appear();
    selection.add();
    QVERIFY(selection.isCreating() && !selection.selection());
    selection.select(std::nullopt);
    QVERIFY(selection.isCreating());
    selection.select(first.id);
    QVERIFY(!selection.isCreating());
    selection.select(std::nullopt);
    QCOMPARE(selection.pane().kind, Pane::Kind::Placeholder);
    selection.addFromPlaceholder();
    QCOMPARE(selection.pane().kind, Pane::Kind::NewTunnel);
}

void TestSettingsLogic::staleSelection()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const TunnelConfig first = FakeWorld::addTunnel(manager, u"first"_s);
    const TunnelConfig second = FakeWorld::addTunnel(manager, u"second"_s);
    TunnelsSelection selection(manager);
    selection.select(second.id);
    manager.remove(second.id);
    selection.appear();
    QCOMPARE(selection.pane().kind, Pane::Kind::Placeholder);
    QVERIFY(selection.canDelete());
    selection.remove();
    QCOMPARE(manager.tunnels(), QList{first});
    QCOMPARE(selection.selection(), first.id);
}

void TestSettingsLogic::loginSwitch_data()
{
    QTest::addColumn<LoginItemStatus>("before");
    QTest::addColumn<QString>("refusal");
    QTest::addColumn<bool>("wish");
    QTest::addColumn<int>("requests");
    QTest::addColumn<bool>("isOn");

    using Status = LoginItemStatus;
    QTest::newRow("on") << Status::NotRegistered << u""_s << true << 1 << true;
    QTest::newRow("off") << Status::Enabled << u""_s << false << 1 << false;
    QTest::newRow("on, refused") << Status::NotRegistered << u"no"_s << true << 1 << false;
    QTest::newRow("off, refused") << Status::Enabled << u"no"_s << false << 1 << true;
    QTest::newRow("on, was switched off elsewhere") << Status::RequiresApproval << u""_s << true << 1 << true;
    QTest::newRow("as it is") << Status::Enabled << u"no"_s << true << 0 << true;
}

void TestSettingsLogic::loginSwitch()
{
    QFETCH(LoginItemStatus, before);
    QFETCH(QString, refusal);
    QFETCH(bool, wish);
    FakeWorld world;
    TunnelManager manager(world.services());
    world.loginItem.current = before;
    world.loginItem.refusal = refusal;
    LoginSwitch loginSwitch(manager);
    loginSwitch.appear();
    QCOMPARE(loginSwitch.isOn(), before == LoginItemStatus::Enabled);
    loginSwitch.set(wish);
    QTEST(world.loginItem.requests, "requests");
    QTEST(loginSwitch.isOn(), "isOn");
    QCOMPARE(loginSwitch.error().value_or(QString()), world.loginItem.requests ? refusal : QString());
}

void TestSettingsLogic::loginSwitchFollowsTheDesktop()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    LoginSwitch loginSwitch(manager);
    world.loginItem.refusal = u"no"_s;
    loginSwitch.set(true);
    world.loginItem.current = LoginItemStatus::Enabled;
    loginSwitch.appear();
    QVERIFY(loginSwitch.isOn());
    QCOMPARE(world.loginItem.requests, 1);
    QCOMPARE(loginSwitch.error(), u"no"_s); // until a change succeeds

    world.loginItem.current = LoginItemStatus::NotRegistered; // while it is in view
    loginSwitch.set(false);
    QCOMPARE(world.loginItem.requests, 1);
    world.loginItem.refusal.clear();
    loginSwitch.set(true);
    QCOMPARE(loginSwitch.error(), std::nullopt);
}

namespace {

QStringList namesIn(const QAbstractItemModel &model)
{
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row)
        names += model.index(row, 0).data().toString();
    return names;
}

} // namespace

void TestSettingsLogic::listFollowsTheManager()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const TunnelConfig a = FakeWorld::addTunnel(manager, u"a"_s);
    const TunnelConfig b = FakeWorld::addTunnel(manager, u"b"_s, u"b.example"_s);
    TunnelListModel model(manager);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QCOMPARE(namesIn(model), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(model.index(1).data(TunnelListModel::HostnameRole), u"b.example"_s);
    QCOMPARE(model.index(1).data(Qt::AccessibleTextRole), u"b"_s);
    QCOMPARE(model.index(1).data(Qt::AccessibleDescriptionRole), u"Stopped"_s);

    const auto mark = QPersistentModelIndex(model.index(1));
    manager.remove(a.id);
    QCOMPARE(namesIn(model), (QStringList{u"a"_s, u"b"_s}));
    model.refresh();
    FakeWorld::addTunnel(manager, u"c"_s);
    manager.update({b.id, u"b2"_s, {}, false}, std::nullopt);
    FakeWorld::addTunnel(manager, u"d"_s);
    model.refresh();
    QCOMPARE(namesIn(model), (QStringList{u"b2"_s, u"c"_s, u"d"_s}));
    QCOMPARE(mark.row(), 0);
    QCOMPARE(model.rowOf(b.id), 0);
    QCOMPARE(model.rowOf(a.id), -1);

    manager.remove(model.index(1).data(TunnelListModel::IdRole).toUuid());
    model.refresh();
    QCOMPARE(namesIn(model), (QStringList{u"b2"_s, u"d"_s}));
    while (!manager.tunnels().isEmpty())
        manager.remove(manager.tunnels().last().id);
    FakeWorld::addTunnel(manager, u"e"_s);
    model.refresh();
    QCOMPARE(namesIn(model), QStringList{u"e"_s});
    manager.remove(manager.tunnels().last().id);
    model.refresh();
    QCOMPARE(model.rowCount(), 0);
}

void TestSettingsLogic::listMoves_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("before");
    QTest::addColumn<QString>("order");

    QTest::newRow("last to the top") << 3 << 0 << u"dabc"_s;
    QTest::newRow("first to the end") << 0 << 4 << u"bcda"_s;
    QTest::newRow("down by one") << 1 << 3 << u"acbd"_s;
    QTest::newRow("up by one") << 2 << 1 << u"acbd"_s;
    QTest::newRow("to its own place") << 1 << 1 << u"abcd"_s;
    QTest::newRow("above the top") << 0 << -1 << u"abcd"_s;
    QTest::newRow("below the end") << 3 << 5 << u"abcd"_s;
}

void TestSettingsLogic::listMoves()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    for (const QString &name : {u"a"_s, u"b"_s, u"c"_s, u"d"_s})
        FakeWorld::addTunnel(manager, name);
    TunnelListModel model(manager);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.refresh();
    QFETCH(int, row);
    QFETCH(int, before);
    QFETCH(QString, order);
    model.moveRow({}, row, {}, before);
    QCOMPARE(namesIn(model).join(QString()), order);
    TunnelManager nextRun(world.services());
    QCOMPARE(namesIn(TunnelListModel(nextRun)).join(QString()), order);
}

QTEST_GUILESS_MAIN(TestSettingsLogic)
#include "tst_settingslogic.moc"
