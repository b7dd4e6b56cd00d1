// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "LogView.h"
#include "SettingsView.h"
#include "ShownWidgets.h"
#include "SymbolDrawing.h"
#include "SymbolLabel.h"
#include "TextLabel.h"
#include "TunnelRunner.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QHelpEvent>
#include <QListView>
#include <QPushButton>
#include <QTabBar>
#include <QTest>
#include <QToolTip>

using namespace Qt::StringLiterals;

namespace {

/// The bus passes on what is typed only where it can read the text.
bool isRead(QObject *field)
{
    return QAccessible::queryAccessibleInterface(field)->textInterface();
}

QString toolTipOf(QWidget &widget, const QPoint &at = {})
{
    QToolTip::hideText(); // some time later
    if (!QTest::qWaitFor([] { return !QToolTip::isVisible(); }))
        return u"a tooltip that stays"_s;
    QHelpEvent event(QEvent::ToolTip, at, widget.mapToGlobal(at));
    QCoreApplication::sendEvent(&widget, &event);
    return QToolTip::isVisible() ? QToolTip::text() : QString();
}

QString accessibleName(QObject *object)
{
    return QAccessible::queryAccessibleInterface(object)->text(QAccessible::Name);
}

} // namespace

class TestTunnelsSettings : public QObject
{
    Q_OBJECT

    std::unique_ptr<FakeWorld> world;
    std::unique_ptr<TunnelManager> manager;
    std::unique_ptr<SettingsView> view;
    QListView *list = nullptr;

    QList<TunnelConfig> add(const QStringList &names)
    {
        QList<TunnelConfig> tunnels;
        for (const QString &name : names)
            tunnels += FakeWorld::addTunnel(*manager, name, name + u".example"_s, u"eyJ-old"_s);
        return tunnels;
    }
    void show()
    {
        view->resize(720, 460);
        view->show();
        QVERIFY(QTest::qWaitForWindowActive(view.get()));
    }
    /// To the widget that has the focus, as the keyboard does.
    static void type(const QString &text) { QTest::keyClicks(QApplication::focusWidget(), text); }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(view->windowHandle(), key, modifiers);
    }
    void paste(const QString &text)
    {
        QApplication::clipboard()->setText(text);
        press(Qt::Key_V, Qt::ControlModifier);
    }
    static void click(QAbstractButton *button) { QTest::mouseClick(button, Qt::LeftButton); }
    void click(const QString &title) { click(button(title)); }
    void clickRow(int row) { QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rowRect(row).center()); }
    QRect rowRect(int row) const { return list->visualRect(list->model()->index(row, 0)); }
    QModelIndex selected() const { return list->selectionModel()->selectedIndexes().value(0); }
    QString names() const
    {
        QString names;
        for (const TunnelConfig &tunnel : manager->tunnels())
            names += tunnel.name;
        return names;
    }
    QAbstractButton *button(const QString &title) const
    {
        return ShownWidgets::find<QAbstractButton>(*view, title);
    }
    QLineEdit *field(const QString &title) const { return ShownWidgets::field(*view, title); }
    bool symbolHasInk() const
    {
        auto *symbol = ShownWidgets::find<SymbolView>(*view, [](const SymbolView *) { return true; });
        return symbol && ShownWidgets::hasInk(*symbol, symbol->rect());
    }
    QLabel *label(const QString &text) const { return ShownWidgets::find<QLabel>(*view, text); }

private Q_SLOTS:
    void init()
    {
        world = std::make_unique<FakeWorld>();
        manager = std::make_unique<TunnelManager>(world->services());
        view = std::make_unique<SettingsView>(*manager);
        list = view->findChild<QListView *>();
    }
    void cleanup()
    {
        view.reset();
        manager.reset();
    }

    void beginsWithANewTunnel()
    {
        show();
        QVERIFY(label(u"New Tunnel"_s));
        QCOMPARE(accessibleName(list), u"Tunnels"_s);
        QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
        QVERIFY(!button(u"Delete the selected tunnel"_s)->isEnabled());
        QVERIFY(!button(u"Start"_s));
        type(u"x"_s);
        press(Qt::Key_Return); // not without a token
        press(Qt::Key_Enter);
        QVERIFY(manager->tunnels().isEmpty());
        field(u"Token"_s)->setFocus();
        type(u"x"_s);
        QVERIFY(qobject_cast<QPushButton *>(button(u"Add"_s))->isDefault());
        press(Qt::Key_Enter);
        QCOMPARE(names(), u"x"_s);
    }

    void addsByKeyboardAlone()
    {
        const QString name = u"نفق\u202e "_s.repeated(10'000) + u"\n"_s;
        const QString token = u"eyJ"_s + QString(100'000, u'x');
        show();
        paste(u"\t"_s + name + u" "_s);
        press(Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), field(u"Hostname"_s));
        press(Qt::Key_Tab);
        paste(u"cloudflared tunnel run\n  --token "_s + token);
        press(Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), button(u"Show"_s));
        press(Qt::Key_Tab);
        press(Qt::Key_Space);
        press(Qt::Key_Return);

        QCOMPARE(manager->tunnels().size(), 1);
        const TunnelConfig saved = manager->tunnels().first();
        QCOMPARE(saved, (TunnelConfig{saved.id, name, {}, true}));
        QCOMPARE(world->secrets.items.first(), token.toLatin1());
        QCOMPARE(selected().data(), name);
        QVERIFY(button(u"Save"_s) && button(u"Start"_s));
        QVERIFY(field(u"Token"_s)->text().isEmpty());
        QCOMPARE(QApplication::focusWidget(), list);
        QCOMPARE(view->minimumWidth(), 640); // nothing makes the window wider
    }

    void editsByMouse()
    {
        const QUuid id = add({u"a"_s, u"b"_s})[1].id;
        manager->update({id, u"b"_s, u"b.example"_s, true}, std::nullopt);
        show();
        clickRow(1);
        QCOMPARE(field(u"Hostname"_s)->text(), u"b.example"_s);
        QVERIFY(button(u"Start this tunnel when the app opens"_s)->isChecked());
        field(u"Name"_s)->setFocus();
        field(u"Name"_s)->selectAll();
        press(Qt::Key_Delete);
        QVERIFY(label(u"Tunnel"_s)); // the title of a tunnel without a name
        QVERIFY(!button(u"Save"_s)->isEnabled());
        type(u"c"_s);
        click(u"Save"_s);
        QCOMPARE(manager->tunnels()[1], (TunnelConfig{id, u"c"_s, u"b.example"_s, true}));
        QTRY_COMPARE(list->model()->index(1, 0).data(), u"c"_s);
        click(u"Start this tunnel when the app opens"_s);
        click(u"Save"_s);
        QVERIFY(!manager->tunnels()[1].startOnLaunch);

        type(u"unsaved"_s);
        clickRow(0);
        clickRow(1);
        QCOMPARE(field(u"Name"_s)->text(), u"c"_s);
        press(Qt::Key_Up);
        QCOMPARE(field(u"Name"_s)->text(), u"a"_s);
        click(u"Add tunnel"_s);
        QVERIFY(label(u"New Tunnel"_s) && !selected().isValid());
        QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
    }

    void inputSurvivesChangesElsewhere()
    {
        const QList<TunnelConfig> tunnels = add({u"a"_s, u"b"_s});
        show();
        field(u"Name"_s)->setFocus();
        press(Qt::Key_End);
        type(u" typed"_s);
        manager->start(tunnels[0].id);
        manager->update({tunnels[0].id, u"renamed"_s, {}, true}, std::nullopt);
        manager->remove(tunnels[1].id);
        QTRY_VERIFY(button(u"Stop"_s));
        QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
        click(u"Save"_s);
        QCOMPARE(manager->tunnels(),
                 QList{(TunnelConfig{tunnels[0].id, u"a typed"_s, u"a.example"_s, false})});
        QCOMPARE(field(u"Name"_s)->text(), u"a typed"_s);
    }

    void deletesDownToThePlaceholder()
    {
        add({u"a"_s, u"b"_s, u"c"_s});
        show();
        clickRow(2);
        click(u"Delete the selected tunnel"_s);
        QCOMPARE(names(), u"ab"_s);
        QCOMPARE(selected().row(), 0);
        click(u"Delete the selected tunnel"_s);
        QCOMPARE(field(u"Name"_s)->text(), u"b"_s);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::ControlModifier, rowRect(0).center());
        QVERIFY(label(u"Select a tunnel"_s));
        clickRow(0);
        click(u"Delete the selected tunnel"_s);
        QVERIFY(label(u"No tunnels configured"_s));
        QVERIFY(!button(u"Delete the selected tunnel"_s)->isEnabled());
        press(Qt::Key_Return); // at the placeholder's button
        QVERIFY(label(u"New Tunnel"_s));
        QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
    }

    void startsAndStops()
    {
        add({u"a"_s});
        show();
        QVERIFY(label(u"Stopped"_s)->width() > 150); // what is free is for the message
        click(u"Start"_s);
        QTRY_VERIFY(button(u"Stop"_s) && label(u"Connecting…"_s));
        click(u"Stop"_s);
        QTRY_VERIFY(button(u"Stop"_s) && label(u"Stopping…"_s));
        world->launcher.last().end(0);
        QTRY_VERIFY(button(u"Start"_s) && label(u"Stopped"_s));
        QVERIFY(QFile::remove(world->cloudflaredPath));
        click(u"Start"_s);
        QTRY_VERIFY(label(u"Error: cloudflared not found at "_s + world->cloudflaredPath));
        QVERIFY(button(u"Start"_s));
    }

    void dotsFollowTheStates()
    {
        const QUuid id = add({u"a"_s, u"b"_s})[1].id;
        show();
        const QRect row = rowRect(1);
        const auto dot = [&] {
            return list->viewport()->grab().toImage().pixelColor(row.left() + 10, row.center().y());
        };
        const auto shade = [&](ColorRole role) { return SymbolDrawing::color(role, list->palette()); };
        QCOMPARE(dot().saturation(), 0);
        QVERIFY(dot() != list->palette().color(QPalette::Base));
        manager->start(id);
        QTRY_COMPARE(dot(), shade(ColorRole::Orange));
        world->launcher.last().write("Registered tunnel connection connIndex=0\n");
        QTRY_COMPARE(dot(), shade(ColorRole::Green));
        world->launcher.last().end(1);
        QTRY_COMPARE(dot(), shade(ColorRole::Red));
    }

    /// Every text and symbol shows, beside the others.
    void everythingCanBeSeen()
    {
        show();
        field(u"Token"_s)->setFocus();
        type(u"x"_s);
        QVERIFY(ShownWidgets::areApart(*view));
        QVERIFY(symbolHasInk()); // beside the warning
        const QUuid id = add({u"a"_s, u"b"_s}).first().id;
        manager->runner(id)->fail(u"broken"_s);
        QTRY_COMPARE(list->model()->rowCount(), 2);
        clickRow(0);
        QVERIFY(ShownWidgets::areApart(*view));
        QRect row = rowRect(1).adjusted(20, 0, 0, -rowRect(1).height() / 2);
        QVERIFY(ShownWidgets::hasInk(*list->viewport(), row)); // the name
        row.translate(0, row.height());
        QVERIFY(ShownWidgets::hasInk(*list->viewport(), row)); // the host name
        for (QWidget *one :
             std::initializer_list<QWidget *>{label(u"Error: broken"_s), button(u"Add tunnel"_s),
                                              button(u"Delete the selected tunnel"_s), button(u"Show"_s)})
            QVERIFY(ShownWidgets::hasInk(*one, one->rect()));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::ControlModifier, rowRect(0).center());
        QVERIFY(label(u"Select a tunnel"_s) && ShownWidgets::areApart(*view));
        QVERIFY(symbolHasInk());
    }

    void reordersByKeyboard()
    {
        add({u"a"_s, u"b"_s, u"c"_s});
        show();
        const QList<std::pair<Qt::Key, QString>> steps{
            {Qt::Key_Up, u"abc"_s}, {Qt::Key_Down, u"bac"_s}, {Qt::Key_Up, u"abc"_s}};
        for (const auto &[key, order] : steps) {
            press(key, Qt::AltModifier);
            QCOMPARE(names(), order);
        }
        QCOMPARE(selected().data(), u"a"_s);
        QCOMPARE(field(u"Name"_s)->text(), u"a"_s);
    }

    void maskedTokenStaysInTheField()
    {
        add({u"a"_s});
        show();
        QLineEdit *token = field(u"Token"_s);
        QVERIFY(isRead(field(u"Name"_s)) && !isRead(token));
        QCOMPARE(accessibleName(token), u"Token"_s);
        QVERIFY(QAccessible::queryAccessibleInterface(token)->state().passwordEdit);
        QCOMPARE(token->echoMode(), QLineEdit::Password);
        token->setFocus();
        type(u"eyJ"_s);
        QApplication::clipboard()->setText(u"other"_s);
        for (const Qt::Key key : {Qt::Key_C, Qt::Key_X}) {
            token->selectAll();
            press(key, Qt::ControlModifier);
            QCOMPARE(QApplication::clipboard()->text(), u"other"_s);
            QCOMPARE(token->text(), u"eyJ"_s);
        }
        click(u"Show"_s);
        QVERIFY(isRead(token));
        QCOMPARE(token->text(), u"eyJ"_s);
        QList<bool> readWhenCleared;
        connect(token, &QLineEdit::textChanged, this, [&] { readWhenCleared += isRead(token); });
        click(u"Save"_s);
        QCOMPARE(readWhenCleared, QList{false});
        QVERIFY(isRead(token));
        QVERIFY(token->text().isEmpty() && !token->isUndoAvailable() && !token->isRedoAvailable());
        token->disconnect(this);
        click(u"Hide"_s);
        QVERIFY(!isRead(token));
    }

    void cutTextsHaveTooltips()
    {
        struct Row
        {
            QString text;
            int lines;
            bool isCut;
        };
        for (const auto &[text, lines, isCut] :
             {Row{u"failed & why"_s, 2, false}, Row{u"failed <b> "_s.repeated(20), 2, true},
              Row{QString(200, u'm'), 1, true}}) {
            ClampedLabel label(FontRole::Caption, ColorRole::None, lines);
            label.setText(text);
            label.resize(80, label.sizeHint().height());
            label.show();
            QCOMPARE(toolTipOf(label), isCut ? u"<div>"_s + text.toHtmlEscaped() + u"</div>"_s : QString());
        }

        const QString name(200, u'm');
        add({name, u"b"_s});
        show();
        QCOMPARE(toolTipOf(*list->viewport(), rowRect(0).center()),
                 u"<div>%1</div><div>%1.example</div>"_s.arg(name));
        QCOMPARE(toolTipOf(*list->viewport(), rowRect(1).center()), QString());
    }

    /// Wherever the state is shown, and only while the tunnel is trying to connect.
    void lastErrorStandsBesideTheState()
    {
        const QUuid id = add({u"a"_s}).first().id;
        LogView logs(*manager, id);
        logs.show();
        show();
        const auto notes = [&](const QString &state) {
            const QModelIndex row = list->model()->index(0, 0);
            QStringList found{row.data(Qt::ToolTipRole).toString(),
                              row.data(Qt::AccessibleDescriptionRole).toString()};
            for (const QWidget *window : std::initializer_list<QWidget *>{view.get(), &logs}) {
                if (QLabel *shown = ShownWidgets::find<QLabel>(*window, state))
                    found += {toolTipOf(*shown),
                              QAccessible::queryAccessibleInterface(shown)->text(QAccessible::Description)};
            }
            return found;
        };
        const QString connecting = u"Connecting…"_s;
        const QString connected = u"Connected (1 connection)"_s;
        const QString note = u"Last error: a < b"_s;
        const QString tip = u"<div>Last error: a &lt; b</div>"_s;
        manager->start(id);
        QTRY_COMPARE(notes(connecting), (QStringList{{}, connecting, {}, {}, {}, {}}));
        world->launcher.last().write("x ERR a < b\n");
        QTRY_COMPARE(notes(connecting), (QStringList{note, connecting + u' ' + note, tip, note, tip, note}));
        world->launcher.last().write("Registered tunnel connection connIndex=0\n");
        QTRY_COMPARE(notes(connected), (QStringList{{}, connected, {}, {}, {}, {}}));
        world->launcher.last().write("Registered tunnel connection connIndex=1\n");
        QTRY_VERIFY(label(u"Connected (2 connections)"_s));
    }

    void savedNoteComesAndGoes()
    {
        add({u"a"_s});
        show();
        QVERIFY(!label(u"Saved"_s));
        QElapsedTimer sinceSave;
        sinceSave.start();
        click(u"Save"_s);
        QVERIFY(label(u"Saved"_s));
        QTRY_VERIFY(!label(u"Saved"_s));
        QVERIFY2(sinceSave.elapsed() >= 1400, qPrintable(QString::number(sinceSave.elapsed())));
    }

    void followsFontAndPalette()
    {
        add({u"a"_s});
        show();
        field(u"Token"_s)->setFocus();
        type(u"x"_s);
        const QLabel *warning = ShownWidgets::find<QLabel>(
            *view, [](const QLabel *one) { return one->text().startsWith(u"This doesn't"); });
        const auto restore = qScopeGuard([font = QApplication::font(), palette = QApplication::palette()] {
            QApplication::setFont(font);
            QApplication::setPalette(palette);
        });
        QFont large = QApplication::font();
        large.setPointSizeF(24);
        QApplication::setFont(large);
        QTRY_VERIFY(warning->font().pointSizeF() > 15);
        QVERIFY(warning->font().pointSizeF() < 24);
        QCOMPARE(field(u"Token"_s)->font().pointSizeF(), 24);
        QTRY_VERIFY(view->minimumWidth() > 640); // nothing of the form is cut off at the side

        QPalette dark = QApplication::palette();
        dark.setColor(QPalette::Window, QColor(0x20, 0x20, 0x20));
        dark.setColor(QPalette::WindowText, Qt::white);
        QApplication::setPalette(dark);
        QTRY_COMPARE(warning->palette().color(QPalette::WindowText),
                     SymbolDrawing::color(ColorRole::Orange, dark));
    }
};

QTEST_MAIN(TestTunnelsSettings)
#include "tst_tunnelssettings.moc"
