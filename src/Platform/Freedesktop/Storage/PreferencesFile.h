// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Preferences.h"

#include <QHash>
#include <QJsonObject>

#include <functional>
#include <tuple>
#include <utility>

/// The preferences as one JSON object (RFC 8259) in a file of the user's configuration folder (XDG Base
/// Directory), open to this user only.
///
/// The file is replaced as a whole, so that a reader, a crash or a loss of power only ever meets the old
/// content or the new one. Each call looks first whether somebody else changed the file and takes their
/// values over, so that a setter changes its own key and nothing else. A value that could not be written is
/// kept in memory, where it has precedence over the file, and goes with the next write that works.
///
/// A file that does not parse is renamed, never overwritten. A file that cannot be read for another reason,
/// or that is no regular file, is left as it is and nothing is written in its place. A symbolic link stays
/// one; its target is replaced. When the file is gone, the next write brings all values back.
class PreferencesFile final : public Preferences
{
public:
    explicit PreferencesFile(QString path);

    /// The reason in words for the user; none after a success.
    using Failure = std::optional<QString>;

    /// Has `told` called when values cannot be stored, once for each reason, and when they are again. Tells
    /// at once of a file that could not be read at the beginning.
    void setTold(std::function<void(const Failure &failure)> told);

    /// Returns `$XDG_CONFIG_HOME/morvanel/preferences.json`, in `~/.config` by default.
    static QString defaultPath();

    std::optional<QString> string(const QString &key) const override;
    std::optional<bool> boolean(const QString &key) const override;
    std::optional<QByteArray> data(const QString &key) const override;
    std::optional<QList<qint32>> integers(const QString &key) const override;

    void setString(const QString &key, const QString &value) override
    {
        set(key, value, Durability::Eventually);
    }
    void setBoolean(const QString &key, bool value) override { set(key, value); }
    void setData(const QString &key, const QByteArray &value) override;
    void setIntegers(const QString &key, const QList<qint32> &value, Durability durability) override;
    void remove(const QString &key) override;

private:
    /// Tells one state of a file from another: device, inode, size and time of the last change.
    using Stamp = std::tuple<quint64, quint64, qint64, qint64, qint64>;

    QJsonValue value(const QString &key) const;
    void set(const QString &key, const QJsonValue &value, Durability durability = Durability::OnDisk);
    [[nodiscard]] Failure read(const QString &target) const;
    [[nodiscard]] Failure write(Durability durability);
    void reportOnce(const Failure &failure);

    QString m_path;
    mutable QJsonObject m_stored;         ///< as last read or written
    mutable std::optional<Stamp> m_stamp; ///< of the file that was last read; none after a write
    QHash<QString, QJsonValue> m_pending; ///< not written yet; undefined values are removals
    std::function<void(const Failure &failure)> m_told;
    Failure m_reported; ///< what was told last; none after a success
};
