// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelEditorModel.h"

#include <QWidget>

#include <functional>

class ClampedLabel;
class FadingLabel;
class QCheckBox;
class QLabel;
class QLayout;
class QPushButton;
class QShortcut;
class SecretField;
class SymbolButton;
class SymbolLabel;
class TextField;
class TextLabel;

/// The form in which a tunnel is made or edited. One editor belongs to one tunnel, or to the new one, for as
/// long as it lives; input that was not saved goes with it.
class TunnelEditor : public QWidget
{
    Q_OBJECT

public:
    /// Called with the record's id after every save. The editor may be taken away by it, but not deleted.
    using SavedHandler = std::function<void(const QUuid &id)>;

    /// Without `tunnel` the form makes a new one. `manager` outlives the editor.
    TunnelEditor(TunnelManager &manager, std::optional<TunnelConfig> tunnel, SavedHandler onSaved,
                 QWidget *parent = nullptr);

    /// Takes the present record of the tunnel; what was typed stays.
    void setTunnel(const TunnelConfig &tunnel);
    /// Puts the cursor where a new tunnel's input begins.
    void focusName();

protected:
    void changeEvent(QEvent *event) override;

private:
    QWidget *makeForm();
    QLayout *makeFields();
    QLayout *makeBottomBar();
    void connectInput();
    void retranslate();
    void showInput();
    void refreshInput();
    /// Shows the tunnel's present state.
    void refreshState();
    void refreshReveal();
    void toggleReveal();
    void save();

    TunnelEditorModel m_model;
    SavedHandler m_onSaved;
    bool m_isTokenRevealed = false;

    ClampedLabel *m_title;
    QLabel *m_nameLabel;
    TextField *m_name;
    QLabel *m_hostnameLabel;
    TextField *m_hostname;
    QLabel *m_tokenLabel;
    SecretField *m_token;
    SymbolButton *m_reveal;
    QCheckBox *m_startOnLaunch;
    TextLabel *m_explanation;
    SymbolLabel *m_tokenWarning;
    QPushButton *m_toggle;
    ClampedLabel *m_state;
    FadingLabel *m_savedNote;
    QPushButton *m_save;
    QShortcut *m_returnKey;
    QShortcut *m_enterKey;
};
