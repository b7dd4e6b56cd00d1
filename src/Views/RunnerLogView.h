// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QPointer>
#include <QWidget>

class ClampedLabel;
class LogTextArea;
class TunnelRunner;

/// The log of one tunnel with its state and the buttons "Copy" and "Clear" below. Follows the runner by
/// itself.
class RunnerLogView : public QWidget
{
    Q_OBJECT

public:
    explicit RunnerLogView(QWidget *parent = nullptr);

    /// Shows another runner's log from its end on; null for none. The runner may go at any time.
    void setRunner(TunnelRunner *runner);

private:
    QWidget *makeFooter();
    void showState();
    void copyLog() const;
    void clearLog();

    QPointer<TunnelRunner> m_runner;
    LogTextArea *m_area;
    ClampedLabel *m_state;
};
