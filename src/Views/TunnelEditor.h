// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelConfig.h"
#include "TunnelEditorModel.h"

#include <QWidget>

#include <functional>

class ClampedLabel;
class QCheckBox;
class QPropertyAnimation;
class QPushButton;
class SymbolButton;
class SymbolLabel;
class TextField;
class TextLabel;
class TokenField;

/// The form in which a tunnel is made or edited. One editor belongs to one tunnel, or to the new one, for as
/// long as it lives; input that was not saved goes with it.
class TunnelEditor : public QWidget
{
    Q_OBJECT

public:
    /// Takes the record's id after every save. It may take the editor away, but not delete it.
    using SavedHandler = std::function<void(const QUuid &id)>;

    /// Edits `tunnel`, or makes a new one without it. `manager` outlives the editor.
    TunnelEditor(TunnelManager &manager, std::optional<TunnelConfig> tunnel, SavedHandler onSaved,
                 QWidget *parent = nullptr);

    /// Shows the tunnel's present state; what was typed stays.
    void refreshState();
    /// Puts the cursor where a new tunnel's input begins.
    void focusName();

private:
    QWidget *makeForm();
    QWidget *makeFields();
    QWidget *makeBottomBar();
    void connectInput();
    void refreshInput();
    void setRevealToken(bool revealToken);
    void setSavedFeedback(bool savedFeedback);
    void save();

    TunnelEditorModel m_model;
    SavedHandler m_onSaved;
    bool m_revealToken = false;
    bool m_savedFeedback = false;

    ClampedLabel *m_title;
    TextField *m_name;
    TextField *m_hostname;
    TokenField *m_token;
    SymbolButton *m_reveal;
    QCheckBox *m_startOnLaunch;
    SymbolLabel *m_tokenWarning;
    QPushButton *m_toggle;
    ClampedLabel *m_state;
    TextLabel *m_savedNote;
    QPropertyAnimation *m_fade; ///< of the note
    QPushButton *m_save;
};
