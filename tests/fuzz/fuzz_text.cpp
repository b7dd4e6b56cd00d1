// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any text as a pasted token and as an error line.

#include "Fuzz.h"
#include "OutputLine.h"
#include "TunnelManager.h"

extern "C" int LLVMFuzzerTestOneInput(const char *data, std::size_t size)
{
    const QString text = QString::fromUtf8(data, qsizetype(size));
    const QString token = TunnelManager::normalizeToken(text);
    expect(text.contains(token), "the token is part of what was pasted");
    expect(TunnelManager::normalizeToken(token) == token, "a token alone stays as it is");
    expect(text.contains(OutputLine::errorSummary(text)), "the summary is part of the line");
    expect(OutputLine::reason({data, qsizetype(size)}).size() <= 4096, "a reason is bounded");
    return 0;
}
