// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FormScroller.h"

#include <QEvent>
#include <QLayout>
#include <QScrollBar>

#include <algorithm>

FormScroller::FormScroller(QWidget *form, QWidget *parent)
    : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus); // its fields take the focus
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(true);
    setWidget(form);
    form->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
}

QSize FormScroller::sizeHint() const
{
    const QSize least = widget()->minimumSizeHint(); // which the base never goes below
    return {minimumSizeHint().width(), std::max(least.height(), widget()->heightForWidth(least.width()))};
}

QSize FormScroller::minimumSizeHint() const
{
    const int width = widget()->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width();
    return {width, QScrollArea::minimumSizeHint().height()};
}

/// Tells the layout around of a form that needs another size: the base keeps that to itself.
bool FormScroller::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        updateGeometry();
    return QScrollArea::eventFilter(watched, event);
}

/// Lays the form out anew: a size that it gets while it is still told of an earlier one, as happens when it
/// is shown, does not reach its layout.
void FormScroller::showEvent(QShowEvent *event)
{
    QScrollArea::showEvent(event);
    widget()->layout()->invalidate();
    widget()->layout()->activate();
}

#include "moc_FormScroller.cpp"
