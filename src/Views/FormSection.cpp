// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FormSection.h"

#include "DividerLine.h"

#include <QPainter>
#include <QVBoxLayout>

namespace {

constexpr int rowPadding = 10;
constexpr int sidePadding = 12;
constexpr int itemSpacing = 6;
constexpr qreal cornerRadius = 8;
constexpr float groundOpacity = 0.04F;

} // namespace

FormSection::FormSection(QWidget *parent)
    : QFrame(parent)
    , m_rows(new QVBoxLayout(this))
{
    m_rows->setContentsMargins(0, 0, 0, 0);
    m_rows->setSpacing(0);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
}

void FormSection::addRow(std::initializer_list<QWidget *> items)
{
    auto *row = new QVBoxLayout;
    row->setContentsMargins(sidePadding, rowPadding, sidePadding, rowPadding);
    row->setSpacing(itemSpacing);
    for (QWidget *item : items)
        row->addWidget(item);
    m_rows->addLayout(row);
}

void FormSection::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor ground = palette().color(QPalette::WindowText);
    ground.setAlphaF(groundOpacity);
    painter.setPen(DividerLine::color(palette()));
    painter.setBrush(ground);
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.drawRoundedRect(frame, cornerRadius, cornerRadius);
    for (int row = 1; row < m_rows->count(); ++row) {
        const qreal y = m_rows->itemAt(row)->geometry().top() + 0.5;
        painter.drawLine(QPointF(sidePadding, y), QPointF(width() - sidePadding, y));
    }
}
