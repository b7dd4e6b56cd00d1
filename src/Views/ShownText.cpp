// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ShownText.h"

#include "SingleLine.h"

using namespace Qt::StringLiterals;

QString shownText(const QString &text)
{
    constexpr qsizetype longestShown = 1000;
    return singleLine(text.left(longestShown));
}

QString toolTipText(const QString &text)
{
    return u"<div>%1</div>"_s.arg(shownText(text).toHtmlEscaped());
}
