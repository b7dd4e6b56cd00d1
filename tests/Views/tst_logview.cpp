// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "LogView.h"
#include "Pictures.h"
#include "RunnerLogView.h"
#include "ShownWidgets.h"
#include "SymbolDrawing.h"
#include "TunnelRunner.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextDocumentFragment>
#include <QTimer>

using namespace Qt::StringLiterals;
using Pictures::difference;

class TestLogView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        view.reset();
        manager.reset();
        world.emplace();
        manager.emplace(world->services());
    }

    void showsTheChosenTunnel()
    {
        show();
        NO_FAULT(difference(picture(), u"No tunnels configured"_s));
        const QUuid a = add(u"a"_s).id;
        NO_FAULT(waitFor(u"a"_s));
        view->hide();
        view->show();
        NO_FAULT(difference(picture(), u">a, Stopped, []"_s));
        manager->start(a);
        write("x ERR why\n");
        TunnelConfig b = add(u"b"_s);
        world->connect(*manager, b.id, 2);
        write("INF here\n");
        NO_FAULT(waitFor(u">a, b, Connecting…Last error: why, [x ERR why]"_s));
        picker()->setFocus();
        QTest::keyClick(picker(), Qt::Key_Down);
        NO_FAULT(difference(picture(), u"a, >b, Connected (2 connections), [INF here]"_s));
        QTest::keyClick(picker(), Qt::Key_Up); // to a shorter log
        NO_FAULT(difference(picture(), u">a, b, Connecting…Last error: why, [x ERR why]"_s));
        QTest::keyClick(picker(), Qt::Key_Down);
        text()->setFocus();
        QWheelEvent wheel({5, 5}, picker()->mapToGlobal(QPointF(5, 5)), {}, {0, 120}, {}, {}, {}, false);
        QCoreApplication::sendEvent(picker(), &wheel); // meant for the log, or for nothing
        NO_FAULT(difference(picture(), u"a, >b, Connected (2 connections), [INF here]"_s));
        NO_FAULT(ShownWidgets::unclearPiece(*view));
        const int width = view->width();
        write("INF there\n");
        manager->runner(b.id)->fail(QString(2000, u'm'));
        b.name = u"two\nlines"_s;
        manager->update(b, std::nullopt);
        manager->moveTunnels({1}, 0);
        NO_FAULT(waitFor(u">two lines, a, Error: "_s + QString(2000, u'm') + u", [\u2716\uFE0E "_s +
                         QString(2000, u'm') + u']'));
        QCOMPARE(view->width(), width);
        manager->remove(b.id);
        NO_FAULT(waitFor(u"a"_s));
        QVERIFY(picker()->geometry().bottom() < 100); // the row stays at the top
        write("INF late\n");
        world->launcher.last().end(0);
        QCOMPARE(view->selection(), std::optional(b.id));
    }

    void longNamesAreCut()
    {
        add(u"a"_s);
        const TunnelConfig tunnel = add(QString(300, u'm') + u'&');
        show(tunnel.id);
        QVERIFY(picker()->currentText().endsWith(u'…'));
        QCOMPARE(picker()->currentData(Qt::AccessibleTextRole).toString(), tunnel.name);
        QVERIFY(picker()->toolTip().contains(u"mm&amp;"));
        QCOMPARE(picker()->width(), 280);
        const qsizetype length = picker()->currentText().size();
        const QFont usual = QApplication::font();
        QFont large = usual;
        large.setPointSize(30);
        QApplication::setFont(large);
        QTRY_VERIFY(picker()->currentText().size() < length && text()->font().pixelSize() > 20);
        QApplication::setFont(usual);
        QTest::keyClick(picker(), Qt::Key_Up);
        QCOMPARE(picker()->toolTip(), QString());
    }

    void linesHaveTheirColors_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<ColorRole>("role");

        const auto row = [](const char *fault, const QByteArray &line, ColorRole role) {
            QTest::newRow(fault) << line << role;
        };
        row("error not red", "t ERR broken", ColorRole::Red);
        row("our own mark not red", "\u2716\uFE0E cloudflared exited", ColorRole::Red);
        row("less than the worst level", "t WRN then ERR ", ColorRole::Red);
        row("warning green for its words", "t WRN Registered tunnel connection", ColorRole::Orange);
        row("registration not green", "t INF Registered tunnel connection connIndex=0", ColorRole::Green);
        row("level far behind missed", QByteArray(20'000, 'x') + " ERR broken", ColorRole::Red);
        row("level without a time", "ERR broken", ColorRole::None);
        row("level between returns", "t\rERR\rbroken", ColorRole::None);
        row("mark without its selector", "\u2716 broken", ColorRole::None);
        row("mark after a blank", " \u2716\uFE0E", ColorRole::None);
    }
    /// Also after the desktop has changed from light to dark.
    void linesHaveTheirColors()
    {
        QFETCH(QByteArray, line);
        QFETCH(ColorRole, role);
        showLog(line + '\n');
        for (const Qt::GlobalColor ground : {Qt::white, Qt::black}) {
            QPalette palette(ground);
            palette.setColor(QPalette::Base, ground);
            view->setPalette(palette);
            const QBrush seen = block(0).layout()->formats().value(0).format.foreground();
            const QBrush wanted(SymbolDrawing::color(role, palette, QPalette::Base));
            QCOMPARE(seen.color(), role == ColorRole::None ? QBrush().color() : wanted.color());
        }
    }

    void followsTheEnd()
    {
        showLog(numbered(300));
        QCOMPARE(place(), u"line 299, at the end"_s);
        bar()->setValue(40);
        write("more\n");
        QCOMPARE(bar()->value(), 40); // many changes are shown together
        QTRY_COMPARE(place(), u"more, at the end"_s);
        view->resize(560, 320);
        QTRY_COMPARE(place(), u"more, at the end"_s);
        write(numbered(int(LogBuffer::capacity)));
        QTRY_COMPARE(place(), u"line 1999, at the end"_s);
        write(QByteArray("word ").repeated(500) + "end\n"); // from here on the number of lines stays
        QTRY_COMPARE(place(), u"word end, at the end"_s);
        QVERIFY(bar()->maximum() > int(LogBuffer::capacity) - 10);
        bar()->setValue(40);
        QTest::keyClick(text(), Qt::Key_End, Qt::ControlModifier);
        write("new\n");
        QTRY_COMPARE(place(), u"new, at the end"_s);
    }

    /// In a full log, the lines that are read and those that are selected stay, until they fall out of it.
    void fullLogStaysInPlace()
    {
        const QByteArray wrapped = QByteArray(" and more words").repeated(20);
        showLog(numbered(int(LogBuffer::capacity), wrapped));
        QTextCursor cursor = text()->textCursor();
        cursor.setPosition(block(4).position() + 5);
        cursor.setPosition(block(6).position() + 6, QTextCursor::KeepAnchor);
        text()->setTextCursor(cursor);
        bar()->setValue(bar()->maximum() / 2);
        QVERIFY(selected().endsWith(u"\nline 6"));
        const QString read = lineAtTop();
        for (const QString &begin : {u"4 and "_s, u"line 5"_s, u"line 6"_s, u""_s}) {
            QTRY_COMPARE(selected().left(6), begin);
            QCOMPARE(lineAtTop(), read);
            QCOMPARE(text()->blockCount(), int(LogBuffer::capacity));
            write(numbered(begin.startsWith(u'4') ? 5 : 1, wrapped));
        }
    }

    void nothingMovesWhileAButtonIsHeld()
    {
        showLog(numbered(300));
        bar()->setValue(40);
        const QPoint start = text()->viewport()->mapTo(&*view, QPoint(20, 60));
        QWindow *window = view->windowHandle();
        QTest::mousePress(window, Qt::LeftButton, {}, start);
        QTest::mouseMove(window, start + QPoint(0, 60));
        const QString before = selected();
        QVERIFY(!before.isEmpty());
        write("more\n");
        QVERIFY(QSignalSpy(&timer(), &QTimer::timeout).wait()); // that changes are held back for
        QCOMPARE(bar()->value(), 40);
        QCOMPARE(place(), u"line 299"_s);
        QTest::mouseRelease(window, Qt::LeftButton, {}, start + QPoint(0, 60));
        QTRY_COMPARE(place(), u"more, at the end"_s);
        QCOMPARE(selected(), before);
        QTest::keyClick(text(), Qt::Key_A, Qt::ControlModifier);
        write("still more\n"); // a selection does not grow with it
        QTRY_COMPARE(place(), u"still more, at the end"_s);
        QVERIFY(selected().endsWith(u"\nmore"));
    }

    /// Closed or minimised, no timer runs and no text is made; what was missed is there at the return.
    void restsWhileHidden()
    {
        showLog("first\n");
        view->hide();
        write(numbered(300));
        QVERIFY(endOfText() == u"first" && !timer().isActive());
        view->show();
        QCOMPARE(place(), u"line 299, at the end"_s);
        view->showMinimized();
        QTRY_VERIFY(view->isMinimized());
        write("more\n");
        QVERIFY(endOfText() == u"line 299" && !timer().isActive());
        view->showNormal();
        QTRY_COMPARE(place(), u"more, at the end"_s);
        bar()->setValue(0);
        view->hide();
        view->show();
        QCOMPARE(place(), u"more, at the end"_s);
    }

    /// One line is one paragraph, whatever it holds; "Copy" gives it as it was written.
    void showsCopiesAndClearsAnyLine()
    {
        const QByteArrayList lines{QByteArray(1 << 20, 'x'), "tab\tseparated\ttext\r",
                                   "one\rtwo\u2028three\u2029four\uFDD0five", "\x1b[31mcontrol\x01\x7f",
                                   "\u05E9\u05DC\u05D5\u05DD \U0001F468\u200D\U0001F469"};
        showLog(lines.join('\n') + '\n');
        QCOMPARE(text()->blockCount(), int(lines.size()));
        const QString rest = u"… 1038576 more characters, Copy has them"_s;
        QVERIFY(block(0).text().startsWith(QString(1000, u'x')) && block(0).text().endsWith(rest));
        text()->selectAll();
        QTest::keyClick(text(), Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(),
                 QString(10'000, u'x') + rest + u'\n' + QString::fromUtf8(lines.mid(1).join('\n')));
        click(u"Copy"_s);
        QVERIFY(QGuiApplication::clipboard()->text() == QString::fromUtf8(lines.join('\n')));
        click(u"Clear"_s);
        QVERIFY(runner().logLines().isEmpty());
        QTRY_VERIFY(text()->document()->isEmpty());
        write("next\n");
        QTRY_COMPARE(text()->toPlainText(), u"next"_s);
    }

    /// A long line goes on below, with ink in each of its rows and none at the edges.
    void longLinesWrap()
    {
        showLog(QByteArray("WORD ").repeated(100) + '\n');
        const QTextLayout &layout = *block(0).layout();
        QVERIFY(layout.lineCount() > 2);
        QWidget &area = *text()->viewport();
        for (int i = 0; i < layout.lineCount(); ++i) {
            const QRect row = layout.lineAt(i).naturalTextRect().toRect().translated(0, 12);
            QVERIFY(ShownWidgets::hasInk(area, row));
        }
        for (const QRect &edge : {QRect(0, 0, area.width(), 12), QRect(0, 0, 12, area.height()),
                                  QRect(area.width() - 12, 0, 12, area.height())})
            QVERIFY(!ShownWidgets::hasInk(area, edge));
    }

    void hasNamesKeysAndAMenu()
    {
        showLog("first\nsecond\n");
        // On this desktop a choice has its value for a name, and is known by the label before it.
        const auto labels = QAccessible::queryAccessibleInterface(picker())->relations(QAccessible::Label);
        QCOMPARE(labels.value(0).first->text(QAccessible::Name), u"Tunnel"_s);
        const QAccessibleInterface *log = QAccessible::queryAccessibleInterface(text());
        QVERIFY(log->text(QAccessible::Name) == u"Log" && log->state().readOnly && log->state().focusable);

        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(20, 20), view->mapToGlobal(QPoint(20, 20)));
        QCoreApplication::sendEvent(text()->viewport(), &event);
        QWidget *menu = QApplication::activePopupWidget();
        QVERIFY(menu);
        menu->actions().last()->trigger();
        menu->close();
        QTest::keyClick(view->windowHandle(), Qt::Key_C, Qt::ControlModifier); // the log has the keyboard
        QCOMPARE(QGuiApplication::clipboard()->text(), u"first\nsecond"_s);
    }

private:
    TunnelConfig add(const QString &name) { return FakeWorld::addTunnel(*manager, name); }
    void show(std::optional<QUuid> selecting = std::nullopt)
    {
        view.emplace(*manager, selecting);
        view->resize(820, 480);
        view->show();
        QVERIFY(QTest::qWaitForWindowActive(&*view));
    }
    void write(const QByteArray &bytes) { world->launcher.last().write(bytes); }
    /// A tunnel whose log holds these lines.
    void showLog(const QByteArray &lines)
    {
        manager->start(add(u"a"_s).id);
        runner().clearLog();
        write(lines);
        show();
    }
    static QByteArray numbered(int count, const QByteArray &tail = {})
    {
        QByteArray lines;
        for (int i = 0; i < count; ++i)
            lines += "line " + QByteArray::number(i) + tail + '\n';
        return lines;
    }
    TunnelRunner &runner() const { return *manager->runner(manager->tunnels().first().id); }
    QPlainTextEdit *text() const { return view->findChild<QPlainTextEdit *>(); }
    /// What runs from a change until it is shown.
    const QTimer &timer() const { return *view->findChild<RunnerLogView *>()->findChild<QTimer *>(); }
    QScrollBar *bar() const { return text()->verticalScrollBar(); }
    QComboBox *picker() const { return view->findChild<QComboBox *>(); }
    void click(const QString &button) const
    {
        QTest::mouseClick(ShownWidgets::get<QPushButton>(*view, button), Qt::LeftButton);
    }
    /// Returns the picture of the window: the tunnels, the other texts, and the last line of the log.
    QString picture() const
    {
        QStringList pieces;
        for (int i = 0; i < picker()->count() && picker()->isVisible(); ++i)
            pieces += (i == picker()->currentIndex() ? u">"_s : QString()) + picker()->itemText(i);
        for (const auto *label : view->findChildren<QLabel *>()) {
            if (label->isVisible() && !label->buddy())
                pieces += label->text() + label->accessibleDescription();
        }
        if (text()->isVisible())
            pieces += u'[' + endOfText() + u']';
        return pieces.join(u", "_s);
    }
    QString waitFor(const QString &wanted) const
    {
        return Pictures::waitFor([this] { return picture(); }, wanted);
    }

    QTextBlock block(int line) const { return text()->document()->findBlockByNumber(line); }
    QString endOfText() const { return text()->document()->lastBlock().text(); }
    QString lineAtTop() const { return text()->cursorForPosition(QPoint(20, 2)).block().text(); }
    /// Returns the last words of the log, and whether the view stands at them: nothing but the padding below.
    QString place() const
    {
        QTextCursor end = text()->textCursor();
        end.movePosition(QTextCursor::End);
        const int below = text()->viewport()->height() - text()->cursorRect(end).bottom();
        const bool isAtEnd = below >= 12 && below <= 14;
        return endOfText().section(u' ', -2) + (isAtEnd ? u", at the end"_s : QString());
    }
    QString selected() const { return text()->textCursor().selection().toPlainText(); }

    std::optional<FakeWorld> world;
    std::optional<TunnelManager> manager;
    std::optional<LogView> view;
};

QTEST_MAIN(TestLogView)
#include "tst_logview.moc"
