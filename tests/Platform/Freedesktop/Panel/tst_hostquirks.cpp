// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HostQuirks.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestHostQuirks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void label_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<int>("indentation");
        QTest::addColumn<bool>("twoLines");
        QTest::addColumn<QString>("label");
        const auto row = [](const char *name, const QString &title, const QString &detail, int indentation,
                            bool twoLines, const QString &label) {
            QTest::newRow(name) << title << detail << indentation << twoLines << label;
        };
        row("plain", u"web"_s, {}, 0, true, u"web"_s);
        row("two lines", u"web"_s, u"Stopped"_s, 0, true, u"web\nStopped"_s);
        row("one line", u"web"_s, u"Stopped"_s, 0, false, u"web — Stopped"_s);
        row("indented", u"Open a_b"_s, {}, 1, true, u"    Open a__b"_s);
        row("underscores", u"a_b__c"_s, u"_"_s, 0, true, u"a__b____c\n__"_s);
        row("markup and ampersands", u"<b>&amp;&</b>"_s, {}, 0, true, u"<b>&amp;&</b>"_s);
        row("line breaks", u"a\nb\r\nc"_s, u"d\u2028e\u0085f"_s, 0, true, u"a b  c\nd e f"_s);
        row("control characters", u"a\tb\u0007c"_s + QChar(0) + u"d"_s, {}, 0, true, u"a b c d"_s);
        row("overridden direction", u"\u202Eevil\u202C"_s, {}, 0, true, u" evil "_s);
        row("emoji", u"👩‍👩‍👧 🚀"_s, {}, 0, true, u"👩‍👩‍👧 🚀"_s);
        row("half an emoji", u"a"_s + QChar(0xD83D), {}, 0, true, u"a\uFFFD"_s);
        row("empty name", {}, u"Stopped"_s, 0, true, u"\nStopped"_s);
        row("endless name", QString(10'000, u'n'), u"Stopped"_s, 0, true,
            QString(100, u'n') + u'…' + QString(99, u'n') + u"\nStopped"_s);
    }

    void label()
    {
        QFETCH(QString, title);
        QFETCH(QString, detail);
        QFETCH(int, indentation);
        QFETCH(bool, twoLines);
        MenuItem item;
        item.title = title;
        item.detail = detail;
        item.indentation = indentation;
        const HostQuirks quirks{.twoLineLabels = twoLines, .refusesActivate = false};
        QTEST(quirks.label(item), "label");
    }

    void imageIsDescribedOnce()
    {
        MenuItem item;
        item.title = u"web"_s;
        QCOMPARE(HostQuirks().accessibleDescription(item), QString());
        item.image = Symbol();
        item.image->description = u"Stopped"_s;
        QCOMPARE(HostQuirks().accessibleDescription(item), u"web, Stopped"_s);
        item.title = u"web — Stopped"_s;
        QCOMPARE(HostQuirks().accessibleDescription(item), QString());
    }

    void quirksByPanel()
    {
        QCOMPARE(HostQuirks::of({}, u"xfce4-panel"_s), HostQuirks());
        const HostQuirks plasma = HostQuirks::of({u"org.kde.plasmashell"_s}, u"kded5"_s);
        QVERIFY(!plasma.twoLineLabels && plasma.refusesActivate);
        const HostQuirks lxqt = HostQuirks::of({}, u"lxqt-panel"_s);
        QVERIFY(!lxqt.twoLineLabels && !lxqt.refusesActivate);
    }
};

QTEST_GUILESS_MAIN(TestHostQuirks)
#include "tst_hostquirks.moc"
