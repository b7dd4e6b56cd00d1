// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QLineEdit>

/// A line of input that takes texts of any length.
class TextField : public QLineEdit
{
    Q_OBJECT

public:
    explicit TextField(QWidget *parent = nullptr);

    /// Shows a value that is kept elsewhere. The cursor and the undo history stay when it is what is there.
    void showValue(const QString &value);
};

/// A field for a path or a token: in the desktop's fixed-width font.
class MonospacedField : public TextField
{
    Q_OBJECT

public:
    explicit MonospacedField(QWidget *parent = nullptr);
};

/// A field for a secret. While it is masked nothing of it can be copied or cut, and assistive technology is
/// told of no character.
class SecretField : public MonospacedField
{
    Q_OBJECT

public:
    /// Starts masked.
    explicit SecretField(QWidget *parent = nullptr);

    void setRevealed(bool isRevealed);
    bool isMasked() const { return echoMode() != QLineEdit::Normal; }
    /// Clears the field and its undo history. It is masked meanwhile.
    void forget();

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
