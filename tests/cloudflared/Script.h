// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// A script that cannot be found, read or understood; what() is one sentence for the developer.
class ScriptError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One line of a script: a verb, and the text after it without the blank between them.
struct Command
{
    std::string verb;
    std::string text;
    int line = 0;
};

/// The words of a command's text; double quotes keep blanks inside a word.
class Arguments
{
public:
    explicit Arguments(const Command &command);

    std::size_t count() const { return m_words.size(); }
    /// The word at `index`; throws ScriptError when there is none.
    const std::string &word(std::size_t index) const;
    /// The word at `index` as a number of at least 0; `fallback` when there is no such word. Throws
    /// ScriptError when it is no number, or is missing and has no fallback.
    std::int64_t number(std::size_t index, std::optional<std::int64_t> fallback = std::nullopt) const;
    bool contains(std::string_view word) const;

private:
    ScriptError error(const std::string &message) const;

    std::vector<std::string> m_words;
    int m_line;
};

/// What the stand-in does: `main` from its start, `onTerm` once SIGTERM has come. README.md has the language.
struct Script
{
    std::vector<Command> main;
    std::vector<Command> onTerm;
    std::filesystem::path
        folder; ///< where relative file names of the script start; empty for the current folder
};

/// Never fails: whether the verbs exist is the player's to say.
Script parseScript(std::string_view text);

/// The bytes of `file`. Throws ScriptError when it cannot be read.
std::string readFile(const std::filesystem::path &file);
