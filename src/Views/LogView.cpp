// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogView.h"

#include "Divider.h"
#include "RunnerLogView.h"
#include "Text.h"
#include "TextLabel.h"
#include "TunnelManager.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QShowEvent>
#include <QStackedLayout>
#include <QWheelEvent>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize minimumLog(560, 320);
constexpr int headerPadding = 12;
constexpr int pickerWidth = 280;
constexpr int pickerTextWidth = 236; ///< leaves room for the frame and the arrow of any style

/// The choice of a tunnel. The wheel turns it only where it has the keyboard: over a closed one the wheel is
/// meant for what scrolls below.
class Picker : public QComboBox
{
public:
    explicit Picker(QWidget *parent)
        : QComboBox(parent)
    {
        setFocusPolicy(Qt::StrongFocus); // not by the wheel
    }

protected:
    void wheelEvent(QWheelEvent *event) override
    {
        if (hasFocus())
            QComboBox::wheelEvent(event);
        else
            event->ignore();
    }
};

} // namespace

LogView::LogView(TunnelManager &manager, std::optional<QUuid> selecting, QWidget *parent)
    : QWidget(parent)
    , m_manager(manager)
    , m_selection(selecting)
    , m_pages(new QStackedLayout(this))
    , m_picker(new Picker(this))
    , m_log(new RunnerLogView(this))
{
    setMinimumSize(minimumLog);
    auto *placeholder = new QLabel(u"No tunnels configured"_s, this);
    placeholder->setAlignment(Qt::AlignCenter);
    placeholder->setForegroundRole(QPalette::PlaceholderText);
    m_pages->addWidget(placeholder);
    m_pages->addWidget(makeContent());
    connect(m_picker, &QComboBox::activated, this, [this] { select(m_picker->currentData().toUuid()); });
    connect(&manager, &TunnelManager::objectDidChange, this, [this] {
        if (isVisible())
            refresh();
    });
    refresh();
}

QWidget *LogView::makeContent()
{
    auto *content = new QWidget(this);
    // Qt draws without kerning beside the underline, but measures with it: "T&unnel" would lose its last
    // letter.
    auto *label = new QLabel(u"Tu&nnel"_s, content);
    label->setBuddy(m_picker);
    m_picker->setAccessibleName(u"Tunnel"_s);
    m_picker->setFixedWidth(pickerWidth);
    auto *head = new QWidget(content); // so that the row has the style's spacing, not the column's
    auto *header = new QHBoxLayout(head);
    header->setContentsMargins(headerPadding, headerPadding, headerPadding, headerPadding);
    header->addWidget(label);
    header->addWidget(m_picker);
    header->addStretch();
    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(head);
    column->addWidget(new Divider(QFrame::HLine, content));
    column->addWidget(m_log, 1);
    column->addStretch();
    return content;
}

void LogView::select(const QUuid &tunnel)
{
    m_selection = tunnel;
    refresh();
}

/// Measures the names anew, which are cut to the width of the choice.
void LogView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() != QEvent::FontChange)
        return;
    renewFontRoles(this);
    fillPicker();
}

void LogView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    if (!m_selection && !m_manager.tunnels().isEmpty())
        m_selection = m_manager.tunnels().first().id;
    refresh();
    if (!window()->focusWidget()) // so that the keys scroll the log at once
        m_log->setFocus(Qt::OtherFocusReason);
}

void LogView::refresh()
{
    fillPicker();
    m_picker->setCurrentIndex(m_selection ? m_picker->findData(*m_selection) : -1);
    m_picker->setToolTip(m_picker->currentData(Qt::ToolTipRole).toString());
    TunnelRunner *runner = m_selection ? m_manager.runner(*m_selection) : nullptr;
    m_log->setRunner(runner);
    m_log->setVisible(runner);
    m_pages->setCurrentIndex(m_manager.tunnels().isEmpty() ? 0 : 1);
}

/// Brings the entries in step with the tunnels and leaves those that stay the same alone, so that an open
/// list goes on. A name that is too long is cut and stands in the tooltip.
void LogView::fillPicker()
{
    const QList<TunnelConfig> &tunnels = m_manager.tunnels();
    while (m_picker->count() > tunnels.size())
        m_picker->removeItem(m_picker->count() - 1);
    for (int i = 0; i < int(tunnels.size()); ++i) {
        const QString name = Text::oneLine(tunnels[i].name);
        const QString cut = m_picker->fontMetrics().elidedText(name, Qt::ElideRight, pickerTextWidth);
        if (i == m_picker->count())
            m_picker->addItem(cut);
        m_picker->setItemText(i, cut);
        m_picker->setItemData(i, tunnels[i].id);
        m_picker->setItemData(i, name, Qt::AccessibleTextRole);
        m_picker->setItemData(i, cut == name ? QVariant() : Text::toolTip(name), Qt::ToolTipRole);
    }
}

#include "moc_LogView.cpp"
