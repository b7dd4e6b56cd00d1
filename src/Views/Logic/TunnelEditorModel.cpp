// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelEditorModel.h"

#include "Text.h"
#include "TunnelManager.h"

#include <algorithm>
#include <utility>

TunnelEditorModel::TunnelEditorModel(TunnelManager &manager, std::optional<TunnelConfig> tunnel)
    : m_manager(manager)
    , m_tunnel(std::move(tunnel))
{
}

void TunnelEditorModel::load()
{
    if (!m_tunnel)
        return;
    name = m_tunnel->name;
    hostname = m_tunnel->hostname;
    startOnLaunch = m_tunnel->startOnLaunch;
}

bool TunnelEditorModel::canSave() const
{
    if (Text::trimmedOfBlanks(name).isEmpty())
        return false;
    return !isNew() || !TunnelManager::normalizeToken(token).isEmpty();
}

bool TunnelEditorModel::showsTokenWarning() const
{
    return !token.isEmpty() && !TunnelManager::normalizeToken(token).startsWith(u"eyJ");
}

TunnelConfig TunnelEditorModel::edited(const TunnelConfig &record) const
{
    return {record.id, Text::trimmedOfBlanks(name), Text::trimmedOfBlanks(hostname), startOnLaunch};
}

QUuid TunnelEditorModel::save()
{
    const QString clean = TunnelManager::normalizeToken(token);
    if (isNew()) {
        const TunnelConfig record = edited({QUuid::createUuid(), {}, {}, false});
        m_manager.add(record, clean);
        return record.id;
    }
    const TunnelConfig record = edited(*m_tunnel);
    m_manager.update(record, clean.isEmpty() ? std::nullopt : std::optional(clean));
    token.clear();
    return record.id;
}

TunnelState TunnelEditorModel::state() const
{
    return m_tunnel ? m_manager.state(m_tunnel->id) : TunnelState::stopped();
}

void TunnelEditorModel::toggle()
{
    if (state().isRunning())
        m_manager.stop(m_tunnel->id);
    else if (m_tunnel)
        m_manager.start(m_tunnel->id);
}

QString TunnelEditorModel::title() const
{
    if (isNew())
        return tr("New Tunnel");
    return name.isEmpty() ? tr("Tunnel") : name;
}

QString TunnelEditorModel::tokenPrompt() const
{
    return isNew() ? tr("Paste the tunnel token") : tr("Stored in the Keychain · paste to replace it");
}

QString TunnelEditorModel::saveTitle() const
{
    return isNew() ? tr("Add") : tr("Save");
}

QString TunnelEditorModel::toggleTitle() const
{
    return state().isRunning() ? tr("Stop") : tr("Start");
}
