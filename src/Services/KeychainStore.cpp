// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "KeychainStore.h"

#include "SecretStore.h"
#include "Text.h"
#include "TunnelConfig.h"

using namespace Qt::StringLiterals;

namespace {

SecretKey keyOf(const QUuid &id)
{
    return {u"com.ardentwick.Morvanel.token"_s, tunnelIdText(id)};
}

} // namespace

std::optional<QString> KeychainStore::token(const QUuid &id) const
{
    const SecretStore::Lookup found = m_secrets.lookup(keyOf(id));
    if (found.status != SecretStatus::Success || !Text::isUtf8(found.data))
        return std::nullopt;
    return Text::fromUtf8(found.data);
}

bool KeychainStore::setToken(const QString &token, const QUuid &id)
{
    const QByteArray data = token.toUtf8();
    SecretStatus status = m_secrets.update(keyOf(id), data);
    if (status == SecretStatus::NotFound)
        status = m_secrets.add(keyOf(id), data, u"Morvanel token"_s);
    return status == SecretStatus::Success;
}

void KeychainStore::deleteToken(const QUuid &id)
{
    m_secrets.remove(keyOf(id));
}
