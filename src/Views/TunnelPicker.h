// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QComboBox>

/// The choice of a tunnel. A name that is too long for the field is cut with an ellipsis and stands in the
/// tooltip.
class TunnelPicker : public QComboBox
{
    Q_OBJECT

public:
    explicit TunnelPicker(QWidget *parent = nullptr);

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    /// The current text as it is shown.
    QString shownText(const QStyleOptionComboBox &option) const;
};
