// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Form.h"

#include "TextLabel.h"

#include <QAccessibleWidget>
#include <QEvent>
#include <QKeyEvent>
#include <QLayout>
#include <QScrollBar>
#include <QShortcut>

#include <limits>

namespace {

/// A masked field as assistive technology sees it. A line edit announces every change with the characters,
/// whatever it shows; without a text interface no such announcement leaves the program.
class MaskedFieldAccessible final : public QAccessibleWidget
{
public:
    explicit MaskedFieldAccessible(TokenField *field)
        : QAccessibleWidget(field, QAccessible::EditableText)
        , m_field(field)
    {
    }
    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.passwordEdit = true;
        state.editable = !m_field->isReadOnly();
        state.readOnly = m_field->isReadOnly();
        return state;
    }

private:
    TokenField *m_field;
};

QAccessibleInterface *makeInterface(const QString &, QObject *object)
{
    auto *field = qobject_cast<TokenField *>(object);
    return field && field->isMasked() ? new MaskedFieldAccessible(field) : nullptr;
}

} // namespace

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

TokenField::TokenField(QWidget *parent)
    : TextField(parent)
{
    applyFontRole(this, FontRole::Monospaced);
    QAccessible::installFactory(makeInterface); // again changes nothing
    setRevealed(false);
}

/// Drops the interface that assistive technology has had: the next one is made for the new mode.
void TokenField::setRevealed(bool isRevealed)
{
    setEchoMode(isRevealed ? QLineEdit::Normal : QLineEdit::Password);
    if (QAccessibleInterface *former = QAccessible::queryAccessibleInterface(this))
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(former));
}

void TokenField::forget()
{
    const bool wasMasked = isMasked();
    setRevealed(false); // what goes is announced as well
    setText({});
    setRevealed(!wasMasked);
}

/// Lets no cut happen while it is masked: the base would take the selection away without copying it.
void TokenField::keyPressEvent(QKeyEvent *event)
{
    if (isMasked() && event->matches(QKeySequence::Cut))
        event->accept();
    else
        TextField::keyPressEvent(event);
}
