// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Load.h"

#include "Output.h"
#include "Signals.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// A line of fixed length with a number in it that is set in place.
class NumberedLine
{
public:
    NumberedLine(std::string_view text, std::size_t bytes)
    {
        m_text = Output::stamp().append(text).append(" n=");
        m_digits = m_text.size();
        m_text.append(digits, '0').append(" ").resize(std::max<std::size_t>(bytes, 1), '.');
        m_text.back() = '\n';
        m_isNumbered = m_text.size() > m_digits + digits;
    }

    std::string_view withNumber(std::uint64_t number)
    {
        for (std::size_t at = digits; m_isNumbered && at-- > 0; number /= 10) {
            m_text[m_digits + at] = static_cast<char>('0' + number % 10);
        }
        return m_text;
    }

private:
    static constexpr std::size_t digits = 9;

    std::string m_text;
    std::size_t m_digits = 0;
    bool m_isNumbered = false;
};

/// The lines of a blast in their order.
class BlastLines
{
public:
    explicit BlastLines(const Load::Blast &blast)
        : m_plain("INF Request served", blast.bytes)
        , m_connections(blast.connections)
    {
        for (const char *index : {"0", "1", "2", "3"}) {
            const std::string field = std::string(" connIndex=") + index;
            m_registered.emplace_back("INF Registered tunnel connection" + field, blast.bytes);
            m_lost.emplace_back("INF Unregistered tunnel connection" + field, blast.bytes);
        }
    }

    std::string_view at(std::uint64_t number)
    {
        if (!m_connections || number % 10 != 9) {
            return m_plain.withNumber(number);
        }
        const std::uint64_t event = number / 10; // 0 to 3 register, 4 to 7 lose, and so on
        return (event % 8 < 4 ? m_registered : m_lost)[event % 4].withNumber(number);
    }

private:
    NumberedLine m_plain;
    std::vector<NumberedLine> m_registered;
    std::vector<NumberedLine> m_lost;
    bool m_connections;
};

} // namespace

void Load::blast(const Blast &blast)
{
    constexpr std::size_t chunkBytes = 65'536;
    BlastLines lines(blast);
    std::string chunk;
    for (std::uint64_t number = 0; number < blast.lines && !Signals::termRequested(); ++number) {
        if (!blast.chunked) {
            Output::write(lines.at(number));
            continue;
        }
        chunk.append(lines.at(number));
        for (; chunk.size() >= chunkBytes; chunk.erase(0, chunkBytes)) {
            Output::write(std::string_view(chunk).substr(0, chunkBytes));
        }
    }
    Output::write(chunk);
}

void Load::flood(std::uint64_t rate, std::chrono::seconds duration)
{
    constexpr std::size_t lineBytes = 150;
    constexpr std::chrono::nanoseconds leastPause = std::chrono::milliseconds(1);
    NumberedLine line("ERR Unable to reach the origin service", lineBytes);
    const Clock::time_point start = Clock::now();
    for (std::uint64_t sent = 0; !Signals::termRequested();) {
        const std::chrono::nanoseconds elapsed = Clock::now() - start;
        if (duration.count() != 0 && elapsed >= duration) {
            return;
        }
        const std::chrono::nanoseconds due(rate == 0 ? 0 : sent * std::nano::den / rate);
        if (due > elapsed) {
            Signals::pause(std::max(due - elapsed, leastPause));
        } else {
            Output::write(line.withNumber(sent++));
        }
    }
}

void Load::longLine(std::uint64_t bytes)
{
    constexpr std::uint64_t chunkBytes = 1'048'576;
    const std::string chunk(std::min(bytes, chunkBytes), 'x');
    for (std::uint64_t left = bytes; left > 1 && !Signals::termRequested();) {
        const std::uint64_t count = std::min<std::uint64_t>(left - 1, chunkBytes);
        Output::write(std::string_view(chunk).substr(0, count));
        left -= count;
    }
    Output::write("\n");
}
