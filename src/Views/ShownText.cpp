// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ShownText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

QString shownText(const QString &text)
{
    constexpr qsizetype longestShown = 1000;
    const auto isBreak = [](QChar c) {
        return c.category() == QChar::Other_Control || c == QChar::LineSeparator ||
               c == QChar::ParagraphSeparator;
    };
    QString shown = text.left(longestShown);
    std::replace_if(shown.begin(), shown.end(), isBreak, u' ');
    return shown;
}

QString toolTipText(const QString &text)
{
    return u"<div>%1</div>"_s.arg(shownText(text).toHtmlEscaped());
}
