// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Script.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>

namespace {

constexpr std::string_view blanks = " \t";

std::string_view trimmedStart(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text;
}

std::vector<std::string> split(std::string_view text)
{
    std::vector<std::string> words;
    while (!(text = trimmedStart(text)).empty()) {
        const bool quoted = text.front() == '"';
        text.remove_prefix(quoted ? 1 : 0);
        const std::size_t end = std::min(quoted ? text.find('"') : text.find_first_of(blanks), text.size());
        words.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

} // namespace

Arguments::Arguments(const Command &command)
    : m_words(split(command.text))
    , m_line(command.line)
{
}

const std::string &Arguments::word(std::size_t index) const
{
    if (index >= m_words.size()) {
        throw error("an argument is missing");
    }
    return m_words[index];
}

std::int64_t Arguments::number(std::size_t index, std::optional<std::int64_t> fallback) const
{
    if (index >= m_words.size() && fallback) {
        return *fallback;
    }
    const std::string &text = word(index);
    std::int64_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failure != std::errc() || end != text.data() + text.size() || value < 0) {
        throw error("\"" + text + "\" is not a number");
    }
    return value;
}

bool Arguments::contains(std::string_view word) const
{
    return std::find(m_words.begin(), m_words.end(), word) != m_words.end();
}

ScriptError Arguments::error(const std::string &message) const
{
    return ScriptError("line " + std::to_string(m_line) + ": " + message);
}

Script parseScript(std::string_view text)
{
    Script script;
    script.onTerm = {{"shutdown", "", 0}};
    std::vector<Command> *track = &script.main;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = trimmedStart(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t verbEnd = std::min(line.find_first_of(blanks), line.size());
        const std::string_view rest = line.substr(std::min(verbEnd + 1, line.size()));
        if (line.substr(0, verbEnd) == "on-term") {
            track = &script.onTerm;
            track->clear();
        } else {
            track->push_back({std::string(line.substr(0, verbEnd)), std::string(rest), number});
        }
    }
    return script;
}

std::string readFile(const std::filesystem::path &file)
{
    const std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw ScriptError("cannot read " + file.string());
    }
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    return bytes.str();
}
