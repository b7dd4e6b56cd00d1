// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Text.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// Characters as a user perceives them, which Qt's own rule does not always find.
    void cutsBetweenCharacters()
    {
        struct Row
        {
            QString text;
            QString first;
            QString shortened;
        };
        for (const auto &[text, first, shortened] :
             {Row{u"abcdef"_s, u"abcd"_s, u"ab…f"_s}, Row{u"abcd"_s, u"abcd"_s, u"abcd"_s},
              Row{u"👩‍👩‍👧🇦🇿🇫🇷xyz"_s, u"👩‍👩‍👧🇦🇿🇫🇷x"_s,
                  u"👩‍👩‍👧🇦🇿…z"_s}}) {
            QCOMPARE(Text::firstCharacters(text, 4), first);
            QCOMPARE(Text::shortenedInMiddle(text, 4), shortened);
        }
    }

    /// Nothing breaks the line, turns its direction or is half a character.
    void oneLine()
    {
        QCOMPARE(Text::oneLine(u"a\n\u2028\u2029\u202A\u202E\u2066\u2069b\U0001F9FF"_s + QChar(0xD83E) +
                               u'c' + QChar(0xDDFF)),
                 u"a       b\U0001F9FF\uFFFDc\uFFFD"_s);
    }
};

QTEST_GUILESS_MAIN(TestText)
#include "tst_text.moc"
