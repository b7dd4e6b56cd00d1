// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any text as a pasted token and as an error line.

#include "Fuzz.h"
#include "KeychainStore.h"
#include "OutputLine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text = QString::fromUtf8(Fuzz::bytes(data, size));
    const QString token = KeychainStore::normalizeToken(text);
    Fuzz::expect(text.contains(token), "the token is part of what was pasted");
    Fuzz::expect(KeychainStore::normalizeToken(token) == token, "a token alone stays as it is");
    const QString summary = OutputLine::errorSummary(text);
    Fuzz::expect(text.contains(summary), "the summary is part of the line");
    return 0;
}
