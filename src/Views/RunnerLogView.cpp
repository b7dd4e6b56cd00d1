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
#include <QPlainTextDocumentLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QShowEvent>
#include <QSyntaxHighlighter>
#include <QTextBlock>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int logPadding = 12;
constexpr int lineSpacing = 2;
constexpr int footerPadding = 10;
/// Time from a change until it is shown, with those that follow meanwhile. Showing each of thousands of lines
/// a second would take most of a processor.
constexpr auto waitForMore = 100ms;

/// Returns a line of a log as one paragraph of a document, which takes some characters for the end of one.
/// Cut where it is so long that Qt would break it for seconds: that time grows with the square of the length.
QString paragraph(QString line)
{
    constexpr qsizetype longest = 10'000;
    if (line.size() > longest)
        line = line.left(longest) + u'…';
    for (const QChar end : {u'\r', u'\u2029', u'\uFDD0', u'\uFDD1'})
        line.replace(end, u' ');
    return line;
}

/// Leaves a gap below each paragraph, which the base class has no setting for.
class SpacedLayout : public QPlainTextDocumentLayout
{
public:
    using QPlainTextDocumentLayout::QPlainTextDocumentLayout;

    QRectF blockBoundingRect(const QTextBlock &block) const override
    {
        return QPlainTextDocumentLayout::blockBoundingRect(block).adjusted(0, 0, 0, lineSpacing);
    }
};

/// Gives each line of a log its colour, in the shades for the ground of text fields.
class LogColors : public QSyntaxHighlighter
{
public:
    using QSyntaxHighlighter::QSyntaxHighlighter;

    void setPalette(const QPalette &palette)
    {
        m_palette = palette;
        rehighlight();
    }

protected:
    void highlightBlock(const QString &line) override
    {
        const ColorRole role = OutputLine::color(line);
        if (role != ColorRole::None)
            setFormat(0, int(line.size()), SymbolDrawing::color(role, m_palette, QPalette::Base));
    }

private:
    QPalette m_palette;
};

} // namespace

/// Shows the lines of a log. Those that fall out of it move neither what is read nor what is selected.
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
        m_colors = new LogColors(document);
        m_colors->setPalette(palette());
        setFrameShape(NoFrame);
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
            setPlainText(text(log, log.firstNumber()));
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
    void scrollToEnd() { verticalScrollBar()->setValue(verticalScrollBar()->maximum()); }

protected:
    void changeEvent(QEvent *event) override
    {
        QPlainTextEdit::changeEvent(event);
        if (event->type() == QEvent::PaletteChange)
            m_colors->setPalette(palette());
        else if (event->type() == QEvent::FontChange)
            setTabStopDistance(8 * fontMetrics().horizontalAdvance(u' '));
    }
    void resizeEvent(QResizeEvent *event) override
    {
        const bool wasAtEnd = isAtEnd();
        QPlainTextEdit::resizeEvent(event);
        if (wasAtEnd)
            scrollToEnd();
    }

private:
    bool isAtEnd() const { return verticalScrollBar()->value() == verticalScrollBar()->maximum(); }

    static QString text(const LogBuffer &log, quint64 from)
    {
        QStringList lines;
        for (quint64 number = from; number < log.endNumber(); ++number)
            lines += paragraph(log.line(qsizetype(number - log.firstNumber())));
        return lines.join(u'\n');
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
        appendPlainText(text(log, m_end));
        if (anchor != position) {
            selection.setPosition(anchor);
            selection.setPosition(position, QTextCursor::KeepAnchor);
            setTextCursor(selection);
        }
        const QTextLine line = top.block().layout()->lineForTextPosition(top.positionInBlock());
        verticalScrollBar()->setValue(top.block().firstLineNumber() + line.lineNumber());
    }

    LogColors *m_colors;
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
    auto *copy = new QPushButton(u"Copy"_s, this);
    auto *clear = new QPushButton(u"Clear"_s, this);
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
