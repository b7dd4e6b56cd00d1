// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AppFakes.h"
#include "Fakes.h"
#include "LogView.h"
#include "ShownWidgets.h"
#include "WindowPresenter.h"

#include <QApplication>
#include <QClipboard>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Gives a window the keyboard where the desktop can do that for windows that are there already.
class ActivatingApplication : public FakeApplication
{
public:
    using FakeApplication::FakeApplication;
    bool activate(QWindow &window) override
    {
        if (activatesShownWindows)
            window.requestActivate();
        return FakeApplication::activate(window) && activatesShownWindows;
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
        world = std::make_unique<FakeWorld>();
        manager = std::make_unique<TunnelManager>(world->services());
        journal.clear();
        application = std::make_unique<ActivatingApplication>(journal);
        presenter = std::make_unique<WindowPresenter>(*manager, *application);
        QGuiApplication::clipboard()->clear();
    }

    void cleanup()
    {
        presenter.reset();
        application.reset();
        manager.reset();
        world.reset();
    }

    void windowsAreMadeOnceAndKept()
    {
        showSettings();
        QMainWindow *window = &settings();
        QCOMPARE(window->windowTitle(), u"Morvanel Settings"_s);
        QCOMPARE(window->centralWidget()->size(), QSize(720, 460));
        window->move(10, 20);
        const QPoint moved = window->pos();
        window->close();
        QVERIFY(!window->isVisible());
        showSettings();
        QCOMPARE(&settings(), window);
        QCOMPARE(window->pos(), moved);
        presenter->showSettings();
        settings().showMinimized();
        showSettings();
        QVERIFY(!settings().isMinimized());
        showLogs();
        QCOMPARE(journal, Journal(5, u"activate window"_s));
        QCOMPARE(logs().windowTitle(), u"Tunnel Logs"_s);
        QCOMPARE(logs().centralWidget()->size(), QSize(820, 480));
        logs().resize(1, 1);
        QTRY_COMPARE(logs().centralWidget()->size(), QSize(560, 320));
    }

    void windowThatCannotBeRaisedIsShownAnew()
    {
        showSettings();
        showLogs();
        QVERIFY(!settings().isActiveWindow());
        application->activatesShownWindows = false;
        presenter->showSettings();
        QTRY_VERIFY(settings().isActiveWindow());
    }

    /// With a large font the content needs more than its size. By the time the window is on the screen it
    /// also has a frame.
    void windowsAreCentredAsTheyAre()
    {
        const QFont usual = QApplication::font();
        for (const int points : {usual.pointSize(), 30}) {
            presenter = std::make_unique<WindowPresenter>(*manager, *application);
            QFont font = usual;
            font.setPointSize(points);
            QApplication::setFont(font);
            showSettings();
            const QRect frame = settings().frameGeometry();
            QVERIFY(frame != settings().geometry());
            const QRect available = settings().screen()->availableGeometry();
            QRect centred = frame;
            centred.moveCenter(available.center());
            const QPoint expected(qMax(centred.x(), available.x()), qMax(centred.y(), available.y()));
            QCOMPARE(frame.topLeft(), expected);
        }
        QApplication::setFont(usual);
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
        QVERIFY(logs().isVisible());

        logs().close(); // but a click on a tunnel's notification is about that tunnel
        presenter->showLog(first);
        QCOMPARE(view->selection(), std::optional(first));
        QVERIFY(logs().isVisible());
    }

    void keysWorkInBothWindows()
    {
        showSettings();
        field(u"Name"_s)->setFocus();
        QTest::keyClick(field(u"Name"_s), Qt::Key_L, Qt::ControlModifier);
        QVERIFY(QTest::qWaitForWindowActive(&logs()));
        QTest::keyClick(&logs(), Qt::Key_Comma, Qt::ControlModifier);
        QVERIFY(QTest::qWaitForWindowActive(&settings()));
        QTest::keyClick(&settings(), Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(journal.last(), u"terminate"_s);
        QTest::keyClick(&settings(), Qt::Key_W, Qt::ControlModifier);
        QVERIFY(!settings().isVisible() && logs().isVisible());
        showLogs();
        QTest::keyClick(&logs(), Qt::Key_W, Qt::ControlModifier);
        QVERIFY(!logs().isVisible());
    }

    void editingFollowsTheFocus()
    {
        showSettings();
        QLineEdit *name = field(u"Name"_s);
        name->setFocus();
        QCOMPARE(enabledEditing(settings()), (QStringList{u"Paste"_s}));
        QTest::keyClicks(name, u"home"_s);
        QCOMPARE(enabledEditing(settings()), (QStringList{u"Undo"_s, u"Paste"_s, u"Select All"_s}));
        QTest::keyClick(name, Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(name->text(), QString());
        QCOMPARE(enabledEditing(settings()), (QStringList{u"Redo"_s, u"Paste"_s}));
        QTest::keyClick(name, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(name->text(), u"home"_s);

        action(settings(), u"Select All"_s)->trigger();
        action(settings(), u"Cut"_s)->trigger();
        QCOMPARE(name->text(), QString());
        QCOMPARE(QGuiApplication::clipboard()->text(), u"home"_s);
        settings().menuBar()->setFocus(); // as when the menu is opened by keyboard
        action(settings(), u"Paste"_s)->trigger();
        QCOMPARE(name->text(), u"home"_s);

        name->setReadOnly(true);
        field(u"Token"_s)->setFocus();
        QTest::keyClicks(field(u"Token"_s), u"secret"_s);
        field(u"Token"_s)->selectAll(); // and hidden text is not given away
        QCOMPARE(enabledEditing(settings()), (QStringList{u"Undo"_s, u"Paste"_s, u"Select All"_s}));
        action(settings(), u"Copy"_s)->trigger();
        QCOMPARE(QGuiApplication::clipboard()->text(), u"home"_s);
        name->setFocus();
        QCOMPARE(enabledEditing(settings()), (QStringList{u"Select All"_s}));
    }

    void editsTheLog()
    {
        world->connect(*manager, FakeWorld::addTunnel(*manager, u"a"_s).id);
        showLogs();
        auto *log = logs().findChild<QPlainTextEdit *>();
        QVERIFY(log);
        log->setFocus();
        QCOMPARE(enabledEditing(logs()), (QStringList{u"Select All"_s}));
        QTest::keyClick(log, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(enabledEditing(logs()), (QStringList{u"Copy"_s, u"Select All"_s}));
        action(logs(), u"Copy"_s)->trigger();
        QVERIFY(QGuiApplication::clipboard()->text().startsWith(u"\u25B6\uFE0E Starting: "));

        showSettings(); // the other window's menu goes on to be about its own fields
        field(u"Token"_s)->setFocus();
        QCOMPARE(enabledEditing(logs()), (QStringList{u"Copy"_s, u"Select All"_s}));
        QCOMPARE(enabledEditing(settings()), (QStringList{u"Paste"_s}));
    }

    void windowMenuListsTheOpenWindows()
    {
        showSettings();
        auto *menu = qobject_cast<QMenu *>(action(settings(), u"Tunnel Logs"_s)->parent());
        const auto listed = [menu] {
            Q_EMIT menu->aboutToShow();
            QStringList titles;
            const QList<QAction *> actions = menu->actions();
            for (qsizetype i = 4; i < actions.size(); ++i)
                titles += actions[i]->isSeparator()
                              ? u"-"_s
                              : (actions[i]->isChecked() ? u"*"_s : QString()) + actions[i]->text();
            return titles;
        };
        QCOMPARE(listed(), (QStringList{u"-"_s, u"*Morvanel Settings"_s}));
        showLogs();
        QCOMPARE(listed(), (QStringList{u"-"_s, u"*Morvanel Settings"_s, u"Tunnel Logs"_s}));
        QVERIFY(QTest::qWaitForWindowActive(&logs()));
        menu->actions()[5]->trigger();
        QVERIFY(QTest::qWaitForWindowActive(&settings()));
        logs().close();
        QCOMPARE(listed(), (QStringList{u"-"_s, u"*Morvanel Settings"_s}));
    }

    void whatWasHiddenComesBackTogether()
    {
        showSettings();
        showLogs();
        settings().close(); // was not on the screen, and stays away
        action(logs(), u"About Morvanel"_s)->trigger();
        QPointer about = logs().findChild<QMessageBox *>();
        QVERIFY(QTest::qWaitForWindowActive(about));
        QTest::keyClick(about, Qt::Key_H, Qt::ControlModifier);
        QVERIFY(!logs().isVisible() && !about->isVisible());
        showLogs();
        QVERIFY(logs().isVisible() && about->isVisible() && !settings().isVisible());
        about->close();
        showSettings();
        QTest::keyClick(&settings(), Qt::Key_H, Qt::ControlModifier);
        QVERIFY(!settings().isVisible() && !logs().isVisible());
        showSettings();
        QVERIFY(settings().isVisible() && logs().isVisible());
        logs().close();
        showSettings();
        QVERIFY(!logs().isVisible());
    }

    void aboutSaysWhatItIs()
    {
        QCoreApplication::setApplicationVersion(u"1.2.3"_s);
        showSettings();
        action(settings(), u"About Morvanel"_s)->trigger();
        auto *about = settings().findChild<QMessageBox *>();
        QVERIFY(about && QTest::qWaitForWindowActive(about));
        QVERIFY(!about->iconPixmap().isNull());
        const QString text = about->text() + about->informativeText();
        QVERIFY(text.contains(u"Morvanel 1.2.3") && text.contains(u"MIT") && text.contains(u"tunnels"));
        action(settings(), u"About Morvanel"_s)->trigger();
        QCOMPARE(settings().findChildren<QMessageBox *>().size(), 1);
        QTest::keyClick(about, Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(journal.last(), u"terminate"_s);
        QTest::keyClick(about, Qt::Key_L, Qt::ControlModifier);
        QVERIFY(QTest::qWaitForWindowActive(&logs()));
        about->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(about));
        QTest::keyClick(about, Qt::Key_W, Qt::ControlModifier);
        QTRY_VERIFY(!settings().findChild<QMessageBox *>());
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

    static QAction *action(const QMainWindow &window, const QString &title)
    {
        const QList<QMenu *> menus = window.menuBar()->findChildren<QMenu *>();
        for (QMenu *menu : menus) {
            for (QAction *action : menu->actions()) {
                if (action->text() == title)
                    return action;
            }
        }
        return nullptr;
    }

    static QStringList enabledEditing(const QMainWindow &window)
    {
        QStringList enabled;
        for (const QString &title :
             {u"Undo"_s, u"Redo"_s, u"Cut"_s, u"Copy"_s, u"Paste"_s, u"Select All"_s}) {
            if (action(window, title)->isEnabled())
                enabled += title;
        }
        return enabled;
    }

    std::unique_ptr<FakeWorld> world;
    std::unique_ptr<TunnelManager> manager;
    Journal journal;
    std::unique_ptr<ActivatingApplication> application;
    std::unique_ptr<WindowPresenter> presenter;
};

QTEST_MAIN(TestWindows)
#include "tst_windows.moc"
