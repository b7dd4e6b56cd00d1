// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QScrollArea>

/// Holds a form and lets it be scrolled up and down where the window is too low for it, as with a large font.
/// Looks like the window itself.
class FormScroller : public QScrollArea
{
    Q_OBJECT

public:
    /// Owns `form`.
    explicit FormScroller(QWidget *form, QWidget *parent = nullptr);

    /// Returns the size in which the form is seen whole, at its least width.
    QSize sizeHint() const override;
    /// Returns at least the width that the form needs: it does not scroll sideways.
    QSize minimumSizeHint() const override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;
};
