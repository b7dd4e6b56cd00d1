// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "SettingsView.h"
#include "TunnelEditor.h"

#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include <algorithm>

using namespace Qt::StringLiterals;

/// Dragging needs a display that knows it.
class TestTunnelsDrag : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reorders_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("before"); // the row above whose upper edge the mouse is released
        QTest::addColumn<QString>("order");

        QTest::newRow("last to the top") << 2 << 0 << u"cab"_s;
        QTest::newRow("first to the end") << 0 << 3 << u"bca"_s;
        QTest::newRow("down by one") << 0 << 2 << u"bac"_s;
        QTest::newRow("where it was") << 1 << 2 << u"abc"_s;
    }

    void reorders()
    {
        QFETCH(int, row);
        QFETCH(int, before);
        QFETCH(QString, order);
        FakeWorld world;
        TunnelManager manager(world.services());
        for (const QString &name : {u"a"_s, u"b"_s, u"c"_s})
            FakeWorld::addTunnel(manager, name);
        SettingsView view(manager);
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));

        auto *list = view.findChild<QListView *>();
        QWidget *viewport = list->viewport();
        QWindow *window = view.windowHandle();
        const auto rect = [&](int r) { return list->visualRect(list->model()->index(r, 0)); };
        const QPoint from = viewport->mapTo(&view, rect(row).center());
        const QPoint edge = before < 3 ? rect(before).topLeft() + QPoint(0, 1) : rect(2).bottomLeft();
        const QPoint to = viewport->mapTo(&view, edge + QPoint(30, 0));
        QTest::mousePress(window, Qt::LeftButton, {}, from);
        const QImage resting = viewport->grab().toImage();
        // The drag runs an event loop of its own: what the hand does then comes from a timer.
        QImage dragging;
        bool isLineFree = true;
        const QRect line(view.mapToGlobal(to) - QPoint(0, 12), QSize(100, 24));
        const auto hidesLine = [&](const QWindow *one) {
            return one != window && one->isVisible() && one->geometry().intersects(line);
        };
        int step = 0;
        QTimer hand;
        connect(&hand, &QTimer::timeout, this, [&] {
            ++step;
            if (step < 10) {
                QTest::mouseMove(window, to + QPoint(step, 0));
                return;
            }
            hand.stop();
            dragging = viewport->grab().toImage();
            const QWindowList windows = QGuiApplication::allWindows();
            QVERIFY(windows.size() > 1); // the picture of what is dragged
            isLineFree = std::none_of(windows.begin(), windows.end(), hidesLine);
            QTest::mouseRelease(window, Qt::LeftButton, {}, to);
        });
        hand.start(10);
        for (const int distance : {1, 2})
            QTest::mouseMove(window, from + QPoint(0, distance * QApplication::startDragDistance()));
        QTRY_COMPARE(step, 10);

        const auto nameAt = [&](int r) { return manager.tunnels()[r].name; };
        QTRY_COMPARE(nameAt(0) + nameAt(1) + nameAt(2), order);
        QVERIFY(dragging != resting); // a line shows where the row goes
        QVERIFY(isLineFree);
        QCOMPARE(list->model()->rowCount(), 3);
        const QString dragged = list->selectionModel()->selectedIndexes().first().data().toString();
        QCOMPARE(dragged, u"abc"_s.sliced(row, 1));
        const auto editors = view.findChildren<TunnelEditor *>();
        QCOMPARE(editors.last()->findChild<QLineEdit *>()->text(), dragged);
    }
};

QTEST_MAIN(TestTunnelsDrag)
#include "tst_tunnelsdrag.moc"
