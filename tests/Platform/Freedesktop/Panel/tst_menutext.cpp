// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HostQuirks.h"
#include "MenuText.h"
#include "TextColumns.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

bool fits(const QString &text, int columns)
{
    return TextColumns::shortenedInMiddle(text, columns) == text;
}

} // namespace

class TestMenuText : public QObject
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
        row("right to left", u"שלום"_s, {}, 0, true, u"שלום"_s);
        row("emoji", u"👩‍👩‍👧 🚀"_s, {}, 0, true, u"👩‍👩‍👧 🚀"_s);
        row("half an emoji", u"a"_s + QChar(0xD83D), {}, 0, true, u"a\uFFFD"_s);
        row("empty name", {}, u"Stopped"_s, 0, true, u"\nStopped"_s);
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
        item.indentationLevel = indentation;
        HostQuirks quirks;
        quirks.twoLineLabels = twoLines;
        QTEST(MenuText::label(item, quirks), "label");
    }

    void longLinesAreShortenedInTheMiddle_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("letters") << QString(10'000, u'a');
        QTest::newRow("emoji") << u"👩‍👩‍👧"_s.repeated(2'000);
        QTest::newRow("flags") << u"🇫🇷"_s.repeated(2'000);
        QTest::newRow("one endless character") << u"a"_s + QString(10'000, u'\u0301');
        QTest::newRow("surrogates off by one") << u"a"_s + u"🚀"_s.repeated(5'000);
    }

    void longLinesAreShortenedInTheMiddle()
    {
        QFETCH(QString, text);
        const QString whole = u"first "_s + text + u" last"_s;
        const QString line = MenuText::plainLine(whole);
        QVERIFY(fits(line, MenuText::longestLine));
        QVERIFY(line.size() <= 10 * MenuText::longestLine);
        QVERIFY(line.startsWith(u"first "_s));
        QVERIFY(line.endsWith(u" last"_s));
        QCOMPARE(line.count(u'…'), 1);
        QCOMPARE(QString::fromUtf8(line.toUtf8()), line); // no character was cut in two
    }

    void shortLinesAreLeftAlone()
    {
        const QString line(MenuText::longestLine, u'x');
        QCOMPARE(MenuText::plainLine(line), line);
        QVERIFY(MenuText::plainLine(line + u'x') != line + u'x');
    }

    void detailStaysWholeBehindAnyTitle_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<bool>("twoLines");
        QTest::newRow("wide characters") << QString(300, u'漢') << QString(70, u'漢') << true;
        QTest::newRow("wide characters, one line") << QString(300, u'漢') << QString(70, u'漢') << false;
        QTest::newRow("wide letters") << QString(10'000, u'W') << QString(70, u'W') << true;
        QTest::newRow("emoji") << u"👩‍👩‍👧"_s.repeated(500) << u"🇫🇷"_s.repeated(70) << true;
    }

    void detailStaysWholeBehindAnyTitle()
    {
        QFETCH(QString, title);
        QFETCH(QString, failure);
        QFETCH(bool, twoLines);
        MenuItem item;
        item.title = title;
        item.detail = u"Error · "_s + failure;
        HostQuirks quirks;
        quirks.twoLineLabels = twoLines;
        const QString label = MenuText::label(item, quirks);
        const QString end = (twoLines ? u"\n"_s : u" — "_s) + item.detail;
        QVERIFY(label.endsWith(end));
        const QString shown = label.chopped(end.size());
        QVERIFY(shown.contains(u'…'));
        QVERIFY(fits(shown, 60) && !fits(shown, 56));
    }

    void imageIsDescribedOnce()
    {
        MenuItem item;
        item.title = u"web"_s;
        QCOMPARE(MenuText::accessibleDescription(item), QString());
        item.image = SymbolImage{};
        item.image->accessibilityDescription = u"Stopped"_s;
        QCOMPARE(MenuText::accessibleDescription(item), u"web, Stopped"_s);
        item.title = u"web — Stopped"_s;
        QCOMPARE(MenuText::accessibleDescription(item), QString());
    }

    void shortcuts()
    {
        QCOMPARE(MenuText::shortcut({}), QStringList());
        QCOMPARE(MenuText::shortcut(u"l"_s), QStringList({u"Control"_s, u"l"_s}));
        QCOMPARE(MenuText::shortcut(u","_s), QStringList({u"Control"_s, u"comma"_s}));
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

QTEST_GUILESS_MAIN(TestMenuText)
#include "tst_menutext.moc"
