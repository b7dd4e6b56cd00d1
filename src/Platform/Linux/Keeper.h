// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileDescriptor.h"

#include <QString>

/// A small process that outlives this one and ends its children, whatever ended this one.
///
/// It is told of each child over a socket, and learns from the end of that socket that this process is gone.
/// Then it sends SIGTERM to the process group of each child that has not had one, reads the children's
/// output, so that none is held up by a full pipe or killed by a closed one, sends SIGKILL after 6 seconds to
/// those that are left, and ends. Until then it sleeps. It ignores the signals that end a session, as the
/// children need it longer than their program, and is called "tunnel-keeper", so that a signal sent to
/// "morvanel" by name misses it.
class Keeper
{
public:
    /// Forks the process. To be made while this process has one thread and no secret in its memory. Where
    /// there is no keeper, or none any more, standard error says so once, and all calls do nothing.
    Keeper();
    Q_DISABLE_COPY_MOVE(Keeper)

    /// Hands over the child that leads the process group `group`, with the end of the pipe that its output is
    /// read from. To be called before the child runs its program.
    void keep(pid_t group, const FileDescriptor &output);
    /// Says that the group has been sent SIGTERM: a second one would end a child at once.
    void noteTerminated(pid_t group);
    /// Says that nothing is left of the group, so that its number may come to mean another.
    void forget(pid_t group);

    /// Looks whether the keeper of an earlier run is still at work: each holds a lock on this file, which is
    /// created, until its end.
    void lookForEarlier(const QString &lockPath);
    /// Returns whether there was one: the children of that run are its business.
    bool isEarlierAtWork() const { return m_isEarlierAtWork; }

private:
    enum class Word : char;
    struct Message;
    class Process;

    void send(Word word, pid_t group, const FileDescriptor &descriptor = {});
    void giveUp();

    FileDescriptor m_socket; ///< its end tells the keeper that this process is gone
    pid_t m_pid = -1;
    bool m_isEarlierAtWork = false;
};
