// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "GeneralSettingsView.h"

#include "Divider.h"
#include "FormScroller.h"
#include "SymbolLabel.h"
#include "TextLabel.h"
#include "TokenField.h"
#include "TunnelManager.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QPainter>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int sectionSpacing = 16;
constexpr int rowPadding = 10;
constexpr int sidePadding = 12;
constexpr int itemSpacing = 6;
constexpr qreal cornerRadius = 8;
constexpr float groundOpacity = 0.4F;
/// Given, like the texts, on whatever platform; see docs/architecture.md.
constexpr auto firstFolder = "/opt/homebrew/bin"_L1;

/// A group of rows on a ground of its own, with a fine line between the rows.
class FormSection : public QFrame
{
public:
    /// Appends a row of these items from top to bottom; owns them.
    void addRow(std::initializer_list<QWidget *> items)
    {
        if (m_rows->count() > 0) {
            m_rows->addSpacing(rowPadding);
            m_rows->addWidget(new Divider(QFrame::HLine));
            m_rows->addSpacing(rowPadding);
        }
        auto *row = new QVBoxLayout;
        row->setSpacing(itemSpacing);
        for (QWidget *item : items)
            row->addWidget(item);
        m_rows->addLayout(row);
    }

    FormSection()
        : m_rows(new QVBoxLayout(this))
    {
        m_rows->setContentsMargins(sidePadding, rowPadding, sidePadding, rowPadding);
        m_rows->setSpacing(0);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor ground = palette().color(QPalette::Base); // towards it no text loses contrast
        ground.setAlphaF(groundOpacity);
        painter.setPen(Divider::color(palette()));
        painter.setBrush(ground);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
    }

private:
    QVBoxLayout *m_rows;
};

} // namespace

GeneralSettingsView::GeneralSettingsView(TunnelManager &manager)
    : m_manager(manager)
    , m_login(manager)
    , m_path(new TextField)
    , m_found(new SymbolLabel)
    , m_showsInDock(new QCheckBox(u"&Show in the Dock and ⌘Tab"_s))
    , m_launchAtLogin(new QCheckBox(u"&Open Morvanel at login"_s))
    , m_loginError(new TextLabel(FontRole::Caption, ColorRole::Red))
{
    auto *form = new QWidget;
    auto *sections = new QVBoxLayout(form);
    sections->setSpacing(sectionSpacing);
    sections->addWidget(makePathSection());
    sections->addWidget(makeProgramSection());
    sections->addStretch();
    auto *page = new QVBoxLayout(this);
    page->setContentsMargins(0, 0, 0, 0);
    page->addWidget(new FormScroller(form));
    connectInput();
    refresh();
}

QWidget *GeneralSettingsView::makePathSection()
{
    auto *title = new QLabel(u"cloudflared &path"_s);
    title->setBuddy(m_path);
    applyFontRole(m_path, FontRole::Monospaced);
    auto *browseButton = new QPushButton(u"&Browse…"_s);
    auto *detectButton = new QPushButton(u"&Detect"_s);
    for (QPushButton *button : {browseButton, detectButton})
        button->setAutoDefault(true); // Return presses it where it has the focus
    connect(browseButton, &QPushButton::clicked, this, &GeneralSettingsView::browse);
    connect(detectButton, &QPushButton::clicked, this, &GeneralSettingsView::detect);
    auto *row = new QWidget;
    auto *controls = new QHBoxLayout(row);
    controls->setContentsMargins(0, 0, 0, 0);
    controls->addWidget(title);
    controls->addWidget(m_path, 1);
    controls->addWidget(browseButton);
    controls->addWidget(detectButton);
    auto *section = new FormSection;
    section->addRow({row, m_found});
    return section;
}

QWidget *GeneralSettingsView::makeProgramSection()
{
    auto *dockNote = new TextLabel(FontRole::Caption, ColorRole::SecondaryLabel);
    dockNote->setText(
        u"Handy when the menu bar is full: with the notch, macOS hides the icons that don't fit. Right-click "
        "the Dock icon to start and stop tunnels."_s);
    dockNote->setWraps();
    m_loginError->setWraps();
    m_loginError->hide();
    auto *section = new FormSection;
    section->addRow({m_showsInDock, dockNote});
    section->addRow({m_launchAtLogin, m_loginError});
    return section;
}

void GeneralSettingsView::connectInput()
{
    connect(m_path, &QLineEdit::textChanged, this, [this](const QString &path) {
        if (path != m_manager.cloudflaredPath())
            m_manager.setCloudflaredPath(path);
    });
    connect(m_showsInDock, &QCheckBox::toggled, this, [this](bool isOn) {
        if (isOn != m_manager.showsInDock())
            m_manager.setShowsInDock(isOn);
    });
    connect(m_launchAtLogin, &QCheckBox::toggled, this, [this](bool isOn) {
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

void GeneralSettingsView::refresh()
{
    if (m_path->text() != m_manager.cloudflaredPath()) // else the cursor and what can be undone would go
        m_path->setText(m_manager.cloudflaredPath());
    m_showsInDock->setChecked(m_manager.showsInDock());
    const bool isFound = m_manager.isCloudflaredExecutable();
    const QString verdict = isFound ? u"cloudflared found"_s
                                    : u"cloudflared not found. Install it with `brew install cloudflared`."_s;
    m_found->setContent(isFound ? u"checkmark.circle.fill"_s : u"xmark.octagon.fill"_s, verdict,
                        isFound ? ColorRole::Green : ColorRole::Red);
    describe(m_path, verdict);
}

void GeneralSettingsView::refreshLogin()
{
    m_launchAtLogin->setChecked(m_login.launchAtLogin());
    m_loginError->setText(m_login.loginError().value_or(QString()));
    m_loginError->setVisible(m_login.loginError().has_value());
}

/// Begins in the nearest folder above the usual one that exists.
void GeneralSettingsView::browse()
{
    QString folder = firstFolder;
    while (!QFileInfo(folder).isDir())
        folder = QFileInfo(folder).path();
    // Opened, not run: the loop of a desktop's own dialog would outlast the end of the program.
    auto *dialog = new QFileDialog(this, u"Choose cloudflared"_s, folder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setOption(QFileDialog::DontResolveSymlinks);
    connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString &file) { m_manager.setCloudflaredPath(file); });
    dialog->open();
}

void GeneralSettingsView::detect()
{
    if (const std::optional<QString> path = TunnelManager::detectCloudflared())
        m_manager.setCloudflaredPath(*path);
}

#include "moc_GeneralSettingsView.cpp"
