// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>

class QPalette;

/// Completes the application's palette for as long as it lives, at each change of the desktop's colours.
///
/// Qt's own reader of Plasma's colours leaves out the one for dimmed text, which is then black on whatever
/// ground. Where `PlaceholderText` is not between `Base` and `Text` it becomes the text's colour, half as
/// strong. All other colours stay the desktop's. Created after the `QGuiApplication` and gone before it.
class ThemePalette : public QObject
{
    Q_OBJECT

public:
    explicit ThemePalette(QObject *parent = nullptr);

    /// Whether dimmed text can be told from the ground and from other text.
    static bool hasDimmedText(const QPalette &palette);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    static void complete();
};
