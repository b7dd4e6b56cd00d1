// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelEditor.h"

#include "ClampedLabel.h"
#include "FadingLabel.h"
#include "FormScroller.h"
#include "SymbolButton.h"
#include "SymbolLabel.h"
#include "TextField.h"

#include <QCheckBox>
#include <QEvent>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int itemSpacing = 16;
constexpr int revealSpacing = 6;
constexpr int stateLines = 2;
constexpr std::chrono::milliseconds savedNoteTime = 1500ms;

} // namespace

TunnelEditor::TunnelEditor(TunnelManager &manager, std::optional<TunnelConfig> tunnel, SavedHandler onSaved,
                           QWidget *parent)
    : QWidget(parent)
    , m_model(manager, std::move(tunnel))
    , m_onSaved(std::move(onSaved))
    , m_title(new ClampedLabel(FontRole::Title, ColorRole::None, 1, this))
    , m_nameLabel(new QLabel(this))
    , m_name(new TextField(this))
    , m_hostnameLabel(new QLabel(this))
    , m_hostname(new TextField(this))
    , m_tokenLabel(new QLabel(this))
    , m_token(new SecretField(this))
    , m_reveal(new SymbolButton(this))
    , m_startOnLaunch(new QCheckBox(this))
    , m_explanation(new TextLabel(FontRole::Caption, ColorRole::SecondaryLabel, this))
    , m_tokenWarning(new SymbolLabel(this))
    , m_toggle(new QPushButton(this))
    , m_state(new ClampedLabel(FontRole::Caption, ColorRole::SecondaryLabel, stateLines, this))
    , m_savedNote(new FadingLabel(FontRole::Caption, ColorRole::SecondaryLabel, this))
    , m_save(new QPushButton(this))
    , m_returnKey(new QShortcut(Qt::Key_Return, this))
    , m_enterKey(new QShortcut(Qt::Key_Enter, this))
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(itemSpacing);
    column->addWidget(new FormScroller(makeForm(), this), 1);
    column->addLayout(makeBottomBar());
    m_model.load();
    showInput();
    connectInput();
    retranslate();
}

QWidget *TunnelEditor::makeForm()
{
    auto *content = new QWidget(this);
    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(itemSpacing);
    column->addWidget(m_title);
    column->addLayout(makeFields());
    column->addWidget(m_explanation);
    column->addWidget(m_tokenWarning);
    column->addStretch();
    m_explanation->setWraps();
    return content;
}

QLayout *TunnelEditor::makeFields()
{
    auto *tokenRow = new QHBoxLayout;
    tokenRow->setSpacing(revealSpacing);
    tokenRow->addWidget(m_token, 1);
    tokenRow->addWidget(m_reveal);

    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(m_nameLabel, m_name);
    form->addRow(m_hostnameLabel, m_hostname);
    form->addRow(m_tokenLabel, tokenRow);
    form->addRow(nullptr, m_startOnLaunch);
    m_nameLabel->setBuddy(m_name);
    m_hostnameLabel->setBuddy(m_hostname);
    m_tokenLabel->setBuddy(m_token);
    return form;
}

QLayout *TunnelEditor::makeBottomBar()
{
    auto *bar = new QHBoxLayout;
    bar->addWidget(m_toggle);
    bar->addWidget(m_state, 1); // a message has all the room there is
    if (m_model.isNew())
        bar->addStretch();
    bar->addWidget(m_savedNote);
    bar->addWidget(m_save);
    m_toggle->setVisible(!m_model.isNew());
    m_state->setVisible(!m_model.isNew());
    m_save->setDefault(true);
    return bar;
}

void TunnelEditor::connectInput()
{
    const auto bind = [this](QLineEdit *field, QString TunnelEditorModel::*value) {
        connect(field, &QLineEdit::textChanged, this, [this, value](const QString &text) {
            m_model.*value = text;
            refreshInput();
        });
    };
    bind(m_name, &TunnelEditorModel::name);
    bind(m_hostname, &TunnelEditorModel::hostname);
    bind(m_token, &TunnelEditorModel::token);
    connect(m_startOnLaunch, &QCheckBox::toggled, this, [this](bool isOn) { m_model.startOnLaunch = isOn; });
    connect(m_reveal, &QToolButton::clicked, this, &TunnelEditor::toggleReveal);
    connect(m_toggle, &QPushButton::clicked, this, [this] { m_model.toggle(); });
    connect(m_save, &QPushButton::clicked, this, &TunnelEditor::save);
    for (QShortcut *key : {m_returnKey, m_enterKey}) {
        key->setAutoRepeat(false);
        connect(key, &QShortcut::activated, m_save, &QPushButton::click);
    }
}

void TunnelEditor::setTunnel(const TunnelConfig &tunnel)
{
    m_model.setTunnel(tunnel);
    refreshState();
}

void TunnelEditor::focusName()
{
    m_name->setFocus(Qt::OtherFocusReason);
}

void TunnelEditor::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void TunnelEditor::retranslate()
{
    m_nameLabel->setText(tr("Name"));
    m_hostnameLabel->setText(tr("Hostname"));
    m_tokenLabel->setText(tr("Token"));
    m_name->setPlaceholderText(tr("e.g. Pemberlune Staging"));
    m_hostname->setPlaceholderText(tr("e.g. %1 (optional)").arg("staging.example.com"_L1));
    m_token->setPlaceholderText(m_model.tokenPrompt());
    m_token->setToolTip(m_model.tokenPrompt()); // it is longer than the field
    m_startOnLaunch->setText(tr("Start this tunnel when the app opens"));
    m_explanation->setText(tr(
        "Paste either the bare token or the whole `cloudflared tunnel run --token …` command: the token is "
        "extracted automatically and stored in the macOS Keychain."));
    m_tokenWarning->setContent(u"exclamationmark.triangle"_s,
                               tr("This doesn't look like a tunnel token: they usually start with \"eyJ\"."),
                               ColorRole::Orange);
    m_savedNote->setText(tr("Saved"));
    m_save->setText(m_model.saveTitle());
    refreshReveal();
    refreshInput();
    refreshState();
}

/// Shows what the model holds, as after loading.
void TunnelEditor::showInput()
{
    m_name->showValue(m_model.name);
    m_hostname->showValue(m_model.hostname);
    m_token->showValue(m_model.token);
    m_startOnLaunch->setChecked(m_model.startOnLaunch);
    m_name->setCursorPosition(0); // shows where a long text begins
    m_hostname->setCursorPosition(0);
}

/// Shows what depends on the input.
void TunnelEditor::refreshInput()
{
    m_title->setText(m_model.title());
    m_tokenWarning->setVisible(m_model.showsTokenWarning());
    const bool canSave = m_model.canSave();
    m_save->setEnabled(canSave);
    m_returnKey->setEnabled(canSave);
    m_enterKey->setEnabled(canSave);
}

void TunnelEditor::refreshState()
{
    m_toggle->setText(m_model.toggleTitle());
    m_state->setText(m_model.state().label());
}

void TunnelEditor::refreshReveal()
{
    m_reveal->setSymbol(m_isTokenRevealed ? u"eye.slash"_s : u"eye"_s);
    m_reveal->setTitle(m_isTokenRevealed ? tr("Hide") : tr("Show"));
}

void TunnelEditor::toggleReveal()
{
    m_isTokenRevealed = !m_isTokenRevealed;
    m_token->setRevealed(m_isTokenRevealed);
    refreshReveal();
}

void TunnelEditor::save()
{
    const QUuid id = m_model.save();
    if (!m_model.isNew())
        m_token->forget();
    m_onSaved(id);
    m_savedNote->setIn(true);
    QTimer::singleShot(savedNoteTime, this, [this] { m_savedNote->setIn(false); });
}
