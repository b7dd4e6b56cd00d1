// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogRules.h"

#include <string_view>

ColorRole LogRules::color(QByteArrayView line)
{
    const std::string_view text(line.data(), size_t(line.size()));
    const auto contains = [text](std::string_view part) { return text.find(part) != text.npos; };
    if (contains(" ERR ") || text.starts_with("\u2716\uFE0E"))
        return ColorRole::Red;
    if (contains(" WRN "))
        return ColorRole::Orange;
    if (contains("Registered tunnel connection"))
        return ColorRole::Green;
    return ColorRole::None;
}

std::optional<QUuid> LogRules::selectionOnAppear(const std::optional<QUuid> &selection,
                                                 const QList<TunnelConfig> &tunnels)
{
    if (selection || tunnels.isEmpty())
        return selection;
    return tunnels.first().id;
}

bool LogRules::scrollsToEnd(qsizetype previousCount, qsizetype count)
{
    return count != previousCount && count > 0;
}
