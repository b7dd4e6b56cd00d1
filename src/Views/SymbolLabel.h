// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelState.h"

#include <QToolButton>

class TextLabel;

/// One of the program's symbols as a picture in a window: drawn as vectors in the palette's colours.
class SymbolView : public QWidget
{
    Q_OBJECT

public:
    /// `side` in device-independent pixels, which grows with the font; without it the symbol is as high as a
    /// line of text.
    explicit SymbolView(int side = 0, QWidget *parent = nullptr);

    void setSymbol(const QString &symbolName, ColorRole color);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_side;
    QString m_symbolName;
    ColorRole m_color = ColorRole::None;
};

/// A note with a symbol before it, both in one colour.
class SymbolLabel : public QWidget
{
    Q_OBJECT

public:
    explicit SymbolLabel(QWidget *parent = nullptr);

    void setContent(const QString &symbolName, const QString &text, ColorRole color);

private:
    SymbolView *m_symbol;
    TextLabel *m_text;
};

/// A button without a frame that shows one of the program's symbols only. Its tooltip and its name for
/// assistive technology tell the action.
class SymbolButton : public QToolButton
{
    Q_OBJECT

public:
    /// The symbol's side and the whole button's size, the style's own where it is empty, grow with the font.
    SymbolButton(int symbolSide, QSize size, QWidget *parent);

    void setContent(const QString &symbolName, const QString &title);

protected:
    void changeEvent(QEvent *event) override;

private:
    void drawIcon();
    void applyFont();

    int m_symbolSide;
    QSize m_size;
    QString m_symbolName;
};
