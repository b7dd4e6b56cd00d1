// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// The user's preferences: a key-value store that survives the program.
///
/// Reading yields none when the key is absent or holds a value of another type. A written value is the value
/// of this run even where it could not be stored; the implementation reports that once on standard error.
class Preferences
{
public:
    /// Whether a setter waits until the disk has what it wrote.
    enum class Durability {
        OnDisk,     ///< survives a loss of power from the setter's return on
        Eventually, ///< survives the end of this process; the disk follows within seconds
    };

    virtual ~Preferences() = default;

    virtual std::optional<QString> string(const QString &key) const = 0;
    virtual std::optional<bool> boolean(const QString &key) const = 0;
    virtual std::optional<QByteArray> data(const QString &key) const = 0;
    /// None as well when any element is no 32-bit signed integer.
    virtual std::optional<QList<qint32>> integers(const QString &key) const = 0;

    virtual void setString(const QString &key, const QString &value) = 0;
    virtual void setBoolean(const QString &key, bool value) = 0;
    virtual void setData(const QString &key, const QByteArray &value) = 0;
    virtual void setIntegers(const QString &key, const QList<qint32> &value, Durability durability) = 0;
    virtual void remove(const QString &key) = 0;
};
