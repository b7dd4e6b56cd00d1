// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
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
        manager = std::make_unique<TunnelManager>(world.services());
    }

    void input()
    {
        struct Row
        {
            bool isNew;
            QString name;
            QString token;
            bool canSave;
            bool warns;
        };
        for (const auto &[isNew, name, token, canSave, warns] :
             {Row{true, u"a"_s, u""_s, false, false}, Row{true, u""_s, u"eyJx"_s, false, false},
              Row{true, u"\n"_s, u"run\n --token \"eyJx\""_s, true, false},
              Row{true, u"a"_s, u"EYJx"_s, true, true}, Row{true, u"a"_s, u" "_s, false, true},
              Row{false, u"a"_s, u""_s, true, false},
              Row{false, u" \t\u00a0\u3000"_s, u"eyJx"_s, false, false}}) {
            TunnelEditorModel model(*manager, isNew ? std::nullopt : std::optional(add(u"stored"_s)));
            model.load();
            QCOMPARE(model.name, isNew ? QString() : u"stored"_s);
            model.name = name;
            model.token = token;
            QCOMPARE(model.canSave(), canSave);
            QCOMPARE(model.showsTokenWarning(), warns);
            QCOMPARE(model.saveTitle(), isNew ? u"Add"_s : u"Save"_s);
            QCOMPARE(model.tokenPrompt(),
                     isNew ? u"Paste the tunnel token"_s : u"Stored in the Keychain · paste to replace it"_s);
        }
    }

    void saves_data()
    {
        QTest::addColumn<bool>("isNew");
        QTest::addColumn<QStringList>("typed"); // name, host name, token
        QTest::addColumn<QStringList>("saved");

        QTest::newRow("blank token keeps the old one")
            << false << QStringList{u"\t<b>&\"\n نفق\u202e\u2003"_s, u" https://h/p a\t"_s, u" \n"_s}
            << QStringList{u"<b>&\"\n نفق\u202e"_s, u"https://h/p a"_s, u"eyJ-old"_s};
        QTest::newRow("replaces the token")
            << false << QStringList{u"b"_s, u""_s, u"cloudflared tunnel run --token=abc"_s}
            << QStringList{u"b"_s, u""_s, u"abc"_s};
        QTest::newRow("new") << true << QStringList{u" b "_s, u""_s, u"eyJnew"_s}
                             << QStringList{u"b"_s, u""_s, u"eyJnew"_s};
    }
    void saves()
    {
        QFETCH(bool, isNew);
        QFETCH(QStringList, typed);
        QFETCH(QStringList, saved);
        const QUuid id = add(u"a"_s).id;
        const TunnelConfig stored{id, u"a"_s, u"a.example"_s, true};
        manager->update(stored, std::nullopt);
        TunnelEditorModel model(*manager, isNew ? std::nullopt : std::optional(stored));
        model.load();
        QCOMPARE(model.hostname, isNew ? QString() : u"a.example"_s);
        QCOMPARE(model.startOnLaunch, !isNew);

        model.name = typed[0];
        model.hostname = typed[1];
        model.token = typed[2];
        const QUuid savedId = model.save();
        QCOMPARE(savedId == id, !isNew);
        QCOMPARE(manager->tunnels().size(), isNew ? 2 : 1);
        QCOMPARE(manager->tunnels().last(), (TunnelConfig{savedId, saved[0], saved[1], !isNew}));
        QCOMPARE(world.secrets.items[tunnelIdText(savedId)], saved[2].toLatin1());
        QVERIFY(isNew || model.token.isEmpty());
        QCOMPARE(model.name, typed[0]); // the fields go on showing what was typed
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

    void listMoves()
    {
        for (const QString &name : {u"a"_s, u"b"_s, u"c"_s})
            add(name);
        TunnelListModel model(*manager);
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        struct Move
        {
            int row;
            int before;
            QString order;
        };
        for (const auto &[row, before, order] :
             {Move{2, 0, u"cab"_s}, Move{0, 3, u"abc"_s}, Move{2, 1, u"acb"_s}, Move{0, -1, u"acb"_s},
              Move{2, 4, u"acb"_s}}) {
            model.moveRow({}, row, {}, before);
            QCOMPARE(namesIn(model), order);
            TunnelManager nextRun(world.services());
            QCOMPARE(namesIn(TunnelListModel(nextRun)), order);
        }
    }
};

QTEST_GUILESS_MAIN(TestSettingsLogic)
#include "tst_settingslogic.moc"
