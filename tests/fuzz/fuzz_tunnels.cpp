// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any bytes as the stored list of tunnels.

#include "Fakes.h"
#include "Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const char *data, std::size_t size)
{
    FakeWorld world;
    world.preferences.values[QStringLiteral("tunnels")] = QByteArray(data, qsizetype(size));
    TunnelManager manager(world.services());
    for (const TunnelConfig &tunnel : manager.tunnels()) {
        expect(manager.runner(tunnel.id) != nullptr, "each tunnel has a runner");
        const auto url = tunnel.browserURL();
        expect(!url || (url->isValid() && !url->scheme().isEmpty()), "an address is one");
    }
    expect(world.preferences.writes == 0, "loading writes nothing");

    FakeWorld::addTunnel(manager, QStringLiteral("added"));
    expect(TunnelManager(world.services()).tunnels() == manager.tunnels(),
           "what is stored is what is loaded");
    return 0;
}
