// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LoginSwitch.h"

#include <QWidget>

class QCheckBox;
class SymbolLabel;
class TextField;
class TextLabel;

/// The tab with the settings of the program: where `cloudflared` is, whether the program shows in the task
/// bar and whether it opens at login. Every change takes effect at once.
class GeneralSettingsView : public QWidget
{
    Q_OBJECT

public:
    /// `manager` outlives the view.
    explicit GeneralSettingsView(TunnelManager &manager);

protected:
    bool event(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    QWidget *makePathSection();
    QWidget *makeProgramSection();
    void connectInput();
    /// Shows what the manager holds now and whether the program is where the path says.
    void refresh();
    void refreshLogin();
    void browse();
    void detect();

    TunnelManager &m_manager;
    LoginSwitch m_login;
    TextField *m_path;
    SymbolLabel *m_found;
    QCheckBox *m_showsInDock;
    QCheckBox *m_launchAtLogin;
    TextLabel *m_loginError;
};
