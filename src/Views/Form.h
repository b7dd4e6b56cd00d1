// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>

/// Holds a form and lets it be scrolled up and down where the window is too low for it, as with a large font.
/// Looks like the window itself.
class FormScroller : public QScrollArea
{
    Q_OBJECT

public:
    /// Owns `form`.
    explicit FormScroller(QWidget *form, QWidget *parent = nullptr);

    /// Returns at least the width that the form needs: it does not scroll sideways.
    QSize minimumSizeHint() const override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;
};

/// Lets Return and Enter click the button, within that part of its window, while it is enabled.
void clickOnReturn(QPushButton *button, Qt::ShortcutContext where);

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

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
