// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>

/// Plays a recorded output line for line, byte for byte, with pauses that follow its time stamps; a line
/// without one comes at once. Where the recording begins its graceful shutdown it waits for SIGTERM; SIGTERM
/// at an earlier point jumps there.
class Replay
{
public:
    enum class End {
        Finished, ///< the recording ended by itself
        ShutDown, ///< SIGTERM came, and the recorded shutdown was played
        Cut,      ///< SIGTERM came, and the recording knows no shutdown; the signal is still to be answered
    };

    /// `speed` divides the pauses; 0 leaves them out.
    explicit Replay(double speed)
        : m_speed(speed)
    {
    }

    /// Throws ScriptError when `file` cannot be read.
    End play(const std::filesystem::path &file) const;

private:
    double m_speed;
};
