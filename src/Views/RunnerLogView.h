// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

class ClampedLabel;
class LogText;
class TunnelRunner;

/// Shows the log of one tunnel, with its state and the buttons "Copy" and "Clear" below.
class RunnerLogView : public QWidget
{
    Q_OBJECT

public:
    explicit RunnerLogView(QWidget *parent = nullptr);

    /// Shows the runner's state as it is now and follows its log, at first scrolled to its end. Null for
    /// none. The runner may go at any time.
    void setRunner(TunnelRunner *runner);

protected:
    void showEvent(QShowEvent *event) override;

private:
    bool isOnScreen() const { return isVisible() && !window()->isMinimized(); }
    void showLines();

    QPointer<TunnelRunner> m_runner;
    LogText *m_text;
    ClampedLabel *m_state;
    QTimer m_wait{this}; ///< runs from a change until it is shown
};
