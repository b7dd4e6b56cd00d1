// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Replay.h"

#include "Output.h"
#include "Script.h"
#include "Signals.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// The lines with their line feeds; the last one may have none.
std::vector<std::string> readLines(const std::filesystem::path &file)
{
    const std::string bytes = readFile(file);
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', at), bytes.size() - 1) + 1;
        lines.push_back(bytes.substr(at, end - at));
        at = end;
    }
    return lines;
}

bool beginsShutdown(std::string_view line)
{
    return line.find("Initiating graceful shutdown") != std::string_view::npos;
}

/// The time that a line begins with, in seconds.
std::optional<std::time_t> timeOf(const std::string &line)
{
    std::tm utc = {};
    const char *rest = strptime(line.c_str(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return rest ? std::optional(timegm(&utc)) : std::nullopt;
}

void writeLines(std::vector<std::string>::const_iterator from, std::vector<std::string>::const_iterator to)
{
    std::for_each(from, to, [](const std::string &line) { Output::write(line); });
}

} // namespace

Replay::End Replay::play(const std::filesystem::path &file) const
{
    const std::vector<std::string> lines = readLines(file);
    const auto shutdown = std::find_if(lines.begin(), lines.end(), beginsShutdown);
    std::optional<std::time_t> before;
    for (auto line = lines.begin(); line != shutdown && !Signals::termRequested(); ++line) {
        const std::optional<std::time_t> now = timeOf(*line);
        if (now && before && *now > *before && m_speed > 0) {
            const std::chrono::duration<double> pause(static_cast<double>(*now - *before) / m_speed);
            if (!Signals::pause(std::chrono::duration_cast<std::chrono::nanoseconds>(pause))) {
                break;
            }
        }
        before = now ? now : before;
        Output::write(*line);
    }
    if (shutdown == lines.end()) {
        return Signals::termRequested() ? End::Cut : End::Finished;
    }
    Signals::waitForTerm();
    Signals::acknowledgeTerm();
    writeLines(shutdown, lines.end());
    return End::ShutDown;
}
