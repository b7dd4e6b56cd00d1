// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "AtomicFile.h"
#include "JsonMembers.h"
#include "Preferences.h"

#include <QSet>

/// The preferences as one JSON object in a file of the user's configuration folder (XDG Base Directory).
///
/// Every change is on the disk when the setter returns. A value that could not be written stays in memory and
/// goes with the next write that works. What the file holds beyond this program's keys is kept to the byte.
///
/// A file that does not parse is renamed, never overwritten. A file that cannot be read for another reason,
/// or that is no regular file, is left as it is and nothing is written in its place. Where somebody else
/// changed the file, the next write takes over their values of all keys that this run has not written itself.
/// A symbolic link stays one; its target is replaced.
class PreferencesFile final : public Preferences
{
public:
    explicit PreferencesFile(QString path);

    /// `$XDG_CONFIG_HOME/morvanel/preferences.json`, in `~/.config` by default.
    static QString defaultPath();

    std::optional<QString> string(const QString &key) const override;
    std::optional<bool> boolean(const QString &key) const override;
    std::optional<QByteArray> data(const QString &key) const override;
    std::optional<QList<qint32>> integers(const QString &key) const override;

    void setString(const QString &key, const QString &value) override;
    void setBoolean(const QString &key, bool value) override;
    void setData(const QString &key, const QByteArray &value) override;
    void setIntegers(const QString &key, const QList<qint32> &value, Durability durability) override;
    void remove(const QString &key) override;

private:
    void set(const QString &key, const QJsonValue &value);
    void store(const QString &key, bool isChanged);
    QString refresh(const QString &target);
    QString setAside(const QString &target, const QString &damage);
    void reportOnce(const QString &failure);

    QString m_path;
    JsonMembers m_members;
    QSet<QString> m_writtenKeys;              ///< by this run
    std::optional<AtomicFile::Stamp> m_stamp; ///< of the file that the members were last the same as
    bool m_isStored = true;                   ///< whether no change waits for being written
    QString m_reported;                       ///< the failure that was told last; empty after a success
};
