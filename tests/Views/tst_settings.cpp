// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "Pictures.h"
#include "SettingsView.h"
#include "ShownWidgets.h"
#include "SymbolDrawing.h"
#include "TextLabel.h"
#include "TunnelEditor.h"
#include "TunnelRunner.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QHelpEvent>
#include <QListView>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QTextDocumentFragment>
#include <QTimer>
#include <QToolTip>
#include <QWindow>

using namespace Qt::StringLiterals;
using Pictures::difference;
using Pictures::with;

namespace {

const auto notFound = u"not found. Install it with `brew install cloudflared`."_s;
const auto tokenWarning = u"This doesn't look like a tunnel token: they usually start with \"eyJ\"."_s;

/// Returns the picture of a tunnel's form as it is after `add`.
QString formOf(const QString &name)
{
    return u", %1, [%1], [%1.example], [], Start this, Start, Stopped, Save"_s.arg(name);
}
/// The General tab with a path.
const auto general =
    u"[%1] (cloudflared found), Browse…, Detect, cloudflared found, xShow in, Handy when, Open Morvanel"_s;
const auto newForm = u"(Delete the), New Tunnel, *[], [], [], Start this, (Add)"_s;

QAccessibleInterface *accessible(QObject *object)
{
    return QAccessible::queryAccessibleInterface(object);
}

/// Returns the words of a tooltip, as they are read.
QString toolTipOf(QWidget &widget, const QPoint &at = {})
{
    QToolTip::hideText(); // some time later
    if (!QTest::qWaitFor([] { return !QToolTip::isVisible(); }))
        return u"a tooltip that stays"_s;
    QHelpEvent event(QEvent::ToolTip, at, widget.mapToGlobal(at));
    QCoreApplication::sendEvent(&widget, &event);
    return QTextDocumentFragment::fromHtml(QToolTip::isVisible() ? QToolTip::text() : QString())
        .toPlainText()
        .simplified();
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT

    std::optional<FakeWorld> world;
    std::optional<TunnelManager> manager;
    std::optional<SettingsView> view;
    QListView *list = nullptr;
    QTabWidget *tabs = nullptr;

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
        QVERIFY(QTest::qWaitForWindowActive(&*view));
    }
    void showGeneral()
    {
        tabs->setCurrentIndex(1);
        show();
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
    static void click(QAbstractButton *button)
    {
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
    }
    void click(const QString &title) { click(button(title)); }
    void clickRow(int row, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::mouseClick(list->viewport(), Qt::LeftButton, modifiers, rowRect(row).center());
    }
    QRect rowRect(int row) const { return list->visualRect(list->model()->index(row, 0)); }
    QModelIndex selected() const { return list->selectionModel()->selectedIndexes().value(0); }
    QColor colorAt(int row, int x) const
    {
        return list->viewport()->grab(rowRect(row)).toImage().pixelColor(x, rowRect(row).height() / 2);
    }
    /// Returns the name of the colour of a row's dot.
    QString dot(int row) const
    {
        const QColor color = colorAt(row, 10);
        const QList<std::pair<ColorRole, QString>> names{
            {ColorRole::Green, u"green"_s}, {ColorRole::Orange, u"orange"_s}, {ColorRole::Red, u"red"_s}};
        for (const auto &[role, name] : names) {
            if (color == SymbolDrawing::color(role, list->palette(), QPalette::Base))
                return name;
        }
        return color == colorAt(row, 5) ? u"none"_s : u"grey"_s;
    }
    /// Returns the picture of the tab: the rows, then the labels and buttons by their first words. A row also
    /// tells its dot and its state unless it is stopped. The explanation below the fields and buttons with a
    /// symbol alone are left out.
    QString picture() const
    {
        QStringList pieces;
        for (int row = 0; row < list->model()->rowCount(); ++row) {
            const QModelIndex index = list->model()->index(row, 0);
            const QStringList texts{(index == selected() ? u">"_s : QString()) + index.data().toString(),
                                    dot(row), index.data(Qt::ToolTipRole).toString(),
                                    index.data(Qt::AccessibleDescriptionRole).toString()};
            pieces += texts.join(u' ').remove(u" grey  Stopped"_s);
        }
        if (list->hasFocus())
            pieces.first().prepend(u'*');
        for (const QWidget *piece : view->findChildren<QWidget *>()) {
            const auto *field = qobject_cast<const QLineEdit *>(piece);
            const auto *button = qobject_cast<const QAbstractButton *>(piece);
            const auto *label = qobject_cast<const TextLabel *>(piece);
            QString text = button ? button->text() : label ? label->text() : QString();
            if (button && !button->isEnabled())
                text += button->toolTip();
            text = field ? u'[' + field->text() + u']' : text.remove(u'&').section(u' ', 0, 1);
            if (!piece->accessibleDescription().isEmpty())
                text += u" ("_s + piece->accessibleDescription() + u')';
            if (!piece->isVisible() || text.isEmpty() || text == "Paste either"_L1)
                continue;
            pieces += piece->hasFocus() ? u'*' + text : text;
            if (!piece->isEnabled())
                pieces.last() = u'(' + text + u')';
            else if (button && button->isChecked())
                pieces.last().prepend(u'x');
        }
        return pieces.join(u", "_s);
    }
    QAbstractButton *button(const QString &title) const
    {
        return ShownWidgets::get<QAbstractButton>(*view, title);
    }
    QLineEdit *field(const QString &title) const { return ShownWidgets::field(*view, title); }
    QLabel *label(const QString &text) const { return ShownWidgets::get<QLabel>(*view, text); }
    bool hasLabel(const QString &text) const { return ShownWidgets::find<QLabel>(*view, text); }

    /// Returns the access keys of what is on the screen, in order.
    QString accessKeys() const
    {
        QString keys;
        for (const QWidget *piece : view->findChildren<QWidget *>()) {
            const auto *button = qobject_cast<const QAbstractButton *>(piece);
            const auto *label = qobject_cast<const QLabel *>(piece);
            const QString text = button                    ? button->text()
                                 : label && label->buddy() ? label->text()
                                                           : QString();
            if (piece->isVisible() && !text.isEmpty())
                keys += text.section(u'&', 1).left(1).toUpper() + (text.contains(u'&') ? u""_s : u"-"_s);
        }
        std::sort(keys.begin(), keys.end());
        return keys;
    }

    /// Returns the fault of the first step after which the tab shows something else, or not all of it.
    QString walk(const Pictures::Steps &steps) const
    {
        return Pictures::walk(steps, [this] { return picture() + ShownWidgets::unclearPiece(*view); });
    }
    /// The same without a step.
    QString waitFor(const QString &wanted) const
    {
        return Pictures::waitFor([this] { return picture(); }, wanted);
    }

private Q_SLOTS:
    void init()
    {
        view.reset();
        manager.reset();
        world.emplace();
        manager.emplace(world->services());
        view.emplace(*manager);
        list = view->findChild<QListView *>();
        tabs = view->findChild<QTabWidget *>();
        QApplication::setDoubleClickInterval(0);
        new QAbstractItemModelTester(list->model(), list->model());
    }

    void addsByKeyboardAlone()
    {
        const QString name = u"نفق\u202e "_s.repeated(10'000) + u"\n"_s;
        const QString token = u"eyJ"_s + QString(100'000, u'x');
        show();
        NO_FAULT(difference(picture(), newForm));
        QCOMPARE(accessKeys(), u"AHKNO"_s);
        for (TextLabel *one : view->findChildren<TextLabel *>()) // what is said is the text, word for word
            QVERIFY(!accessible(one)->text(QAccessible::Name).contains(u'\u2060'));
        paste(u"\t"_s + name + u" "_s);
        press(Qt::Key_Return); // not without a token
        QVERIFY(manager->tunnels().isEmpty());
        press(Qt::Key_Tab);
        paste(u"h"_s);
        press(Qt::Key_Tab);
        paste(u"cloudflared tunnel run\n  --token "_s + token);
        press(Qt::Key_Tab); // to the button beside the token
        press(Qt::Key_Tab);
        press(Qt::Key_Space);
        press(Qt::Key_Tab);
        QCOMPARE(picture().section(u", "_s, -2), u"xStart this, *Add"_s);
        QVERIFY(qobject_cast<QPushButton *>(button(u"Add"_s))->isDefault());
        QCOMPARE(accessible(list)->text(QAccessible::Name), u"Tunnels"_s);
        press(Qt::Key_Enter);
        const TunnelConfig saved = manager->tunnels().value(0);
        QCOMPARE(manager->tunnels(), QList{(TunnelConfig{saved.id, name, u"h"_s, true})});
        QCOMPARE(world->secrets.items.first(), token.toLatin1());
        QCOMPARE(picture().first(2), u"*>"_s);
        QCOMPARE(picture().section(u", "_s, -6), u"[h], [], xStart this, Start, Stopped, Save"_s);
        QCOMPARE(view->minimumWidth(), 640); // nothing makes the window wider
    }

    void saves_data()
    {
        QTest::addColumn<bool>("isNew");
        QTest::addColumn<QStringList>("typed"); // name, host name, token
        QTest::addColumn<QStringList>("saved"); // the same of the last tunnel; empty where nothing is saved
        QTest::addColumn<bool>("warns");

        const auto row = [](const char *fault, bool isNew, const QStringList &typed, const QStringList &saved,
                            bool warns) { QTest::newRow(fault) << isNew << typed << saved << warns; };
        row("new one without a token", true, {u"a"_s, {}, {}}, {}, false);
        row("blank token taken for one", true, {u"a"_s, {}, u" "_s}, {}, true);
        row("new one without a name", true, {{}, {}, u"eyJx"_s}, {}, false);
        row("odd token refused", true, {u"a"_s, u"h"_s, u"EYJx"_s}, {u"a"_s, u"h"_s, u"EYJx"_s}, true);
        row("blank name saved", false, {u" \t\u00a0\u3000"_s, {}, u"eyJx"_s}, {}, false);
        row("name changed, or token lost to a blank one", false,
            {u"\t<b>&\" نفق\u202e\u2003"_s, u" https://h/p a\t"_s, u" "_s},
            {u"<b>&\" نفق\u202e"_s, u"https://h/p a"_s, u"eyJ-old"_s}, true);
        row("token not taken out of a command", false, {u"b"_s, {}, u"run --token=\"eyJx\""_s},
            {u"b"_s, {}, u"eyJx"_s}, false);
    }
    void saves()
    {
        QFETCH(bool, isNew);
        QFETCH(QStringList, typed);
        QFETCH(QStringList, saved);
        QFETCH(bool, warns);
        const TunnelConfig stored{QUuid::createUuid(), u"a"_s, {}, true};
        manager->add(stored, u"eyJ-old"_s);
        show();
        if (isNew)
            click(u"Add tunnel"_s);
        const QStringList titles{u"Name"_s, u"Hostname"_s, u"Token"_s};
        for (int i = 0; i < 3; ++i)
            field(titles[i])->setText(typed[i]);
        QVERIFY2(hasLabel(tokenWarning) == warns,
                 warns ? "the token is not warned of" : "a good token is warned of");
        QCOMPARE(accessible(field(titles[2]))->text(QAccessible::Description) == tokenWarning, warns);
        QAbstractButton *save = button(isNew ? u"Add"_s : u"Save"_s);
        QCOMPARE(save->isEnabled(), !saved.isEmpty());
        click(save);
        const TunnelConfig last = manager->tunnels().last();
        const QByteArray token = world->secrets.items[tunnelIdText(last.id)];
        const QStringList wanted = saved.isEmpty() ? QStringList{u"a"_s, {}, u"eyJ-old"_s} : saved;
        QCOMPARE((QStringList{last.name, last.hostname, QString::fromLatin1(token)}), wanted);
        QCOMPARE(last.id != stored.id, isNew && !saved.isEmpty());
        QCOMPARE(last.startOnLaunch, last.id == stored.id);
    }

    void edits()
    {
        const QUuid id = add({u"a"_s, u"b"_s})[1].id;
        manager->update({id, u"b"_s, u"b.example"_s, true}, std::nullopt);
        show();
        const QString formOfB = with(formOf(u"b"_s), {{u"Start this"_s, u"xStart this"_s}});
        const QString formOfC = with(formOf(u"c"_s), {{u"[c.example]"_s, u"[b.example]"_s}});
        const auto tabThrice = [this] {
            for (int i = 0; i < 3; ++i)
                press(Qt::Key_Tab);
        };
        NO_FAULT(walk(
            {{[&] {}, u"*>a, b"_s + formOf(u"a"_s)},
             {[&] { clickRow(1); }, u"*a, >b"_s + formOfB},
             {tabThrice, u"a, >b"_s + with(formOfB, {{u"[b]"_s, u"*[b]"_s}})},
             {[&] { press(Qt::Key_Delete); },
              u"a, >b"_s +
                  with(formOfB, {{u"b"_s, u"Tunnel"_s}, {u"[b]"_s, u"*[]"_s}, {u"Save"_s, u"(Save)"_s}})},
             {[&] { type(u"c"_s); }, u"a, >b"_s + with(formOfB, {{u"b"_s, u"c"_s}, {u"[b]"_s, u"*[c]"_s}})},
             {[&] { click(u"Start this tunnel when the app opens"_s); },
              u"a, >b"_s + with(formOfC, {{u"Start this"_s, u"*Start this"_s}})}}));
        const QSignalSpy changes(list->model(), &QAbstractItemModel::dataChanged);
        QElapsedTimer sinceSave;
        sinceSave.start();
        click(u"Save"_s);
        QCOMPARE(accessible(label(u"Saved"_s))->role(), QAccessible::Notification); // is read out
        NO_FAULT(waitFor(u"a, >c"_s + with(formOfC, {{u"Save"_s, u"*Save"_s}})));
        QCOMPARE(changes.value(0).value(0).toModelIndex().row(), 1); // which paints that row anew
        QVERIFY2(sinceSave.elapsed() >= 1400, qPrintable(QString::number(sinceSave.elapsed())));
        QCOMPARE(manager->tunnels()[1], (TunnelConfig{id, u"c"_s, u"b.example"_s, false}));
        field(u"Name"_s)->setText(u"unsaved"_s);
        const QPoint belowTheRows = list->viewport()->rect().bottomRight() - QPoint(5, 5);
        NO_FAULT(walk({{[&] { QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, belowTheRows); },
                        u"*a, >c"_s + with(formOfC, {{u"c"_s, u"unsaved"_s}, {u"[c]"_s, u"[unsaved]"_s}})},
                       {[&] { clickRow(0); }, u"*>a, c"_s + formOf(u"a"_s)},
                       {[&] { press(Qt::Key_Down); }, u"*a, >c"_s + formOfC}}));
        QTRY_COMPARE(view->findChildren<TunnelEditor *>().size(), 1);
    }

    void selects()
    {
        const QUuid c = add({u"a"_s, u"b"_s, u"c"_s})[2].id;
        show();
        QCOMPARE(accessKeys(), u"HKNORS"_s);
        const QRect name = rowRect(1).adjusted(20, 2, 0, -rowRect(1).height() / 2);
        QVERIFY(ShownWidgets::hasInk(*list->viewport(), name)); // which is not the selected row's
        const QRect border(list->mapTo(&*view, QPoint(-2, 20)), QSize(1, 1));
        const QImage focused = view->grab(border).toImage();
        field(u"Name"_s)->setFocus();
        QVERIFY(view->grab(border).toImage() != focused);
        NO_FAULT(walk(
            {{[&] { click(u"Add tunnel"_s); }, u"a, b, c, "_s + newForm},
             {[&] { clickRow(0); }, u"*>a, b, c"_s + formOf(u"a"_s)},
             {[&] { clickRow(0, Qt::ControlModifier); }, u"*a, b, c, (Delete the), Select a, Add Tunnel"_s},
             {[&] { click(u"Add Tunnel"_s); }, u"a, b, c, "_s + newForm},
             {[&] { clickRow(2); }, u"*a, b, >c"_s + formOf(u"c"_s)},
             {[&] { manager->remove(c); }, u"*a, b, Select a, Add Tunnel"_s},
             {[&] { click(u"Delete the selected tunnel"_s); }, u">a, b"_s + formOf(u"a"_s)},
             {[&] { clickRow(1); }, u"*a, >b"_s + formOf(u"b"_s)},
             {[&] { click(u"Delete the selected tunnel"_s); }, u">a"_s + formOf(u"a"_s)},
             {[&] { click(u"Delete the selected tunnel"_s); }, u"(Delete the), No tunnels, *Add Tunnel"_s},
             {[&] { press(Qt::Key_Return); }, newForm}}));
        add({u"a"_s});
        view->hide();
        view->show(); // nothing was selected
        NO_FAULT(difference(picture().remove(u'*'), u">a"_s + formOf(u"a"_s)));
    }

    void doubleClickDeletesOne()
    {
        add({u"a"_s, u"b"_s, u"c"_s});
        show();
        QApplication::setDoubleClickInterval(600'000);
        QKeyEvent held(QEvent::KeyPress, Qt::Key_Delete, {}, {}, true);
        click(u"Delete the selected tunnel"_s);
        NO_FAULT(walk({{[&] { click(u"Delete the selected tunnel"_s); }, u">b, c"_s + formOf(u"b"_s)},
                       {[&] { clickRow(0); }, u"*>b, c"_s + formOf(u"b"_s)},
                       {[&] { press(Qt::Key_Delete); }, u"*>b, c"_s + formOf(u"b"_s)},
                       {[&] { QApplication::setDoubleClickInterval(0); }, u"*>b, c"_s + formOf(u"b"_s)},
                       {[&] { QCoreApplication::sendEvent(list, &held); }, u"*>b, c"_s + formOf(u"b"_s)},
                       {[&] { press(Qt::Key_Delete); }, u"*>c"_s + formOf(u"c"_s)}}));
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
        NO_FAULT(waitFor(u">renamed orange  Connecting…"_s +
                         with(formOf(u"a"_s), {{u"a"_s, u"a typed"_s},
                                               {u"[a]"_s, u"*[a typed]"_s},
                                               {u"Start"_s, u"Stop"_s},
                                               {u"Stopped"_s, u"Connecting…"_s}})));
        click(u"Save"_s);
        QCOMPARE(manager->tunnels(),
                 QList{(TunnelConfig{tunnels[0].id, u"a typed"_s, u"a.example"_s, false})});
        QTRY_COMPARE(selected().data(), u"a typed"_s);
    }

    /// The last error stands beside the state, only while the tunnel tries to connect.
    void followsTheState()
    {
        const QUuid id = add({u"a"_s}).first().id;
        show();
        QVERIFY(label(u"Stopped"_s)->width() > 150); // what is free is for the message
        const auto write = [this](const QByteArray &line) { world->launcher.last().write(line + '\n'); };
        const auto shown = [](const QString &row, const QString &button, const QString &state) {
            return u">a"_s + row + with(formOf(u"a"_s), {{u"Start"_s, button}, {u"Stopped"_s, state}});
        };
        NO_FAULT(walk(
            {{[&] { click(u"Start"_s); }, shown(u" orange  Connecting…"_s, u"*Stop"_s, u"Connecting…"_s)},
             {[&] { write("x ERR a < b"); },
              shown(u" orange Last error: a < b Connecting… Last error: a < b"_s, u"*Stop"_s,
                    u"Connecting… (Last error: a < b)"_s)},
             {[&] { write("Registered tunnel connection connIndex=0"); },
              shown(u" green  Connected (1 connection)"_s, u"*Stop"_s, u"Connected (1"_s)},
             {[&] { click(u"Stop"_s); }, shown(u" orange  Stopping…"_s, u"*Stop"_s, u"Stopping…"_s)},
             {[&] { world->launcher.last().end(0); }, shown({}, u"*Start"_s, u"Stopped"_s)},
             {[&] { manager->runner(id)->fail(u"no"_s, u"why"_s); },
              shown(u" red Error: no Reason: why Error: no Reason: why"_s, u"*Start"_s,
                    u"Error: no (Reason: why)"_s)}}));
        QCOMPARE(colorAt(0, 5), list->palette().color(QPalette::Base)); // around the dot of a selected row
        const QColor ground = colorAt(0, 3);
        QVERIFY(SymbolDrawing::contrast(ground, list->palette().color(QPalette::HighlightedText)) >= 4.5);
        QVERIFY(std::abs(ground.hsvHue() - list->palette().color(QPalette::Highlight).hsvHue()) <= 2);
        const QRect name = rowRect(0).adjusted(20, 0, 0, -rowRect(0).height() / 2);
        QVERIFY(ShownWidgets::hasInk(*list->viewport(), name));
        QVERIFY(ShownWidgets::hasInk(*list->viewport(), name.translated(0, name.height()))); // the host name
    }

    void reordersByKeyboard()
    {
        const QUuid b = add({u"a"_s, u"b"_s, u"c"_s})[1].id;
        show();
        const auto move = [this](Qt::Key key) { return [this, key] { press(key, Qt::AltModifier); }; };
        NO_FAULT(walk({{move(Qt::Key_Up), u"*>a, b, c"_s + formOf(u"a"_s)},
                       {move(Qt::Key_Down), u"*b, >a, c"_s + formOf(u"a"_s)},
                       {move(Qt::Key_Down), u"*b, c, >a"_s + formOf(u"a"_s)},
                       {move(Qt::Key_Down), u"*b, c, >a"_s + formOf(u"a"_s)},
                       {move(Qt::Key_Up), u"*b, >a, c"_s + formOf(u"a"_s)},
                       {move(Qt::Key_Up), u"*>a, b, c"_s + formOf(u"a"_s)},
                       {move(Qt::Key_Down), u"*b, >a, c"_s + formOf(u"a"_s)}}));
        QCOMPARE(TunnelManager(world->services()).tunnels(), manager->tunnels());
        manager->remove(b);
        press(Qt::Key_Up, Qt::AltModifier); // the rows are old ones
        QCOMPARE(manager->tunnels().first().name, u"a"_s);
    }

    /// Needs a display that knows dragging.
    void reordersByMouse()
    {
        add({u"a"_s, u"b"_s, u"c"_s});
        show();
        QWidget *viewport = list->viewport();
        QWindow *window = view->windowHandle();
        const QPoint from = viewport->mapTo(&*view, rowRect(0).center());
        const QPoint to = viewport->mapTo(&*view, rowRect(2).bottomLeft() + QPoint(30, 0));
        const QRect line = rowRect(2).adjusted(0, rowRect(2).height() - 3, 0, 2);
        const QRect lineOnScreen = line.translated(viewport->mapToGlobal(QPoint()));
        // The drag runs an event loop of its own: what the hand does then comes from a timer.
        int waits = 0; ///< for the picture of what is dragged
        int step = 0;
        QImage resting;
        bool showsLine = false;
        bool isCovered = false;
        QTimer hand;
        connect(&hand, &QTimer::timeout, this, [&] {
            const QWindowList windows = QGuiApplication::allWindows();
            const auto dragged = std::find_if(windows.begin(), windows.end(), [window](const QWindow *one) {
                return one != window && one->isVisible();
            });
            if (dragged == windows.end() && ++waits < 300)
                return;
            if (++step < 10)
                return QTest::mouseMove(window, to + QPoint(step, 0));
            hand.stop();
            showsLine = viewport->grab(line).toImage() != resting;
            isCovered = dragged != windows.end() && (*dragged)->geometry().intersects(lineOnScreen);
            QTest::mouseRelease(window, Qt::LeftButton, {}, to);
        });
        hand.start(10);
        QTest::mousePress(window, Qt::LeftButton, {}, from);
        resting = viewport->grab(line).toImage();
        for (const int distance : {1, 2})
            QTest::mouseMove(window, from + QPoint(0, distance * QApplication::startDragDistance()));
        QTRY_COMPARE(step, 10);
        QVERIFY2(waits < 300, "no picture of the row is dragged");
        QVERIFY2(showsLine, "no line shows where the row would be dropped");
        QVERIFY2(!isCovered, "the picture of the row covers the line where it would be dropped");
        NO_FAULT(waitFor(u"*b, c, >a"_s + formOf(u"a"_s)));
        QCOMPARE(manager->tunnels().last().name, u"a"_s);
    }

    void maskedTokenStaysInTheField()
    {
        add({u"a"_s});
        show();
        QLineEdit *token = field(u"Token"_s);
        QVERIFY(accessible(field(u"Name"_s))->textInterface() && !accessible(token)->textInterface());
        QCOMPARE(accessible(token)->text(QAccessible::Name), u"Token"_s);
        QVERIFY(accessible(token)->state().passwordEdit && token->echoMode() == QLineEdit::Password);
        QVERIFY(accessible(token)->state().editable && !accessible(token)->state().readOnly);
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
        QVERIFY(accessible(token)->textInterface() && token->text() == u"eyJ");
        QList<bool> readWhenCleared;
        connect(token, &QLineEdit::textChanged, token,
                [&] { readWhenCleared += bool(accessible(token)->textInterface()); });
        click(u"Save"_s);
        QCOMPARE(readWhenCleared, QList{false});
        QVERIFY(token->text().isEmpty() && !token->isUndoAvailable() && !token->isRedoAvailable());
        QVERIFY(accessible(token)->textInterface());
        click(u"Hide"_s);
        QVERIFY(!accessible(token)->textInterface());
    }

    void cutTextsHaveTooltips()
    {
        const QString name(200, u'm');
        const QUuid id = add({name, u"b"_s}).first().id;
        manager->runner(id)->fail(u"failed <b> "_s.repeated(60));
        show();
        const QString why = u"Error: "_s + u"failed <b> "_s.repeated(60).trimmed(); // not in bold
        NO_FAULT(difference(toolTipOf(*label(manager->state(id).label())), why));
        NO_FAULT(difference(toolTipOf(*label(name)), name));
        NO_FAULT(difference(toolTipOf(*list->viewport(), rowRect(0).center()),
                            u"%1 %1.example %2"_s.arg(name, why)));
        QCOMPARE(toolTipOf(*list->viewport(), rowRect(1).center()), QString());
        clickRow(1);
        manager->runner(manager->tunnels()[1].id)->fail(u"failed & why"_s);
        QTRY_VERIFY(hasLabel(u"Error: failed & why"_s));
        QCOMPARE(toolTipOf(*label(u"Error: failed & why"_s)), QString());
    }

    void clickOnTheTabLeavesThePathAlone()
    {
        showGeneral();
        QCOMPARE((QStringList{tabs->tabText(0), tabs->tabText(1)}), (QStringList{u"Tunnel"_s, u"General"_s}));
        QVERIFY(!tabs->tabIcon(0).isNull() && !tabs->tabIcon(1).isNull());
        QCOMPARE(view->minimumSize(), QSize(640, 400));
        NO_FAULT(ShownWidgets::unclearPiece(*view));
        tabs->setCurrentIndex(0);
        tabs->currentWidget()->setFocus();
        QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, tabs->tabBar()->tabRect(1).center());
        QCOMPARE(tabs->currentIndex(), 1);
        QTest::keyClicks(QApplication::focusWidget(), u"x"_s);
        QCOMPARE(manager->cloudflaredPath(), world->cloudflaredPath);
    }

    void pathIsWrittenAsItIsTyped()
    {
        showGeneral();
        QLineEdit *path = field(u"cloudflared path"_s);
        const QString usual = world->cloudflaredPath;
        const QString odd = world->folder.filePath(u"~x\n"_s);
        const auto shown = [](const QString &typed, const QString &found) {
            const QString verdict = found == "found"_L1 ? u"found"_s : notFound;
            return with(general, {{u"[%1] (cloudflared found)"_s, u"*[%1] (cloudflared %2)"_s},
                                  {u"cloudflared found"_s, u"cloudflared "_s + found}})
                .arg(typed, verdict);
        };
        path->setFocus();
        path->selectAll();
        QCOMPARE(accessKeys(), u"BDOPS"_s);
        NO_FAULT(walk({{[&] {}, shown(usual, u"found"_s)},
                       {[&] { press(Qt::Key_Delete); }, shown({}, u"not"_s)},
                       {[&] { type(usual); }, shown(usual, u"found"_s)},
                       {[&] { type(u" "_s); }, shown(usual + u' ', u"not"_s)},
                       {[&] { press(Qt::Key_Z, Qt::ControlModifier); }, shown(usual, u"found"_s)},
                       {[&] { manager->setCloudflaredPath(odd); }, shown(odd, u"not"_s)}}));
        QCOMPARE(world->preferences.string(u"cloudflaredPath"_s), odd);
        FakeWorld::install(odd); // in the meantime
        QWidget other;
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        view->activateWindow();
        NO_FAULT(waitFor(shown(odd, u"found"_s)));
        const QLabel *verdict = label(u"cloudflared found"_s);
        const QColor color = verdict->palette().color(verdict->foregroundRole());
        QVERIFY2(color.green() > color.red(), "a program that is found looks like one that is missing");
        click(u"Detect"_s);
        QTRY_COMPARE(path->text(), TunnelManager::detectCloudflared().value_or(odd));
    }

    void browses()
    {
        showGeneral();
        QLineEdit *path = field(u"cloudflared path"_s);
        const QString link = world->folder.filePath(u"link"_s);
        QVERIFY(QFile::link(u"/bin/true"_s, link));
        for (const bool isAccepted : {false, true}) {
            button(u"Browse…"_s)->setFocus();
            press(Qt::Key_Return); // and is back while the dialog is open
            QPointer<QFileDialog> dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            QVERIFY2(dialog, "Browse… opens a file dialog");
            QVERIFY(u"/opt/homebrew/bin"_s.startsWith(dialog->directory().path()));
            QCOMPARE(dialog->fileMode(), QFileDialog::ExistingFile);
            dialog->findChild<QLineEdit *>()->setText(link);
            QTest::keyClick(dialog->findChild<QLineEdit *>(), isAccepted ? Qt::Key_Return : Qt::Key_Escape);
            QTRY_VERIFY2(!dialog, "a dialog that is done with is gone");
            QCOMPARE(manager->cloudflaredPath(), isAccepted ? link : world->cloudflaredPath);
            QTRY_COMPARE(path->text(), manager->cloudflaredPath());
        }
    }

    void switchesTakeEffectAtOnce()
    {
        showGeneral();
        const auto shown = [this](const QString &dock, const QString &login) {
            return with(general, {{u"xShow in"_s, dock}, {u"Open Morvanel"_s, login}})
                .arg(world->cloudflaredPath);
        };
        world->loginItem.refusal = u"<b>The folder & all</b> is read-only"_s;
        NO_FAULT(
            walk({{[&] { click(u"Show in the Dock and ⌘Tab"_s); }, shown(u"*Show in"_s, u"Open Morvanel"_s)},
                  {[&] { manager->setShowsInDock(true); }, shown(u"x*Show in"_s, u"Open Morvanel"_s)},
                  {[&] { click(u"Open Morvanel at login"_s); },
                   shown(u"xShow in"_s, u"*Open Morvanel, <b>The folder"_s)}}));
        QCOMPARE(label(world->loginItem.refusal)->textFormat(), Qt::PlainText);
        world->loginItem.current = LoginItemStatus::Enabled; // elsewhere
        tabs->setCurrentIndex(0);
        tabs->setCurrentIndex(1);
        QVERIFY(button(u"Open Morvanel at login"_s)->isChecked() && hasLabel(world->loginItem.refusal));
        QCOMPARE(world->loginItem.requests, 1);
        world->loginItem.refusal.clear();
        NO_FAULT(
            walk({{[&] { click(u"Open Morvanel at login"_s); }, shown(u"xShow in"_s, u"*Open Morvanel"_s)}}));
        QCOMPARE(world->loginItem.current, LoginItemStatus::NotRegistered);
        click(u"Show in the Dock and ⌘Tab"_s);
        QCOMPARE(world->preferences.boolean(u"showsInDock"_s), false);
    }

    void followsFontAndPalette()
    {
        add({u"a"_s});
        show();
        QLineEdit *token = field(u"Token"_s);
        QVERIFY(token->fontMetrics().horizontalAdvance(token->placeholderText()) < token->width() - 10);
        token->setText(u"x"_s);
        QVERIFY(QFontInfo(token->font()).fixedPitch());
        const QLabel *warning = label(tokenWarning);
        const int usualSymbol = button(u"Add tunnel"_s)->iconSize().height();
        QFont font = QApplication::font();
        const qreal usual = font.pointSizeF();
        font.setPointSizeF(24);
        QApplication::setFont(font);
        QTRY_VERIFY(warning->font().pointSizeF() > 15 && warning->font().pointSizeF() < 24);
        QCOMPARE(token->font().pointSizeF(), 24);
        QVERIFY(button(u"Add tunnel"_s)->iconSize().height() > 2 * usualSymbol);
        QTRY_VERIFY(view->minimumWidth() > 640); // nothing of the form is cut off at the side
        font.setPointSizeF(usual);
        QApplication::setFont(font);

        const qint64 lightIcon = button(u"Add tunnel"_s)->icon().cacheKey();
        QPalette dark = QApplication::palette();
        dark.setColor(QPalette::Window, QColor(0x20, 0x20, 0x20));
        dark.setColor(QPalette::WindowText, Qt::white);
        QApplication::setPalette(dark);
        QTRY_COMPARE(warning->palette().color(QPalette::WindowText),
                     SymbolDrawing::color(ColorRole::Orange, dark));
        QVERIFY(button(u"Add tunnel"_s)->icon().cacheKey() != lightIcon);
        QApplication::setPalette(QPalette());
    }
};

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
