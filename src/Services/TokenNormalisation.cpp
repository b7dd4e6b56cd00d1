// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelManager.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isSeparator(QChar c)
{
    return c.isSpace() || c == u'=';
}

QStringView strippedOfQuotes(QStringView piece)
{
    const auto isQuote = [](QChar c) { return c == u'"' || c == u'\''; };
    while (!piece.isEmpty() && isQuote(piece.front()))
        piece = piece.sliced(1);
    while (!piece.isEmpty() && isQuote(piece.back()))
        piece.chop(1);
    return piece;
}

QList<QStringView> piecesOf(QStringView text)
{
    QList<QStringView> pieces;
    qsizetype begin = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !isSeparator(text[i]))
            continue;
        const QStringView piece = strippedOfQuotes(text.sliced(begin, i - begin));
        if (!piece.isEmpty())
            pieces += piece;
        begin = i + 1;
    }
    return pieces;
}

} // namespace

QString TunnelManager::normalizeToken(const QString &raw)
{
    const QList<QStringView> pieces = piecesOf(raw);
    const auto token = std::find_if(pieces.begin(), pieces.end(),
                                    [](QStringView piece) { return piece.startsWith(u"eyJ"); });
    if (token != pieces.end())
        return token->toString();
    const qsizetype flag = pieces.indexOf(u"--token"_s);
    if (flag >= 0 && flag + 1 < pieces.size())
        return pieces[flag + 1].toString();
    if (pieces.size() == 1)
        return pieces.first().toString();
    return raw.trimmed();
}
