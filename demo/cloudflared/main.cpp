// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Process.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

using Process::writeStamped;

namespace {

std::string fields(std::int64_t index)
{
    return " connIndex=" + std::to_string(index) + " event=0 ip=198.51.100.1" + std::to_string(index);
}

void writeServeEnded(const char *level, const std::string &reason, std::int64_t index)
{
    writeStamped(level + (" Failed to serve quic connection error=\"" + reason + '"') + fields(index));
}

/// Output before the first connection.
void writeOpening()
{
    for (const char *text :
         {"INF Starting tunnel tunnelID=5a4d1e00-0c0f-4fee-9bad-c0ffee000001", "INF Version 2026.1.0",
          "INF GOOS: linux, GOVersion: go1.24.0, GoArch: amd64",
          "INF Environmental variables map[NO_AUTOUPDATE:true TUNNEL_GRACE_PERIOD:2s TUNNEL_TOKEN:*****]",
          "INF Generated Connector ID: 5a4d1e00-0c0f-4fee-9bad-c0ffee000002", "INF Initial protocol quic",
          "WRN ICMP proxy feature is disabled error=\"cannot create ICMPv4 proxy: permission denied\"",
          "INF Starting metrics server on 127.0.0.1:20241/metrics"})
        writeStamped(text);
}

/// Writes so many lines of that size as fast as they are read; with "chunks" 64 KiB in each write, with
/// "connections" every tenth line registers or loses one of four connections, in turn.
void blast(std::int64_t count, std::size_t bytes, const std::string &options)
{
    const auto line = [bytes](const std::string &text) {
        std::string padded = "2026-11-24T17:16:51Z INF " + text + ' ';
        padded.resize(bytes, '.');
        padded.back() = '\n';
        return padded;
    };
    const std::size_t chunkBytes = options.find("chunks") == std::string::npos ? 1 : 65'536;
    const bool hasConnections = options.find("connections") != std::string::npos;
    const std::string plain = line("Request served");
    std::vector<std::string> events;
    for (const char *event : {"Registered", "Unregistered"}) {
        for (const char *index : {"0", "1", "2", "3"})
            events.push_back(line(std::string(event) + " tunnel connection connIndex=" + index));
    }
    std::string chunk;
    for (std::int64_t i = 0; i < count && !Process::termRequested(); ++i) {
        chunk += hasConnections && i % 10 == 9 ? events[std::size_t(i / 10) % events.size()] : plain;
        if (chunk.size() >= chunkBytes)
            Process::write(std::exchange(chunk, {}));
    }
    Process::write(chunk);
}

/// One line of a script: a verb and the text after it, with the numbers that the text begins with.
struct Command
{
    std::string verb;
    std::string text;
    std::int64_t first = 0;
    std::int64_t second = 0;
};

/// Plays a script, whose language README.md describes: its beginning until it ends or SIGTERM comes, then its
/// part for SIGTERM.
class Player
{
public:
    /// `speed` divides the pauses; `argv` is told by a report.
    Player(const std::string &script, double speed, const char *const *argv)
        : m_speed(speed)
        , m_argv(argv)
    {
        std::vector<Command> *track = &m_main;
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t end = std::min(line.find(' '), line.size());
            Command command{line.substr(0, end), line.substr(std::min(end + 1, line.size()))};
            std::istringstream(command.text) >> command.first >> command.second;
            if (command.verb == "on-term") {
                track = &m_onTerm;
                track->clear();
            } else if (!line.empty() && line[0] != '#') {
                track->push_back(command);
            }
        }
    }

    /// Returns the exit code, unless the script ends the process in another way.
    int play()
    {
        play(m_main);
        if (!m_exitCode && Process::takeTerm())
            play(m_onTerm);
        return m_exitCode.value_or(0);
    }

private:
    void play(const std::vector<Command> &track)
    {
        m_next = m_mark = 0;
        while (m_next < track.size() && !m_exitCode && !Process::termRequested()) {
            const Command &command = track[m_next++];
            const auto action = actions().find(command.verb);
            if (action != actions().end()) {
                action->second(*this, command);
            } else {
                Process::write("stand-in: no command \"" + command.verb + "\"\n");
                m_exitCode = 64; // EX_USAGE of sysexits.h
            }
        }
    }

    static const std::map<std::string, void (*)(Player &, const Command &)> &actions()
    {
        static const std::map<std::string, void (*)(Player &, const Command &)> table = {
            {"print", [](Player &, const Command &command) { writeStamped(command.text); }},
            {"raw", [](Player &, const Command &command) { Process::write(command.text + '\n'); }},
            {"partial", [](Player &, const Command &command) { Process::write(command.text); }},
            {"blast",
             [](Player &, const Command &command) {
                 blast(command.first, std::size_t(command.second), command.text);
             }},
            {"report", [](Player &player, const Command &command) { player.report(command.text); }},
            {"opening", [](Player &, const Command &) { writeOpening(); }},
            {"registered", [](Player &player, const Command &command) { player.registered(command.first); }},
            {"lost", [](Player &player, const Command &command) { player.lost(command.first); }},
            {"shutdown", [](Player &player, const Command &) { player.shutdown(); }},
            {"pause", [](Player &player, const Command &command) { player.pause(double(command.first)); }},
            {"wait", [](Player &, const Command &) { Process::waitForTerm(); }},
            {"mark", [](Player &player, const Command &) { player.m_mark = player.m_next; }},
            {"loop", [](Player &player, const Command &command) { player.loop(command.first); }},
            {"sigterm",
             [](Player &, const Command &command) {
                 std::signal(SIGTERM, command.text == "ignore" ? SIG_IGN : SIG_DFL);
             }},
            {"close-output", [](Player &, const Command &) { Process::closeOutput(); }},
            {"stop-self", [](Player &, const Command &) { std::raise(SIGSTOP); }},
            {"fork-hold",
             [](Player &, const Command &command) {
                 Process::holdOutput(std::chrono::seconds(command.first),
                                     std::chrono::milliseconds(command.second));
             }},
            {"exit", [](Player &player, const Command &command) { player.m_exitCode = int(command.first); }},
            {"die",
             [](Player &, const Command &command) {
                 Process::dieBy(command.text == "SIGSEGV" ? SIGSEGV : SIGKILL);
             }},
        };
        return table;
    }

    void registered(std::int64_t index)
    {
        m_live.insert(index);
        const std::string number = std::to_string(index);
        writeStamped("INF Registered tunnel connection connIndex=" + number +
                     " connection=5a4d1e00-5ca1-4ab1-8e5d-c0ffee00000" + number + " event=0 ip=198.51.100.1" +
                     number + " location=zrh0" + number + " protocol=quic");
    }

    void lost(std::int64_t index)
    {
        const std::string reason = "timeout: no recent network activity";
        m_live.erase(index);
        writeStamped("INF Unregistered tunnel connection" + fields(index));
        writeServeEnded("WRN", reason, index);
        writeStamped("WRN Serve tunnel error error=\"" + reason + '"' + fields(index));
        writeStamped("INF Retrying connection in up to 1s" + fields(index));
        writeStamped("ERR Connection terminated error=\"" + reason + "\" connIndex=" + std::to_string(index));
    }

    void shutdown()
    {
        writeStamped("INF Initiating graceful shutdown due to signal terminated ...");
        for (const std::int64_t index : m_live) {
            writeStamped("INF Unregistered tunnel connection" + fields(index));
            writeServeEnded("ERR", "context canceled", index);
            writeStamped("INF Retrying connection in up to 1s" + fields(index));
        }
        m_live.clear();
        writeStamped("ERR no more connections active and exiting");
        writeStamped("INF Tunnel server stopped");
        writeStamped("INF Metrics server stopped");
    }

    void report(const std::string &file) const
    {
        const std::string text = Process::launchReport(m_argv);
        if (file.empty())
            Process::write(text);
        else
            std::ofstream(file) << text;
    }

    void pause(double milliseconds) const
    {
        const std::chrono::duration<double, std::milli> duration(milliseconds / m_speed);
        Process::pause(std::chrono::duration_cast<std::chrono::nanoseconds>(duration));
    }

    void loop(std::int64_t rounds)
    {
        if (++m_rounds < rounds || rounds == 0)
            m_next = m_mark;
        else
            m_rounds = 0;
    }

    std::vector<Command> m_main;
    std::vector<Command> m_onTerm{{"shutdown", {}}};
    double m_speed;
    const char *const *m_argv;
    std::optional<int> m_exitCode; ///< set once the script has ended the process
    std::size_t m_next = 0;        ///< of the commands that are played
    std::size_t m_mark = 0;
    std::int64_t m_rounds = 0;     ///< of the loop
    std::set<std::int64_t> m_live; ///< the connections
};

std::string variable(const char *name, const char *fallback = "")
{
    const char *value = std::getenv(name);
    return value ? value : fallback;
}

/// The text to be played: that of the scenario that the token names, else that of the environment, else a
/// healthy tunnel's.
std::string script()
{
    const std::string marker = ".scenario.", token = variable("TUNNEL_TOKEN");
    const std::size_t at = token.rfind(marker);
    if (std::string text = variable("MORVANEL_SCRIPT"); at == std::string::npos && !text.empty())
        return text;
    const std::string name = at == std::string::npos ? "connected" : token.substr(at + marker.size());
    std::ifstream file(SCENARIOS + name + ".scenario");
    return file ? std::string(std::istreambuf_iterator(file), {}) : "no scenario " + name;
}

} // namespace

int main(int, char **argv)
{
    alarm(static_cast<unsigned>(std::stoul(variable("MORVANEL_LIFETIME", "600"))));
    Process::handleTerm();
    return Player(script(), std::stod(variable("MORVANEL_SPEED", "1")), argv).play();
}
