// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "RunnerLogView.h"

#include "LogTextArea.h"
#include "TextLabel.h"
#include "TunnelRunner.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QPushButton>

namespace {

constexpr int footerPadding = 10;

} // namespace

RunnerLogView::RunnerLogView(QWidget *parent)
    : QWidget(parent)
    , m_area(new LogTextArea(this))
    , m_state(new ClampedLabel(FontRole::Caption, ColorRole::SecondaryLabel, 1, this))
{
    setFocusProxy(m_area);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_area, 1);
    column->addWidget(makeDivider(QFrame::HLine, this));
    column->addWidget(makeFooter());
}

QWidget *RunnerLogView::makeFooter()
{
    auto *footer = new QWidget(this);
    auto *row = new QHBoxLayout(footer);
    row->setContentsMargins(footerPadding, footerPadding, footerPadding, footerPadding);
    auto *copy = new QPushButton(tr("Copy"), footer);
    auto *clear = new QPushButton(tr("Clear"), footer);
    connect(copy, &QPushButton::clicked, this, &RunnerLogView::copyLog);
    connect(clear, &QPushButton::clicked, this, &RunnerLogView::clearLog);
    row->addWidget(m_state, 1);
    row->addWidget(copy);
    row->addWidget(clear);
    return footer;
}

void RunnerLogView::setRunner(TunnelRunner *runner)
{
    if (m_runner == runner && runner)
        return showState();
    if (m_runner) {
        m_runner->disconnect(this);
        m_runner->disconnect(m_area);
    }
    m_runner = runner;
    m_area->setLog(runner ? &runner->logLines() : nullptr);
    showState();
    if (!runner)
        return;
    connect(runner, &TunnelRunner::logLinesChanged, m_area, &LogTextArea::logChanged);
    connect(runner, &QObject::destroyed, this, [this] { setRunner(nullptr); });
}

void RunnerLogView::showState()
{
    const TunnelRunner *runner = m_runner;
    m_state->setText(runner ? runner->state().label() : QString());
}

void RunnerLogView::copyLog() const
{
    if (const TunnelRunner *runner = m_runner)
        QGuiApplication::clipboard()->setText(runner->logLines().text());
}

void RunnerLogView::clearLog()
{
    if (TunnelRunner *runner = m_runner)
        runner->clearLog();
}
