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
using Kind = TunnelsSelection::Pane::Kind;

class TestSettingsLogic : public QObject
{
    Q_OBJECT

    FakeWorld world;
    std::unique_ptr<TunnelManager> manager;

    TunnelConfig add(const QString &name) { return FakeWorld::addTunnel(*manager, name, {}, u"eyJ-old"_s); }
    static QString namesIn(const QAbstractItemModel &model)
    {
        QString names;
        for (int row = 0; row < model.rowCount(); ++row)
            names += model.index(row, 0).data().toString();
        return names;
    }

private Q_SLOTS:
    void init()
    {
        world.preferences.values.remove(u"tunnels"_s);
        world.loginItem = {};
        manager = std::make_unique<TunnelManager>(world.services());
    }

    void input_data()
    {
        QTest::addColumn<bool>("isNew");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("token");
        QTest::addColumn<bool>("canSave");
        QTest::addColumn<bool>("warns");

        QTest::newRow("new, no token") << true << u"a"_s << u""_s << false << false;
        QTest::newRow("new, no name") << true << u""_s << u"eyJx"_s << false << false;
        QTest::newRow("new, command line")
            << true << u"a"_s << u"cloudflared tunnel run\n --token \"eyJx==\"\n"_s << true << false;
        QTest::newRow("new, token in other case") << true << u"a"_s << u"EYJx"_s << true << true;
        QTest::newRow("new, blank token") << true << u"a"_s << u" "_s << false << true;
        QTest::newRow("new, quotes only") << true << u"a"_s << u"''"_s << true << true;
        QTest::newRow("blank name") << true << u" \t\u00a0\u3000"_s << u"eyJx"_s << false << false;
        QTest::newRow("name of a line break") << true << u"\n"_s << u"eyJx"_s << true << false;
        QTest::newRow("existing, no token") << false << u"a"_s << u""_s << true << false;
        QTest::newRow("existing, blank token") << false << u"a"_s << u" "_s << true << true;
        QTest::newRow("existing, no name") << false << u" "_s << u"eyJx"_s << false << false;
    }
    void input()
    {
        QFETCH(bool, isNew);
        QFETCH(QString, name);
        QFETCH(QString, token);
        TunnelEditorModel model(*manager, isNew ? std::nullopt : std::optional(add(u"stored"_s)));
        model.load();
        QCOMPARE(model.name, isNew ? QString() : u"stored"_s);
        model.name = name;
        model.token = token;
        QTEST(model.canSave(), "canSave");
        QTEST(model.showsTokenWarning(), "warns");
        QCOMPARE(model.saveTitle(), isNew ? u"Add"_s : u"Save"_s);
        QCOMPARE(model.tokenPrompt(),
                 isNew ? u"Paste the tunnel token"_s : u"Stored in the Keychain · paste to replace it"_s);
    }

    void saves_data()
    {
        QTest::addColumn<bool>("isNew");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("hostname");
        QTest::addColumn<QString>("token");
        QTest::addColumn<QStringList>("saved");
        QTest::addColumn<QByteArray>("storedToken");

        const QByteArray old("eyJ-old");
        QTest::newRow("blank token keeps the old one")
            << false << u"b"_s << u""_s << u" \n"_s << QStringList{u"b"_s, u""_s} << old;
        QTest::newRow("replaces the token")
            << false << u"b"_s << u""_s << u"cloudflared tunnel run --token=abc"_s
            << QStringList{u"b"_s, u""_s} << QByteArray("abc");
        QTest::newRow("blanks go") << false << u"\t b c \u2003"_s << u" h.example\t"_s << u""_s
                                   << QStringList{u"b c"_s, u"h.example"_s} << old;
        QTest::newRow("line breaks stay") << false << u" \n b\r\n"_s << u"\u2028h\n "_s << u""_s
                                          << QStringList{u"\n b\r\n"_s, u"\u2028h\n"_s} << old;
        QTest::newRow("as it is") << false << u"<b>&\"نفق\u202e"_s << u"https://h/p a"_s << u""_s
                                  << QStringList{u"<b>&\"نفق\u202e"_s, u"https://h/p a"_s} << old;
        QTest::newRow("new") << true << u" b "_s << u""_s << u"cloudflared tunnel run --token eyJnew"_s
                             << QStringList{u"b"_s, u""_s} << QByteArray("eyJnew");
    }
    void saves()
    {
        QFETCH(bool, isNew);
        QFETCH(QString, name);
        QFETCH(QString, hostname);
        QFETCH(QString, token);
        QFETCH(QStringList, saved);
        const QUuid id = add(u"a"_s).id;
        const TunnelConfig stored{id, u"a"_s, u"a.example"_s, true};
        manager->update(stored, std::nullopt);
        TunnelEditorModel model(*manager, isNew ? std::nullopt : std::optional(stored));
        model.load();
        QCOMPARE(model.hostname, isNew ? QString() : u"a.example"_s);
        QCOMPARE(model.startOnLaunch, !isNew);

        model.name = name;
        model.hostname = hostname;
        model.token = token;
        const QUuid savedId = model.save();
        QCOMPARE(savedId == id, !isNew);
        QCOMPARE(manager->tunnels().size(), isNew ? 2 : 1);
        QCOMPARE(manager->tunnels().last(), (TunnelConfig{savedId, saved[0], saved[1], !isNew}));
        QTEST(world.secrets.items[tunnelIdText(savedId)], "storedToken");
        QVERIFY(isNew || model.token.isEmpty());
        QCOMPARE(model.name, name); // the fields go on showing what was typed
    }

    void selection()
    {
        TunnelsSelection selection(*manager);
        selection.appear();
        QCOMPARE(selection.pane().kind, Kind::NewTunnel);
        const TunnelConfig first = add(u"first"_s);
        const TunnelConfig second = add(u"second"_s);
        selection.created(second.id);
        QCOMPARE(selection.pane().tunnel, second);
        selection.appear();
        QCOMPARE(selection.selection(), second.id);

        selection.add();
        QVERIFY(selection.isCreating() && !selection.selection());
        selection.select(std::nullopt);
        QVERIFY(selection.isCreating());
        selection.appear(); // nothing was selected
        QCOMPARE(selection.pane().tunnel, first);
        selection.select(std::nullopt);
        QCOMPARE(selection.pane().kind, Kind::Placeholder);
        QVERIFY(selection.pane().hasTunnels);
        selection.addFromPlaceholder();
        QVERIFY(selection.isCreating());
        selection.select(second.id);
        QVERIFY(!selection.isCreating());

        manager->remove(second.id);
        selection.appear();
        QCOMPARE(selection.pane().kind, Kind::Placeholder);
        QCOMPARE(selection.selection(), second.id);
        selection.remove();
        QCOMPARE(manager->tunnels(), QList{first});
        QCOMPARE(selection.selection(), first.id);
        selection.remove();
        QVERIFY(!selection.selection() && !selection.pane().hasTunnels);
    }

    void loginSwitch_data()
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
        QTest::newRow("on, needs approval") << Status::RequiresApproval << u""_s << true << 1 << true;
        QTest::newRow("as it is") << Status::Enabled << u"no"_s << true << 0 << true;
    }
    void loginSwitch()
    {
        QFETCH(LoginItemStatus, before);
        QFETCH(QString, refusal);
        QFETCH(bool, wish);
        QFETCH(int, requests);
        world.loginItem.current = before;
        world.loginItem.refusal = refusal;
        LoginSwitch loginSwitch(*manager);
        loginSwitch.appear();
        QCOMPARE(loginSwitch.launchAtLogin(), before == LoginItemStatus::Enabled);
        loginSwitch.set(wish);
        QCOMPARE(world.loginItem.requests, requests);
        QTEST(loginSwitch.launchAtLogin(), "isOn");
        const QString message = requests ? refusal : QString();
        QCOMPARE(loginSwitch.loginError().value_or(QString()), message);

        const bool isOn = !loginSwitch.launchAtLogin(); // changed elsewhere: nothing is requested
        world.loginItem.current = isOn ? LoginItemStatus::Enabled : LoginItemStatus::RequiresApproval;
        loginSwitch.set(isOn);
        loginSwitch.appear();
        QCOMPARE(loginSwitch.launchAtLogin(), isOn);
        QCOMPARE(world.loginItem.requests, requests);
        QCOMPARE(loginSwitch.loginError().value_or(QString()), message);
        world.loginItem.refusal.clear();
        loginSwitch.set(!isOn);
        QCOMPARE(loginSwitch.loginError(), std::nullopt);
    }

    void listFollowsTheManager()
    {
        const TunnelConfig a = add(u"a"_s);
        const TunnelConfig b = add(u"b"_s);
        TunnelListModel model(*manager);
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCOMPARE(model.index(1).data(Qt::AccessibleTextRole), u"b"_s);
        QCOMPARE(model.index(1).data(Qt::AccessibleDescriptionRole), u"Stopped"_s);

        const QPersistentModelIndex mark(model.index(1));
        manager->update({b.id, u"B"_s, u"b.example"_s, false}, std::nullopt);
        manager->start(b.id);
        model.refresh();
        QVERIFY(mark.isValid()); // a change of a row leaves the rows where they are
        QCOMPARE(mark.data(), u"B"_s);
        QCOMPARE(mark.data(TunnelListModel::HostnameRole), u"b.example"_s);
        QCOMPARE(mark.data(Qt::AccessibleDescriptionRole), u"Connecting…"_s);

        manager->remove(a.id);
        QCOMPARE(namesIn(model), u"aB"_s); // until it is told
        add(u"c"_s);
        model.refresh();
        QCOMPARE(namesIn(model), u"Bc"_s);
        QCOMPARE(model.index(0).data(Qt::AccessibleDescriptionRole), u"Connecting…"_s);
        QCOMPARE(model.rowOf(b.id), 0);
        QCOMPARE(model.rowOf(a.id), -1);
    }

    void listMoves_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("before");
        QTest::addColumn<QString>("order");

        QTest::newRow("last to the top") << 3 << 0 << u"dabc"_s;
        QTest::newRow("first to the end") << 0 << 4 << u"bcda"_s;
        QTest::newRow("up by one") << 2 << 1 << u"acbd"_s;
        QTest::newRow("to its own place") << 1 << 1 << u"abcd"_s;
        QTest::newRow("above the top") << 0 << -1 << u"abcd"_s;
        QTest::newRow("below the end") << 3 << 5 << u"abcd"_s;
    }
    void listMoves()
    {
        for (const QString &name : {u"a"_s, u"b"_s, u"c"_s, u"d"_s})
            add(name);
        TunnelListModel model(*manager);
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QFETCH(int, row);
        QFETCH(int, before);
        QFETCH(QString, order);
        model.moveRow({}, row, {}, before);
        QCOMPARE(namesIn(model), order);
        TunnelManager nextRun(world.services());
        QCOMPARE(namesIn(TunnelListModel(nextRun)), order);
    }
};

QTEST_GUILESS_MAIN(TestSettingsLogic)
#include "tst_settingslogic.moc"
