// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QWidget>

class QTabWidget;
class TunnelManager;

/// The content of the Settings window: the tunnels and the program's own settings, a tab each.
class SettingsView : public QWidget
{
    Q_OBJECT

public:
    /// `manager` outlives the view.
    explicit SettingsView(TunnelManager &manager, QWidget *parent = nullptr);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslate();
    void drawIcons();

    QTabWidget *m_tabs;
};
