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

    void connectionIndex()
    {
        const QList<std::pair<QByteArray, QByteArray>> rows{
            {"x", {}},
            {"connIndex=7", "7"},
            {"a connIndex=01234567890123456789 connIndex=2", "01234567890123456789"},
            {"connIndex=1\xc2\xbd\xd9\xa3", "1"},
            {"connIndex=x1", {}}};
        for (const auto &[line, index] : rows)
            QCOMPARE(OutputLine::connectionIndex(line).toByteArray(), index);
    }

    /// Anywhere in a line, whole, and also behind the beginning of the same words.
    void marks()
    {
        const QList<std::pair<QByteArray, QByteArray>> rows{
            {"Registered tunnel connection", "registered"},
            {"Unregistered tunnel connection", "lost"},
            {"Serve tunnel error", "lost"},
            {"Connection terminated", "lost"},
            {" ERR ", "error"},
            {"is not valid", "error"},
            {"Registered tunnel connection Serve tunnel error", "registered"}};
        const auto marksOf = [](const QByteArray &line) {
            const OutputLine::Marks marks = OutputLine::marksOf(line);
            return QByteArray(marks.isRegistration ? "registered" : "") + (marks.isLoss ? "lost" : "") +
                   (marks.isError ? "error" : "");
        };
        for (const auto &[words, mark] : rows) {
            QCOMPARE(marksOf(words), mark);
            QCOMPARE(marksOf(words.first(1) + words + '!'), mark);
            QCOMPARE(marksOf("\xc3\xa9" + words), mark);
            if (!words.contains("connection "))
                QCOMPARE(marksOf("x" + words.sliced(1)) + marksOf(words.chopped(1)), QByteArray());
        }
        QCOMPARE(marksOf("ERR x"), "error");
    }
};

QTEST_GUILESS_MAIN(TestOutputLine)
#include "tst_outputline.moc"
