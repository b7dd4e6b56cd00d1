// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "LogTextArea.h"
#include "LogView.h"
#include "SymbolDrawing.h"
#include "TunnelRunner.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class TestLogView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void emptyWithoutTunnels();
    void selectsTheFirstTunnelOnAppear();
    void keepsTheSelectionItWasGiven();
    void removedTunnelLeavesTheHeader();
    void pickerChoosesTheLog();
    void pickerFollowsTheTunnels();
    void footerFollowsTheState();
    void copyAndClear();

    void followsNewLinesOnceAFrame();
    void restsWhileHidden();
    void leavesTheOtherLogsAlone();
    void followsTheFont();
    void fullLogStaysInPlace();
    void selectsWithTheMouse();
    void selectsWithTheKeyboard_data();
    void selectsWithTheKeyboard();
    void movesThroughALongLine();
    void plainMovesStayOnScreen();
    void selectionFollowsTheLines();
    void everyLineCanBeShown();
    void wrapsToTheWidth();
    void isReadableForAssistiveTechnology();

private:
    TunnelConfig add(const QString &name) { return FakeWorld::addTunnel(*manager, name); }
    void show(std::optional<QUuid> selecting = std::nullopt);
    void write(const QByteArray &bytes) { world->launcher.last().write(bytes); }
    void writeNumbered(int count);
    TunnelRunner &runner() const { return *manager->runner(manager->tunnels().first().id); }
    LogTextArea *area() const { return view->findChild<LogTextArea *>(); }
    QComboBox *picker() const { return view->findChild<QComboBox *>(); }
    QPushButton *button(const QString &text) const;
    bool isShown(const QString &label) const;
    QString copied() const { return QGuiApplication::clipboard()->text(); }
    QPoint pointOf(LogPosition position) const { return area()->rectAt(position).center(); }
    bool endIsSeen() const { return !area()->rectAt(LogText::end(runner().logLines())).isEmpty(); }

    std::unique_ptr<FakeWorld> world;
    std::unique_ptr<TunnelManager> manager;
    std::unique_ptr<LogView> view;
};

void TestLogView::init()
{
    world = std::make_unique<FakeWorld>();
    manager = std::make_unique<TunnelManager>(world->services());
    QGuiApplication::clipboard()->clear();
}

void TestLogView::cleanup()
{
    view.reset();
    manager.reset();
    world.reset();
}

void TestLogView::show(std::optional<QUuid> selecting)
{
    view = std::make_unique<LogView>(*manager, selecting);
    view->resize(820, 480);
    view->show();
    QVERIFY(QTest::qWaitForWindowActive(view.get()));
}

void TestLogView::writeNumbered(int count)
{
    for (int i = 0; i < count; ++i)
        write("line " + QByteArray::number(i) + '\n');
}

QPushButton *TestLogView::button(const QString &text) const
{
    const QList<QPushButton *> all = view->findChildren<QPushButton *>();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](QPushButton *one) { return one->text() == text; });
    return found == all.end() ? nullptr : *found;
}

bool TestLogView::isShown(const QString &label) const
{
    const QList<QLabel *> all = view->findChildren<QLabel *>();
    return std::any_of(all.begin(), all.end(),
                       [&](QLabel *one) { return one->isVisible() && one->text() == label; });
}

void TestLogView::emptyWithoutTunnels()
{
    show();
    QVERIFY(isShown(u"No tunnels configured"_s));
    QVERIFY(!picker()->isVisible() && !area()->isVisible());
    QCOMPARE(view->minimumSize(), QSize(560, 320));

    // The first tunnel brings the header; nothing is chosen until the window appears again.
    add(u"a"_s);
    QTRY_VERIFY(picker()->isVisible());
    QVERIFY(!isShown(u"No tunnels configured"_s));
    QCOMPARE(picker()->currentIndex(), -1);
    QVERIFY(!area()->isVisible());
    view->hide();
    view->show();
    QCOMPARE(picker()->currentText(), u"a"_s);
    QVERIFY(area()->isVisible());
}

void TestLogView::selectsTheFirstTunnelOnAppear()
{
    for (const QString &name : {u"a"_s, u"b"_s, u"c"_s})
        add(name);
    show();
    QCOMPARE(view->selection(), std::optional(manager->tunnels()[0].id));
    QCOMPARE(picker()->count(), 3);
    QCOMPARE(picker()->currentText(), u"a"_s);
    QVERIFY(picker()->width() <= 280);
    QVERIFY(isShown(u"Stopped"_s));
}

void TestLogView::keepsTheSelectionItWasGiven()
{
    add(u"a"_s);
    const TunnelConfig second = add(u"b"_s);
    show(second.id);
    QCOMPARE(picker()->currentText(), u"b"_s);
}

void TestLogView::removedTunnelLeavesTheHeader()
{
    const TunnelConfig first = add(u"a"_s);
    add(u"b"_s);
    world->connect(*manager, first.id);
    show();
    manager->remove(first.id);
    QTRY_VERIFY(!area()->isVisible());
    QVERIFY(picker()->isVisible());
    QCOMPARE(picker()->currentIndex(), -1);
    QCOMPARE(picker()->count(), 1);
    write("INF late\n");
    world->launcher.last().end(0);
    QCOMPARE(view->selection(), std::optional(first.id));
}

void TestLogView::pickerChoosesTheLog()
{
    add(u"a"_s);
    const TunnelConfig second = add(u"b"_s);
    world->connect(*manager, second.id, 2);
    show();
    picker()->setFocus();
    QTest::keyClick(picker(), Qt::Key_Down);
    QCOMPARE(view->selection(), std::optional(second.id));
    QVERIFY(isShown(u"Connected (2 connections)"_s));
    QCOMPARE(area()->log(), &manager->runner(second.id)->logLines());
}

void TestLogView::pickerFollowsTheTunnels()
{
    TunnelConfig first = add(u"a"_s);
    add(u"b"_s);
    show();
    first.name = u"two\nlines"_s;
    manager->update(first, std::nullopt);
    QTRY_COMPARE(picker()->currentText(), u"two lines"_s);
    manager->moveTunnels({0}, 2);
    QTRY_COMPARE(picker()->itemText(0), u"b"_s);
    QCOMPARE(picker()->currentText(), u"two lines"_s);

    // One long name does not make the list as wide as the screen.
    first.name = QString(300, u'm') + u'&';
    manager->update(first, std::nullopt);
    QTRY_COMPARE(picker()->itemData(1, Qt::AccessibleTextRole).toString(), first.name);
    QCOMPARE(picker()->currentIndex(), 1);
    QVERIFY(picker()->itemData(1, Qt::ToolTipRole).toString().contains(u"mm&amp;"));
    QVERIFY(picker()->fontMetrics().horizontalAdvance(picker()->itemText(1)) <= 560);
    QVERIFY(picker()->itemText(1).endsWith(u'…'));
    QVERIFY(!picker()->itemData(0, Qt::ToolTipRole).isValid());
}

void TestLogView::footerFollowsTheState()
{
    const TunnelConfig tunnel = add(u"a"_s);
    show();
    QVERIFY(isShown(u"Stopped"_s));
    manager->start(tunnel.id);
    QVERIFY(isShown(u"Connecting…"_s));
    const int width = view->width();
    runner().fail(QString(2000, u'm'));
    QVERIFY(isShown(u"Error: "_s + QString(2000, u'm')));
    QCOMPARE(view->width(), width);
    QVERIFY(view->minimumSizeHint().width() <= 560);
}

void TestLogView::copyAndClear()
{
    const TunnelConfig tunnel = add(u"a"_s);
    manager->start(tunnel.id);
    runner().clearLog();
    write("a\nb\nc\n");
    show();
    QTest::mouseClick(button(u"Copy"_s), Qt::LeftButton);
    QCOMPARE(copied(), u"a\nb\nc"_s);
    QTest::mouseClick(button(u"Clear"_s), Qt::LeftButton);
    QVERIFY(runner().logLines().isEmpty());
    QTRY_VERIFY(!area()->canSelectAll());
    QVERIFY(runner().hasChild());
    QTest::mouseClick(button(u"Copy"_s), Qt::LeftButton);
    QCOMPARE(copied(), QString());
    write("d\n");
    QTRY_VERIFY(area()->canSelectAll());
    QTest::mouseClick(button(u"Copy"_s), Qt::LeftButton);
    QCOMPARE(copied(), u"d"_s);
}

/// Wherever the reader was, a new line brings the end into view, and many new lines cost one update.
void TestLogView::followsNewLinesOnceAFrame()
{
    world->connect(*manager, add(u"a"_s).id);
    show();
    writeNumbered(300);
    QTRY_VERIFY(endIsSeen());
    area()->verticalScrollBar()->setValue(40);
    QVERIFY(!endIsSeen());
    QSignalSpy moves(area()->verticalScrollBar(), &QScrollBar::rangeChanged);
    writeNumbered(300);
    QCOMPARE(area()->verticalScrollBar()->value(), 40);
    QTRY_VERIFY(endIsSeen());
    QCOMPARE(area()->verticalScrollBar()->value(), area()->verticalScrollBar()->maximum());
}

/// Whether closed or minimised: no timer runs, no row is made, and what was missed is there at the return.
void TestLogView::restsWhileHidden()
{
    world->connect(*manager, add(u"a"_s).id);
    show();
    auto *frame = area()->findChild<QTimer *>();
    QVERIFY(frame);
    view->hide();
    writeNumbered(300);
    QVERIFY(!frame->isActive());
    QCOMPARE(area()->verticalScrollBar()->maximum(), 0);
    view->show();
    QVERIFY(endIsSeen());

    QVERIFY(QTest::qWaitForWindowExposed(view.get()));
    view->showMinimized();
    QTRY_VERIFY(view->isMinimized());
    const int maximum = area()->verticalScrollBar()->maximum();
    writeNumbered(300);
    QVERIFY(!frame->isActive());
    QCOMPARE(area()->verticalScrollBar()->maximum(), maximum);
    view->showNormal();
    QTRY_VERIFY(area()->verticalScrollBar()->maximum() > maximum);
    QVERIFY(endIsSeen());
    QTRY_VERIFY(!frame->isActive());
}

/// Neither the colours nor the changes of a log that was looked at before.
void TestLogView::leavesTheOtherLogsAlone()
{
    const TunnelConfig first = add(u"a"_s);
    const TunnelConfig second = add(u"b"_s);
    const auto written = [this](const TunnelConfig &tunnel,
                                const QByteArray &line) -> FakeChildLauncher::Child & {
        FakeChildLauncher::Child &child = world->connect(*manager, tunnel.id);
        manager->runner(tunnel.id)->clearLog();
        child.write(line);
        return child;
    };
    FakeChildLauncher::Child &hidden = written(first, "t ERR mmm\n");
    written(second, "t INF mmm\n");
    const auto isRedSeen = [this] {
        const QColor red = SymbolDrawing::color(ColorRole::Red, area()->palette());
        const QImage image = area()->viewport()->grab().toImage();
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (qAbs(image.pixelColor(x, y).red() - red.red()) < 8 && image.pixelColor(x, y).blue() < 96)
                    return true;
            }
        }
        return false;
    };
    show(first.id);
    QVERIFY(isRedSeen());
    picker()->setCurrentIndex(1);
    Q_EMIT picker()->activated(1);
    QCOMPARE(view->selection(), std::optional(second.id));
    QVERIFY(!isRedSeen());

    const auto *frame = area()->findChild<QTimer *>();
    QTRY_VERIFY(!frame->isActive());
    hidden.write("more\n");
    QVERIFY(!frame->isActive());
}

/// A larger font of the desktop makes the window's texts larger, not the log's, which has a size of its own.
void TestLogView::followsTheFont()
{
    const TunnelConfig tunnel = add(u"a"_s);
    manager->start(tunnel.id);
    show();
    const QFont before = QApplication::font();
    const auto stateHeight = [this] {
        const QList<QLabel *> labels = view->findChildren<QLabel *>();
        for (const QLabel *label : labels) {
            if (label->text() == u"Connecting…")
                return label->fontMetrics().height();
        }
        return 0;
    };
    const int height = stateHeight();
    const int line = area()->rectAt(LogText::begin(runner().logLines())).height();
    QFont large = before;
    large.setPointSizeF(before.pointSizeF() * 2);
    QApplication::setFont(large);
    QTRY_VERIFY(stateHeight() > height * 3 / 2);
    QCOMPARE(area()->rectAt(LogText::begin(runner().logLines())).height(), line);
    QApplication::setFont(before);
}

/// Lines that fall out of a full log move neither what is read further down nor the bar at the end.
void TestLogView::fullLogStaysInPlace()
{
    world->connect(*manager, add(u"a"_s).id);
    writeNumbered(int(LogBuffer::capacity));
    show();
    QScrollBar *bar = area()->verticalScrollBar();
    QCOMPARE(bar->value(), bar->maximum());

    bar->setValue(bar->maximum() / 2);
    const LogPosition read = area()->positionAt({20, 100});
    const QRect place = area()->rectAt(read);
    const LogPosition newest = LogText::end(runner().logLines());
    writeNumbered(25);
    QTRY_VERIFY(LogText::end(runner().logLines()) > newest);
    QTRY_VERIFY(bar->value() < bar->maximum() / 2);
    QCOMPARE(area()->rectAt(read), place);
}

void TestLogView::selectsWithTheMouse()
{
    world->connect(*manager, add(u"a"_s).id);
    runner().clearLog();
    write("first line\nsecond word here\nthird\n");
    show();
    QWidget *pane = area()->viewport();
    const quint64 first = runner().logLines().firstNumber();

    QTest::mousePress(pane, Qt::LeftButton, {}, pointOf({first, 6}));
    QTest::mouseMove(pane, pointOf({first + 2, 2}));
    QTest::mouseRelease(pane, Qt::LeftButton, {}, pointOf({first + 2, 2}));
    QCOMPARE(area()->selectedText(), u"line\nsecond word here\nth"_s);
    QTest::keyClick(area(), Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(copied(), u"line\nsecond word here\nth"_s);

    QTest::mouseClick(pane, Qt::LeftButton, Qt::ShiftModifier, pointOf({first, 8}));
    QCOMPARE(area()->selectedText(), u"li"_s);

    const QPoint word = pointOf({first + 1, 9});
    QTest::mouseClick(pane, Qt::LeftButton, {}, word);
    QVERIFY(!area()->hasSelection());
    QTest::mouseDClick(pane, Qt::LeftButton, {}, word);
    QCOMPARE(area()->selectedText(), u"word"_s);
    QTest::mousePress(pane, Qt::LeftButton, {}, word);
    QCOMPARE(area()->selectedText(), u"second word here"_s);
    QTest::mouseMove(pane, pointOf({first, 3}));
    QTest::mouseRelease(pane, Qt::LeftButton, {}, pointOf({first, 3}));
    QCOMPARE(area()->selectedText(), u"first line\nsecond word here"_s);
}

void TestLogView::selectsWithTheKeyboard_data()
{
    using Keys = QList<QKeyCombination>;
    QTest::addColumn<Keys>("keys");
    QTest::addColumn<QString>("selected");

    const auto ctrlShift = Qt::ControlModifier | Qt::ShiftModifier;
    const QKeyCombination home = Qt::CTRL | Qt::Key_Home;
    QTest::newRow("characters") << Keys{home, Qt::SHIFT | Qt::Key_Right, Qt::SHIFT | Qt::Key_Right}
                                << u"fi"_s;
    QTest::newRow("back again") << Keys{home, Qt::SHIFT | Qt::Key_Right, Qt::SHIFT | Qt::Key_Left}
                                << QString();
    QTest::newRow("line and on") << Keys{home, Qt::SHIFT | Qt::Key_End, Qt::SHIFT | Qt::Key_Right}
                                 << u"first line\n"_s;
    QTest::newRow("down") << Keys{home, Qt::Key_Right, Qt::SHIFT | Qt::Key_Down} << u"irst line\ns"_s;
    QTest::newRow("column survives a short line")
        << Keys{home, Qt::Key_End, Qt::SHIFT | Qt::Key_Down, Qt::SHIFT | Qt::Key_Down}
        << u"\nsmall\nthird line"_s;
    QTest::newRow("word") << Keys{home, QKeyCombination(ctrlShift, Qt::Key_Right)} << u"first "_s;
    QTest::newRow("to the end") << Keys{home, Qt::Key_Down, QKeyCombination(ctrlShift, Qt::Key_End)}
                                << u"small\nthird line"_s;
    QTest::newRow("up from the end") << Keys{Qt::CTRL | Qt::Key_End, Qt::SHIFT | Qt::Key_Home,
                                             Qt::SHIFT | Qt::Key_Up}
                                     << u"small\nthird line"_s;
    QTest::newRow("page") << Keys{home, Qt::SHIFT | Qt::Key_PageDown} << u"first line\nsmall\nthird line"_s;
    QTest::newRow("all") << Keys{Qt::CTRL | Qt::Key_A} << u"first line\nsmall\nthird line"_s;
}

void TestLogView::selectsWithTheKeyboard()
{
    QFETCH(QList<QKeyCombination>, keys);
    world->connect(*manager, add(u"a"_s).id);
    runner().clearLog();
    write("first line\nsmall\nthird line\n");
    show();
    area()->setFocus();
    for (const QKeyCombination &key : keys)
        QTest::keyClick(area(), key.key(), key.keyboardModifiers());
    QTEST(area()->selectedText(), "selected");
}

/// Also where the line is laid out in pieces.
void TestLogView::movesThroughALongLine()
{
    world->connect(*manager, add(u"a"_s).id);
    runner().clearLog();
    write(QByteArray(10'000, 'x') + "\n");
    show();
    area()->setFocus();
    QTest::keyClick(area(), Qt::Key_End, Qt::ControlModifier);
    QTest::keyClick(area(), Qt::Key_Left);
    LogPosition before = *area()->cursor();
    const LogPosition begin = LogText::begin(runner().logLines());
    while (before != begin) {
        const int top = area()->rectAt(before).top();
        QTest::keyClick(area(), Qt::Key_Home);
        QCOMPARE(area()->rectAt(*area()->cursor()).top(), top);
        QTest::keyClick(area(), Qt::Key_End);
        QCOMPARE(area()->rectAt(*area()->cursor()).top(), top);
        QTest::keyClick(area(), Qt::Key_Up);
        QVERIFY(*area()->cursor() < before);
        before = *area()->cursor();
    }
}

/// A reader who scrolled away from the cursor is not taken back to it.
void TestLogView::plainMovesStayOnScreen()
{
    world->connect(*manager, add(u"a"_s).id);
    writeNumbered(1000);
    show();
    QScrollBar *bar = area()->verticalScrollBar();
    QTRY_VERIFY(area()->hasFocus()); // nobody put it there
    const auto twoPagesUp = [this] { // one may end on the first line that is seen
        QTest::keyClick(area(), Qt::Key_PageUp);
        QTest::keyClick(area(), Qt::Key_PageUp);
    };
    twoPagesUp();
    QVERIFY(bar->value() < bar->maximum());
    QTest::keyClick(area(), Qt::Key_End, Qt::ControlModifier);
    QVERIFY(endIsSeen());
    bar->setValue(bar->maximum() / 2);
    const int before = bar->value();
    QTest::keyClick(area(), Qt::Key_Up);
    QVERIFY(qAbs(bar->value() - before) <= area()->viewport()->height());
    twoPagesUp();
    QVERIFY(bar->value() < before);
}

/// The same text stays selected while lines come, until it falls out of the log.
void TestLogView::selectionFollowsTheLines()
{
    world->connect(*manager, add(u"a"_s).id);
    runner().clearLog();
    writeNumbered(int(LogBuffer::capacity));
    show();
    const quint64 first = runner().logLines().firstNumber();
    area()->select({first + 4, 5}, {first + 6, 3});
    QCOMPARE(area()->selectedText(), u"4\nline 5\nlin"_s);
    writeNumbered(5);
    QTRY_COMPARE(area()->selectedText(), u"line 5\nlin"_s);
    QTRY_COMPARE(area()->selection().first, LogText::begin(runner().logLines()));
    writeNumbered(5);
    QTRY_VERIFY(!area()->hasSelection());
}

/// Text of all kinds comes on screen, can be selected, and is copied as it was written.
void TestLogView::everyLineCanBeShown()
{
    const QByteArrayList lines{
        QByteArray(1 << 20, 'x'),
        "tab\tseparated\ttext\r",
        "\u5BBD\u5B57\u7B26 \U0001F468\u200D\U0001F469\u200D\U0001F467 e\u0301",
        "\u05E9\u05DC\u05D5\u05DD bidi 123 \u0645\u0631\u062D\u0628\u0627",
        "\x1b[31mcontrol\x01\x7f",
        "one\u2028two",
        QByteArray("word ").repeated(200000),
    };
    world->connect(*manager, add(u"a"_s).id);
    runner().clearLog();
    for (const QByteArray &line : lines)
        write(line + '\n');
    show();
    QScrollBar *bar = area()->verticalScrollBar();
    for (const int value : {0, bar->maximum() / 3, bar->maximum() / 2, bar->maximum()}) {
        bar->setValue(value);
        QVERIFY(!view->grab().isNull());
    }
    area()->setFocus();
    QTest::keyClick(area(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(area()->selectedText(), QString::fromUtf8(lines.join('\n')));
}

void TestLogView::wrapsToTheWidth()
{
    world->connect(*manager, add(u"a"_s).id);
    runner().clearLog();
    write(QByteArray("word ").repeated(100) + "\nnext\n");
    show();
    const quint64 first = runner().logLines().firstNumber();
    const int wide = area()->rectAt({first + 1, 0}).top();
    QCOMPARE(area()->rectAt({first, 0}).topLeft(), QPoint(12, 12));
    view->resize(560, 480);
    QTRY_VERIFY(area()->rectAt({first + 1, 0}).top() > wide);
    QVERIFY(area()->rectAt({first, 500}).right() < area()->viewport()->width());
}

void TestLogView::isReadableForAssistiveTechnology()
{
    world->connect(*manager, add(u"a"_s).id);
    runner().clearLog();
    write("first\n\U0001F600 second\n");
    show();
    // On this desktop a choice has its value for a name, and is known by the label before it.
    const auto labels = QAccessible::queryAccessibleInterface(picker())->relations(QAccessible::Label);
    QCOMPARE(labels.size(), 1);
    QCOMPARE(labels.first().first->text(QAccessible::Name), u"Tunnel"_s);
    QAccessibleInterface *log = QAccessible::queryAccessibleInterface(area());
    QCOMPARE(log->text(QAccessible::Name), u"Log"_s);
    QVERIFY(log->state().readOnly && log->state().multiLine && log->state().focusable);
    QAccessibleTextInterface *text = log->textInterface();
    QVERIFY(text);
    const QString whole = u"first\n\U0001F600 second"_s;
    QCOMPARE(text->text(0, text->characterCount()), whole);
    int start = 0;
    int end = 0;
    QCOMPARE(text->textAtOffset(8, QAccessible::LineBoundary, &start, &end), u"\U0001F600 second"_s);
    const int word = int(whole.indexOf(u"second"_s));
    text->setSelection(0, word, word + 3);
    QCOMPARE(area()->selectedText(), u"sec"_s);
    QCOMPARE(text->cursorPosition(), word + 3);
    QCOMPARE(text->offsetAtPoint(text->characterRect(word).center()), word);
}

QTEST_MAIN(TestLogView)
#include "tst_logview.moc"
