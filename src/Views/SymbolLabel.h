// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"

#include <QWidget>

class SymbolView;
class TextLabel;

/// A note with a symbol before it, both in one colour.
class SymbolLabel : public QWidget
{
    Q_OBJECT

public:
    explicit SymbolLabel(QWidget *parent = nullptr);

    void setContent(const QString &symbolName, const QString &text, ColorRole color);

protected:
    void changeEvent(QEvent *event) override;

private:
    void fitSymbol();

    SymbolView *m_symbol;
    TextLabel *m_text;
};
