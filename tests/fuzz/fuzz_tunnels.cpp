// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any bytes as the stored list of tunnels.

#include "Fakes.h"
#include "Fuzz.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

/// Whether the stored text is a list of complete records.
bool isComplete(const QJsonDocument &stored)
{
    const QJsonArray records = stored.array();
    return stored.isArray() && std::all_of(records.begin(), records.end(), [](const QJsonValue &record) {
               const QString id = record[u"id"_s].toString();
               return QUuid::fromString(id).toString(QUuid::WithoutBraces) == id.toLower() &&
                      record[u"name"_s].isString() && record[u"hostname"_s].isString() &&
                      record[u"startOnLaunch"_s].isBool();
           });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray stored(reinterpret_cast<const char *>(data), qsizetype(size));
    FakeWorld world;
    world.preferences.values[u"tunnels"_s] = stored;
    TunnelManager manager(world.services());
    const QJsonDocument document = QJsonDocument::fromJson(stored);
    Fuzz::expect(manager.tunnels().size() == (isComplete(document) ? document.array().size() : 0),
                 "all tunnels are loaded or none");
    for (const TunnelConfig &tunnel : manager.tunnels()) {
        Fuzz::expect(manager.runner(tunnel.id) != nullptr, "each tunnel has a runner");
        const auto url = tunnel.browserURL();
        Fuzz::expect(!url || (url->isValid() && !url->scheme().isEmpty()), "an address is one");
    }
    Fuzz::expect(world.preferences.values[u"tunnels"_s] == stored, "loading writes nothing");

    FakeWorld::addTunnel(manager, u"added"_s);
    const TunnelManager next(world.services());
    Fuzz::expect(next.tunnels() == manager.tunnels(), "what is stored is what is loaded");
    return 0;
}
