// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Form.h"

#include <QEvent>
#include <QLayout>
#include <QScrollBar>
#include <QShortcut>

#include <limits>

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

QSize FormScroller::minimumSizeHint() const
{
    const int width = widget()->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width();
    return {width, QScrollArea::minimumSizeHint().height()};
}

/// The base watches the form for its own sake; the layout around has to know as well.
bool FormScroller::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        updateGeometry();
    return QScrollArea::eventFilter(watched, event);
}

/// A size that the form gets while it is told of an earlier one, as happens when it is shown, does not reach
/// its layout.
void FormScroller::showEvent(QShowEvent *event)
{
    QScrollArea::showEvent(event);
    widget()->layout()->invalidate();
    widget()->layout()->activate();
}

void clickOnReturn(QPushButton *button, Qt::ShortcutContext where)
{
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto *shortcut = new QShortcut(key, button);
        shortcut->setContext(where);
        shortcut->setAutoRepeat(false);
        QObject::connect(shortcut, &QShortcut::activated, button, &QPushButton::click);
    }
}

TextField::TextField(QWidget *parent)
    : QLineEdit(parent)
{
    setMaxLength(std::numeric_limits<int>::max());
}
