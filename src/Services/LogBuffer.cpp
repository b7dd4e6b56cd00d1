// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogBuffer.h"

#include "Text.h"

#include <cstring>

namespace {

/// Number of bytes beyond which a slot's storage is given back when a shorter line takes the slot, so that a
/// few huge lines do not stay in memory.
constexpr qsizetype keptCapacity = 1024;

} // namespace

QByteArrayView LogBuffer::bytes(qsizetype index) const
{
    return m_ring[(m_first + quint64(index) - m_base) % capacity];
}

QString LogBuffer::line(qsizetype index) const
{
    return Text::fromUtf8(bytes(index));
}

QString LogBuffer::text() const
{
    QByteArray joined;
    for (qsizetype i = 0; i < size(); ++i) {
        if (i > 0)
            joined += '\n';
        joined += bytes(i);
    }
    return Text::fromUtf8(joined);
}

void LogBuffer::append(QByteArrayView line)
{
    if (qsizetype(m_ring.size()) < capacity) {
        m_ring.push_back(line.toByteArray());
        ++m_end;
        return;
    }
    QByteArray &oldest = slot(m_end);
    if (oldest.capacity() > keptCapacity && line.size() <= keptCapacity)
        oldest = QByteArray();
    oldest.resize(line.size());
    std::memcpy(oldest.data(), line.data(), size_t(line.size()));
    ++m_end;
    m_first = m_end - capacity;
}

void LogBuffer::clear()
{
    m_ring = {};
    m_base = m_first = m_end;
}
