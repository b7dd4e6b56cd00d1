// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Desktop.h"
#include "SymbolDrawing.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr QRect panelArea{0, 0, 1280, 33};
constexpr QRect menuArea{0, 34, 1280, 820};
constexpr QRect trayArea{0, 860, 1280, 40};

/// The program under test, driven by lines; see panelitem.cpp.
class Item
{
public:
    explicit Item(const Desktop &desktop)
        : m_process(desktop.start(QStringLiteral(PANELITEM)))
    {
    }

    void tell(const QByteArray &line) { m_process->write(line + '\n'); }
    bool said(const QByteArray &line)
    {
        m_output += m_process->readAllStandardOutput();
        return ('\n' + m_output).contains('\n' + line + '\n');
    }
    QByteArray errors()
    {
        m_errors += m_process->readAllStandardError();
        return m_errors;
    }

private:
    RunningProgram m_process;
    QByteArray m_output;
    QByteArray m_errors;
};

} // namespace

class TestRealPanels : public QObject
{
    Q_OBJECT

private:
    QPoint iconAt(ColorRole role) const
    {
        return m_desktop.find(SymbolDrawing::colorOnAnyGround(role), panelArea);
    }
    QPoint dotAt(ColorRole role) const
    {
        return m_desktop.find(SymbolDrawing::colorOnAnyGround(role), menuArea);
    }

    Desktop m_desktop;

    static constexpr QPoint nowhere{-1, -1};

private Q_SLOTS:
    void xfceShowsIconAndMenu()
    {
        Item item(m_desktop);
        QTRY_VERIFY(item.said("ready"));
        const auto panel = m_desktop.startXfcePanel(); // starts after the program, as at log-in
        item.tell("show connecting 0");
        QTRY_VERIFY_WITH_TIMEOUT(iconAt(ColorRole::Orange) != nowhere, 20'000);
        item.tell("show problem 0");
        QTRY_VERIFY(iconAt(ColorRole::Red) != nowhere);
        item.tell("show connected 2");
        QTRY_VERIFY(iconAt(ColorRole::Green) != nowhere);
        QVERIFY(m_desktop.find(QColor(0x1d1d1d), panelArea) != nowhere); // the count's plate

        item.tell("connect 2");
        m_desktop.click(iconAt(ColorRole::Green));
        QTRY_VERIFY(item.said("about-to-show"));
        QTRY_VERIFY(dotAt(ColorRole::Green) != nowhere);
        m_desktop.click(dotAt(ColorRole::Green));
        QTRY_VERIFY(item.said("chosen tunnel-2"));
    }

    void killedPanelGetsTheItemBack()
    {
        Item item(m_desktop);
        item.tell("show connected 1");
        auto panel = m_desktop.startXfcePanel();
        QTRY_VERIFY_WITH_TIMEOUT(iconAt(ColorRole::Green) != nowhere, 20'000);
        panel->kill();
        QVERIFY(panel->waitForFinished());
        item.tell("show problem 0");
        QTRY_VERIFY(iconAt(ColorRole::Green) == nowhere);
        panel = m_desktop.startXfcePanel();
        QTRY_VERIFY_WITH_TIMEOUT(iconAt(ColorRole::Red) != nowhere, 20'000);
    }

    void oldTrayIsUsedUntilABetterPanelComes()
    {
        Item item(m_desktop);
        item.tell("show problem 0");
        item.tell("connect 2");
        const auto tray = m_desktop.start(u"trayer"_s, {u"--edge"_s, u"bottom"_s, u"--height"_s, u"32"_s});
        const QColor red = SymbolDrawing::colorOnAnyGround(ColorRole::Red);
        QTRY_VERIFY_WITH_TIMEOUT(m_desktop.find(red, trayArea) != nowhere, 20'000);
        m_desktop.click(m_desktop.find(red, trayArea));
        QTRY_VERIFY(item.said("about-to-show"));
        QTRY_VERIFY(m_desktop.find(Qt::white, menuArea) != nowhere);
        m_desktop.press(u"Escape"_s);
        QTRY_VERIFY(m_desktop.find(Qt::white, menuArea) == nowhere);

        const auto panel = m_desktop.startXfcePanel();
        QTRY_VERIFY_WITH_TIMEOUT(iconAt(ColorRole::Red) != nowhere, 20'000);
        QTRY_VERIFY(m_desktop.find(red, trayArea) == nowhere);
    }

    void withoutAPanelItSaysSoOnceAndGoesOn()
    {
        Item item(m_desktop);
        QTRY_VERIFY_WITH_TIMEOUT(!item.errors().isEmpty(), 20'000);
        QCOMPARE(item.errors().count('\n'), 1);
        const auto panel = m_desktop.startXfcePanel();
        item.tell("show connected 1");
        QTRY_VERIFY_WITH_TIMEOUT(iconAt(ColorRole::Green) != nowhere, 20'000);
        QCOMPARE(item.errors().count('\n'), 1);
    }
};

QTEST_GUILESS_MAIN(TestRealPanels)
#include "tst_realpanels.moc"
