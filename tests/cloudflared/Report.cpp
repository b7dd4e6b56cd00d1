// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Report.h"

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <string_view>
#include <unistd.h>

namespace {

std::string escaped(std::string_view text)
{
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte != 0x7f && character != '\\') {
            result += character;
        } else {
            char code[5];
            std::snprintf(code, sizeof code, "\\x%02x", byte);
            result += code;
        }
    }
    return result;
}

std::string fact(std::string_view name, std::string_view value)
{
    return std::string(name) + ' ' + escaped(value) + '\n';
}

std::string facts(std::string_view name, const char *const *values)
{
    std::string text;
    for (; *values; ++values) {
        text += fact(name, *values);
    }
    return text;
}

std::string descriptors()
{
    namespace fs = std::filesystem;
    std::map<int, std::string> targets;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const fs::path target = fs::read_symlink(entry.path(), gone);
        if (!gone) {
            targets[std::stoi(entry.path().filename())] = target;
        }
    }
    std::string text;
    for (const auto &[number, target] : targets) {
        // the listing's own descriptor, closed by now
        if (fcntl(number, F_GETFD) != -1) {
            text += fact("fd", std::to_string(number) + ' ' + target);
        }
    }
    return text;
}

std::string signalNumbers(const sigset_t &set)
{
    std::string text;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        if (sigismember(&set, number) == 1) {
            text.append(text.empty() ? "" : " ").append(std::to_string(number));
        }
    }
    return text.empty() ? "none" : text;
}

} // namespace

std::string launchReport(const char *const *argv, const Signals::Inherited &inherited)
{
    return facts("arg", argv) + facts("env", environ) + descriptors() +
           fact("blocked", signalNumbers(inherited.blocked)) +
           fact("ignored", signalNumbers(inherited.ignored)) + fact("pid", std::to_string(getpid())) +
           fact("parent", std::to_string(getppid())) + fact("group", std::to_string(getpgrp())) +
           fact("session", std::to_string(getsid(0))) + "end\n";
}
