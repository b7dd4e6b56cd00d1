// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Script.h"
#include "Signals.h"
#include "TunnelLines.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a script has besides its own text.
struct Stage
{
    const char *const *argv;
    Signals::Inherited inherited;
    double speed = 1; ///< divides the pauses; 0 leaves them out
};

/// Plays a script: the main part until it ends or SIGTERM comes, then the part for SIGTERM.
class Player
{
public:
    /// Throws ScriptError when the script uses a verb that does not exist.
    Player(Script script, const Stage &stage);

    /// Returns the exit code, unless the script ends the process in another way. Throws ScriptError at a
    /// command whose arguments are wrong.
    int play();

private:
    using Track = std::vector<Command>;
    using Action = void (Player::*)(const Command &);

    static const std::map<std::string_view, Action> &actions();
    void play(const Track &track);
    std::filesystem::path file(const std::string &name) const { return m_script.folder / name; }

    void print(const Command &command);
    void raw(const Command &command);
    void partial(const Command &command);
    void bytes(const Command &command);
    void longLine(const Command &command);
    void flood(const Command &command);
    void blast(const Command &command);
    void replay(const Command &command);
    void report(const Command &command);

    void opening(const Command &command);
    void registered(const Command &command);
    void lost(const Command &command);
    void shutdown(const Command &command);

    void pause(const Command &command);
    void wait(const Command &command);
    void mark(const Command &command);
    void loop(const Command &command);

    void sigterm(const Command &command);
    void lifetime(const Command &command);
    void closeOutput(const Command &command);
    void stopSelf(const Command &command);
    void forkHold(const Command &command);
    void exit(const Command &command);
    void die(const Command &command);

    const Script m_script;
    const Stage m_stage;
    TunnelLines m_tunnel;
    std::optional<int> m_exitCode; ///< set once the script has ended the process
    std::size_t m_next = 0;        ///< of the track that is played
    std::size_t m_mark = 0;
    std::int64_t m_rounds = 0; ///< that the loop has gone
};
