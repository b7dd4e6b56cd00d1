// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QWidget>

class QTabWidget;
class TunnelsSettingsView;
class TunnelManager;

/// The content of the Settings window: the tunnels and the program's own settings, a tab each. At least 640
/// by 400 device-independent pixels, and more where a large font needs it.
class SettingsView : public QWidget
{
    Q_OBJECT

public:
    /// `manager` outlives the view.
    explicit SettingsView(TunnelManager &manager, QWidget *parent = nullptr);

    /// Turns to the tunnel's form; input for another one is dropped, as by a click on its row.
    void showTunnel(const QUuid &id);
    /// Turns to the program's own settings.
    void showGeneral();

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void drawIcons();

    QTabWidget *m_tabs;
    TunnelsSettingsView *m_tunnels;
};
