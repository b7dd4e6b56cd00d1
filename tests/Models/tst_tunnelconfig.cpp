// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelConfig.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

class TestTunnelConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodes_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("isRecord");

        const QByteArray id = R"("id":"3F2504E0-4F89-41D3-9A0C-0305E82C3301")";
        const QByteArray rest = R"(,"name":"n","hostname":"","startOnLaunch":true)";
        QTest::newRow("complete") << "{" + id + rest + "}" << true;
        QTest::newRow("lower-case id") << "{" + id.toLower() + rest + "}" << true;
        QTest::newRow("unknown member") << "{" + id + rest + R"(,"colour":7})" << true;
        QTest::newRow("no hostname") << "{" + id + R"(,"name":"n","startOnLaunch":true})" << false;
        QTest::newRow("null hostname")
            << "{" + id + R"(,"name":"n","hostname":null,"startOnLaunch":true})" << false;
        QTest::newRow("Boolean as text")
            << "{" + id + R"(,"name":"n","hostname":"","startOnLaunch":"true"})" << false;
        QTest::newRow("Boolean as number")
            << "{" + id + R"(,"name":"n","hostname":"","startOnLaunch":1})" << false;
        QTest::newRow("id in braces")
            << R"({"id":"{3F2504E0-4F89-41D3-9A0C-0305E82C3301}")" + rest + "}" << false;
        QTest::newRow("id without dashes")
            << R"({"id":"3F2504E04F8941D39A0C0305E82C33010000")" + rest + "}" << false;
        QTest::newRow("id with another letter")
            << R"({"id":"3F2504E0-4F89-41D3-9A0C-0305E82C330G")" + rest + "}" << false;
    }

    void decodes()
    {
        QFETCH(QByteArray, json);
        const QJsonObject object = QJsonDocument::fromJson(json).object();
        QTEST(TunnelConfig::fromJson(object).has_value(), "isRecord");
    }

    void encodesWhatItDecodes()
    {
        const TunnelConfig tunnel{QUuid("{3f2504e0-4f89-41d3-9a0c-0305e82c3301}"), u"Zoë\n\"'\0x"_s,
                                  u"הַדְגָּמָה"_s, true};
        const QJsonObject object = tunnel.toJson();
        QCOMPARE(object.keys(), (QStringList{u"hostname"_s, u"id"_s, u"name"_s, u"startOnLaunch"_s}));
        QCOMPARE(object[u"id"_s].toString(), u"3F2504E0-4F89-41D3-9A0C-0305E82C3301"_s);
        const QByteArray text = QJsonDocument(object).toJson();
        QCOMPARE(TunnelConfig::fromJson(QJsonDocument::fromJson(text).object()), tunnel);
    }

    void browserURL_data()
    {
        QTest::addColumn<QString>("hostname");
        QTest::addColumn<QString>("url"); // null for none

        QTest::newRow("empty") << u""_s << QString();
        QTest::newRow("blanks") << u" \t\u00A0\n"_s << QString();
        QTest::newRow("bare") << u"app.example.com"_s << u"https://app.example.com"_s;
        QTest::newRow("blanks around") << u" app.example.com\r\n"_s << u"https://app.example.com"_s;
        QTest::newRow("own scheme") << u"http://app.example.com:8080/x?y#z"_s
                                    << u"http://app.example.com:8080/x?y#z"_s;
        QTest::newRow("any scheme") << u"ssh://box"_s << u"ssh://box"_s;
        QTest::newRow("path") << u"app.example.com/a/b"_s << u"https://app.example.com/a/b"_s;
        QTest::newRow("inner blank") << u"app example.com"_s << QString();
        QTest::newRow("no-break space") << u"app.example.com/a\u00A0b"_s << QString();
        QTest::newRow("wide space") << u"https://app.example.com?a\u2003b"_s << QString();
        QTest::newRow("blank in path") << u"app.example.com/a b"_s << QString();
        QTest::newRow("no scheme before the mark") << u"://app"_s << QString();
    }

    void browserURL()
    {
        QFETCH(QString, hostname);
        QFETCH(QString, url);
        const std::optional<QUrl> found = TunnelConfig{{}, {}, hostname, false}.browserURL();
        QCOMPARE(found ? found->toString() : QString(), url);
        QCOMPARE(found.has_value(), !url.isNull());
    }

    void labelCountsConnections()
    {
        QCOMPARE(TunnelState::connected(0).label(), u"Connected (0 connections)"_s);
        QCOMPARE(TunnelState::connected(1).label(), u"Connected (1 connection)"_s);
        QCOMPARE(TunnelState::connected(4).label(), u"Connected (4 connections)"_s);
        QCOMPARE(TunnelState::failed(u""_s).label(), u"Error: "_s);
    }
};

QTEST_GUILESS_MAIN(TestTunnelConfig)
#include "tst_tunnelconfig.moc"
