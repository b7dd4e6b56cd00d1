// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelConfig.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isHexDigit(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f') || (u >= u'A' && u <= u'F');
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

std::optional<QUuid> tunnelIdFromText(QStringView text)
{
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isDashPlace = i == 8 || i == 13 || i == 18 || i == 23;
        if (isDashPlace ? text[i] != u'-' : !isHexDigit(text[i]))
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

QString TunnelState::label() const
{
    switch (m_case) {
    case Case::Connected:
        return m_connections == 1 ? u"Connected (1 connection)"_s
                                  : u"Connected (%1 connections)"_s.arg(m_connections);
    case Case::Failed:
        return u"Error: "_s + m_message;
    case Case::Stopped:
        return u"Stopped"_s;
    case Case::Starting:
        return u"Connecting…"_s;
    case Case::Reconnecting:
        return u"Reconnecting…"_s;
    case Case::Stopping:
        return u"Stopping…"_s;
    }
    Q_UNREACHABLE();
}

ColorRole TunnelState::colorRole() const
{
    switch (m_case) {
    case Case::Connected:
        return ColorRole::Green;
    case Case::Failed:
        return ColorRole::Red;
    case Case::Starting:
    case Case::Reconnecting:
    case Case::Stopping:
        return ColorRole::Orange;
    case Case::Stopped:
        break;
    }
    return ColorRole::TertiaryLabel;
}
