// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AppFakes.h"
#include "Fakes.h"
#include "LogView.h"
#include "Pictures.h"
#include "ShownWidgets.h"
#include "WindowPresenter.h"

#include <QApplication>
#include <QClipboard>
#include <QListView>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Gives a window the keyboard where the desktop can do that for windows that are there already.
class ActivatingDesktop : public FakeDesktop
{
public:
    bool activate(QWindow &window) override
    {
        if (activatesShownWindows)
            window.requestActivate();
        return FakeDesktop::activate(window) && activatesShownWindows;
    }

    bool activatesShownWindows = true;
};

} // namespace

class TestWindows : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        presenter.reset();
        manager.reset();
        world.emplace();
        manager.emplace(world->services());
        desktop.emplace();
        presenter.emplace(*manager, *desktop);
        QGuiApplication::clipboard()->clear();
    }

    void windowsAreMadeOnceAndKept()
    {
        showSettings();
        QMainWindow *window = &settings();
        QCOMPARE(window->centralWidget()->size(), QSize(720, 460));
        window->move(10, 20);
        window->close();
        QVERIFY(!window->isVisible());
        showSettings();
        QCOMPARE(&settings(), window);
        QCOMPARE(window->pos(), QPoint(10, 20));
        showSettings();
        showLogs();
        QCOMPARE(desktop->asked(), QStringList(4, u"activate window"_s).join(u", "_s));
        QCOMPARE(logs().centralWidget()->size(), QSize(820, 480));
        logs().resize(1, 1);
        QTRY_COMPARE(logs().centralWidget()->size(), QSize(560, 320));
    }

    void windowThatCannotBeRaisedIsShownAnew()
    {
        showSettings();
        showLogs();
        QWidget other;
        other.show();
        const QSignalSpy raised(settings().windowHandle(), &QWindow::visibleChanged);
        const QSignalSpy declined(logs().windowHandle(), &QWindow::visibleChanged);
        presenter->showSettings();
        desktop->activatesShownWindows = false;
        presenter->showLogs(std::nullopt);
        other.activateWindow(); // as if it had kept the keyboard
        QTRY_COMPARE(declined.size(), 2);
        QCOMPARE(raised.size(), 0); // though its time was up first
    }

    /// With a large font the content needs more than its size. By the time the window is on the screen it
    /// also has a frame.
    void windowsAreCentredAsTheyAre()
    {
        const QFont usual = QApplication::font();
        QFont large = usual;
        large.setPointSize(30);
        QApplication::setFont(large);
        QCursor::setPos(-9999, -9999); // as where the pointer's screen has been taken away
        showSettings();
        QApplication::setFont(usual);
        const QRect frame = settings().frameGeometry();
        for (const auto *form : settings().findChildren<QScrollArea *>())
            QVERIFY(!form->isVisible() || form->verticalScrollBar()->maximum() == 0);
        QVERIFY(frame != settings().geometry());
        QRect centred = frame;
        centred.moveCenter(settings().screen()->availableGeometry().center());
        QCOMPARE(frame.topLeft(), QPoint(qMax(centred.x(), 0), qMax(centred.y(), 0)));
    }

    void logsSelectionCountsOnce()
    {
        const QUuid first = FakeWorld::addTunnel(*manager, u"a"_s).id;
        const QUuid second = FakeWorld::addTunnel(*manager, u"b"_s).id;
        presenter->showLogs(second);
        const auto *view = logs().findChild<LogView *>();
        QCOMPARE(view->selection(), std::optional(second));
        logs().close();
        presenter->showLogs(first);
        QCOMPARE(view->selection(), std::optional(second));
        presenter->showLog(first); // but a click on a tunnel's notification is about that tunnel
        QCOMPARE(view->selection(), std::optional(first));
    }

    void settingsOpenAtWhatIsWanted()
    {
        FakeWorld::addTunnel(*manager, u"a"_s);
        const TunnelConfig tunnel = FakeWorld::addTunnel(*manager, u"b"_s);
        presenter->showGeneral();
        const auto *tabs = settings().findChild<QTabWidget *>();
        QCOMPARE(tabs->tabText(tabs->currentIndex()), u"General"_s);
        for (const bool isShown : {false, true}) {
            settings().setVisible(isShown);
            presenter->showTunnel(tunnel.id);
            QCOMPARE(tabs->tabText(tabs->currentIndex()), u"Tunnel"_s);
            auto *list = settings().findChild<QListView *>();
            QCOMPARE(list->currentIndex().data().toString(), u"b"_s);
            list->setCurrentIndex(list->model()->index(0, 0));
            presenter->showGeneral();
        }
    }

    void menusOfferWhatCanBeDone()
    {
        showSettings();
        const QString windowMenu = u"Tunnel Logs Ctrl+L, Minimize Ctrl+M, Close Ctrl+W, "_s;
        QCOMPARE(menu(settings(), 0),
                 u"About Morvanel, Settings… Ctrl+,, Hide Morvanel Ctrl+H, Quit Morvanel Ctrl+Q"_s);
        QCOMPARE(menu(settings(), 2), windowMenu + u"xMorvanel Settings"_s);
        showLogs();
        QCOMPARE(menu(logs(), 2), windowMenu + u"Morvanel Settings, xTunnel Logs"_s);
        choose(logs(), u"Morvanel Settings"_s);
        QVERIFY(QTest::qWaitForWindowActive(&settings()));
        logs().close();
        QCOMPARE(menu(settings(), 2), windowMenu + u"xMorvanel Settings"_s);
    }

    void keysWorkInAllWindows()
    {
        const auto key = [](Qt::Key with) {
            return [with] { QTest::keyClick(QApplication::activeWindow(), with, Qt::ControlModifier); };
        };
        const auto settingsAgain = [this] { presenter->showSettings(); };
        const auto showAbout = [this] { choose(logs(), u"About Morvanel"_s); };
        NO_FAULT(Pictures::walk(
            {{settingsAgain, u"*Morvanel Settings"_s},
             {key(Qt::Key_L), u"Morvanel Settings, *Tunnel Logs"_s},
             {key(Qt::Key_Comma), u"*Morvanel Settings, Tunnel Logs"_s},
             {key(Qt::Key_H), QString()},
             {settingsAgain, u"*Morvanel Settings, Tunnel Logs"_s},
             {key(Qt::Key_Q), u"*Morvanel Settings, Tunnel Logs"_s},
             {key(Qt::Key_M), u"_Morvanel Settings, Tunnel Logs"_s},
             {settingsAgain, u"*Morvanel Settings, Tunnel Logs"_s},
             {key(Qt::Key_W), u"Tunnel Logs"_s},
             {showAbout, u"*About Morvanel, Tunnel Logs"_s},
             {key(Qt::Key_Q), u"*About Morvanel, Tunnel Logs"_s},
             {key(Qt::Key_H), QString()}, // what was not on the screen stays away when the rest comes back
             {[this] { showLogs(); }, u"About Morvanel, *Tunnel Logs"_s},
             {settingsAgain, u"About Morvanel, *Morvanel Settings, Tunnel Logs"_s},
             {key(Qt::Key_H), QString()},
             {settingsAgain, u"About Morvanel, *Morvanel Settings, Tunnel Logs"_s},
             {showAbout, u"*About Morvanel, Morvanel Settings, Tunnel Logs"_s},
             {key(Qt::Key_W), u"Morvanel Settings, Tunnel Logs"_s}},
            windows));
        QCOMPARE(desktop->asked().count(u"terminate"_s), 2); // by Ctrl+Q in two windows
    }

    void editingFollowsTheFocus()
    {
        showSettings();
        QLineEdit *name = field(u"Name"_s);
        name->setFocus();
        QTest::keyClicks(name, u"home"_s);
        const QString undo = u"Undo Ctrl+Z, "_s;
        const QString paste = u"Paste Ctrl+V"_s;
        const QString all = u", Select All Ctrl+A"_s;
        const auto choosing = [this](const QString &command) {
            return [this, command] {
                settings().menuBar()->setFocus(); // as when the menu is opened by keyboard
                choose(settings(), command);
            };
        };
        NO_FAULT(Pictures::walk(
            {{choosing(u"Undo"_s), u"[], Redo Ctrl+Shift+Z, "_s + paste},
             {choosing(u"Redo"_s), u"[home], "_s + undo + paste + all},
             {choosing(u"Select All"_s), u"[home], "_s + undo + u"Cut Ctrl+X, Copy Ctrl+C, "_s + paste + all},
             {choosing(u"Cut"_s), u"[], "_s + undo + paste},
             {choosing(u"Paste"_s), u"[home], "_s + undo + paste + all}},
            [&] { return u'[' + name->text() + u"], "_s + menu(settings(), 1); }));
        name->setReadOnly(true);
        field(u"Token"_s)->setFocus();
        QTest::keyClicks(field(u"Token"_s), u"secret"_s);
        field(u"Token"_s)->selectAll(); // and hidden text is not given away
        QCOMPARE(menu(settings(), 1), undo + paste + all);
        name->setFocus();
        QCOMPARE(menu(settings(), 1), u"Select All Ctrl+A"_s);
    }

    void editsTheLog()
    {
        world->connect(*manager, FakeWorld::addTunnel(*manager, u"a"_s).id);
        showLogs();
        QCOMPARE(menu(logs(), 1), u"Select All Ctrl+A"_s);
        choose(logs(), u"Select All"_s);
        choose(logs(), u"Copy"_s);
        QVERIFY(QGuiApplication::clipboard()->text().startsWith(u"\u25B6\uFE0E Starting: "));
        showSettings(); // the other window's menu goes on to be about its own fields
        field(u"Token"_s)->setFocus();
        QCOMPARE(menu(logs(), 1), u"Copy Ctrl+C, Select All Ctrl+A"_s);
        QCOMPARE(menu(settings(), 1), u"Paste Ctrl+V"_s);
    }

    void aboutSaysWhatItIs()
    {
        QCoreApplication::setApplicationVersion(u"1.2.3"_s);
        showSettings();
        choose(settings(), u"About Morvanel"_s);
        choose(settings(), u"About Morvanel"_s);
        QCOMPARE(settings().findChildren<QMessageBox *>().size(), 1);
        const auto *about = settings().findChild<QMessageBox *>();
        QVERIFY(!about->isModal() && !about->iconPixmap().isNull());
        const QString text = about->text() + about->informativeText();
        QVERIFY(text.contains(u"Morvanel 1.2.3") && text.contains(u"MIT") && text.contains(u"tunnels"));
    }

    void closingTheLastWindowEndsNothing()
    {
        showSettings();
        choose(settings(), u"About Morvanel"_s);
        QTimer::singleShot(0, qApp, &QApplication::closeAllWindows);
        QTimer::singleShot(100ms, qApp, [] { QApplication::exit(7); });
        QCOMPARE(QApplication::exec(), 7);
        QVERIFY(!settings().isVisible());
    }

private:
    QMainWindow &settings() const { return *presenter->settingsWindow(); }
    QMainWindow &logs() const { return *presenter->logsWindow(); }
    QLineEdit *field(const QString &label) const { return ShownWidgets::field(settings(), label); }

    void showSettings()
    {
        presenter->showSettings();
        QVERIFY(QTest::qWaitForWindowActive(&settings()));
    }

    void showLogs()
    {
        presenter->showLogs(std::nullopt);
        QVERIFY(QTest::qWaitForWindowActive(&logs()));
    }

    /// Returns the picture of the windows on the screen.
    static QString windows()
    {
        QMap<QString, QString> marked;
        for (const QWidget *one : QApplication::topLevelWidgets()) {
            const QString title = one->windowTitle();
            if (one->isVisible())
                marked[title] = one->isMinimized()                    ? u'_' + title
                                : one == QApplication::activeWindow() ? u'*' + title
                                                                      : title;
        }
        return QStringList(marked.values()).join(u", "_s);
    }

    static void choose(const QMainWindow &window, const QString &title)
    {
        for (QAction *action : window.menuBar()->findChildren<QAction *>()) {
            if (action->text() == title)
                return action->trigger();
        }
        QFAIL(qPrintable(u"no menu has an entry "_s + title));
    }

    /// Returns the entries of a menu that can be chosen, with their keys.
    static QString menu(const QMainWindow &window, int index)
    {
        QMenu *menu = window.menuBar()->actions()[index]->menu();
        if (index == 2)
            Q_EMIT menu->aboutToShow();
        QStringList entries;
        for (const QAction *one : menu->actions()) {
            if (one->isEnabled() && !one->isSeparator())
                entries +=
                    ((one->isChecked() ? u'x' : u' ') + one->text() + u' ' + one->shortcut().toString())
                        .trimmed();
        }
        return entries.join(u", "_s);
    }

    std::optional<FakeWorld> world;
    std::optional<TunnelManager> manager;
    std::optional<ActivatingDesktop> desktop;
    std::optional<WindowPresenter> presenter;
};

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
