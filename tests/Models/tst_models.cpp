// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Text.h"
#include "TunnelConfig.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

class TestModels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesCompleteRecordsOnly()
    {
        const QByteArray complete =
            R"({"id":"3f2504e0-4f89-41D3-9A0C-0305E82C3301","name":"n","hostname":"","startOnLaunch":true})";
        struct Change
        {
            QByteArray part;
            QByteArray instead;
            bool isRecord;
        };
        for (const auto &[part, instead, isRecord] :
             {Change{"{", R"({"colour":7,)", true}, Change{R"("name":"n",)", "", false},
              Change{R"("hostname":"")", R"("hostname":null)", false}, Change{"true", R"("true")", false},
              Change{"true", "1", false}, Change{"3301", "330G", false},
              Change{"4f89-41D3", "4f89041D3", false}, Change{"3301", "33012", false}}) {
            QByteArray json = complete;
            json.replace(part, instead);
            const QJsonObject object = QJsonDocument::fromJson(json).object();
            QVERIFY2(!object.isEmpty() && TunnelConfig::fromJson(object).has_value() == isRecord, json);
        }
    }

    void browserURL()
    {
        const QList<std::pair<QString, QString>> rows{
            {u" \t\u00A0\n"_s, {}},
            {u" app.example.com/a/b\r\n"_s, u"https://app.example.com/a/b"_s},
            {u"http://app.example.com:8080/x?y#z"_s, u"http://app.example.com:8080/x?y#z"_s},
            {u"app example.com"_s, {}},
            {u"https://app.example.com?a\u2003b"_s, {}},
            {u"://app"_s, {}}};
        for (const auto &[hostname, url] : rows) {
            const std::optional<QUrl> found = TunnelConfig{{}, {}, hostname, false}.browserURL();
            QCOMPARE(found.has_value(), !url.isEmpty());
            QCOMPARE(found.value_or(QUrl()).toString(), url);
        }
    }

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

QTEST_GUILESS_MAIN(TestModels)
#include "tst_models.moc"
