// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "SettingsView.h"
#include "ShownWidgets.h"

#include <QApplication>
#include <QListView>
#include <QTest>
#include <QTimer>
#include <QWindow>

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
        const QRect line(rect(2).left(), rect(2).bottom(), rect(2).width(), 1);
        // The drag runs an event loop of its own: what the hand does then comes from a timer.
        int step = 0;
        bool showsLine = false;
        QWindowList pictures; ///< of what is dragged
        QTimer hand;
        connect(&hand, &QTimer::timeout, this, [&] {
            if (++step < 10)
                return QTest::mouseMove(window, to + QPoint(step, 0));
            hand.stop();
            showsLine = ShownWidgets::hasInk(*viewport, line.adjusted(0, -2, 0, 2));
            pictures = QGuiApplication::allWindows();
            pictures.removeIf([&](const QWindow *one) { return one == window || !one->isVisible(); });
            for (const QWindow *picture : std::as_const(pictures))
                showsLine = showsLine &&
                            !picture->geometry().intersects(line.translated(viewport->mapToGlobal(QPoint())));
            QTest::mouseRelease(window, Qt::LeftButton, {}, to);
        });
        hand.start(10);
        QTest::mousePress(window, Qt::LeftButton, {}, from);
        for (const int distance : {1, 2})
            QTest::mouseMove(window, from + QPoint(0, distance * QApplication::startDragDistance()));
        QTRY_COMPARE(step, 10);

        QVERIFY(showsLine && !pictures.isEmpty());
        const auto nameAt = [&](int row) { return list->model()->index(row, 0).data().toString(); };
        QTRY_COMPARE(nameAt(0) + nameAt(1) + nameAt(2) + nameAt(3), u"bca"_s);
        QCOMPARE(manager.tunnels().last().name, u"a"_s);
        QCOMPARE(list->selectionModel()->selectedIndexes().first().data(), u"a"_s);
        QCOMPARE(ShownWidgets::field(view, u"Name"_s)->text(), u"a"_s);
    }
};

QTEST_MAIN(TestTunnelsDrag)
#include "tst_tunnelsdrag.moc"
