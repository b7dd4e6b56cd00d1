// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// The user's preferences: a key-value store that survives the program.
///
/// Another program may change them at any time. A value that could not be stored is kept for this run and
/// stored with the next one that can be; the implementation reports each reason once, until one is stored.
class Preferences
{
public:
    /// Assurance with which a setter returns. `setIntegers` takes either, `setString` gives `Eventually`
    /// because it is called for each key typed, all others give `OnDisk`.
    enum class Durability {
        OnDisk,     ///< the value survives a loss of power
        Eventually, ///< it survives the end of this process; the disk follows within seconds
    };

    virtual ~Preferences() = default;

    /// Returns the value of the key; none when the key is absent or holds a value of another type.
    virtual std::optional<QString> string(const QString &key) const = 0;
    /// Reads like `string`.
    virtual std::optional<bool> boolean(const QString &key) const = 0;
    /// Reads like `string`, for bytes that `setData` stored.
    virtual std::optional<QByteArray> data(const QString &key) const = 0;
    /// Reads like `string`; none as well when any element is no 32-bit signed integer.
    virtual std::optional<QList<qint32>> integers(const QString &key) const = 0;

    /// Stores the value under the key, whatever was there before, and touches no other key.
    virtual void setString(const QString &key, const QString &value) = 0;
    /// Writes like `setString`.
    virtual void setBoolean(const QString &key, bool value) = 0;
    /// Writes like `setString`, for any bytes.
    virtual void setData(const QString &key, const QByteArray &value) = 0;
    /// Writes like `setString`; an empty list is stored as such.
    virtual void setIntegers(const QString &key, const QList<qint32> &value, Durability durability) = 0;
    /// Removes the key and its value. Fine when there is none.
    virtual void remove(const QString &key) = 0;
};
