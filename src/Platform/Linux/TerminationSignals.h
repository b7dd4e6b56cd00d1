// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the event loop. One object in a process.
///
/// The signals stay unblocked (a blocked one would be inherited by every program this one starts); the
/// handler only writes a byte into a pipe. One that was ignored when the process was started stays ignored,
/// as nohup(1) wants it. Once the object is gone all are ignored: it goes with the process.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received();

private:
    void drain();

    Pipe m_pipe{O_NONBLOCK};
    QSocketNotifier m_notifier{m_pipe.readEnd.get(), QSocketNotifier::Read};
};
