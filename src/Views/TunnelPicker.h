// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelConfig.h"

#include <QComboBox>

/// The choice of a tunnel. A name that is too long for the field or for the list is cut with an ellipsis and
/// stands in the tooltip.
class TunnelPicker : public QComboBox
{
    Q_OBJECT

public:
    explicit TunnelPicker(QWidget *parent = nullptr);

    /// Offers these tunnels, each with its id as data. Where that changes something nothing is chosen then.
    void setTunnels(const QList<TunnelConfig> &tunnels);

protected:
    void changeEvent(QEvent *event) override;
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void fill();
    QString wholeText() const { return currentData(Qt::AccessibleTextRole).toString(); }
    /// The current text as it is shown.
    QString fieldText(const QStyleOptionComboBox &option) const;

    QList<TunnelConfig> m_tunnels;
};
