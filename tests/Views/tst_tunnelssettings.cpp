// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ClampedLabel.h"
#include "Fakes.h"
#include "SettingsView.h"
#include "ShownWidgets.h"
#include "SymbolDrawing.h"
#include "TunnelEditor.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QHelpEvent>
#include <QListView>
#include <QMainWindow>
#include <QPaintEvent>
#include <QPushButton>
#include <QTabBar>
#include <QTest>
#include <QToolTip>
#include <QTranslator>

using namespace Qt::StringLiterals;

namespace {

const auto marked = u"‹%1›"_s;

/// Translates every text into itself between marks.
class MarkingTranslator : public QTranslator
{
public:
    QString translate(const char *, const char *text, const char *, int) const override
    {
        return marked.arg(QString::fromUtf8(text));
    }
    bool isEmpty() const override { return false; }
};

/// Gathers what is painted of a widget.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(QWidget *widget)
        : QObject(widget)
    {
        widget->installEventFilter(this);
    }
    QRegion painted;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            painted += static_cast<QPaintEvent *>(event)->region();
        return QObject::eventFilter(watched, event);
    }
};

/// The bus passes on what is typed only where it can read the text.
bool isRead(QObject *field)
{
    return QAccessible::queryAccessibleInterface(field)->textInterface();
}

QString accessibleName(QObject *object)
{
    return QAccessible::queryAccessibleInterface(object)->text(QAccessible::Name);
}

} // namespace

class TestTunnelsSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void beginsWithANewTunnel();
    void addsByKeyboardAlone();
    void returnSavesOnlyWhatCanBeSaved();
    void editsByMouse();
    void inputSurvivesChangesElsewhere();
    void anotherTunnelDropsTheInput();
    void deletesDownToThePlaceholder();
    void keyboardStaysWhereItIs();
    void startsAndStops();
    void dotsFollowTheStates();
    void aStatePaintsOneRow();
    void restsWhileHidden();
    void reordersByKeyboard();

    void maskedTokenStaysInTheField();
    void maskedTokenIsNotAnnounced();
    void savedTokenIsGone();
    void inputIsNeverCut();
    void cutTextsHaveTooltips_data();
    void cutTextsHaveTooltips();
    void savedNoteComesAndGoes();
    void namesForAssistiveTechnology();
    void largeFontFromTheStart_data();
    void largeFontFromTheStart();
    void followsLanguageFontAndPalette();

private:
    QList<TunnelConfig> add(const QStringList &names);
    void show();
    void type(const QString &text);
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {});
    void paste(const QString &text);
    void click(QAbstractButton *button) { QTest::mouseClick(button, Qt::LeftButton); }
    void clickRow(int row);
    QPoint gapAbove(int row) const;
    QStringList names() const;

    QAbstractButton *button(const QString &title) const
    {
        return ShownWidgets::find<QAbstractButton>(*view, title);
    }
    QLineEdit *field(const QString &title) const { return ShownWidgets::field(*view, title); }
    QLabel *label(const QString &text) const { return ShownWidgets::find<QLabel>(*view, text); }
    QLabel *labelThatBegins(const QString &text) const
    {
        return ShownWidgets::find<QLabel>(*view, [&](const QLabel *l) { return l->text().startsWith(text); });
    }
    QListView *list() const { return view->findChild<QListView *>(); }
    TunnelEditor *editor() const
    {
        return ShownWidgets::find<TunnelEditor>(*view, [](const TunnelEditor *) { return true; });
    }

    std::unique_ptr<FakeWorld> world;
    std::unique_ptr<TunnelManager> manager;
    std::unique_ptr<SettingsView> view;
};

void TestTunnelsSettings::init()
{
    world = std::make_unique<FakeWorld>();
    manager = std::make_unique<TunnelManager>(world->services());
    view = std::make_unique<SettingsView>(*manager);
}

void TestTunnelsSettings::cleanup()
{
    view.reset();
    manager.reset();
}

QList<TunnelConfig> TestTunnelsSettings::add(const QStringList &names)
{
    QList<TunnelConfig> tunnels;
    for (const QString &name : names)
        tunnels += FakeWorld::addTunnel(*manager, name, name + u".example"_s, u"eyJ-old"_s);
    return tunnels;
}

void TestTunnelsSettings::show()
{
    view->resize(720, 460);
    view->show();
    QVERIFY(QTest::qWaitForWindowActive(view.get()));
}

/// To the widget that has the focus, as the keyboard does.
void TestTunnelsSettings::type(const QString &text)
{
    QTest::keyClicks(QApplication::focusWidget(), text);
}

void TestTunnelsSettings::press(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(view->windowHandle(), key, modifiers);
}

void TestTunnelsSettings::paste(const QString &text)
{
    QApplication::clipboard()->setText(text);
    press(Qt::Key_V, Qt::ControlModifier);
}

void TestTunnelsSettings::clickRow(int row)
{
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {},
                      list()->visualRect(list()->model()->index(row, 0)).center());
}

QPoint TestTunnelsSettings::gapAbove(int row) const
{
    const QRect rect = list()->visualRect(list()->model()->index(row, 0));
    return {rect.center().x(), rect.top() + 1};
}

QStringList TestTunnelsSettings::names() const
{
    QStringList names;
    for (const TunnelConfig &tunnel : manager->tunnels())
        names += tunnel.name;
    return names;
}

void TestTunnelsSettings::beginsWithANewTunnel()
{
    show();
    QVERIFY(label(u"New Tunnel"_s));
    QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
    QVERIFY(!button(u"Add"_s)->isEnabled());
    QVERIFY(!button(u"Delete the selected tunnel"_s)->isEnabled());
    QVERIFY(button(u"Add tunnel"_s)->isEnabled());
    QVERIFY(!button(u"Start"_s));
    QVERIFY(!qobject_cast<QCheckBox *>(button(u"Start this tunnel when the app opens"_s))->isChecked());
}

void TestTunnelsSettings::addsByKeyboardAlone()
{
    show();
    type(u" Staging "_s);
    press(Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), field(u"Hostname"_s));
    press(Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), field(u"Token"_s));
    paste(u"cloudflared tunnel run --token eyJnew"_s);
    press(Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), button(u"Show"_s));
    press(Qt::Key_Tab);
    press(Qt::Key_Space);
    press(Qt::Key_Return);

    QCOMPARE(manager->tunnels().size(), 1);
    const TunnelConfig saved = manager->tunnels().first();
    QCOMPARE(saved, (TunnelConfig{saved.id, u"Staging"_s, {}, true}));
    QCOMPARE(world->secrets.items.first(), QByteArray("eyJnew"));
    QCOMPARE(list()->selectionModel()->selectedIndexes().first().data(), u"Staging"_s);
    QVERIFY(label(u"Staging"_s) && button(u"Save"_s) && button(u"Start"_s));
    QVERIFY(field(u"Token"_s)->text().isEmpty());
    QCOMPARE(QApplication::focusWidget(), list());
}

void TestTunnelsSettings::returnSavesOnlyWhatCanBeSaved()
{
    show();
    type(u"Name"_s);
    press(Qt::Key_Return);
    press(Qt::Key_Enter);
    QVERIFY(manager->tunnels().isEmpty());
    field(u"Token"_s)->setFocus();
    type(u"x"_s);
    QVERIFY(button(u"Add"_s)->isEnabled());
    QVERIFY(qobject_cast<QPushButton *>(button(u"Add"_s))->isDefault());
    press(Qt::Key_Enter);
    QCOMPARE(names(), QStringList{u"Name"_s});
}

void TestTunnelsSettings::editsByMouse()
{
    add({u"a"_s, u"b"_s});
    show();
    clickRow(1);
    QCOMPARE(field(u"Name"_s)->text(), u"b"_s);
    QCOMPARE(field(u"Hostname"_s)->text(), u"b.example"_s);
    QTest::mouseClick(field(u"Name"_s), Qt::LeftButton);
    field(u"Name"_s)->selectAll();
    press(Qt::Key_Delete);
    QVERIFY(label(u"Tunnel"_s)); // the title of a tunnel without a name
    QVERIFY(!button(u"Save"_s)->isEnabled());
    type(u"c"_s);
    click(button(u"Save"_s));
    QCOMPARE(names(), (QStringList{u"a"_s, u"c"_s}));
    QTRY_COMPARE(list()->model()->index(1, 0).data(), u"c"_s);
    QCOMPARE(world->secrets.items[tunnelIdText(manager->tunnels()[1].id)], QByteArray("eyJ-old"));
}

void TestTunnelsSettings::inputSurvivesChangesElsewhere()
{
    const QList<TunnelConfig> tunnels = add({u"a"_s, u"b"_s});
    show();
    const TunnelEditor *before = editor();
    field(u"Name"_s)->setFocus();
    press(Qt::Key_End);
    type(u" typed"_s);
    manager->start(tunnels[0].id);
    manager->update({tunnels[0].id, u"renamed"_s, {}, true}, std::nullopt);
    manager->remove(tunnels[1].id);
    QTRY_VERIFY(button(u"Stop"_s));
    QCOMPARE(editor(), before);
    QCOMPARE(field(u"Name"_s)->text(), u"a typed"_s);
    QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
    click(button(u"Save"_s));
    QCOMPARE(manager->tunnels(), QList{(TunnelConfig{tunnels[0].id, u"a typed"_s, u"a.example"_s, false})});
    QCOMPARE(editor(), before);
}

void TestTunnelsSettings::anotherTunnelDropsTheInput()
{
    add({u"a"_s, u"b"_s});
    show();
    field(u"Name"_s)->setFocus();
    type(u"unsaved"_s);
    field(u"Token"_s)->setFocus();
    type(u"unsaved"_s);
    clickRow(1);
    clickRow(0);
    QCOMPARE(field(u"Name"_s)->text(), u"a"_s);
    QVERIFY(field(u"Token"_s)->text().isEmpty());
    QCOMPARE(QApplication::focusWidget(), list());
    press(Qt::Key_Down);
    QCOMPARE(field(u"Name"_s)->text(), u"b"_s);
    click(button(u"Add tunnel"_s));
    QVERIFY(label(u"New Tunnel"_s));
    QVERIFY(list()->selectionModel()->selectedIndexes().isEmpty());
    QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
}

void TestTunnelsSettings::deletesDownToThePlaceholder()
{
    add({u"a"_s, u"b"_s, u"c"_s});
    show();
    clickRow(2);
    click(button(u"Delete the selected tunnel"_s));
    QCOMPARE(names(), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(field(u"Name"_s)->text(), u"a"_s);
    QCOMPARE(list()->selectionModel()->selectedIndexes().first().row(), 0);
    click(button(u"Delete the selected tunnel"_s));
    click(button(u"Delete the selected tunnel"_s));
    QVERIFY(manager->tunnels().isEmpty());
    QVERIFY(label(u"No tunnels configured"_s));
    QVERIFY(!button(u"Delete the selected tunnel"_s)->isEnabled());
    click(button(u"Add Tunnel"_s));
    QVERIFY(label(u"New Tunnel"_s));

    add({u"d"_s});
    QTRY_COMPARE(list()->model()->rowCount(), 1);
    clickRow(0);
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, Qt::ControlModifier, gapAbove(0)); // deselects
    QVERIFY(label(u"Select a tunnel"_s));
}

void TestTunnelsSettings::keyboardStaysWhereItIs()
{
    add({u"a"_s});
    show();
    auto *tabs = view->findChild<QTabBar *>();
    tabs->setFocus();
    press(Qt::Key_Right);
    QVERIFY(!list()->isVisible());
    press(Qt::Key_Left);
    QVERIFY(list()->isVisible());
    QCOMPARE(QApplication::focusWidget(), tabs);

    button(u"Delete the selected tunnel"_s)->setFocus();
    press(Qt::Key_Space);
    QVERIFY(manager->tunnels().isEmpty());
    QCOMPARE(QApplication::focusWidget(), button(u"Add Tunnel"_s));
    press(Qt::Key_Return);
    QCOMPARE(QApplication::focusWidget(), field(u"Name"_s));
}

void TestTunnelsSettings::startsAndStops()
{
    add({u"a"_s});
    show();
    QVERIFY(label(u"Stopped"_s));
    QVERIFY(label(u"Stopped"_s)->width() > 150); // what is free is for the message
    click(button(u"Start"_s));
    QTRY_VERIFY(button(u"Stop"_s) && label(u"Connecting…"_s));
    click(button(u"Stop"_s));
    QTRY_VERIFY(button(u"Stop"_s) && label(u"Stopping…"_s));
    world->launcher.last().end(0);
    QTRY_VERIFY(button(u"Start"_s) && label(u"Stopped"_s));
    world->files.executables.clear();
    click(button(u"Start"_s));
    QTRY_VERIFY(label(u"Error: cloudflared not found at /opt/tools/cloudflared"_s));
    QVERIFY(button(u"Start"_s));
}

void TestTunnelsSettings::dotsFollowTheStates()
{
    const QUuid id = add({u"a"_s, u"b"_s})[1].id;
    show();
    const QRect row = list()->visualRect(list()->model()->index(1, 0));
    const auto dot = [&] {
        return list()->viewport()->grab().toImage().pixelColor(row.left() + 10, row.center().y());
    };
    QCOMPARE(dot().saturation(), 0);
    QVERIFY(dot() != list()->palette().color(QPalette::Base));
    manager->start(id);
    QTRY_COMPARE(dot(), SymbolDrawing::color(ColorRole::Orange, list()->palette()));
    world->launcher.last().write("Registered tunnel connection connIndex=0\n");
    QTRY_COMPARE(dot(), SymbolDrawing::color(ColorRole::Green, list()->palette()));
    world->launcher.last().end(1);
    QTRY_COMPARE(dot(), SymbolDrawing::color(ColorRole::Red, list()->palette()));
}

void TestTunnelsSettings::aStatePaintsOneRow()
{
    QStringList names;
    for (int i = 0; i < 500; ++i)
        names += QString::number(i);
    const QList<TunnelConfig> tunnels = add(names);
    show();
    QVERIFY(QTest::qWaitForWindowExposed(view.get()));
    QCoreApplication::processEvents();
    auto *watch = new PaintWatch(list()->viewport());
    manager->start(tunnels[3].id);
    QTRY_VERIFY(!watch->painted.isEmpty());
    QCOMPARE(watch->painted.boundingRect(), list()->visualRect(list()->model()->index(3, 0)));
    watch->painted = {};
    manager->start(tunnels[499].id); // out of sight
    manager->stop(tunnels[3].id);
    QTRY_VERIFY(!watch->painted.isEmpty());
    QCOMPARE(watch->painted.boundingRect(), list()->visualRect(list()->model()->index(3, 0)));
}

void TestTunnelsSettings::restsWhileHidden()
{
    const QList<TunnelConfig> tunnels = add({u"a"_s, u"b"_s});
    show();
    clickRow(1);
    view->hide();
    manager->remove(tunnels[0].id);
    manager->start(tunnels[1].id);
    QCoreApplication::processEvents();
    QCOMPARE(list()->model()->rowCount(), 2);
    show();
    QCOMPARE(list()->model()->rowCount(), 1);
    QCOMPARE(list()->selectionModel()->selectedIndexes().first().row(), 0);
    QVERIFY(button(u"Stop"_s));
    view->hide();
    manager->remove(tunnels[1].id);
    show();
    QVERIFY(label(u"New Tunnel"_s));
}

void TestTunnelsSettings::reordersByKeyboard()
{
    add({u"a"_s, u"b"_s, u"c"_s});
    show();
    QCOMPARE(QApplication::focusWidget(), list());
    press(Qt::Key_Up, Qt::AltModifier); // is the first already
    press(Qt::Key_Down, Qt::AltModifier);
    QCOMPARE(names(), (QStringList{u"b"_s, u"a"_s, u"c"_s}));
    press(Qt::Key_Down, Qt::AltModifier);
    press(Qt::Key_Down, Qt::AltModifier);
    QCOMPARE(names(), (QStringList{u"b"_s, u"c"_s, u"a"_s}));
    press(Qt::Key_Up, Qt::AltModifier);
    QCOMPARE(names(), (QStringList{u"b"_s, u"a"_s, u"c"_s}));
    QCOMPARE(list()->selectionModel()->selectedIndexes().first().data(), u"a"_s);
    QCOMPARE(field(u"Name"_s)->text(), u"a"_s);
}

void TestTunnelsSettings::maskedTokenStaysInTheField()
{
    show();
    QLineEdit *token = field(u"Token"_s);
    token->setFocus();
    type(u"eyJsecret"_s);
    QApplication::clipboard()->setText(u"other"_s);
    QCOMPARE(token->echoMode(), QLineEdit::Password);
    for (const Qt::Key key : {Qt::Key_C, Qt::Key_X}) {
        token->selectAll();
        press(key, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), u"other"_s);
        QCOMPARE(token->text(), u"eyJsecret"_s);
    }
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(token);
    QVERIFY(!accessible->text(QAccessible::Value).contains(u"secret"_s));
}

void TestTunnelsSettings::maskedTokenIsNotAnnounced()
{
    add({u"a"_s});
    show();
    QLineEdit *token = field(u"Token"_s);
    QVERIFY(isRead(field(u"Name"_s)) && !isRead(token));
    QCOMPARE(accessibleName(token), u"Token"_s);
    QVERIFY(QAccessible::queryAccessibleInterface(token)->state().passwordEdit);
    click(button(u"Show"_s));
    QVERIFY(isRead(token));
    QVERIFY(!QAccessible::queryAccessibleInterface(token)->state().passwordEdit);
    token->setFocus();
    type(u"eyJ"_s);

    QList<bool> readWhenCleared;
    connect(token, &QLineEdit::textChanged, this, [&] { readWhenCleared += isRead(token); });
    click(button(u"Save"_s));
    QCOMPARE(readWhenCleared, QList{false});
    QVERIFY(isRead(token));
    token->disconnect(this);
    click(button(u"Hide"_s));
    QVERIFY(!isRead(token));
}

void TestTunnelsSettings::savedTokenIsGone()
{
    const QUuid id = add({u"a"_s}).first().id;
    show();
    QLineEdit *token = field(u"Token"_s);
    token->setFocus();
    click(button(u"Show"_s));
    token->setFocus();
    type(u"eyJ"_s);
    paste(u"second"_s);
    click(button(u"Save"_s));
    QCOMPARE(world->secrets.items[tunnelIdText(id)], QByteArray("eyJsecond"));
    token->setFocus();
    press(Qt::Key_Z, Qt::ControlModifier);
    QVERIFY(!token->isUndoAvailable() && !token->isRedoAvailable());
    QVERIFY(token->text().isEmpty());
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(token);
    QVERIFY(accessible->text(QAccessible::Value).isEmpty());
    QVERIFY(accessible->textInterface()->text(0, accessible->textInterface()->characterCount()).isEmpty());
}

void TestTunnelsSettings::inputIsNeverCut()
{
    show();
    const QString name = u"نفق\u202e "_s.repeated(2000) + u"\n"_s;
    const QString token = u"eyJ"_s + QString(100'000, u'x');
    field(u"Name"_s)->setFocus();
    paste(u"\t"_s + name + u" "_s);
    field(u"Token"_s)->setFocus();
    paste(u"sudo cloudflared\n  service install\r\n  '"_s + token + u"'\n"_s);
    press(Qt::Key_Return);
    QCOMPARE(names(), QStringList{name});
    QCOMPARE(world->secrets.items.first(), token.toLatin1());
    QCOMPARE(field(u"Name"_s)->text(), name);
    QVERIFY(view->minimumSizeHint().width() <= 720); // nothing makes the window wider
    click(button(u"Save"_s));
    QCOMPARE(names(), QStringList{name});
}

void TestTunnelsSettings::cutTextsHaveTooltips_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("isCut");

    QTest::newRow("fits") << u"a & b"_s << 1 << false;
    QTest::newRow("fits on two lines") << u"failed because"_s << 2 << false;
    QTest::newRow("words") << u"failed <b> "_s.repeated(20) << 2 << true;
    QTest::newRow("without blanks") << QString(200, u'm') << 1 << true;
    QTest::newRow("without blanks on two lines") << QString(200, u'm') << 2 << true;
}

void TestTunnelsSettings::cutTextsHaveTooltips()
{
    QFETCH(QString, text);
    QFETCH(int, lines);
    QFETCH(bool, isCut);
    ClampedLabel label(FontRole::Caption, ColorRole::None, lines);
    label.setText(text);
    label.resize(80, label.sizeHint().height());
    label.show();
    QHelpEvent event(QEvent::ToolTip, {}, label.mapToGlobal(QPoint()));
    QCoreApplication::sendEvent(&label, &event);
    const QString expected = isCut ? u"<div>"_s + text.toHtmlEscaped() + u"</div>"_s : QString();
    QTRY_COMPARE(QToolTip::text(), expected);
    QToolTip::hideText();
    QTRY_VERIFY(!QToolTip::isVisible());
}

void TestTunnelsSettings::savedNoteComesAndGoes()
{
    add({u"a"_s});
    show();
    QVERIFY(!label(u"Saved"_s));
    QElapsedTimer sinceSave;
    sinceSave.start();
    click(button(u"Save"_s));
    QVERIFY(label(u"Saved"_s));
    QTRY_VERIFY(!label(u"Saved"_s));
    QVERIFY2(sinceSave.elapsed() >= 1400, qPrintable(QString::number(sinceSave.elapsed())));
}

void TestTunnelsSettings::namesForAssistiveTechnology()
{
    const QUuid id = add({u"a & b"_s}).first().id;
    manager->start(id);
    show();
    for (const QString &title : {u"Name"_s, u"Hostname"_s, u"Token"_s})
        QCOMPARE(accessibleName(field(title)), title);
    for (const QString &title : {u"Add tunnel"_s, u"Delete the selected tunnel"_s, u"Show"_s, u"Save"_s,
                                 u"Stop"_s, u"Start this tunnel when the app opens"_s})
        QCOMPARE(accessibleName(button(title)), title);
    QCOMPARE(accessibleName(list()), u"Tunnels"_s);
    QAccessibleInterface *row = QAccessible::queryAccessibleInterface(list())->child(0);
    QCOMPARE(row->text(QAccessible::Name), u"a & b"_s);
    QCOMPARE(row->text(QAccessible::Description), u"Connecting…"_s);
}

void TestTunnelsSettings::largeFontFromTheStart_data()
{
    QTest::addColumn<qreal>("points");
    for (const int points : {12, 14, 16, 18, 24})
        QTest::addRow("%d points", points) << qreal(points);
}

void TestTunnelsSettings::largeFontFromTheStart()
{
    QFETCH(qreal, points);
    const auto restore = qScopeGuard([font = QApplication::font()] { QApplication::setFont(font); });
    QFont large = QApplication::font();
    large.setPointSizeF(points);
    QApplication::setFont(large);
    add({u"a"_s});
    QMainWindow window;
    window.setCentralWidget(view.get());
    const auto takeBack = qScopeGuard([&window] { window.takeCentralWidget(); });
    window.resize(640, 400);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const QAbstractButton *longest = button(u"Start this tunnel when the app opens"_s);
    QTRY_VERIFY(longest->width() >= longest->sizeHint().width());
    QVERIFY(label(u"Name"_s)->width() >= label(u"Name"_s)->sizeHint().width());
}

void TestTunnelsSettings::followsLanguageFontAndPalette()
{
    add({u"a"_s});
    show();
    field(u"Token"_s)->setFocus();
    type(u"x"_s);
    QLabel *explanation = labelThatBegins(u"Paste either"_s);
    QLabel *warning = labelThatBegins(u"This doesn't"_s);

    const QFont font = QApplication::font();
    QFont large = font;
    large.setPointSizeF(24);
    QApplication::setFont(large);
    QTRY_VERIFY(explanation->font().pointSizeF() > 15);
    QVERIFY(explanation->font().pointSizeF() < 24);
    QCOMPARE(field(u"Token"_s)->font().pointSizeF(), 24);
    QTRY_VERIFY(view->minimumWidth() > 640); // nothing of the form is cut off at the side
    QApplication::setFont(font);

    const QColor onLight = warning->palette().color(QPalette::WindowText);
    const QPalette palette = QApplication::palette();
    QPalette dark = palette;
    dark.setColor(QPalette::Window, QColor(0x20, 0x20, 0x20));
    dark.setColor(QPalette::WindowText, Qt::white);
    QApplication::setPalette(dark);
    QTRY_VERIFY(warning->palette().color(QPalette::WindowText) != onLight);
    QCOMPARE(warning->palette().color(QPalette::WindowText), SymbolDrawing::color(ColorRole::Orange, dark));
    QApplication::setPalette(palette);

    MarkingTranslator translator;
    QCoreApplication::installTranslator(&translator);
    QTRY_VERIFY(field(marked.arg(u"Name"_s)));
    for (const QLabel *text : editor()->findChildren<QLabel *>()) {
        const bool isOwn = text->text() == u"a"_s || text->text().isEmpty();
        QVERIFY2(isOwn || text->text().startsWith(u'‹'), qPrintable(text->text()));
    }
    for (const QAbstractButton *one : view->findChildren<QAbstractButton *>())
        QVERIFY2((one->text() + one->toolTip()).isEmpty() || (one->text() + one->toolTip()).startsWith(u'‹'),
                 qPrintable(one->text() + one->toolTip()));
    QCoreApplication::removeTranslator(&translator);
}

QTEST_MAIN(TestTunnelsSettings)
#include "tst_tunnelssettings.moc"
