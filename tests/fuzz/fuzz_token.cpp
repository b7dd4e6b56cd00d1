// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// The token in whatever was pasted, against a plain re-statement of its rules.

#include "Fuzz.h"
#include "TunnelManager.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

const QString blank = u"[\\p{Z}\\x{9}-\\x{d}\\x{85}]"_s;

QString without(const QString &text, const QString &pattern)
{
    return QString(text).remove(QRegularExpression(u"\\A%1+|%1+\\z"_s.arg(pattern)));
}

QString token(const QString &raw)
{
    static const QRegularExpression separator(blank + u"|="_s);
    QStringList pieces;
    for (const QString &piece : raw.split(separator)) {
        if (const QString bare = without(piece, u"[\"']"_s); !bare.isEmpty())
            pieces += bare;
    }
    for (const QString &piece : std::as_const(pieces)) {
        if (piece.startsWith(u"eyJ"_s))
            return piece;
    }
    const qsizetype flag = pieces.indexOf(u"--token"_s);
    if (flag >= 0 && flag + 1 < pieces.size())
        return pieces[flag + 1];
    return pieces.size() == 1 ? pieces.first() : without(raw, blank);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString raw = QString::fromUtf8(QByteArrayView(data, qsizetype(size)));
    const QString found = TunnelManager::normalizeToken(raw);
    Fuzz::expect(found == token(raw), "the token is that of the rules");
    Fuzz::expect(raw.contains(found), "the token is part of what was pasted");
    return 0;
}
