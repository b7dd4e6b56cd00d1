// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "GeneralSettingsView.h"

#include "FormScroller.h"
#include "FormSection.h"
#include "SymbolLabel.h"
#include "TextField.h"
#include "TextLabel.h"
#include "TunnelManager.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QShowEvent>

using namespace Qt::StringLiterals;

namespace {

constexpr int sectionSpacing = 16;
constexpr auto firstFolder = "/opt/homebrew/bin"_L1;

} // namespace

GeneralSettingsView::GeneralSettingsView(TunnelManager &manager, QWidget *parent)
    : QWidget(parent)
    , m_manager(manager)
    , m_login(manager)
    , m_pathLabel(new QLabel)
    , m_path(new MonospacedField)
    , m_browse(new QPushButton)
    , m_detect(new QPushButton)
    , m_found(new SymbolLabel)
    , m_showsInDock(new QCheckBox)
    , m_dockNote(new TextLabel(FontRole::Caption, ColorRole::SecondaryLabel))
    , m_opensAtLogin(new QCheckBox)
    , m_loginError(new TextLabel(FontRole::Caption, ColorRole::Red))
{
    auto *form = new QWidget(this);
    auto *sections = new QVBoxLayout(form);
    sections->setSpacing(sectionSpacing);
    sections->addWidget(makePathSection());
    sections->addWidget(makeProgramSection());
    sections->addStretch();
    auto *page = new QVBoxLayout(this);
    page->setContentsMargins(0, 0, 0, 0);
    page->addWidget(new FormScroller(form, this));
    connectActions();
    retranslate();
}

FormSection *GeneralSettingsView::makePathSection()
{
    m_pathLabel->setBuddy(m_path);
    auto *row = new QWidget(this);
    auto *controls = new QHBoxLayout(row);
    controls->setContentsMargins(0, 0, 0, 0);
    controls->addWidget(m_pathLabel);
    controls->addWidget(m_path, 1);
    controls->addWidget(m_browse);
    controls->addWidget(m_detect);
    auto *section = new FormSection(this);
    section->addRow({row, m_found});
    return section;
}

FormSection *GeneralSettingsView::makeProgramSection()
{
    m_dockNote->setWraps();
    m_loginError->setWraps();
    m_loginError->hide();
    auto *section = new FormSection(this);
    section->addRow({m_showsInDock, m_dockNote});
    section->addRow({m_opensAtLogin, m_loginError});
    return section;
}

void GeneralSettingsView::connectActions()
{
    connect(m_path, &QLineEdit::textChanged, this, &GeneralSettingsView::setPath);
    connect(m_browse, &QPushButton::clicked, this, &GeneralSettingsView::browse);
    connect(m_detect, &QPushButton::clicked, this, &GeneralSettingsView::detect);
    connect(m_showsInDock, &QCheckBox::toggled, this, [this](bool isOn) {
        if (isOn != m_manager.showsInDock())
            m_manager.setShowsInDock(isOn);
    });
    connect(m_opensAtLogin, &QCheckBox::toggled, this, [this](bool isOn) {
        m_login.set(isOn);
        refreshLogin();
    });
    connect(&m_manager, &TunnelManager::objectDidChange, this, [this] {
        if (isVisible())
            refresh();
    });
}

void GeneralSettingsView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    m_login.appear();
    refreshLogin();
    refresh();
}

bool GeneralSettingsView::event(QEvent *event)
{
    if (event->type() == QEvent::WindowActivate && isVisible())
        refresh(); // `cloudflared` may have been installed in the meantime
    return QWidget::event(event);
}

void GeneralSettingsView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void GeneralSettingsView::retranslate()
{
    m_pathLabel->setText(tr("cloudflared path"));
    m_browse->setText(tr("Browse…"));
    m_detect->setText(tr("Detect"));
    m_showsInDock->setText(tr("Show in the Dock and ⌘Tab"));
    m_dockNote->setText(tr(
        "Handy when the menu bar is full: with the notch, macOS hides the icons that don't fit. Right-click "
        "the Dock icon to start and stop tunnels."));
    m_opensAtLogin->setText(tr("Open Morvanel at login"));
    refresh();
}

void GeneralSettingsView::refresh()
{
    m_path->showValue(m_manager.cloudflaredPath());
    m_showsInDock->setChecked(m_manager.showsInDock());
    if (m_manager.isCloudflaredExecutable())
        m_found->setContent(u"checkmark.circle.fill"_s, tr("cloudflared found"), ColorRole::Green);
    else
        m_found->setContent(u"xmark.octagon.fill"_s,
                            tr("cloudflared not found. Install it with `brew install cloudflared`."),
                            ColorRole::Red);
}

void GeneralSettingsView::refreshLogin()
{
    m_opensAtLogin->setChecked(m_login.isOn());
    m_loginError->setText(m_login.error().value_or(QString()));
    m_loginError->setVisible(m_login.error().has_value());
}

/// The field's text is the manager's path, as far as the user has typed it.
void GeneralSettingsView::setPath(const QString &path)
{
    if (path != m_manager.cloudflaredPath())
        m_manager.setCloudflaredPath(path);
}

void GeneralSettingsView::browse()
{
    const QPointer<GeneralSettingsView> alive(this); // the program may be ended while the dialog is open
    const QString file = m_chooseFile(this, firstFolder);
    if (alive && !file.isEmpty())
        m_manager.setCloudflaredPath(file);
}

void GeneralSettingsView::detect()
{
    if (const std::optional<QString> path = m_manager.detectCloudflared())
        m_manager.setCloudflaredPath(*path);
}
