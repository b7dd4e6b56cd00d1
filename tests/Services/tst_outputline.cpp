// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "OutputLine.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

class TestOutputLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorSummary_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("summary");

        QTest::newRow("field") << u"t ERR Serve tunnel error error=\"x y\" connIndex=1"_s << u"x y"_s;
        QTest::newRow("field untrimmed") << u"error=\" x \""_s << u" x "_s;
        QTest::newRow("field without end") << u"error=\"x y"_s << u"x y"_s;
        QTest::newRow("field with escaped quote")
            << u"t ERR m error=\"Get \\\"https://x\\\"\""_s << u"Get \\"_s;
        QTest::newRow("unquoted field") << u"t ERR m error=x connIndex=1"_s << u"m error=x connIndex=1"_s;
        QTest::newRow("empty field") << u"t ERR  message error=\"\"\t"_s << u"message error=\"\""_s;
        QTest::newRow("only the first field") << u"error=\"\" error=\"x\""_s << u"error=\"\" error=\"x\""_s;
        QTest::newRow("level") << u"t ERR Register failed connIndex=1"_s << u"Register failed connIndex=1"_s;
        QTest::newRow("level at the start") << u"ERR broken"_s << u"ERR broken"_s;
        QTest::newRow("whole line") << u"\u00A0 token is not valid\t"_s << u"token is not valid"_s;
        QTest::newRow("carriage return stays") << u"t ERR x \r"_s << u"x \r"_s;
    }

    void errorSummary()
    {
        QFETCH(QString, line);
        QTEST(OutputLine::errorSummary(line), "summary");
    }

    void connectionIndex_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("index");

        QTest::newRow("none") << QByteArray("x") << QByteArray();
        QTest::newRow("at the end") << QByteArray("connIndex=7") << QByteArray("7");
        QTest::newRow("long") << QByteArray("a connIndex=01234567890123456789 b")
                              << QByteArray("01234567890123456789");
        QTest::newRow("ASCII only") << QByteArray("connIndex=1\xc2\xbd\xd9\xa3") << QByteArray("1");
        QTest::newRow("no digits") << QByteArray("connIndex=x1") << QByteArray();
        QTest::newRow("first only") << QByteArray("connIndex= connIndex=2") << QByteArray();
    }

    void connectionIndex()
    {
        QFETCH(QByteArray, line);
        QTEST(OutputLine::connectionIndex(line).toByteArray(), "index");
    }

    /// The fast search against a plain one, over lines made of the pieces that it looks for and their
    /// fragments.

    void marksAreThoseOfAPlainSearch()
    {
        const QList<QByteArray> pieces =
            QByteArray(
                "Registered tunnel connection|Unregistered tunnel connection|Serve tunnel error|"
                "Connection terminated| ERR |ERR |is not valid|Registered |tunnel connection|"
                "Registered tunnel connectio|Serve tunnel| error|Connection |terminated| ER|R |is not vali|"
                "v|d| |R|U|S|C|E|x|\xc3\xa9")
                .split('|');
        QRandomGenerator random(42);
        for (int i = 0; i < 20'000; ++i) {
            QByteArray line;
            for (int n = random.bounded(6); n >= 0; --n)
                line += pieces[random.bounded(int(pieces.size()))];
            const bool isRegistration = line.contains("Registered tunnel connection");
            const bool isLoss = !isRegistration && (line.contains("Unregistered tunnel connection") ||
                                                    line.contains("Serve tunnel error") ||
                                                    line.contains("Connection terminated"));
            const bool isError =
                line.contains(" ERR ") || line.startsWith("ERR ") || line.contains("is not valid");
            const OutputLine::Marks marks = OutputLine::marksOf(line);
            QVERIFY2(marks.isRegistration == isRegistration && marks.isLoss == isLoss &&
                         marks.isError == isError,
                     line.constData());
        }
    }
};

QTEST_GUILESS_MAIN(TestOutputLine)
#include "tst_outputline.moc"
