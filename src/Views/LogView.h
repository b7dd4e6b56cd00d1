// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QUuid>
#include <QWidget>

#include <optional>

class QComboBox;
class QLabel;
class QStackedLayout;
class RunnerLogView;
class TunnelManager;

/// Shows the content of the Logs window: the choice of a tunnel and that tunnel's log.
class LogView : public QWidget
{
    Q_OBJECT

public:
    /// `manager` outlives the view. Without `selecting` the first tunnel is chosen when the view appears.
    explicit LogView(TunnelManager &manager, std::optional<QUuid> selecting, QWidget *parent = nullptr);

    std::optional<QUuid> selection() const { return m_selection; }
    void select(const QUuid &tunnel);

protected:
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    QWidget *makeContent();
    void refresh();
    void fillPicker();

    TunnelManager &m_manager;
    std::optional<QUuid> m_selection;

    QStackedLayout *m_pages;
    QComboBox *m_picker;
    RunnerLogView *m_log;
};
