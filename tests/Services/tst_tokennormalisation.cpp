// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelManager.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestTokenNormalisation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void normalizeToken_data();
    void normalizeToken();
};

void TestTokenNormalisation::normalizeToken_data()
{
    QTest::addColumn<QString>("raw");
    QTest::addColumn<QString>("token");

    QTest::newRow("bare") << u"  eyJabc \n"_s << u"eyJabc"_s;
    QTest::newRow("command") << u"cloudflared tunnel run --token eyJabc"_s << u"eyJabc"_s;
    QTest::newRow("command over lines")
        << u"sudo cloudflared \\\n tunnel run\u2028--token\r\n\"eyJabc\"\n"_s << u"eyJabc"_s;
    QTest::newRow("other token") << u"cloudflared tunnel run --token abc"_s << u"abc"_s;
    QTest::newRow("equals") << u"--token=abc"_s << u"abc"_s;
    QTest::newRow("equals and quotes") << u"--token='abc'"_s << u"abc"_s;
    QTest::newRow("mixed quotes") << u"\"'\"abc'\"'"_s << u"abc"_s;
    QTest::newRow("typographic quotes") << u"“abc”"_s << u"“abc”"_s;
    QTest::newRow("recognised before the flag") << u"x eyJ1 --token eyJ2"_s << u"eyJ1"_s;
    QTest::newRow("other case") << u"a EYJ1 --TOKEN b"_s << u"a EYJ1 --TOKEN b"_s;
    QTest::newRow("flag alone") << u"--token"_s << u"--token"_s;
    QTest::newRow("flag at the end") << u" run --token= "_s << u"run --token="_s;
    QTest::newRow("flag twice") << u"--token --token abc"_s << u"--token"_s;
    QTest::newRow("two words") << u" abc  def "_s << u"abc  def"_s;
    QTest::newRow("empty") << u""_s << u""_s;
    QTest::newRow("blanks") << u" \t\n"_s << u""_s;
    QTest::newRow("quotes only") << u" \"'' "_s << u"\"''"_s;
    QTest::newRow("padded") << u"eyJabc=="_s << u"eyJabc"_s;
    QTest::newRow("no-break space") << u"\u00A0eyJabc\u0085x"_s << u"eyJabc"_s;
    QTest::newRow("huge") << u"x "_s + u"eyJ"_s + QString(100'000, u'a') << u"eyJ"_s + QString(100'000, u'a');
}

void TestTokenNormalisation::normalizeToken()
{
    QFETCH(QString, raw);
    QTEST(TunnelManager::normalizeToken(raw), "token");
}

QTEST_GUILESS_MAIN(TestTokenNormalisation)
#include "tst_tokennormalisation.moc"
