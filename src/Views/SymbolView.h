// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"

#include <QIcon>
#include <QWidget>

/// One of the program's symbols as a picture in a window: drawn as vectors in the palette's colours.
class SymbolView : public QWidget
{
    Q_OBJECT

public:
    /// `side` in device-independent pixels.
    explicit SymbolView(int side, QWidget *parent = nullptr);

    void setSymbol(const QString &symbolName, ColorRole color);
    void setSide(int side) { setFixedSize(side, side); }

protected:
    void changeEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_symbolName;
    ColorRole m_color = ColorRole::None;
    QIcon m_icon;
};
