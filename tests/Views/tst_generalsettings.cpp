// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "GeneralSettingsView.h"
#include "SettingsView.h"
#include "ShownWidgets.h"

#include <QCheckBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const auto found = u"cloudflared found"_s;
const auto notFound = u"cloudflared not found. Install it with `brew install cloudflared`."_s;

} // namespace

class TestGeneralSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tabs();
    void pathIsWrittenAsItIsTyped();
    void pathFollowsTheManager();
    void browses_data();
    void browses();
    void findsTheNearestFolder();
    void detects();
    void showsInDock();
    void refusedLoginItem();
    void loginItemChangedElsewhere();

private:
    template <typename T> T *titled(const QString &text) const
    {
        return ShownWidgets::find<T>(*general, text);
    }
    QLineEdit *path() const { return general->findChild<QLineEdit *>(); }
    void click(QAbstractButton *button)
    {
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
    }

    std::unique_ptr<FakeWorld> world;
    std::unique_ptr<TunnelManager> manager;
    std::unique_ptr<SettingsView> view;
    QTabWidget *tabWidget = nullptr;
    GeneralSettingsView *general = nullptr;
};

void TestGeneralSettings::init()
{
    world = std::make_unique<FakeWorld>();
    manager = std::make_unique<TunnelManager>(world->services());
    view = std::make_unique<SettingsView>(*manager);
    tabWidget = view->findChild<QTabWidget *>();
    general = view->findChild<GeneralSettingsView *>();
    tabWidget->setCurrentIndex(1);
    view->show();
    QVERIFY(QTest::qWaitForWindowActive(view.get()));
}

void TestGeneralSettings::cleanup()
{
    view.reset();
    manager.reset();
}

void TestGeneralSettings::tabs()
{
    SettingsView fresh(*manager);
    const auto *freshTabs = fresh.findChild<QTabWidget *>();
    QCOMPARE(freshTabs->currentIndex(), 0);
    QCOMPARE(freshTabs->count(), 2);
    QCOMPARE(freshTabs->tabText(0), u"Tunnel"_s);
    QCOMPARE(freshTabs->tabText(1), u"General"_s);
    QVERIFY(!freshTabs->tabIcon(0).isNull() && !freshTabs->tabIcon(1).isNull());
    fresh.show();
    QVERIFY(QTest::qWaitForWindowExposed(&fresh));
    QCOMPARE(fresh.minimumSize(), QSize(640, 400));
}

void TestGeneralSettings::pathIsWrittenAsItIsTyped()
{
    QCOMPARE(path()->text(), FakeWorld::cloudflaredPath);
    QVERIFY(titled<QLabel>(found));
    path()->setFocus();
    path()->selectAll();
    QTest::keyClick(path(), Qt::Key_Delete);
    QCOMPARE(manager->cloudflaredPath(), QString());
    QTRY_VERIFY(titled<QLabel>(notFound));
    world->files.executables = {u"/b"_s};
    QTest::keyClicks(path(), u"/b"_s);
    QCOMPARE(world->preferences.string(u"cloudflaredPath"_s), u"/b"_s);
    QTRY_VERIFY(titled<QLabel>(found));
    QTest::keyClicks(path(), u" "_s);
    QTRY_VERIFY(titled<QLabel>(notFound));
    QTest::keyClick(path(), Qt::Key_Z, Qt::ControlModifier);
    QVERIFY(manager->cloudflaredPath() != u"/b "_s);
    QCOMPARE(manager->cloudflaredPath(), path()->text());
}

void TestGeneralSettings::pathFollowsTheManager()
{
    manager->setCloudflaredPath(u"~/x\n"_s);
    QTRY_COMPARE(path()->text(), u"~/x\n"_s);
    QVERIFY(titled<QLabel>(notFound));
    QCOMPARE(manager->cloudflaredPath(), u"~/x\n"_s);
    world->files.executables = {u"~/x\n"_s}; // installed in the meantime
    QWidget other;
    other.show();
    QVERIFY(QTest::qWaitForWindowActive(&other));
    view->activateWindow();
    QTRY_VERIFY(titled<QLabel>(found));
}

void TestGeneralSettings::browses_data()
{
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("path");
    QTest::newRow("a file") << u"/usr/bin/true"_s << u"/usr/bin/true"_s;
    QTest::newRow("cancelled") << QString() << FakeWorld::cloudflaredPath;
}

void TestGeneralSettings::browses()
{
    QFETCH(QString, chosen);
    QFETCH(QString, path);
    QStringList folders;
    general->setFileChooser([&](QWidget *, const QString &folder) {
        folders += folder;
        return chosen;
    });
    const int writes = world->preferences.writes;
    click(titled<QPushButton>(u"Browse…"_s));
    QCOMPARE(folders, QStringList{u"/opt/homebrew/bin"_s});
    QCOMPARE(world->preferences.writes - writes, chosen.isEmpty() ? 0 : 1);
    QCOMPARE(manager->cloudflaredPath(), path);
    QTRY_COMPARE(this->path()->text(), path);
    QTRY_VERIFY(titled<QLabel>(chosen.isEmpty() ? found : notFound));
}

void TestGeneralSettings::findsTheNearestFolder()
{
    const QTemporaryDir folder;
    QCOMPARE(nearestExistingFolder(folder.path()), folder.path());
    QCOMPARE(nearestExistingFolder(folder.filePath(u"a/b"_s)), folder.path());
    QCOMPARE(nearestExistingFolder(u"/no such folder/bin"_s), u"/"_s);
}

void TestGeneralSettings::detects()
{
    click(titled<QPushButton>(u"Detect"_s));
    QCOMPARE(manager->cloudflaredPath(), FakeWorld::cloudflaredPath);
    world->files.executables = {u"/usr/bin/cloudflared"_s};
    click(titled<QPushButton>(u"Detect"_s));
    QTRY_COMPARE(path()->text(), u"/usr/bin/cloudflared"_s);
    QVERIFY(titled<QLabel>(found));
}

void TestGeneralSettings::showsInDock()
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

void TestGeneralSettings::refusedLoginItem()
{
    world->loginItem.refusal = u"<b>The folder & all</b> is read-only"_s;
    auto *check = titled<QCheckBox>(u"Open Morvanel at login"_s);
    click(check);
    QVERIFY(!check->isChecked());
    QVERIFY(titled<QLabel>(world->loginItem.refusal));
    QCOMPARE(titled<QLabel>(world->loginItem.refusal)->textFormat(), Qt::PlainText);
    QCOMPARE(world->loginItem.requests, 1);
    tabWidget->setCurrentIndex(0);
    tabWidget->setCurrentIndex(1);
    QVERIFY(titled<QLabel>(world->loginItem.refusal));
    const QString message = std::exchange(world->loginItem.refusal, {});
    click(check);
    QVERIFY(check->isChecked());
    QVERIFY(!titled<QLabel>(message));
}

void TestGeneralSettings::loginItemChangedElsewhere()
{
    auto *check = titled<QCheckBox>(u"Open Morvanel at login"_s);
    world->loginItem.current = LoginItemStatus::Enabled;
    tabWidget->setCurrentIndex(0);
    tabWidget->setCurrentIndex(1);
    QVERIFY(check->isChecked());
    world->loginItem.current = LoginItemStatus::RequiresApproval;
    view->hide();
    view->show();
    QVERIFY(!check->isChecked());
    QCOMPARE(world->loginItem.requests, 0);
    click(check);
    QCOMPARE(world->loginItem.requests, 1);
}

QTEST_MAIN(TestGeneralSettings)
#include "tst_generalsettings.moc"
