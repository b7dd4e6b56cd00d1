// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelLines.h"

#include "Output.h"

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

std::string fields(std::int64_t index)
{
    return " connIndex=" + std::to_string(index) + " event=0 ip=198.51.100." +
           std::to_string(10 + index % 200);
}

/// A UUID that differs for each registration of each process.
std::string connectionID(unsigned count)
{
    char text[40];
    std::snprintf(text, sizeof text, "%08x-5ca1-4ab1-8e5d-%012x", static_cast<unsigned>(getpid()), count);
    return text;
}

void serveEnded(const char *level, const std::string &reason, std::int64_t index)
{
    Output::stampedLine(level + (" Failed to serve quic connection error=\"" + reason + '"') + fields(index));
}

} // namespace

void TunnelLines::opening() const
{
    for (const char *text :
         {"INF Starting tunnel tunnelID=5a4d1e00-0c0f-4fee-9bad-c0ffee000001", "INF Version 2026.1.0",
          "INF GOOS: linux, GOVersion: go1.24.0, GoArch: amd64",
          "INF Environmental variables map[NO_AUTOUPDATE:true TUNNEL_GRACE_PERIOD:2s TUNNEL_TOKEN:*****]",
          "INF Generated Connector ID: 5a4d1e00-0c0f-4fee-9bad-c0ffee000002", "INF Initial protocol quic",
          "WRN ICMP proxy feature is disabled error=\"cannot create ICMPv4 proxy: permission denied\"",
          "INF Starting metrics server on 127.0.0.1:20241/metrics"}) {
        Output::stampedLine(text);
    }
}

void TunnelLines::registered(std::int64_t index)
{
    m_live.insert(index);
    const std::string location =
        " location=" + std::string(index % 2 ? "muc0" : "zrh0") + std::to_string(1 + index / 2);
    // the fields are sorted by name: "connection" stands between the index and the event
    std::string line = "INF Registered tunnel connection" + fields(index) + location + " protocol=quic";
    line.insert(line.find(" event="), " connection=" + connectionID(++m_registrations));
    Output::stampedLine(line);
}

void TunnelLines::lost(std::int64_t index)
{
    const std::string reason = "timeout: no recent network activity";
    m_live.erase(index);
    Output::stampedLine("INF Unregistered tunnel connection" + fields(index));
    serveEnded("WRN", reason, index);
    Output::stampedLine("WRN Serve tunnel error error=\"" + reason + '"' + fields(index));
    Output::stampedLine("INF Retrying connection in up to 1s" + fields(index));
    Output::stampedLine("ERR Connection terminated error=\"" + reason +
                        "\" connIndex=" + std::to_string(index));
}

void TunnelLines::shutdown()
{
    Output::stampedLine("INF Initiating graceful shutdown due to signal terminated ...");
    for (const std::int64_t index : m_live) {
        Output::stampedLine("INF Unregistered tunnel connection" + fields(index));
        serveEnded("ERR", "context canceled", index);
        Output::stampedLine("INF Retrying connection in up to 1s" + fields(index));
    }
    m_live.clear();
    Output::stampedLine("ERR no more connections active and exiting");
    Output::stampedLine("INF Tunnel server stopped");
    Output::stampedLine("INF Metrics server stopped");
}
