// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Text.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Characters as a user perceives them, which Qt's own rule does not always find.
class TestText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cutsBetweenCharacters_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("shortened");
        QTest::newRow("letters") << u"abcdef"_s << 4 << u"abcd"_s << u"ab…f"_s;
        QTest::newRow("nothing to cut") << u"abcd"_s << 4 << u"abcd"_s << u"abcd"_s;
        QTest::newRow("flag behind a family")
            << u"👩‍👩‍👧🇩🇪🇫🇷xyz"_s << 4 << u"👩‍👩‍👧🇩🇪🇫🇷x"_s
            << u"👩‍👩‍👧🇩🇪…z"_s;
        QTest::newRow("marks") << u"e\u0301a\u0308ou"_s << 2 << u"e\u0301a\u0308"_s << u"e\u0301…"_s;
    }

    void cutsBetweenCharacters()
    {
        QFETCH(QString, text);
        QFETCH(int, count);
        QTEST(Text::firstCharacters(text, count), "first");
        QTEST(Text::shortenedInMiddle(text, count), "shortened");
    }
};

QTEST_GUILESS_MAIN(TestText)
#include "tst_text.moc"
