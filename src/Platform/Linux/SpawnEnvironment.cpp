// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SpawnEnvironment.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

bool isNamed(const char *entry, const QByteArray &name)
{
    return std::string_view(entry).starts_with(std::string_view(name.constData(), size_t(name.size()))) &&
           entry[name.size()] == '=';
}

} // namespace

SpawnEnvironment::SpawnEnvironment(const Entries &set)
{
    m_set.reserve(set.size());
    for (char **entry = environ; *entry; ++entry) {
        const bool isReplaced = std::any_of(set.begin(), set.end(),
                                            [&](const auto &item) { return isNamed(*entry, item.first); });
        if (!isReplaced)
            m_pointers.push_back(*entry);
    }
    for (const auto &[name, value] : set) {
        std::string &entry = m_set.emplace_back();
        entry.reserve(size_t(name.size() + value.size()) + 1);
        entry.append(name.constData(), size_t(name.size()));
        entry.push_back('=');
        entry.append(value.constData(), size_t(value.size()));
        m_pointers.push_back(entry.data());
    }
    m_pointers.push_back(nullptr);
}

SpawnEnvironment::~SpawnEnvironment()
{
    for (std::string &entry : m_set)
        ::explicit_bzero(entry.data(), entry.size());
}

QByteArray SpawnEnvironment::nameOfUnusableEntry(const Entries &set)
{
    for (const auto &[name, value] : set) {
        if (name.contains('\0') || value.contains('\0'))
            return name;
    }
    return {};
}
