// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelEditor.h"

#include "FormScroller.h"
#include "SymbolLabel.h"
#include "TextLabel.h"
#include "TokenField.h"

#include <QAccessibleWidget>
#include <QCheckBox>
#include <QFormLayout>
#include <QGraphicsOpacityEffect>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QStyle>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int partsSpacing = 16;
constexpr int revealSpacing = 6;
constexpr int revealSymbolSide = 16;
constexpr int stateLines = 2;
constexpr std::chrono::milliseconds savedNoteTime = 1500ms;
constexpr auto tokenWarning = "This doesn't look like a tunnel token: they usually start with \"eyJ\"."_L1;

/// A note that a screen reader reads out when it appears.
class Announcement : public TextLabel
{
public:
    using TextLabel::TextLabel;
};

QAccessibleInterface *makeAnnouncement(const QString &, QObject *object)
{
    auto *note = dynamic_cast<Announcement *>(object);
    return note ? new QAccessibleWidget(note, QAccessible::Notification, note->text()) : nullptr;
}

/// Returns an animation of the widget's opacity from none to full; owned by the widget.
QPropertyAnimation *makeFade(QWidget *widget)
{
    auto *effect = new QGraphicsOpacityEffect(widget);
    widget->setGraphicsEffect(effect);
    auto *fade = new QPropertyAnimation(effect, "opacity", widget);
    fade->setStartValue(0.0);
    fade->setEndValue(1.0);
    return fade;
}

} // namespace

TunnelEditor::TunnelEditor(TunnelManager &manager, std::optional<TunnelConfig> tunnel, SavedHandler onSaved,
                           QWidget *parent)
    : QWidget(parent)
    , m_model(manager, std::move(tunnel))
    , m_onSaved(std::move(onSaved))
    , m_title(new ClampedLabel(FontRole::Title, ColorRole::None, 1, this))
    , m_name(new TextField(this))
    , m_hostname(new TextField(this))
    , m_token(new TokenField(this))
    , m_reveal(new SymbolButton(revealSymbolSide, {}, this))
    , m_startOnLaunch(new QCheckBox(u"Start this tunnel when the app &opens"_s, this))
    , m_tokenWarning(new SymbolLabel(this))
    , m_toggle(new QPushButton(this))
    , m_state(new ClampedLabel(FontRole::Caption, ColorRole::SecondaryLabel, stateLines, this))
    , m_savedNote(new Announcement(FontRole::Caption, ColorRole::SecondaryLabel, this))
    , m_fade(makeFade(m_savedNote))
    , m_save(new QPushButton(m_model.saveTitle(), this))
{
    m_model.load();
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(partsSpacing);
    column->addWidget(new FormScroller(makeForm(), this), 1);
    column->addWidget(makeBottomBar());
    setTabOrder(m_startOnLaunch, m_toggle); // the layouts have moved the fields behind the buttons
    setTabOrder(m_toggle, m_save);
    connectInput();
    setRevealToken(false);
    refreshInput();
    refreshState();
}

QWidget *TunnelEditor::makeForm()
{
    auto *content = new QWidget(this);
    auto *explanation = new TextLabel(FontRole::Caption, ColorRole::SecondaryLabel);
    // Texts are given word for word, on whatever platform; see docs/architecture.md.
    const auto text =
        u"Paste either the bare token or the whole `cloudflared tunnel run --token …` command: the "
        "token is extracted automatically and stored in the macOS Keychain."_s;
    explanation->setText(QString(text).replace(u"--"_s, u"--\u2060"_s)); // keeps the flag in one line
    explanation->setAccessibleName(text);
    explanation->setWraps();
    m_tokenWarning->setContent(u"exclamationmark.triangle"_s, tokenWarning, ColorRole::Orange);
    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(partsSpacing);
    column->addWidget(m_title);
    column->addWidget(makeFields());
    column->addWidget(explanation);
    column->addWidget(m_tokenWarning);
    column->addStretch();
    return content;
}

/// Returns the fields in a widget: a layout within another one would take that one's spacing, not the
/// style's.
QWidget *TunnelEditor::makeFields()
{
    m_name->setText(m_model.name);
    m_name->setPlaceholderText(u"e.g. Pemberlune Staging"_s);
    m_hostname->setText(m_model.hostname);
    m_hostname->setPlaceholderText(u"e.g. staging.example.com (optional)"_s);
    for (QLineEdit *field : {m_name, m_hostname})
        field->setCursorPosition(0); // shows where a long text begins
    m_token->setPlaceholderText(m_model.tokenPrompt());
    m_token->setToolTip(m_model.tokenPrompt()); // with a large font it is longer than the field
    m_startOnLaunch->setChecked(m_model.startOnLaunch);

    auto *tokenTitle = new QLabel(u"To&ken"_s);
    tokenTitle->setBuddy(m_token);
    auto *tokenRow = new QHBoxLayout;
    tokenRow->setSpacing(revealSpacing);
    tokenRow->addWidget(m_token, 1);
    tokenRow->addWidget(m_reveal);

    auto *fields = new QWidget;
    auto *form = new QFormLayout(fields);
    form->setContentsMargins(0, 0, 0, 0);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(u"&Name"_s, m_name);
    form->addRow(u"&Hostname"_s, m_hostname);
    form->addRow(tokenTitle, tokenRow);
    form->addRow(m_startOnLaunch); // across both columns: its text is long
    return fields;
}

QWidget *TunnelEditor::makeBottomBar()
{
    auto *buttons = new QWidget(this);
    auto *bar = new QHBoxLayout(buttons);
    bar->setContentsMargins(0, 0, 0, 0);
    bar->addWidget(m_toggle);
    bar->addWidget(m_state, 1); // a message has all the room there is
    if (m_model.isNew())
        bar->addStretch();
    bar->addWidget(m_savedNote);
    bar->addWidget(m_save);
    m_toggle->setVisible(!m_model.isNew());
    m_state->setVisible(!m_model.isNew());
    QAccessible::installFactory(makeAnnouncement); // again changes nothing
    m_savedNote->setText(u"Saved"_s);
    m_savedNote->hide();
    m_save->setDefault(true);
    return buttons;
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
    connect(m_reveal, &QToolButton::clicked, this, [this] { setRevealToken(!m_revealToken); });
    connect(m_toggle, &QPushButton::clicked, this, [this] { m_model.toggle(); });
    connect(m_save, &QPushButton::clicked, this, &TunnelEditor::save);
    connect(m_fade, &QPropertyAnimation::finished, this,
            [this] { m_savedNote->setVisible(m_savedFeedback); });
}

void TunnelEditor::focusName()
{
    m_name->setFocus(Qt::OtherFocusReason);
}

/// Shows what depends on the input.
void TunnelEditor::refreshInput()
{
    m_title->setText(m_model.title());
    m_tokenWarning->setVisible(m_model.showsTokenWarning());
    describe(m_token, m_model.showsTokenWarning() ? QString(tokenWarning) : QString());
    m_save->setEnabled(m_model.canSave());
}

void TunnelEditor::refreshState()
{
    m_toggle->setText(m_model.toggleTitle());
    const TunnelStatus status = m_model.status();
    m_state->setText(status.state.label());
    m_state->setNote(status.note());
}

void TunnelEditor::setRevealToken(bool revealToken)
{
    m_revealToken = revealToken;
    m_token->setRevealed(revealToken);
    m_reveal->setContent(revealToken ? u"eye.slash"_s : u"eye"_s, revealToken ? u"Hide"_s : u"Show"_s);
}

/// Fades the note in or out with the style's own duration, at once where the style has none. While it is out
/// it takes no room and assistive technology does not read it.
void TunnelEditor::setSavedFeedback(bool savedFeedback)
{
    if (savedFeedback == m_savedFeedback)
        return;
    m_savedFeedback = savedFeedback;
    if (savedFeedback)
        m_savedNote->show();
    m_fade->setDuration(style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this));
    m_fade->setDirection(savedFeedback ? QAbstractAnimation::Forward : QAbstractAnimation::Backward);
    if (m_fade->state() == QAbstractAnimation::Stopped)
        m_fade->start();
}

/// Forgets the token once it is handed over. A new tunnel's form goes away as a whole.
void TunnelEditor::save()
{
    const QUuid id = m_model.save();
    if (!m_model.isNew())
        m_token->forget();
    m_onSaved(id);
    setSavedFeedback(true);
    QTimer::singleShot(savedNoteTime, this, [this] { setSavedFeedback(false); });
}

#include "moc_TunnelEditor.cpp"
