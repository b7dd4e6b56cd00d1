// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QWidget>

class QPushButton;
class TextLabel;

/// What the Tunnels tab shows where there is no tunnel to edit.
class EmptySelectionView : public QWidget
{
    Q_OBJECT

public:
    explicit EmptySelectionView(bool hasTunnels, QWidget *parent = nullptr);

    void setHasTunnels(bool hasTunnels);
    /// So that Return adds a tunnel.
    void focusAddButton();

Q_SIGNALS:
    void addRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslate();

    bool m_hasTunnels;
    TextLabel *m_text;
    QPushButton *m_addButton;
};
