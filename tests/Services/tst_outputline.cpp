// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "OutputLine.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestOutputLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorSummary()
    {
        const QList<std::pair<QString, QString>> rows{
            {u"t ERR Serve tunnel error error=\" x \" connIndex=1"_s, u" x "_s},
            {u"error=\"x y"_s, u"x y"_s},
            {u"t ERR  message error=\"\" error=\"x\"\t"_s, u"message error=\"\" error=\"x\""_s},
            {u"t ERR m error=x connIndex=1"_s, u"m error=x connIndex=1"_s},
            {u"\u00A0 ERR: token is not valid \r\t"_s, u"ERR: token is not valid \r"_s}};
        for (const auto &[line, summary] : rows)
            QCOMPARE(OutputLine::errorSummary(line), summary);
    }

    /// Anywhere in a line, whole, and also behind the beginning of the same words.
    void marks()
    {
        const QList<std::pair<QByteArray, OutputLine::Marks>> rows{
            {"Registered tunnel connection", {true, false, false}},
            {"Unregistered tunnel connection", {false, true, false}},
            {"Serve tunnel error", {false, true, false}},
            {"Connection terminated", {false, true, false}},
            {" ERR ", {false, false, true}},
            {"is not valid", {false, false, true}},
            {"Registered tunnel connection Serve tunnel error", {true, false, false}}};
        const auto isMarked = [](const QByteArray &line, const OutputLine::Marks &expected) {
            const auto [isRegistration, isLoss, isError] = OutputLine::marksOf(line);
            return isRegistration == expected.isRegistration && isLoss == expected.isLoss &&
                   isError == expected.isError;
        };
        for (const auto &[words, marks] : rows) {
            for (const QByteArray &line : {words, words.first(1) + words + '!', "\xc3\xa9" + words})
                QVERIFY2(isMarked(line, marks), line);
            if (!words.contains("connection "))
                QVERIFY2(isMarked("x" + words.sliced(1) + '\n' + words.chopped(1), {}), words);
        }
        QVERIFY(isMarked("ERR x", {false, false, true}));
    }
};

QTEST_GUILESS_MAIN(TestOutputLine)
#include "tst_outputline.moc"
