// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TokenField.h"

#include "TextLabel.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QKeyEvent>

#include <algorithm>
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

TextField::TextField(QWidget *parent)
    : QLineEdit(parent)
{
    setMaxLength(std::numeric_limits<int>::max());
}

TokenField::TokenField(QWidget *parent)
    : TextField(parent)
{
    const auto applyFont = [this] {
        applyFontRole(this, text().isEmpty() ? FontRole::Body : FontRole::Monospaced);
    };
    connect(this, &QLineEdit::textChanged, this, applyFont);
    applyFont();
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

QSize TokenField::sizeHint() const
{
    const QFont base = QApplication::font(this);
    const int height = std::max(QFontMetrics(fontFor(FontRole::Body, base)).height(),
                                QFontMetrics(fontFor(FontRole::Monospaced, base)).height());
    return TextField::sizeHint() + QSize(0, height - fontMetrics().height());
}

/// Lets no cut happen while it is masked: the base would take the selection away without copying it.
void TokenField::keyPressEvent(QKeyEvent *event)
{
    if (isMasked() && event->matches(QKeySequence::Cut))
        event->accept();
    else
        TextField::keyPressEvent(event);
}

#include "moc_TokenField.cpp"
