// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogView.h"

#include "LogRules.h"
#include "RunnerLogView.h"
#include "TextLabel.h"
#include "TunnelManager.h"
#include "TunnelPicker.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QShowEvent>
#include <QStackedLayout>

namespace {

constexpr QSize minimumContent(560, 320);
constexpr int headerPadding = 12;
constexpr int pickerWidth = 280;

} // namespace

LogView::LogView(TunnelManager &manager, std::optional<QUuid> selecting, QWidget *parent)
    : QWidget(parent)
    , m_manager(manager)
    , m_selection(selecting)
    , m_pages(new QStackedLayout(this))
    , m_placeholder(new QLabel(tr("No tunnels configured"), this))
    , m_picker(new TunnelPicker(this))
    , m_log(new RunnerLogView(this))
{
    setMinimumSize(minimumContent);
    m_placeholder->setAlignment(Qt::AlignCenter);
    m_placeholder->setForegroundRole(QPalette::PlaceholderText);
    m_pages->addWidget(m_placeholder);
    m_pages->addWidget(makeContent());
    connect(m_picker, &QComboBox::activated, this, &LogView::choose);
    connect(&manager, &TunnelManager::objectDidChange, this, &LogView::managerChanged);
    refresh();
}

QWidget *LogView::makeContent()
{
    auto *content = new QWidget(this);
    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(makeHeader());
    column->addWidget(makeDivider(QFrame::HLine, content));
    column->addWidget(m_log, 1);
    column->addStretch(0);
    return content;
}

QWidget *LogView::makeHeader()
{
    auto *header = new QWidget(this);
    auto *label = new QLabel(tr("Tunnel"), header);
    label->setBuddy(m_picker);
    m_picker->setAccessibleName(tr("Tunnel"));
    m_picker->setMaximumWidth(pickerWidth);
    auto *row = new QHBoxLayout(header);
    row->setContentsMargins(headerPadding, headerPadding, headerPadding, headerPadding);
    row->addWidget(label);
    row->addWidget(m_picker, 1);
    row->addStretch(1);
    return header;
}

void LogView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        renewFontRoles(this);
}

/// The first tunnel is chosen when the window appears and nobody has chosen one yet. Then the keys scroll the
/// log at once.
void LogView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    const std::optional<QUuid> selection = LogRules::selectionOnAppear(m_selection, m_manager.tunnels());
    if (m_isStale || selection != m_selection) {
        m_selection = selection;
        refresh();
    }
    if (!window()->focusWidget())
        m_log->setFocus(Qt::OtherFocusReason);
}

void LogView::managerChanged()
{
    m_isStale = true;
    if (isVisible())
        refresh();
}

void LogView::refresh()
{
    m_isStale = false;
    m_picker->setTunnels(m_manager.tunnels());
    m_picker->setCurrentIndex(m_selection ? m_picker->findData(*m_selection) : -1);
    TunnelRunner *runner = m_selection ? m_manager.runner(*m_selection) : nullptr;
    m_log->setRunner(runner);
    m_log->setVisible(runner);
    m_pages->setCurrentIndex(m_manager.tunnels().isEmpty() ? 0 : 1);
}

void LogView::choose(int index)
{
    m_selection = m_picker->itemData(index).toUuid();
    refresh();
}
