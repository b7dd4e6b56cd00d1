// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "JsonMembers.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QByteArray encode(const QJsonValue &value)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return array.sliced(1, array.size() - 2);
}

QJsonValue decode(const QByteArray &text)
{
    return QJsonDocument::fromJson('[' + text + ']').array().at(0);
}

/// Cuts a text that is known to be a JSON object into the texts of its names and values.
class Cutter
{
public:
    explicit Cutter(const QByteArray &text)
        : m_text(text)
        , m_position(text.indexOf('{') + 1)
    {
    }

    /// Whether another member follows; the cutter then stands at its name.
    bool hasNext()
    {
        skipAnyOf(" \t\r\n,");
        return m_text.at(m_position) != '}';
    }
    QByteArray name()
    {
        QByteArray result = take(endOfString(m_position));
        skipAnyOf(" \t\r\n:");
        return result;
    }
    QByteArray value() { return take(endOfValue()); }

private:
    void skipAnyOf(QByteArrayView characters)
    {
        while (characters.contains(m_text.at(m_position)))
            ++m_position;
    }
    QByteArray take(qsizetype end)
    {
        const qsizetype start = std::exchange(m_position, end);
        return m_text.sliced(start, end - start);
    }
    qsizetype endOfString(qsizetype position) const
    {
        for (++position; m_text.at(position) != '"'; ++position)
            position += m_text.at(position) == '\\' ? 1 : 0;
        return position + 1;
    }
    qsizetype endOfValue() const
    {
        const char first = m_text.at(m_position);
        if (first == '"')
            return endOfString(m_position);
        if (first == '{' || first == '[')
            return endOfNesting();
        qsizetype position = m_position;
        while (!QByteArrayView(" \t\r\n,}").contains(m_text.at(position)))
            ++position;
        return position;
    }
    qsizetype endOfNesting() const
    {
        int depth = 0;
        qsizetype position = m_position;
        do {
            const char c = m_text.at(position);
            depth += c == '{' || c == '[' ? 1 : c == '}' || c == ']' ? -1 : 0;
            position = c == '"' ? endOfString(position) : position + 1;
        } while (depth > 0);
        return position;
    }

    QByteArray m_text;
    qsizetype m_position;
};

} // namespace

std::optional<JsonMembers> JsonMembers::parse(const QByteArray &text, QString *error)
{
    QJsonParseError result;
    const QJsonDocument document = QJsonDocument::fromJson(text, &result);
    if (result.error != QJsonParseError::NoError) {
        *error = u"%1 at byte %2"_s.arg(result.errorString()).arg(result.offset);
        return std::nullopt;
    }
    if (!document.isObject()) {
        *error = u"not an object"_s;
        return std::nullopt;
    }
    JsonMembers members;
    for (Cutter cutter(text); cutter.hasNext();) {
        const QString name = decode(cutter.name()).toString();
        members.setText(name, cutter.value());
    }
    return members;
}

QJsonValue JsonMembers::value(const QString &name) const
{
    const Member *member = find(name);
    return member ? decode(member->value) : QJsonValue(QJsonValue::Undefined);
}

bool JsonMembers::set(const QString &name, const QJsonValue &value)
{
    return setText(name, encode(value));
}

bool JsonMembers::remove(const QString &name)
{
    return std::erase_if(m_members, [&](const Member &member) { return member.name == name; }) > 0;
}

void JsonMembers::takeAllBut(const QSet<QString> &own, const JsonMembers &other)
{
    std::erase_if(m_members, [&](const Member &member) { return !own.contains(member.name); });
    for (const Member &member : other.m_members) {
        if (!own.contains(member.name))
            m_members.push_back(member);
    }
}

QByteArray JsonMembers::text() const
{
    QByteArray text = "{";
    for (const Member &member : m_members) {
        text += text.size() == 1 ? "\n    " : ",\n    ";
        text += encode(member.name) + ": " + member.value;
    }
    return text + "\n}\n";
}

const JsonMembers::Member *JsonMembers::find(const QString &name) const
{
    const auto found = std::find_if(m_members.begin(), m_members.end(),
                                    [&](const Member &member) { return member.name == name; });
    return found == m_members.end() ? nullptr : &*found;
}

bool JsonMembers::setText(const QString &name, const QByteArray &value)
{
    const Member *member = find(name);
    if (member && member->value == value)
        return false;
    if (member)
        m_members[size_t(member - m_members.data())].value = value;
    else
        m_members.push_back({name, value});
    return true;
}
