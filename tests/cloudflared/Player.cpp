// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Player.h"

#include "Load.h"
#include "Output.h"
#include "Relatives.h"
#include "Replay.h"
#include "Report.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <unistd.h>
#include <utility>

namespace {

ScriptError errorAt(const Command &command, const std::string &message)
{
    return ScriptError("line " + std::to_string(command.line) + ": " + message);
}

int signalNumber(const Command &command)
{
    const Arguments arguments(command);
    for (int number = 1; number <= SIGRTMAX; ++number) {
        const char *name = sigabbrev_np(number);
        if (arguments.word(0) == std::to_string(number) ||
            (name && arguments.word(0) == "SIG" + std::string(name))) {
            return number;
        }
    }
    throw errorAt(command, "no signal \"" + arguments.word(0) + "\"");
}

} // namespace

const std::map<std::string_view, Player::Action> &Player::actions()
{
    static const std::map<std::string_view, Action> table = {
        {"print", &Player::print},
        {"raw", &Player::raw},
        {"partial", &Player::partial},
        {"bytes", &Player::bytes},
        {"long-line", &Player::longLine},
        {"flood", &Player::flood},
        {"blast", &Player::blast},
        {"replay", &Player::replay},
        {"report", &Player::report},
        {"opening", &Player::opening},
        {"registered", &Player::registered},
        {"lost", &Player::lost},
        {"shutdown", &Player::shutdown},
        {"pause", &Player::pause},
        {"wait", &Player::wait},
        {"mark", &Player::mark},
        {"loop", &Player::loop},
        {"sigterm", &Player::sigterm},
        {"lifetime", &Player::lifetime},
        {"close-output", &Player::closeOutput},
        {"stop-self", &Player::stopSelf},
        {"fork-hold", &Player::forkHold},
        {"exit", &Player::exit},
        {"die", &Player::die},
    };
    return table;
}

Player::Player(Script script, const Stage &stage)
    : m_script(std::move(script))
    , m_stage(stage)
{
    for (const Track *track : {&m_script.main, &m_script.onTerm}) {
        for (const Command &command : *track) {
            if (!actions().contains(command.verb)) {
                throw errorAt(command, "no command \"" + command.verb + "\"");
            }
        }
    }
}

int Player::play()
{
    play(m_script.main);
    if (!m_exitCode && Signals::termRequested()) {
        Signals::acknowledgeTerm();
        play(m_script.onTerm);
    }
    return m_exitCode.value_or(0);
}

void Player::play(const Track &track)
{
    m_next = m_mark = 0;
    m_rounds = 0;
    while (m_next < track.size() && !m_exitCode && !Signals::termRequested()) {
        const Command &command = track[m_next++];
        (this->*actions().at(command.verb))(command);
    }
}

void Player::print(const Command &command)
{
    Output::stampedLine(command.text);
}

void Player::raw(const Command &command)
{
    Output::line(command.text);
}

void Player::partial(const Command &command)
{
    Output::write(command.text);
}

void Player::bytes(const Command &command)
{
    std::string bytes;
    for (std::size_t at = 0; at < command.text.size(); at += 2) {
        const char *digits = command.text.data() + at;
        unsigned value = 0;
        if (at + 2 > command.text.size() ||
            std::from_chars(digits, digits + 2, value, 16).ptr != digits + 2) {
            throw errorAt(command, "not pairs of hexadecimal digits");
        }
        bytes += static_cast<char>(value);
    }
    Output::write(bytes);
}

void Player::longLine(const Command &command)
{
    Load::longLine(static_cast<std::uint64_t>(Arguments(command).number(0)));
}

void Player::flood(const Command &command)
{
    const Arguments arguments(command);
    Load::flood(static_cast<std::uint64_t>(arguments.number(0)),
                std::chrono::seconds(arguments.number(1, 0)));
}

void Player::blast(const Command &command)
{
    const Arguments arguments(command);
    Load::blast({.lines = static_cast<std::uint64_t>(arguments.number(0)),
                 .bytes = static_cast<std::size_t>(arguments.number(1)),
                 .chunked = arguments.contains("chunks"),
                 .connections = arguments.contains("connections")});
}

void Player::replay(const Command &command)
{
    const Arguments arguments(command);
    const auto code = static_cast<int>(arguments.number(1, 1));
    switch (Replay(m_stage.speed).play(file(arguments.word(0)))) {
    case Replay::End::Finished:
        m_exitCode = code;
        break;
    case Replay::End::ShutDown:
        m_exitCode = 0;
        break;
    case Replay::End::Cut:
        break;
    }
}

void Player::report(const Command &command)
{
    const Arguments arguments(command);
    const std::string text = launchReport(m_stage.argv, m_stage.inherited);
    if (arguments.count() == 0) {
        return Output::write(text);
    }
    // whoever waits for the file finds it whole
    const std::filesystem::path path = file(arguments.word(0));
    const std::filesystem::path written = path.string() + '.' + std::to_string(getpid());
    std::ofstream(written, std::ios::binary) << text;
    std::filesystem::rename(written, path);
}

void Player::opening(const Command &)
{
    m_tunnel.opening();
}

void Player::registered(const Command &command)
{
    m_tunnel.registered(Arguments(command).number(0));
}

void Player::lost(const Command &command)
{
    m_tunnel.lost(Arguments(command).number(0));
}

void Player::shutdown(const Command &)
{
    m_tunnel.shutdown();
}

void Player::pause(const Command &command)
{
    const std::chrono::duration<double, std::milli> asked(Arguments(command).number(0));
    if (m_stage.speed > 0) {
        Signals::pause(std::chrono::duration_cast<std::chrono::nanoseconds>(asked / m_stage.speed));
    }
}

void Player::wait(const Command &)
{
    Signals::waitForTerm();
}

void Player::mark(const Command &)
{
    m_mark = m_next;
}

void Player::loop(const Command &command)
{
    const std::int64_t rounds = Arguments(command).number(0, 0);
    if (++m_rounds < rounds || rounds == 0) {
        m_next = m_mark;
    } else {
        m_rounds = 0;
    }
}

void Player::sigterm(const Command &command)
{
    static const std::map<std::string_view, void (*)()> ways = {
        {"handle", Signals::handleTerm}, {"ignore", Signals::ignoreTerm}, {"default", Signals::defaultTerm}};
    const auto way = ways.find(command.text);
    if (way == ways.end()) {
        throw errorAt(command, "sigterm is one of handle, ignore, default");
    }
    way->second();
}

void Player::lifetime(const Command &command)
{
    Signals::limitLifetime(static_cast<unsigned>(Arguments(command).number(0)));
}

void Player::closeOutput(const Command &)
{
    Output::close();
}

void Player::stopSelf(const Command &)
{
    Relatives::stopSelf();
}

void Player::forkHold(const Command &command)
{
    const Arguments arguments(command);
    Relatives::holdOutput(std::chrono::seconds(arguments.number(0)),
                          std::chrono::milliseconds(arguments.number(1, 0)));
}

void Player::exit(const Command &command)
{
    m_exitCode = static_cast<int>(Arguments(command).number(0));
}

void Player::die(const Command &command)
{
    Signals::dieBy(signalNumber(command));
}
