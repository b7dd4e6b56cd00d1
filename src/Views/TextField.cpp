// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TextField.h"

#include "FontRole.h"

#include <QKeyEvent>

#include <limits>

TextField::TextField(QWidget *parent)
    : QLineEdit(parent)
{
    setMaxLength(std::numeric_limits<int>::max());
}

void TextField::showValue(const QString &value)
{
    if (value != text())
        setText(value);
}

MonospacedField::MonospacedField(QWidget *parent)
    : TextField(parent)
{
    applyFontRole(this, FontRole::Monospaced);
}

SecretField::SecretField(QWidget *parent)
    : MonospacedField(parent)
{
    setRevealed(false);
}

void SecretField::setRevealed(bool isRevealed)
{
    setEchoMode(isRevealed ? QLineEdit::Normal : QLineEdit::Password);
}

/// The base would take the selection away without copying it.
void SecretField::keyPressEvent(QKeyEvent *event)
{
    if (echoMode() != QLineEdit::Normal && event->matches(QKeySequence::Cut))
        event->accept();
    else
        MonospacedField::keyPressEvent(event);
}
