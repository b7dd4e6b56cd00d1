// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFrame>

class QVBoxLayout;

/// A group of rows of a form on a ground of its own, with a fine line between the rows. Named by nothing.
class FormSection : public QFrame
{
    Q_OBJECT

public:
    explicit FormSection(QWidget *parent = nullptr);

    /// Appends a row of these items from top to bottom; owns them.
    void addRow(std::initializer_list<QWidget *> items);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QVBoxLayout *m_rows;
};
