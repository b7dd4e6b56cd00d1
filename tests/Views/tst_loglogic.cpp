// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogBuffer.h"
#include "LogRules.h"
#include "LogText.h"
#include "LogViewport.h"

#include <QTest>

using namespace Qt::StringLiterals;
using LogText::Step;

namespace {

LogBuffer logOf(const QByteArrayList &lines)
{
    LogBuffer log;
    for (const QByteArray &line : lines)
        log.append(line);
    return log;
}

void appendLines(LogBuffer &log, int count, qsizetype length = 8)
{
    for (int i = 0; i < count; ++i)
        log.append(QByteArray(length, 'x'));
}

/// A viewport of 100 pixels for lines of 10 pixels, ten characters wide; rows turn out to take `factor` times
/// as many lines as their length says.
struct View
{
    explicit View(int factor = 1)
        : viewport([factor, this](const LogRows::Row &row) {
            ++measured;
            return factor * int(std::max<qsizetype>(1, (row.size + 9) / 10));
        })
    {
        viewport.setGeometry(100, 10, 10);
    }
    /// Where the line stands in the viewport.
    std::optional<int> yOf(quint64 line) const
    {
        for (const LogViewport::VisibleRow &visible : viewport.visibleRows()) {
            if (viewport.rows().at(visible.row).start.line == line)
                return visible.y;
        }
        return std::nullopt;
    }

    int measured = 0;
    LogViewport viewport;
};

} // namespace

class TestLogLogic : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void color_data();
    void color();
    void selectionOnAppear();

    void steps_data();
    void steps();
    void wordAt_data();
    void wordAt();
    void textBetweenFollowsTheLog();
    void offsetsCountUtf16();

    void longLinesAreCutBetweenCharacters_data();
    void longLinesAreCutBetweenCharacters();
    void followsTheEndUntilFull();
    void readingStaysInPlaceWhenFull();
    void wrongEstimatesDoNotMoveTheText();
    void clearedLogStartsAnew();
    void measuresOnlyWhatIsSeen();
    void reveals();
    void neverLacksARow();
};

void TestLogLogic::color_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<ColorRole>("role");
    const auto row = [](const char *line, ColorRole role) {
        QTest::newRow(line) << QByteArray(line) << role;
    };

    row("t ERR broken", ColorRole::Red);
    row("ERR broken", ColorRole::None);
    row("t err broken", ColorRole::None);
    row("t ERR", ColorRole::None);
    row("\u2716\uFE0E cloudflared exited", ColorRole::Red);
    row(" \u2716\uFE0E", ColorRole::None);
    row("\u2716 without the selector", ColorRole::None);
    row("t WRN slow", ColorRole::Orange);
    row("t WRN then ERR ", ColorRole::Red);
    row("t WRN Registered tunnel connection", ColorRole::Orange);
    row("t INF Registered tunnel connection connIndex=0", ColorRole::Green);
    row("t INF Unregistered tunnel connection", ColorRole::None);
    row("\u25B6\uFE0E Starting", ColorRole::None);
    row("\u25A0 Tunnel stopped", ColorRole::None);
}

void TestLogLogic::color()
{
    QFETCH(QByteArray, line);
    QTEST(LogRules::color(line), "role");
}

void TestLogLogic::selectionOnAppear()
{
    const QUuid first = QUuid::createUuid();
    const QUuid second = QUuid::createUuid();
    const QList<TunnelConfig> tunnels{{first, u"a"_s, {}, false}, {second, u"b"_s, {}, false}};
    QCOMPARE(LogRules::selectionOnAppear(std::nullopt, tunnels), std::optional(first));
    QCOMPARE(LogRules::selectionOnAppear(second, tunnels), std::optional(second));
    QCOMPARE(LogRules::selectionOnAppear(second, {}), std::optional(second));
    QCOMPARE(LogRules::selectionOnAppear(std::nullopt, {}), std::nullopt);
}

void TestLogLogic::steps_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<Step>("step");
    QTest::addColumn<QList<qsizetype>>("stops");

    QTest::newRow("ascii") << QByteArray("ab") << Step::Character << QList<qsizetype>{0, 1, 2};
    QTest::newRow("empty") << QByteArray() << Step::Character << QList<qsizetype>{0};
    QTest::newRow("umlaut as two characters")
        << QByteArray("au\u0308b") << Step::Character << QList<qsizetype>{0, 1, 4, 5};
    QTest::newRow("family emoji") << QByteArray("\U0001F468\u200D\U0001F469!") << Step::Character
                                  << QList<qsizetype>{0, 11, 12};
    QTest::newRow("byte order mark") << QByteArray("\uFEFFab") << Step::Character
                                     << QList<qsizetype>{0, 3, 4, 5};
    QTest::newRow("words") << QByteArray("  t INF  up") << Step::Word << QList<qsizetype>{0, 2, 4, 9, 11};
}

/// The same stops forward and backward, then on into the next line.
void TestLogLogic::steps()
{
    QFETCH(QByteArray, line);
    QFETCH(Step, step);
    QFETCH(QList<qsizetype>, stops);
    const LogBuffer log = logOf({line, "next"});

    QList<qsizetype> forward;
    LogPosition at = LogText::begin(log);
    for (; at.line == 0; at = LogText::next(log, at, step))
        forward += at.byte;
    QCOMPARE(forward, stops);
    QCOMPARE(at, (LogPosition{1, 0}));

    QList<qsizetype> backward;
    for (at = LogText::previous(log, at, step);; at = LogText::previous(log, at, step)) {
        backward.prepend(at.byte);
        if (at.byte == 0)
            break;
    }
    QCOMPARE(backward, stops);
}

void TestLogLogic::wordAt_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<qsizetype>("at");
    QTest::addColumn<QString>("word");

    const QByteArray line("INF caf\u00E9 \u4E2D connIndex=0");
    QTest::newRow("start") << line << qsizetype(0) << u"INF"_s;
    QTest::newRow("inside") << line << qsizetype(5) << u"caf\u00E9"_s;
    QTest::newRow("blank") << line << qsizetype(3) << u" "_s;
    QTest::newRow("end of line") << line << line.size() << u"0"_s;
    QTest::newRow("empty line") << QByteArray() << qsizetype(0) << QString();
}

void TestLogLogic::wordAt()
{
    QFETCH(QByteArray, line);
    QFETCH(qsizetype, at);
    const LogBuffer log = logOf({line});
    const auto [from, to] = LogText::wordAt(log, {0, at});
    QTEST(LogText::between(log, from, to), "word");
}

void TestLogLogic::textBetweenFollowsTheLog()
{
    LogBuffer log = logOf({"one", "tw\u00F6", "three"});
    QCOMPARE(LogText::between(log, {0, 1}, {2, 2}), u"ne\ntw\u00F6\nth"_s);
    QCOMPARE(LogText::between(log, LogText::begin(log), LogText::end(log)), log.text());
    QCOMPARE(LogText::clamped(log, {1, 3}), (LogPosition{1, 2})); // not inside a character

    appendLines(log, LogBuffer::capacity - 1); // the first two lines are gone
    QCOMPARE(LogText::between(log, {0, 1}, {2, 2}), u"th"_s);
    QCOMPARE(LogText::clamped(log, {0, 1}), (LogPosition{2, 0}));

    log.clear();
    QCOMPARE(LogText::between(log, {0, 0}, {9999, 9}), QString());
    QCOMPARE(LogText::next(log, {5, 0}, Step::Character), LogText::end(log));
}

void TestLogLogic::offsetsCountUtf16()
{
    const LogBuffer log = logOf({"a\U0001F600b", "", "\u00E9z"});
    const QString text = log.text();
    QCOMPARE(LogText::length(log), text.size());
    for (const QString &part : {u"b"_s, u"\u00E9"_s, u"z"_s}) {
        const LogPosition at = LogText::positionAt(log, text.indexOf(part));
        QCOMPARE(LogText::offsetOf(log, at), text.indexOf(part));
        QCOMPARE(LogText::between(log, at, LogText::next(log, at, Step::Character)), part);
    }
}

void TestLogLogic::longLinesAreCutBetweenCharacters_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("words") << QByteArray("some words and blanks ").repeated(2000);
    QTest::newRow("no blank") << QByteArray(20000, 'x');
    QTest::newRow("three bytes each") << QByteArray("\u4E2D").repeated(5000);
    QTest::newRow("clusters of 11 bytes") << QByteArray("\U0001F468\u200D\U0001F469").repeated(2000);
}

void TestLogLogic::longLinesAreCutBetweenCharacters()
{
    QFETCH(QByteArray, line);
    LogRows rows;
    rows.update(logOf({line, "end"}));
    QVERIFY(rows.size() > 2);
    QByteArray joined;
    for (qsizetype i = 0; i < rows.size() - 1; ++i) {
        const LogRows::Row &row = rows.at(i);
        QVERIFY(row.size <= LogRows::pieceSize);
        QCOMPARE(row.endsLine, i == rows.size() - 2);
        const QByteArray piece = line.mid(row.start.byte, row.size);
        QCOMPARE(QString::fromUtf8(piece).toUtf8(), piece);
        QVERIFY(!piece.startsWith("\u200D") && !piece.endsWith("\u200D"));
        joined += piece;
    }
    QCOMPARE(joined, line);
}

/// Goes to the newest line whenever the number of lines changes, wherever the reader was.
void TestLogLogic::followsTheEndUntilFull()
{
    LogBuffer log;
    View view;
    appendLines(log, 100);
    view.viewport.update(log);
    QVERIFY(view.viewport.isAtEnd());
    QCOMPARE(view.yOf(99), 100 - LogRows::padding - 10);

    view.viewport.scrollTo(300);
    view.viewport.update(log); // nothing new
    QCOMPARE(view.viewport.position(), 300);
    appendLines(log, 1);
    view.viewport.update(log);
    QCOMPARE(view.yOf(100), 100 - LogRows::padding - 10);
    QCOMPARE(view.viewport.position(), view.viewport.maximum());
}

/// In a full log the lines on screen stay where they are until they fall out; the end stays the end.
void TestLogLogic::readingStaysInPlaceWhenFull()
{
    LogBuffer log;
    View view;
    appendLines(log, LogBuffer::capacity);
    view.viewport.update(log);
    appendLines(log, 5);
    view.viewport.update(log);
    QVERIFY(view.yOf(log.endNumber() - 1));

    view.viewport.scrollTo(600);
    const auto y = view.yOf(58);
    QVERIFY(y);
    appendLines(log, 30, 35);
    view.viewport.update(log);
    QCOMPARE(view.yOf(58), y);
    appendLines(log, LogBuffer::capacity);
    view.viewport.update(log);
    QCOMPARE(view.viewport.position(), 0);
    QCOMPARE(view.yOf(log.firstNumber()), LogRows::padding);
}

/// Rows that are three times as high as expected come into view without a jump.
void TestLogLogic::wrongEstimatesDoNotMoveTheText()
{
    LogBuffer log;
    appendLines(log, 200);
    View view(3);
    view.viewport.update(log);
    for (int step = 0; step < 60; ++step) {
        const LogViewport::VisibleRow before = view.viewport.visibleRows().front();
        view.viewport.scrollBy(-7);
        QCOMPARE(view.yOf(view.viewport.rows().at(before.row).start.line), before.y + 7);
        QVERIFY(view.viewport.position() < view.viewport.maximum());
    }
    view.viewport.scrollTo(0);
    QCOMPARE(view.yOf(0), LogRows::padding);
    view.viewport.scrollTo(view.viewport.maximum());
    QVERIFY(view.viewport.isAtEnd());
}

void TestLogLogic::clearedLogStartsAnew()
{
    LogBuffer log;
    View view;
    appendLines(log, 100);
    view.viewport.update(log);
    log.clear();
    view.viewport.update(log);
    QCOMPARE(view.viewport.maximum(), 0);
    QVERIFY(view.viewport.visibleRows().empty());
    appendLines(log, 1);
    view.viewport.update(log);
    QCOMPARE(view.yOf(100), LogRows::padding);
}

void TestLogLogic::measuresOnlyWhatIsSeen()
{
    LogBuffer log;
    View view;
    appendLines(log, LogBuffer::capacity - 1);
    log.append(QByteArray(1 << 20, 'x'));
    view.viewport.update(log);
    view.viewport.scrollTo(view.viewport.maximum() / 2);
    QVERIFY2(view.measured < 40, QByteArray::number(view.measured));
}

void TestLogLogic::reveals()
{
    LogBuffer log;
    View view;
    appendLines(log, 100);
    view.viewport.update(log);
    view.viewport.reveal(50, 0, 10);
    QCOMPARE(view.yOf(50), 0); // from below: at the top
    view.viewport.reveal(52, 0, 10);
    QCOMPARE(view.yOf(50), 0); // seen already
    view.viewport.reveal(70, 0, 10);
    QCOMPARE(view.yOf(70), 90); // from above: at the bottom
    view.viewport.reveal(0, 0, 10);
    QCOMPARE(view.viewport.position(), 0);
    view.viewport.reveal(99, 0, 10);
    QVERIFY(view.viewport.isAtEnd());
}

/// Not even in a window that is lower than the padding above its first line.
void TestLogLogic::neverLacksARow()
{
    LogBuffer log;
    appendLines(log, 20);
    View view;
    view.viewport.setGeometry(LogRows::padding / 2, 10, 10);
    view.viewport.update(log);
    view.viewport.scrollTo(0);
    QCOMPARE(view.viewport.visibleRows().size(), size_t(1));
}

QTEST_GUILESS_MAIN(TestLogLogic)
#include "tst_loglogic.moc"
