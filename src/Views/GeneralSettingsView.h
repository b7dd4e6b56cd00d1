// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileChooser.h"
#include "LoginSwitch.h"

#include <QWidget>

class FormSection;
class MonospacedField;
class QCheckBox;
class QLabel;
class QPushButton;
class SymbolLabel;
class TextLabel;
class TunnelManager;

/// The tab with the settings of the program: where `cloudflared` is, whether the program shows in the task
/// bar and whether it opens at login. Every change takes effect at once.
class GeneralSettingsView : public QWidget
{
    Q_OBJECT

public:
    /// `manager` outlives the view.
    explicit GeneralSettingsView(TunnelManager &manager, QWidget *parent = nullptr);

    /// Replaces the desktop's dialog.
    void setFileChooser(FileChooser chooser) { m_chooseFile = std::move(chooser); }

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    FormSection *makePathSection();
    FormSection *makeProgramSection();
    void connectActions();
    void retranslate();
    /// Shows what the manager holds now and whether the program is where the path says.
    void refresh();
    void refreshLogin();
    void setPath(const QString &path);
    void browse();
    void detect();

    TunnelManager &m_manager;
    LoginSwitch m_login;
    FileChooser m_chooseFile = chooseFile;

    QLabel *m_pathLabel;
    MonospacedField *m_path;
    QPushButton *m_browse;
    QPushButton *m_detect;
    SymbolLabel *m_found;
    QCheckBox *m_showsInDock;
    TextLabel *m_dockNote;
    QCheckBox *m_opensAtLogin;
    TextLabel *m_loginError;
};
