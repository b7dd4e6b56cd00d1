// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QToolButton>

/// A button without a frame that shows one of the program's symbols only. What it does is its tooltip and its
/// name for assistive technology.
class SymbolButton : public QToolButton
{
    Q_OBJECT

public:
    explicit SymbolButton(QWidget *parent = nullptr);

    void setSymbol(const QString &symbolName);
    void setTitle(const QString &title);

protected:
    void changeEvent(QEvent *event) override;

private:
    QString m_symbolName;
};
