// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "EmptySelectionView.h"

#include "SymbolView.h"
#include "TextLabel.h"

#include <QEvent>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int symbolSide = 40;
constexpr int itemSpacing = 12;

} // namespace

EmptySelectionView::EmptySelectionView(bool hasTunnels, QWidget *parent)
    : QWidget(parent)
    , m_hasTunnels(hasTunnels)
    , m_text(new TextLabel(FontRole::Headline))
    , m_addButton(new QPushButton)
{
    auto *symbol = new SymbolView(symbolSide);
    symbol->setSymbol(u"bolt.horizontal.icloud"_s, ColorRole::SecondaryLabel);
    auto *column = new QVBoxLayout(this);
    column->setSpacing(itemSpacing);
    column->addStretch();
    column->addWidget(symbol, 0, Qt::AlignHCenter);
    column->addWidget(m_text, 0, Qt::AlignHCenter);
    column->addWidget(m_addButton, 0, Qt::AlignHCenter);
    column->addStretch();
    m_addButton->setDefault(true);
    connect(m_addButton, &QPushButton::clicked, this, &EmptySelectionView::addRequested);
    retranslate();
}

void EmptySelectionView::setHasTunnels(bool hasTunnels)
{
    m_hasTunnels = hasTunnels;
    retranslate();
}

void EmptySelectionView::focusAddButton()
{
    m_addButton->setFocus(Qt::OtherFocusReason);
}

void EmptySelectionView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void EmptySelectionView::retranslate()
{
    m_text->setText(m_hasTunnels ? tr("Select a tunnel") : tr("No tunnels configured"));
    m_addButton->setText(tr("Add Tunnel"));
}
