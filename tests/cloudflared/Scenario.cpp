// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Scenario.h"

#include <cstdlib>

namespace {

namespace fs = std::filesystem;

constexpr std::string_view healthyTunnel = "pause 100\n"
                                           "opening\n"
                                           "pause 300\n"
                                           "registered 0\n"
                                           "registered 1\n"
                                           "pause 1000\n"
                                           "registered 2\n"
                                           "pause 1000\n"
                                           "registered 3\n"
                                           "wait\n";

std::string variable(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

std::string scenarioOfToken(std::string_view token)
{
    constexpr std::string_view marker = ".scenario.";
    const std::size_t at = token.rfind(marker);
    return at == std::string_view::npos ? "" : std::string(token.substr(at + marker.size()));
}

fs::path scenarioFolder()
{
    const std::string folder = variable("MORVANEL_SCENARIOS");
    return folder.empty() ? fs::read_symlink("/proc/self/exe").parent_path() / "scenarios" : fs::path(folder);
}

Script scenario(const std::string &name)
{
    const fs::path folder = scenarioFolder();
    Script script;
    if (const fs::path file = folder / (name + ".scenario"); fs::exists(file)) {
        script = parseScript(readFile(file));
    } else if (fs::exists(folder / (name + ".log"))) {
        script = parseScript("replay \"" + name + ".log\"");
    } else {
        throw ScriptError("no scenario \"" + name + "\" in " + folder.string());
    }
    script.folder = folder;
    return script;
}

} // namespace

Script chooseScript()
{
    if (const std::string name = scenarioOfToken(variable("TUNNEL_TOKEN")); !name.empty()) {
        return scenario(name);
    }
    if (const std::string text = variable("MORVANEL_SCRIPT"); !text.empty()) {
        return parseScript(text);
    }
    if (const std::string name = variable("MORVANEL_SCENARIO"); !name.empty()) {
        return scenario(name);
    }
    return parseScript(healthyTunnel);
}
