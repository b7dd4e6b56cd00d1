// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QWidget>

/// A quiet vertical line between two parts of a window.
class DividerLine : public QWidget
{
    Q_OBJECT

public:
    explicit DividerLine(QWidget *parent = nullptr);

    /// The colour of such lines: the text's, faint, so that it suits every ground.
    static QColor color(const QPalette &palette);

protected:
    void paintEvent(QPaintEvent *event) override;
};
