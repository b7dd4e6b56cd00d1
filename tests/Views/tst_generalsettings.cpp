// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "SettingsView.h"
#include "ShownWidgets.h"

#include <QApplication>
#include <QFileDialog>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

const auto found = u"cloudflared found"_s;
const auto notFound = u"cloudflared not found. Install it with `brew install cloudflared`."_s;

} // namespace

class TestGeneralSettings : public QObject
{
    Q_OBJECT

    std::optional<FakeWorld> world;
    std::optional<TunnelManager> manager;
    std::optional<SettingsView> view;
    QTabWidget *tabs = nullptr;
    QLineEdit *path = nullptr;

    QLabel *label(const QString &text) const { return ShownWidgets::find<QLabel>(*view, text); }
    QAbstractButton *button(const QString &text) const
    {
        return ShownWidgets::find<QAbstractButton>(*view, text);
    }
    static void click(QAbstractButton *button)
    {
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
    }

private Q_SLOTS:
    void init()
    {
        view.reset();
        manager.reset();
        world.emplace();
        manager.emplace(world->services());
        view.emplace(*manager);
        tabs = view->findChild<QTabWidget *>();
        tabs->setCurrentIndex(1);
        view->show();
        QVERIFY(QTest::qWaitForWindowActive(&*view));
        path = ShownWidgets::field(*view, u"cloudflared path"_s);
    }

    void clickOnTheTabLeavesThePathAlone()
    {
        QCOMPARE((QStringList{tabs->tabText(0), tabs->tabText(1)}), (QStringList{u"Tunnel"_s, u"General"_s}));
        QVERIFY(!tabs->tabIcon(0).isNull() && !tabs->tabIcon(1).isNull());
        QCOMPARE(view->minimumSize(), QSize(640, 400));
        QVERIFY(ShownWidgets::areClear(*view));
        tabs->setCurrentIndex(0);
        tabs->currentWidget()->setFocus();
        QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, tabs->tabBar()->tabRect(1).center());
        QCOMPARE(tabs->currentIndex(), 1);
        QTest::keyClicks(QApplication::focusWidget(), u"x"_s);
        QCOMPARE(manager->cloudflaredPath(), world->cloudflaredPath);
    }

    void pathIsWrittenAsItIsTyped()
    {
        QVERIFY(path->text() == world->cloudflaredPath && label(found));
        path->selectAll();
        QTest::keyClick(path, Qt::Key_Delete);
        QCOMPARE(manager->cloudflaredPath(), QString());
        QTRY_VERIFY(label(notFound));
        QTest::keyClicks(path, world->cloudflaredPath);
        QCOMPARE(world->preferences.string(u"cloudflaredPath"_s), world->cloudflaredPath);
        QTRY_VERIFY(label(found));
        QTest::keyClicks(path, u" "_s);
        QTRY_VERIFY(label(notFound));
        QTest::keyClick(path, Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(manager->cloudflaredPath() != world->cloudflaredPath + u' ');
        QCOMPARE(manager->cloudflaredPath(), path->text());
    }

    void pathFollowsTheManager()
    {
        const QString odd = world->folder.filePath(u"~x\n"_s);
        manager->setCloudflaredPath(odd);
        QTRY_COMPARE(path->text(), odd);
        QVERIFY(label(notFound));
        QCOMPARE(manager->cloudflaredPath(), odd);
        FakeWorld::install(odd); // in the meantime
        QWidget other;
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        view->activateWindow();
        QTRY_VERIFY(label(found));
        click(button(u"Detect"_s));
        QTRY_COMPARE(path->text(), TunnelManager::detectCloudflared().value_or(odd));
    }

    void browses()
    {
        const QString link = world->folder.filePath(u"link"_s);
        QVERIFY(QFile::link(u"/bin/true"_s, link));
        for (const bool isAccepted : {false, true}) {
            QTimer::singleShot(10, qApp, [&] { // the click returns when the dialog is done
                auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
                QVERIFY(u"/opt/homebrew/bin"_s.startsWith(dialog->directory().path()));
                QCOMPARE(dialog->fileMode(), QFileDialog::ExistingFile);
                dialog->findChild<QLineEdit *>()->setText(link);
                static_cast<QDialog *>(dialog)->done(isAccepted);
            });
            click(button(u"Browse…"_s));
            QCOMPARE(manager->cloudflaredPath(), isAccepted ? link : world->cloudflaredPath);
            QTRY_COMPARE(path->text(), manager->cloudflaredPath());
        }
    }

    void showsInDock()
    {
        QAbstractButton *check = button(u"Show in the Dock and ⌘Tab"_s);
        click(check);
        QCOMPARE(world->preferences.boolean(u"showsInDock"_s), false);
        manager->setShowsInDock(true);
        QTRY_VERIFY(check->isChecked());
    }

    void opensAtLogin()
    {
        world->loginItem.refusal = u"<b>The folder & all</b> is read-only"_s;
        QAbstractButton *check = button(u"Open Morvanel at login"_s);
        click(check);
        QVERIFY(!check->isChecked());
        QCOMPARE(label(world->loginItem.refusal)->textFormat(), Qt::PlainText);
        world->loginItem.current = LoginItemStatus::Enabled; // elsewhere
        tabs->setCurrentIndex(0);
        tabs->setCurrentIndex(1);
        QVERIFY(check->isChecked());
        QCOMPARE(world->loginItem.requests, 1);
        const QString message = std::exchange(world->loginItem.refusal, {});
        QVERIFY(label(message));
        click(check);
        QCOMPARE(world->loginItem.current, LoginItemStatus::NotRegistered);
        QVERIFY(!check->isChecked() && !label(message));
    }
};

QTEST_MAIN(TestGeneralSettings)
#include "tst_generalsettings.moc"
