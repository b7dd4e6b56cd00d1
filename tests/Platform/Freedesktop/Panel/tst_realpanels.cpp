// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopStatusItem.h"
#include "PanelTest.h"
#include "SymbolDrawing.h"

#include <QDir>
#include <QGuiApplication>
#include <QProcess>
#include <QScreen>
#include <QTest>

/// A panel along the upper edge with nothing but a notification area.
constexpr auto panelConfiguration = R"(<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array"><value type="int" value="1"/><property name="panel-1" type="empty">
    <property name="position" type="string" value="p=6;x=0;y=0"/>
    <property name="length" type="uint" value="100"/>
    <property name="size" type="uint" value="32"/>
    <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
  </property></property>
  <property name="plugins" type="empty"><property name="plugin-1" type="string" value="systray"/></property>
</channel>)";

constexpr QRect panelArea(0, 0, 1280, 33);
constexpr QRect menuArea(0, 34, 1280, 820);
constexpr QRect trayArea(0, 860, 1280, 40);

class TestRealPanels : public QObject
{
    Q_OBJECT

private:
    /// Returns a point of that colour, as it is drawn on any ground; {-1, -1} for none.
    static QPoint find(ColorRole role, const QRect &area)
    {
        const QColor color = SymbolDrawing::colorOnAnyGround(role);
        const QImage image = QGuiApplication::primaryScreen()->grabWindow(0).toImage();
        const auto isLike = [](int a, int b) { return std::abs(a - b) < 12; };
        for (int i = 0; i < area.width() * area.height(); ++i) {
            const QPoint point(area.left() + i % area.width(), area.top() + i / area.width());
            const QRgb pixel = image.pixel(point);
            if (isLike(qRed(pixel), color.red()) && isLike(qGreen(pixel), color.green()) &&
                isLike(qBlue(pixel), color.blue()))
                return point;
        }
        return {-1, -1};
    }
    static bool shows(ColorRole role, const QRect &area) { return find(role, area).x() >= 0; }
    static void click(QPoint at)
    {
        QProcess::execute(u"xdotool"_s, {u"mousemove"_s, QString::number(at.x()), QString::number(at.y()),
                                         u"click"_s, u"1"_s});
    }

    FreedesktopStatusItem m_item{QDBusConnection::sessionBus(), qEnvironmentVariable("XDG_RUNTIME_DIR"), {}};
    QStringList m_events;

private Q_SLOTS:
    void initTestCase()
    {
        const QString folder = QDir::homePath() + u"/.config/xfce4/xfconf/xfce-perchannel-xml"_s;
        QFile file(folder + u"/xfce4-panel.xml"_s);
        QVERIFY(QDir().mkpath(folder) && file.open(QIODevice::WriteOnly) &&
                file.write(panelConfiguration) > 0);
        m_item.setCallbacks({[this] { m_events += u"about to show"_s; },
                             [this](const MenuItem &chosen) { m_events += chosen.id; }});
        m_item.setMenu({Samples::connected(1), Samples::connected(2)});
    }

    // First of all: Qt decides at its tray's first use which kind of panel it speaks to.
    void oldTrayIsUsedUntilABetterPanelComes()
    {
        m_item.setContent(Samples::content(Samples::problem(), 0));
        QProcess tray;
        tray.start(u"trayer"_s, {u"--edge"_s, u"bottom"_s, u"--height"_s, u"32"_s});
        QTRY_VERIFY_WITH_TIMEOUT(shows(ColorRole::Red, trayArea), 20'000);
        click(find(ColorRole::Red, trayArea));
        QTRY_COMPARE(m_events, QStringList{u"about to show"_s});
        QProcess::execute(u"xdotool"_s, {u"key"_s, u"Escape"_s});

        QProcess panel;
        panel.start(u"xfce4-panel"_s, {});
        QTRY_VERIFY_WITH_TIMEOUT(shows(ColorRole::Red, panelArea), 20'000);
        QTRY_VERIFY(!shows(ColorRole::Red, trayArea));
        tray.kill();
        panel.kill();
        QVERIFY(tray.waitForFinished() && panel.waitForFinished());
    }

    void nextPanelShowsIconAndMenu()
    {
        QProcess panel;
        panel.start(u"xfce4-panel"_s, {});
        QTRY_VERIFY_WITH_TIMEOUT(shows(ColorRole::Red, panelArea), 20'000);
        m_item.setContent(Samples::content(Samples::online(), 2));
        QTRY_VERIFY(shows(ColorRole::Green, panelArea) && !shows(ColorRole::Red, panelArea));
        click(find(ColorRole::Green, panelArea));
        QTRY_VERIFY(shows(ColorRole::Green, menuArea));
        click(find(ColorRole::Green, menuArea));
        QTRY_COMPARE(m_events.last(), u"tunnel-1"_s);
        panel.kill();
        QVERIFY(panel.waitForFinished());
    }
};

QTEST_MAIN(TestRealPanels)
#include "tst_realpanels.moc"
