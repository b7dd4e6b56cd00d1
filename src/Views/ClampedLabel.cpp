// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ClampedLabel.h"

#include "Text.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QTextLayout>
#include <QToolTip>

ClampedLabel::ClampedLabel(FontRole font, ColorRole color, int maximumLines, QWidget *parent)
    : TextLabel(font, color, parent)
    , m_maximumLines(maximumLines)
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize ClampedLabel::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(Text::oneLine(text())) + 1,
            fontMetrics().lineSpacing() * m_maximumLines};
}

QSize ClampedLabel::minimumSizeHint() const
{
    return {fontMetrics().horizontalAdvance(u'…'), sizeHint().height()};
}

QStringList ClampedLabel::lines() const
{
    const QString shown = Text::oneLine(text());
    QTextLayout layout(shown, font(), this);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    while (lines.size() < m_maximumLines) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(contentsRect().width());
        const QString rest = shown.sliced(line.textStart());
        const bool isCut = lines.size() + 1 == m_maximumLines && line.textLength() < rest.size();
        lines += isCut ? fontMetrics().elidedText(rest, Qt::ElideRight, contentsRect().width())
                       : rest.first(line.textLength());
    }
    layout.endLayout();
    return lines;
}

bool ClampedLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return TextLabel::event(event);
    const bool isCut = lines().join(QString()) != Text::oneLine(text());
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       isCut ? Text::toolTip(text()) : QString(), this);
    return true;
}

void ClampedLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), Qt::AlignLeading | Qt::AlignVCenter, palette(),
                          isEnabled(), lines().join(u'\n'), foregroundRole());
}
