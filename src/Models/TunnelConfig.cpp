// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelConfig.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// Returns the id that a canonical text of either letter case stands for; none for any other text, of which
/// QUuid takes some.
std::optional<QUuid> tunnelIdFromText(const QString &text)
{
    const QUuid id = QUuid::fromString(text);
    return tunnelIdText(id) == text.toUpper() ? std::optional(id) : std::nullopt;
}

} // namespace

std::optional<QUrl> TunnelConfig::browserURL() const
{
    const QString trimmed = hostname.trimmed();
    // QUrl takes white space beyond ASCII for part of a name.
    if (trimmed.isEmpty() || std::ranges::any_of(trimmed, [](QChar c) { return c.isSpace(); }))
        return std::nullopt;
    const QString address = trimmed.contains("://"_L1) ? trimmed : u"https://"_s + trimmed;
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || url.isRelative())
        return std::nullopt;
    return url;
}

QJsonObject TunnelConfig::toJson() const
{
    return {{u"id"_s, tunnelIdText(id)},
            {u"name"_s, name},
            {u"hostname"_s, hostname},
            {u"startOnLaunch"_s, startOnLaunch}};
}

std::optional<TunnelConfig> TunnelConfig::fromJson(const QJsonObject &object)
{
    const QJsonValue id = object[u"id"_s];
    const QJsonValue name = object[u"name"_s];
    const QJsonValue hostname = object[u"hostname"_s];
    const QJsonValue startOnLaunch = object[u"startOnLaunch"_s];
    if (!id.isString() || !name.isString() || !hostname.isString() || !startOnLaunch.isBool())
        return std::nullopt;
    const std::optional<QUuid> uuid = tunnelIdFromText(id.toString());
    if (!uuid)
        return std::nullopt;
    return TunnelConfig{*uuid, name.toString(), hostname.toString(), startOnLaunch.toBool()};
}

QByteArray TunnelConfig::toJson(const QList<TunnelConfig> &tunnels)
{
    QJsonArray records;
    for (const TunnelConfig &tunnel : tunnels)
        records += tunnel.toJson();
    return QJsonDocument(records).toJson(QJsonDocument::Compact);
}

QList<TunnelConfig> TunnelConfig::listFromJson(const QByteArray &json)
{
    QList<TunnelConfig> tunnels;
    const QJsonArray records = QJsonDocument::fromJson(json).array();
    for (const QJsonValue record : records) {
        const std::optional<TunnelConfig> tunnel = fromJson(record.toObject());
        if (!tunnel)
            return {};
        tunnels += *tunnel;
    }
    return tunnels;
}

size_t qHash(const TunnelConfig &tunnel, size_t seed) noexcept
{
    return qHashMulti(seed, tunnel.id, tunnel.name, tunnel.hostname, tunnel.startOnLaunch);
}

QString tunnelIdText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}
