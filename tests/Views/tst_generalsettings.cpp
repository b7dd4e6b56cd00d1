// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "SettingsView.h"
#include "ShownWidgets.h"

#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
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

    std::unique_ptr<FakeWorld> world;
    std::unique_ptr<TunnelManager> manager;
    std::unique_ptr<SettingsView> view;
    QTabWidget *tabs = nullptr;
    QLineEdit *path = nullptr;

    template <typename T> T *titled(const QString &text) const { return ShownWidgets::find<T>(*view, text); }
    static void click(QAbstractButton *button)
    {
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
    }

private Q_SLOTS:
    void init()
    {
        world = std::make_unique<FakeWorld>();
        manager = std::make_unique<TunnelManager>(world->services());
        view = std::make_unique<SettingsView>(*manager);
        tabs = view->findChild<QTabWidget *>();
        QCOMPARE(tabs->currentIndex(), 0);
        tabs->setCurrentIndex(1);
        view->show();
        QVERIFY(QTest::qWaitForWindowActive(view.get()));
        path = ShownWidgets::field(*view, u"cloudflared path"_s);
    }
    void cleanup()
    {
        view.reset();
        manager.reset();
    }

    void showsTwoTabs()
    {
        QCOMPARE(tabs->count(), 2);
        QCOMPARE(tabs->tabText(0), u"Tunnel"_s);
        QCOMPARE(tabs->tabText(1), u"General"_s);
        QVERIFY(!tabs->tabIcon(0).isNull() && !tabs->tabIcon(1).isNull());
        QCOMPARE(view->minimumSize(), QSize(640, 400));
        QVERIFY(ShownWidgets::areApart(*view));
    }

    void clickOnTheTabLeavesThePathAlone()
    {
        tabs->setCurrentIndex(0);
        tabs->currentWidget()->setFocus();
        const QTabBar *bar = tabs->tabBar();
        QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, bar->tabRect(1).center());
        QCOMPARE(tabs->currentIndex(), 1);
        QTest::keyClicks(QApplication::focusWidget(), u"x"_s);
        QCOMPARE(manager->cloudflaredPath(), world->cloudflaredPath);
    }

    void pathIsWrittenAsItIsTyped()
    {
        QCOMPARE(path->text(), world->cloudflaredPath);
        QVERIFY(titled<QLabel>(found));
        path->setFocus();
        path->selectAll();
        QTest::keyClick(path, Qt::Key_Delete);
        QCOMPARE(manager->cloudflaredPath(), QString());
        QTRY_VERIFY(titled<QLabel>(notFound));
        QTest::keyClicks(path, world->cloudflaredPath);
        QCOMPARE(world->preferences.string(u"cloudflaredPath"_s), world->cloudflaredPath);
        QTRY_VERIFY(titled<QLabel>(found));
        QTest::keyClicks(path, u" "_s);
        QTRY_VERIFY(titled<QLabel>(notFound));
        QTest::keyClick(path, Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(manager->cloudflaredPath() != world->cloudflaredPath + u' ');
        QCOMPARE(manager->cloudflaredPath(), path->text());
    }

    void pathFollowsTheManager()
    {
        const QString odd = world->folder.filePath(u"~x\n"_s);
        manager->setCloudflaredPath(odd);
        QTRY_COMPARE(path->text(), odd);
        QVERIFY(titled<QLabel>(notFound));
        QCOMPARE(manager->cloudflaredPath(), odd);
        FakeWorld::install(odd); // in the meantime
        QWidget other;
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        view->activateWindow();
        QTRY_VERIFY(titled<QLabel>(found));

        click(titled<QPushButton>(u"Detect"_s));
        QTRY_COMPARE(path->text(), TunnelManager::detectCloudflared().value_or(odd));
    }

    void browses()
    {
        const QTemporaryDir folder;
        const QString link = folder.filePath(u"cloudflared"_s);
        QVERIFY(QFile::link(u"/bin/true"_s, link));
        int dialogs = 0;
        QTimer user; // the click returns when the dialog is done
        connect(&user, &QTimer::timeout, this, [&] {
            auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            user.stop();
            QVERIFY(u"/opt/homebrew/bin"_s.startsWith(dialog->directory().path()));
            QCOMPARE(dialog->fileMode(), QFileDialog::ExistingFile);
            dialog->findChild<QLineEdit *>()->setText(link);
            static_cast<QDialog *>(dialog)->done(dialogs++ == 0 ? QDialog::Rejected : QDialog::Accepted);
        });
        for (const QString &chosen : {world->cloudflaredPath, link}) {
            user.start(10);
            click(titled<QPushButton>(u"Browse…"_s));
            QCOMPARE(manager->cloudflaredPath(), chosen);
            QTRY_COMPARE(path->text(), chosen);
        }
        QCOMPARE(dialogs, 2);
    }

    void showsInDock()
    {
        auto *check = titled<QCheckBox>(u"Show in the Dock and ⌘Tab"_s);
        QVERIFY(check->isChecked());
        click(check);
        QCOMPARE(world->preferences.boolean(u"showsInDock"_s), false);
        manager->setShowsInDock(true);
        QTRY_VERIFY(check->isChecked());
        QTest::keyClick(check, Qt::Key_Space);
        QVERIFY(!manager->showsInDock());
    }

    void opensAtLogin()
    {
        world->loginItem.refusal = u"<b>The folder & all</b> is read-only"_s;
        auto *check = titled<QCheckBox>(u"Open Morvanel at login"_s);
        click(check);
        QVERIFY(!check->isChecked());
        QCOMPARE(titled<QLabel>(world->loginItem.refusal)->textFormat(), Qt::PlainText);
        world->loginItem.current = LoginItemStatus::Enabled; // elsewhere
        tabs->setCurrentIndex(0);
        tabs->setCurrentIndex(1);
        QVERIFY(check->isChecked());
        QVERIFY(titled<QLabel>(world->loginItem.refusal));
        QCOMPARE(world->loginItem.requests, 1);
        const QString message = std::exchange(world->loginItem.refusal, {});
        click(check);
        QVERIFY(!check->isChecked());
        QVERIFY(!titled<QLabel>(message));
    }
};

QTEST_MAIN(TestGeneralSettings)
#include "tst_generalsettings.moc"
