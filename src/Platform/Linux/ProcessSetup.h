// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>

namespace ProcessSetup {

/// Makes this process what it needs to be before anything else of it runs. Opens the null device where
/// standard input, output or error is closed, so that no other file gets one of these numbers; undoes what a
/// launcher may have left blocked or ignored; makes a closed pipe an error instead of a signal; and forbids
/// core files, here and in the children, because their memory holds tokens.
void prepare();

} // namespace ProcessSetup

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the event loop. At most one object at a time.
///
/// The signals stay unblocked (a blocked one would be inherited by every program this one starts); the
/// handler only writes a byte into a pipe. Once the object is gone they are ignored: it goes with the
/// process.
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
