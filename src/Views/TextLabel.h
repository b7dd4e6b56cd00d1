// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelState.h"

#include <QFont>
#include <QHash>
#include <QLabel>

/// The part that a text plays in its window; the application's font decides how that looks.
enum class FontRole {
    Body,
    Monospaced, ///< the body's size in the desktop's fixed-width font
    Log,        ///< the desktop's fixed-width font, a little smaller, of 11 pixels at least
    Caption,    ///< notes: smaller
    Headline,   ///< bold
    Title,      ///< of a pane: larger, semibold
};

/// Returns `base` as the role wants it.
QFont fontFor(FontRole role, const QFont &base);

/// Returns a length for what stands beside text: at least `length`, which suits a text of 11 points, and more
/// in step with a larger font.
int grownWith(const QFont &font, int length);

/// Sets a widget's font from the application's.
void applyFontRole(QWidget *widget, FontRole role);

/// Does so again for all widgets below `root` that were given a role. Qt tells a widget with a font of its
/// own nothing when the application's changes, so `root`, which has none, calls this.
void renewFontRoles(QWidget *root);

/// Sets the description that assistive technology reads out with a widget. Qt alone would have one that stays
/// the same read out again.
void describe(QWidget *widget, const QString &description);

/// A plain text with a font and a colour by their roles. Its colour follows the palette.
class TextLabel : public QLabel
{
    Q_OBJECT

public:
    explicit TextLabel(FontRole font, ColorRole color = ColorRole::None, QWidget *parent = nullptr);

    /// Makes the text take as many lines as it needs instead of one.
    void setWraps();
    void setColorRole(ColorRole color);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    int heightForWidth(int width) const override;

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyColor();

    /// Heights by width: breaking a text into lines is what takes most time when a form is laid out.
    struct Measured
    {
        QString text;
        QFont font;
        QHash<int, int> heights;
    };

    ColorRole m_colorRole;
    mutable Measured m_measured;
};

/// A text that gets no more than some lines: what does not fit is cut with an ellipsis, and the tooltip has
/// the whole then, with the note below if there is one. Its height is always that of all its lines, so that
/// nothing moves when the text changes.
class ClampedLabel : public TextLabel
{
    Q_OBJECT

public:
    ClampedLabel(FontRole font, ColorRole color, int maximumLines, QWidget *parent = nullptr);

    /// Says more about the text: in the tooltip, and as the accessible description. Empty for nothing.
    void setNote(const QString &note);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return false; }

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    /// Returns the lines as they are shown in the present width.
    QStringList lines() const;

    int m_maximumLines;
};
