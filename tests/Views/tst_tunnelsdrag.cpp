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
    void movesTheFirstToTheEnd()
    {
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
        const auto rect = [&](int row) { return list->visualRect(list->model()->index(row, 0)); };
        const QPoint from = viewport->mapTo(&view, rect(0).center());
        const QPoint to = viewport->mapTo(&view, rect(2).bottomLeft() + QPoint(30, 0));
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

        const auto nameAt = [&](int row) { return manager.tunnels()[row].name; };
        QTRY_COMPARE(nameAt(0) + nameAt(1) + nameAt(2), u"bca"_s);
        QVERIFY(dragging != resting); // a line shows where the row goes
        QVERIFY(isLineFree);
        QCOMPARE(list->model()->rowCount(), 3);
        QCOMPARE(list->selectionModel()->selectedIndexes().first().data(), u"a"_s);
        const auto editors = view.findChildren<TunnelEditor *>();
        QCOMPARE(editors.last()->findChild<QLineEdit *>()->text(), u"a"_s);
    }
};

QTEST_MAIN(TestTunnelsDrag)
#include "tst_tunnelsdrag.moc"
