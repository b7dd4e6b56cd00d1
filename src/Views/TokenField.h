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
};

/// The field for a tunnel's token. While it is masked nothing of it can be copied or cut, and assistive
/// technology is told of no character.
class TokenField : public TextField
{
    Q_OBJECT

public:
    /// Starts masked.
    explicit TokenField(QWidget *parent = nullptr);

    void setRevealed(bool isRevealed);
    bool isMasked() const { return echoMode() != QLineEdit::Normal; }
    /// Clears the field and its undo history. It is masked meanwhile.
    void forget();
    /// Returns the same for a token and for the prompt, which is in the font of all texts.
    QSize sizeHint() const override;

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
