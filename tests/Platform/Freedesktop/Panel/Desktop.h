// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QColor>
#include <QImage>
#include <QPoint>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <memory>

/// Ends the process with its owner.
struct EndProcess
{
    void operator()(QProcess *process) const;
};
using RunningProgram = std::unique_ptr<QProcess, EndProcess>;

/// The test's own X display, to start real panels on and to look at them.
class Desktop
{
public:
    Desktop();

    /// Starts a program on the display.
    RunningProgram start(const QString &program, const QStringList &arguments = {}) const;
    /// A panel along the upper edge with nothing but a notification area, configured for an unattended start.
    RunningProgram startXfcePanel() const;

    QImage screenshot() const;
    /// Where that colour is, or {-1, -1}.
    QPoint find(const QColor &color, const QRect &area) const;
    void click(const QPoint &point) const;
    void press(const QString &key) const;

private:
    QByteArray run(const QString &program, const QStringList &arguments) const;

    QProcessEnvironment m_environment;
};
