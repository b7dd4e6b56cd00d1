// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QSet>
#include <QString>

#include <optional>
#include <vector>

/// The members of one JSON object (RFC 8259), each value as the text it was written as. A value that is not
/// touched is therefore kept to the byte, numbers beyond the range of a double included, and costs nothing
/// when the object is written again.
class JsonMembers
{
public:
    /// None when the text is no JSON object; `error` then says why. Of members with one name the last counts.
    static std::optional<JsonMembers> parse(const QByteArray &text, QString *error);

    /// Undefined when there is no such member.
    QJsonValue value(const QString &name) const;
    /// Whether that changed anything.
    bool set(const QString &name, const QJsonValue &value);
    /// Whether that changed anything.
    bool remove(const QString &name);
    /// Takes every member of `other` and drops all that it lacks, save for the members named in `own`.
    void takeAllBut(const QSet<QString> &own, const JsonMembers &other);

    /// The object as text, one member a line.
    QByteArray text() const;

private:
    struct Member
    {
        QString name;
        QByteArray value;
    };

    const Member *find(const QString &name) const;
    bool setText(const QString &name, const QByteArray &value);

    std::vector<Member> m_members;
};
