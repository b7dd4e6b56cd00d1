// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any bytes as the stored list of tunnels.

#include "Fakes.h"
#include "Fuzz.h"

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray stored = Fuzz::bytes(data, size);
    FakeWorld world;
    world.preferences.values[u"tunnels"_s] = stored;
    TunnelManager manager(world.services());
    for (const TunnelConfig &tunnel : manager.tunnels()) {
        Fuzz::expect(manager.runner(tunnel.id) != nullptr, "each tunnel has a runner");
        const auto url = tunnel.browserURL();
        Fuzz::expect(!url || (url->isValid() && !url->scheme().isEmpty()), "an address is one");
    }
    Fuzz::expect(world.preferences.values[u"tunnels"_s] == stored, "loading writes nothing");

    FakeWorld::addTunnel(manager, u"added"_s);
    Fuzz::expect(TunnelManager(world.services()).tunnels() == manager.tunnels(),
                 "what is stored is what is loaded");
    return 0;
}
