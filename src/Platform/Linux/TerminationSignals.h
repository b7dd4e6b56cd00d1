// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "DescriptorWatcher.h"
#include "Pipe.h"

#include <QObject>

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the event loop. At most one object at a time.
///
/// The signals stay unblocked (a blocked one would be inherited by every program this one starts); the
/// handler only writes a byte into a pipe. Once the object is gone they are ignored: it goes with the
/// process.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(DescriptorWatcher &watcher, QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received();

private:
    void drain();

    DescriptorWatcher &m_watcher;
    Pipe m_pipe;
    DescriptorWatcher::Key m_watch = 0;
};
