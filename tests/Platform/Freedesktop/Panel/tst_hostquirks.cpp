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
        QTest::addColumn<QString>("label");
        const auto row = [](const char *name, const QString &title, const QString &detail, int indentation,
                            const QString &label) {
            QTest::newRow(name) << title << detail << indentation << label;
        };
        row("plain", u"web"_s, {}, 0, u"web"_s);
        row("two lines", u"web"_s, u"Stopped"_s, 0, u"web\nStopped"_s);
        row("indented", u"Open a_b"_s, {}, 1, u"    Open a__b"_s);
        row("underscores", u"a_b__c"_s, u"_"_s, 0, u"a__b____c\n__"_s);
        row("markup and ampersands", u"<b>&amp;&</b>"_s, {}, 0, u"<b>&amp;&</b>"_s);
        row("line breaks", u"a\nb\r\nc"_s, u"d\u2028e\u0085f"_s, 0, u"a b  c\nd e f"_s);
        row("control characters", u"a\tb\u0007c"_s + QChar(0) + u"d"_s, {}, 0, u"a b c d"_s);
        row("overridden direction", u"\u202Eevil\u202C"_s, {}, 0, u" evil "_s);
        row("emoji", u"👩‍👩‍👧 🚀"_s, {}, 0, u"👩‍👩‍👧 🚀"_s);
        row("half an emoji", u"a"_s + QChar(0xD83D), {}, 0, u"a\uFFFD"_s);
        row("empty name", {}, u"Stopped"_s, 0, u"\nStopped"_s);
        row("endless name", QString(10'000, u'n'), u"Stopped"_s, 0,
            QString(100, u'n') + u'…' + QString(99, u'n') + u"\nStopped"_s);
    }

    void label()
    {
        QFETCH(QString, title);
        QFETCH(QString, detail);
        QFETCH(int, indentation);
        MenuItem item;
        item.title = title;
        item.detail = detail;
        item.indentation = indentation;
        QTEST(HostQuirks().label(item), "label");
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

    void panels_data()
    {
        QTest::addColumn<QString>("busName");
        QTest::addColumn<QString>("process");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("isPictureAdded");
        QTest::newRow("any") << QString() << u"mate-panel"_s << u"a__b__c__\nup"_s << u"comma"_s << true;
        QTest::newRow("Plasma") << u"org.kde.plasmashell"_s << u"kded5"_s << u"a__b__c__ — up"_s << u","_s
                                << false;
        QTest::newRow("LXQt") << QString() << u"lxqt-panel"_s << u"a__b__c__ — up"_s << u","_s << false;
        QTest::newRow("GNOME") << QString() << u"gnome-shell"_s << u"a__b_c_\nup"_s << u"comma"_s << false;
    }

    void panels()
    {
        QFETCH(QString, busName);
        QFETCH(QString, process);
        const HostQuirks quirks = HostQuirks::of({busName}, process);
        MenuItem item;
        item.title = u"a_b_c_"_s;
        item.detail = u"up"_s;
        item.shortcut = u","_s;
        QTEST(quirks.label(item), "label");
        QTEST(quirks.shortcut(item).last(), "key");
        QVERIFY(!quirks.needsEmptyPicture(item));
        item.indentation = 1;
        QTEST(quirks.needsEmptyPicture(item), "isPictureAdded");
    }
};

QTEST_GUILESS_MAIN(TestHostQuirks)
#include "tst_hostquirks.moc"
