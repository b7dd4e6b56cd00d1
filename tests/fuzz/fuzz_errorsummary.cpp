// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// The summary of an error line against a plain re-statement of its rules.

#include "Fuzz.h"
#include "OutputLine.h"

#include <QList>

using namespace Qt::StringLiterals;

namespace {

bool isBlank(char32_t c)
{
    return c == U'\t' || QChar::category(c) == QChar::Separator_Space;
}

QString trimmed(const QString &text)
{
    QList<uint> characters = text.toUcs4();
    while (!characters.isEmpty() && isBlank(characters.first()))
        characters.removeFirst();
    while (!characters.isEmpty() && isBlank(characters.last()))
        characters.removeLast();
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), characters.size());
}

QString summary(const QString &line)
{
    if (line.contains(u"error=\""_s)) {
        const QString value = line.section(u"error=\""_s, 1).section(u'"', 0, 0);
        if (!value.isEmpty())
            return value;
    }
    return trimmed(line.contains(u" ERR "_s) ? line.section(u" ERR "_s, 1) : line);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString line = QString::fromUtf8(QByteArrayView(data, qsizetype(size)));
    Fuzz::expect(OutputLine::errorSummary(line) == summary(line), "the summary is that of the rules");
    return 0;
}
