// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelEditorModel.h"

#include "Text.h"
#include "TunnelManager.h"
#include "TunnelRunner.h"

#include <utility>

using namespace Qt::StringLiterals;

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

QUuid TunnelEditorModel::save()
{
    const QString clean = TunnelManager::normalizeToken(token);
    const TunnelConfig record{m_tunnel ? m_tunnel->id : QUuid::createUuid(), Text::trimmedOfBlanks(name),
                              Text::trimmedOfBlanks(hostname), startOnLaunch};
    if (isNew()) {
        m_manager.add(record, clean);
    } else {
        m_manager.update(record, clean.isEmpty() ? std::nullopt : std::optional(clean));
        token.clear();
    }
    return record.id;
}

TunnelStatus TunnelEditorModel::status() const
{
    const TunnelRunner *runner = m_tunnel ? m_manager.runner(m_tunnel->id) : nullptr;
    return runner ? runner->status() : TunnelStatus();
}

void TunnelEditorModel::toggle()
{
    if (m_tunnel)
        m_manager.toggle(m_tunnel->id);
}

QString TunnelEditorModel::title() const
{
    if (isNew())
        return u"New Tunnel"_s;
    return name.isEmpty() ? u"Tunnel"_s : name;
}

QString TunnelEditorModel::tokenPrompt() const
{
    return isNew() ? u"Paste the tunnel token"_s : u"Stored in the Keychain · paste to replace it"_s;
}

QString TunnelEditorModel::saveTitle() const
{
    return isNew() ? u"&Add"_s : u"&Save"_s;
}

QString TunnelEditorModel::toggleTitle() const
{
    return status().state.isRunning() ? u"Sto&p"_s : u"Sta&rt"_s;
}
