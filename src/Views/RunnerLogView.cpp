// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "RunnerLogView.h"

#include "Divider.h"
#include "OutputLine.h"
#include "SymbolDrawing.h"
#include "TextLabel.h"
#include "TunnelRunner.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QMimeData>
#include <QPlainTextDocumentLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QShowEvent>
#include <QTextBlock>
#include <QTextLayout>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int logPadding = 12;
constexpr int lineSpacing = 2;
constexpr int footerPadding = 10;
/// Time from a change until it is shown, with those that follow meanwhile. Showing each of thousands of lines
/// a second would take most of a processor.
constexpr auto waitForMore = 100ms;

/// Returns a line, cut where it is so long that Qt would break it for seconds: that time grows with the
/// square of the length.
QString shortened(const QString &line)
{
    constexpr qsizetype longest = 10'000;
    const qsizetype more = line.size() - longest;
    return more > 0 ? line.left(longest) + u"… %1 more characters, Copy has them"_s.arg(more) : line;
}

/// Returns a line as one paragraph of a document, which takes some characters for the end of one.
QString paragraph(QString line)
{
    for (const QChar end : {u'\r', u'\u2029', u'\uFDD0', u'\uFDD1'})
        line.replace(end, u' ');
    return line;
}

/// The line behind a paragraph that differs from it.
struct Line : QTextBlockUserData
{
    explicit Line(const QString &line)
        : text(line)
    {
    }
    QString text;
};

/// Leaves a gap between paragraphs, which the base class has no setting for, and none below the last: the
/// base class counts the margin there a second time where it limits the scrolling.
class SpacedLayout : public QPlainTextDocumentLayout
{
public:
    using QPlainTextDocumentLayout::QPlainTextDocumentLayout;

    QRectF blockBoundingRect(const QTextBlock &block) const override
    {
        const qreal below = block.next().isValid() ? lineSpacing : -document()->documentMargin();
        return QPlainTextDocumentLayout::blockBoundingRect(block).adjusted(0, 0, 0, below);
    }
};

} // namespace

/// Shows the lines of a log, each in its colour. Those that fall out of it move neither what is read nor what
/// is selected.
class LogText : public QPlainTextEdit
{
public:
    explicit LogText(QWidget *parent)
        : QPlainTextEdit(parent)
    {
        auto *document = new QTextDocument(this);
        document->setDocumentLayout(new SpacedLayout(document));
        document->setDocumentMargin(logPadding);
        document->setUndoRedoEnabled(false);
        setDocument(document);
        setFrameShape(NoFrame);
        setBackgroundRole(QPalette::Base); // above the viewport too
        setAutoFillBackground(true);
        applyFontRole(this, FontRole::Log);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        setAccessibleName(u"Log"_s);
    }

    /// Takes over what the log has gained and lost. Goes to its end when the number of lines has changed, and
    /// stays there.
    void follow(const LogBuffer &log)
    {
        const bool toEnd = isAtEnd() || m_end - m_first != quint64(log.size());
        if (log.firstNumber() >= m_end) {
            clear();
            add(log, log.firstNumber());
            moveCursor(QTextCursor::End);
        } else if (log.endNumber() > m_end) {
            replaceSome(log);
        }
        m_first = log.firstNumber();
        m_end = log.endNumber();
        if (toEnd)
            scrollToEnd();
    }
    void forget()
    {
        clear();
        m_first = m_end = 0;
    }
    /// Lets the last line stand at the bottom. The base scrolls so that a line begins at the top: what is
    /// left over is kept clear above it.
    void scrollToEnd()
    {
        setViewportMargins({});
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
        if (verticalScrollBar()->maximum() > 0)
            setViewportMargins(0, viewport()->height() - logPadding - endOfText(), 0, 0);
    }

protected:
    /// Returns the selected part of the lines as they came: a document has blanks in place of some
    /// characters.
    QMimeData *createMimeDataFromSelection() const override
    {
        const QTextCursor selection = textCursor();
        QStringList lines;
        QTextBlock block = document()->findBlock(selection.selectionStart());
        for (; block.isValid() && block.position() <= selection.selectionEnd(); block = block.next()) {
            const auto *line = static_cast<const Line *>(block.userData());
            const int from = std::max(selection.selectionStart() - block.position(), 0);
            lines += (line ? line->text : block.text())
                         .left(selection.selectionEnd() - block.position())
                         .mid(from);
        }
        auto *copied = new QMimeData;
        copied->setText(lines.join(u'\n'));
        return copied;
    }
    void changeEvent(QEvent *event) override
    {
        QPlainTextEdit::changeEvent(event);
        if (event->type() == QEvent::PaletteChange)
            color(document()->firstBlock());
        else if (event->type() == QEvent::FontChange)
            setTabStopDistance(8 * fontMetrics().horizontalAdvance(u' '));
    }
    bool event(QEvent *event) override
    {
        const bool staysAtEnd = event->type() == QEvent::Resize && isAtEnd();
        const bool isHandled = QPlainTextEdit::event(event);
        if (staysAtEnd)
            scrollToEnd();
        return isHandled;
    }

private:
    /// Returns the place in the viewport just below the last line; any place below the viewport for one that
    /// is far away.
    int endOfText() const
    {
        QTextCursor end(document());
        end.movePosition(QTextCursor::End);
        return cursorRect(end).bottom() + 1;
    }
    /// Allows for a pixel: rows need not be whole ones high.
    bool isAtEnd() const { return endOfText() <= viewport()->height() + 1; }

    /// Adds the lines from that number on; the document holds those before.
    void add(const LogBuffer &log, quint64 from)
    {
        QStringList lines;
        QStringList paragraphs;
        for (quint64 number = from; number < log.endNumber(); ++number) {
            lines += log.line(qsizetype(number - log.firstNumber()));
            paragraphs += paragraph(shortened(lines.last()));
        }
        appendPlainText(paragraphs.join(u'\n'));
        const QTextBlock first = document()->findBlockByNumber(int(from - log.firstNumber()));
        QTextBlock block = first;
        for (qsizetype i = 0; i < lines.size(); ++i, block = block.next()) {
            block.setUserState(int(OutputLine::color(lines[i])));
            if (const QString line = shortened(lines[i]); line != paragraphs[i])
                block.setUserData(new Line(line));
        }
        color(first);
    }

    /// Gives the paragraphs from that one on their colours, in the shades for this ground.
    void color(QTextBlock block)
    {
        QTextCursor change(document());
        change.beginEditBlock();
        for (; block.isValid(); block = block.next()) {
            if (block.userState() <= int(ColorRole::None))
                continue;
            QTextLayout::FormatRange whole{0, block.length(), {}};
            const auto role = ColorRole(block.userState());
            whole.format.setForeground(SymbolDrawing::color(role, palette(), QPalette::Base));
            block.layout()->setFormats({whole});
        }
        change.endEditBlock();
    }

    /// Lets the place move with the lines, and keeps a selection from growing with what is added behind it.
    void replaceSome(const LogBuffer &log)
    {
        const QTextBlock kept = document()->findBlockByNumber(int(log.firstNumber() - m_first));
        const QTextCursor top = cursorForPosition(QPoint());
        QTextCursor gone(document());
        gone.setPosition(kept.position(), QTextCursor::KeepAnchor);
        gone.removeSelectedText();
        QTextCursor selection = textCursor();
        const int anchor = selection.anchor();
        const int position = selection.position();
        add(log, m_end);
        if (anchor != position) {
            selection.setPosition(anchor);
            selection.setPosition(position, QTextCursor::KeepAnchor);
            setTextCursor(selection);
        }
        const QTextLine line = top.block().layout()->lineForTextPosition(top.positionInBlock());
        verticalScrollBar()->setValue(top.block().firstLineNumber() + line.lineNumber());
    }

    quint64 m_first = 0; ///< the numbers of the lines that are shown: from this one
    quint64 m_end = 0;   ///< up to, not including, this one
};

RunnerLogView::RunnerLogView(QWidget *parent)
    : QWidget(parent)
    , m_text(new LogText(this))
    , m_state(new ClampedLabel(FontRole::Caption, ColorRole::SecondaryLabel, 1, this))
{
    setFocusProxy(m_text);
    m_wait.setSingleShot(true);
    m_wait.setInterval(waitForMore);
    connect(&m_wait, &QTimer::timeout, this, &RunnerLogView::showLines);
    auto *copy = new QPushButton(u"&Copy"_s, this);
    auto *clear = new QPushButton(u"C&lear"_s, this);
    connect(copy, &QPushButton::clicked, this, [this] {
        if (m_runner)
            QGuiApplication::clipboard()->setText(m_runner->logLines().text());
    });
    connect(clear, &QPushButton::clicked, this, [this] {
        if (m_runner)
            m_runner->clearLog();
    });
    auto *foot = new QWidget(this); // so that the row has the style's spacing, not the column's
    auto *footer = new QHBoxLayout(foot);
    footer->setContentsMargins(footerPadding, footerPadding, footerPadding, footerPadding);
    footer->addWidget(m_state, 1);
    footer->addWidget(copy);
    footer->addWidget(clear);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_text, 1);
    column->addWidget(new Divider(QFrame::HLine, this));
    column->addWidget(foot);
}

void RunnerLogView::setRunner(TunnelRunner *runner)
{
    if (m_runner != runner) {
        if (m_runner)
            m_runner->disconnect(this);
        m_runner = runner;
        m_text->forget();
        showLines();
        if (runner)
            connect(runner, &TunnelRunner::logLinesChanged, this, [this] {
                if (!m_wait.isActive() && isOnScreen())
                    m_wait.start();
            });
    }
    m_state->setText(runner ? runner->state().label() : QString());
    m_state->setNote(runner ? runner->status().note() : QString());
}

void RunnerLogView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    showLines();
    if (!event->spontaneous())
        m_text->scrollToEnd();
}

/// Waits on while a mouse button is held: text that moved under it would change what is being selected.
void RunnerLogView::showLines()
{
    if (!m_runner || !isOnScreen())
        return;
    if (QGuiApplication::mouseButtons() != Qt::NoButton)
        return m_wait.start();
    m_wait.stop();
    m_text->follow(m_runner->logLines());
}

#include "moc_RunnerLogView.cpp"
