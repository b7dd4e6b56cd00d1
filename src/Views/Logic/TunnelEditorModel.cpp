// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelEditorModel.h"

#include "TunnelManager.h"

#include <algorithm>
#include <utility>

namespace {

bool isBlank(QChar c)
{
    return c.category() == QChar::Separator_Space || c == u'\t';
}

/// Without blanks and tabs at the ends. Line breaks are no blanks: they stay, and so does what they enclose.
QString trimmedOfBlanks(const QString &text)
{
    const auto begin = std::find_if_not(text.cbegin(), text.cend(), isBlank);
    const auto end = std::find_if_not(text.crbegin(), std::make_reverse_iterator(begin), isBlank).base();
    return QString(begin, end - begin);
}

} // namespace

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
    if (trimmedOfBlanks(name).isEmpty())
        return false;
    return !isNew() || !TunnelManager::normalizeToken(token).isEmpty();
}

bool TunnelEditorModel::showsTokenWarning() const
{
    return !token.isEmpty() && !TunnelManager::normalizeToken(token).startsWith(u"eyJ");
}

TunnelConfig TunnelEditorModel::edited(const TunnelConfig &record) const
{
    return {record.id, trimmedOfBlanks(name), trimmedOfBlanks(hostname), startOnLaunch};
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
